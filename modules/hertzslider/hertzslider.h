#pragma once
// RHertzSlider: a frequency shifter. Every frequency of the input moves by the same number of
// hertz (not by a ratio, as a pitch shift would), which turns harmonic sounds inharmonic; a
// feedback delay around the shifter sends the shifted sound round again, each pass shifted
// further: the barber-pole sweep.
//
// Per channel the chain is: input plus Feedback times the delayed output, the prefilter
// (modules/hertzslider/shifterprefilter.h), the phase network's two paths
// (modules/hertzslider/hilbertnetwork.h), the single-sideband mix with a quadrature oscillator
// at the channel's shift, dry/wet. Channel c shifts by Shift * Width^c: with Width -1 in
// stereo, left goes up and right goes down.
//
// The feedback loop runs in pieces no longer than the delay: a piece's reads then come only
// from samples written before it, so the piece can be filtered as a block. The delay line
// holds the delay minus the piece length; each finished piece is written and the next
// piece's feedback read in the same call, which makes the loop exactly the delay long. With
// Feedback at 0 the loop is idle and the block runs uncut.
//
// Threads: construction, Setup_Locked and Store on host or editor threads under the kernel's
// locks; Update and Process on the audio thread, allocation-free.

#include <cstdint>
#include <memory>
#include <vector>

#include "kernel/audioplugin.h"
#include "modulation/shape.h"
#include "modules/common/modulevalues.h"
#include "modules/dsp/delayline.h"
#include "modules/dsp/temposync.h"
#include "modules/hertzslider/hilbertnetwork.h"
#include "modules/hertzslider/quadratureoscillator.h"
#include "modules/hertzslider/shifterprefilter.h"
#include "modules/hertzslider/shiftvalue.h"

class RHertzSlider : public RAudioPlugin {
public:
  // Samples per piece at most: the stack buffers of Process.
  static constexpr int32_t kPiece = 256;
  // What the shifted signal is held to before it enters the delay line.
  static constexpr float kFeedbackClamp = 10.0f;
  // Longest feedback delay; synced lengths beyond it are cut to it.
  static constexpr double kMaxDelaySeconds = 2.0;
  // The delay a synced line takes when the tempo gives no length and it has none yet.
  static constexpr double kFallbackDelaySeconds = 0.01;

  RHertzSlider();
  ~RHertzSlider() override;

  void Setup_Locked() override;
  void Update() override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;
  void ClearState() override;
  void Reset() override;
  void Store(RStoreContext& context) override;

  // Stored with the module; the product leaves it at its default, a flat step sequence.
  RShape& GetShape() noexcept { return shape_; }

  // --- for tests and meters
  // The feedback delay in samples as the last block set it (0 before the first block).
  int32_t GetFeedbackDelay() const noexcept { return delay_; }
  const RHilbertNetwork& GetNetwork() const noexcept { return network_; }
  double GetOscillatorPhase(int32_t channel) const noexcept;

private:
  struct Channel {
    RDelayLine line;
    RQuadratureOscillator oscillator;
    RShifterPrefilter::State prefilter;
    RHilbertNetwork::State network;
    float feedback[kPiece] = {};  // the line's output for the running piece
    float written[kPiece] = {};   // the piece's shifted samples, waiting to enter the line
  };

  // The feedback delay of this block, from sync or the Delay value; clears the lines when it moved.
  void UpdateDelay();
  void SetDelay(int32_t samples);
  void ClearLines() noexcept;
  static std::vector<RShapePoint> DefaultShape();

  // Parameters, in table order.
  RPercentValue dryWet_;
  RShiftValue shift_;
  RRealValue width_;
  RPercentValue feedback_;
  RTimeValue feedbackDelay_;
  RModuleChoiceValue character_;
  RBoolValue prefiltering_;
  RTempoSync sync_;
  RShape shape_;

  RHilbertNetwork network_;
  RShifterPrefilter prefilter_;
  std::vector<Channel> channels_;
  int32_t delay_ = 0;        // samples around the loop
  int32_t pieceLength_ = 1;  // min(delay, kPiece)
  int32_t piecePosition_ = 0;
  int32_t maxDelay_ = 1;
  bool clearLines_ = false;
  bool loopOpen_ = false;  // Feedback was above 0 in the last block
};

// Enters the module's creator into the registry under "HzSlide".
void RegisterHertzSlider();
