#pragma once
// RSqueezeStage: a feed-forward compressor, the master chain's "Press". A block runs:
//   detector source (main input, or the second input bus with Side-chain on)
//   -> detector high-pass and low-pass (each off at its end of the travel)
//   -> level per frame: the loudest channel (Stereo link 100%), each channel alone (0%), or
//      between the two in dB
//   -> static curve, automatic makeup, attack and release in dB (modules/squeezestage/squeezecore.h)
//   -> gain per sample on the main input -> Makeup -> Mix with the dry input (linear: parallel
//      compression) -> Output gain.
// The detector's high-pass keeps bass from pumping the whole mix; both detector filters are
// ordinary automatable parameters.
//
// Parameters, in table order (keys in brackets): Threshold, Ratio, Knee, Attack, Release,
// Makeup, Auto makeup [AutoMakeup], Mix, Side-chain [SideChain], Detector high-pass
// [DetectorHP], Detector low-pass [DetectorLP], Stereo link [StereoLink], Output gain
// [Output]. Makeup, Mix and Output glide sample by sample; the curve, the times, the link and
// the filters are taken per sub-block, where the attack and release smoothing already keep
// their steps from being heard. Source, filters and link form are chosen once per sub-block.
// No latency.
//
// Construction and Setup_Locked on the host or editor thread under the kernel's locks;
// Process and ClearState are [audio-thread] and allocate nothing; GetGainReduction is
// [any-thread].

#include <atomic>
#include <vector>

#include "kernel/audioplugin.h"
#include "modules/common/modulevalues.h"
#include "modules/dsp/biquad.h"
#include "modules/squeezestage/squeezecore.h"

class RSqueezeStage : public RAudioPlugin {
public:
  // The detector filters' ends of travel, where each is off.
  static constexpr double kHighPassOff = 20.0;
  static constexpr double kLowPassOff = 20000.0;
  // Frames per pass of the detector: its scratch buffers are this long.
  static constexpr int32_t kChunk = 256;

  RSqueezeStage();

  RRealValue& GetThreshold() noexcept { return threshold_; }
  RRealValue& GetRatio() noexcept { return ratio_; }
  RRealValue& GetKnee() noexcept { return knee_; }
  RTimeValue& GetAttack() noexcept { return attack_; }
  RTimeValue& GetRelease() noexcept { return release_; }
  RGainValue& GetMakeup() noexcept { return makeup_; }
  RBoolValue& GetAutoMakeup() noexcept { return autoMakeup_; }
  RPercentValue& GetMix() noexcept { return mix_; }
  RBoolValue& GetSideChain() noexcept { return sideChain_; }
  RLog10FrequencyValue& GetDetectorHighPass() noexcept { return detectorHighPass_; }
  RLog10FrequencyValue& GetDetectorLowPass() noexcept { return detectorLowPass_; }
  RPercentValue& GetStereoLink() noexcept { return stereoLink_; }
  RGainValue& GetOutput() noexcept { return output_; }

  // The deepest gain reduction of the last processed sub-block in dB (>= 0), makeup not
  // counted: the editor's meter. [any-thread]
  float GetGainReduction() const noexcept { return gainReduction_.load(std::memory_order_relaxed); }

  void Setup_Locked() override;
  void ClearState() override;
  void Reset() override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;

private:
  struct Channel {
    RBiquadState highPass;
    RBiquadState lowPass;
    RSqueezeEnvelope envelope;
  };
  enum class LinkForm { kLinked, kApart, kBlended };

  // Curve, times and filters from the processing values; cheap when nothing moved.
  void Refresh() noexcept;
  // frames (<= kChunk) from offset: the detector's gain per frame applied to each channel.
  void RunChunk(const float* const* inputs, float* const* outputs, int32_t channels, int32_t offset, int32_t frames,
                LinkForm form, double& deepest) noexcept;
  // Out of the form of the last sub-block into form, so that no channel's envelope jumps.
  void ChangeForm(LinkForm form, int32_t channels) noexcept;

  // Declared in the table's order: each registers itself as it is made.
  RRealValue threshold_;
  RRealValue ratio_;
  RRealValue knee_;
  RTimeValue attack_;
  RTimeValue release_;
  RGainValue makeup_;
  RBoolValue autoMakeup_;
  RPercentValue mix_;
  RBoolValue sideChain_;
  RLog10FrequencyValue detectorHighPass_;
  RLog10FrequencyValue detectorLowPass_;
  RPercentValue stereoLink_;
  RGainValue output_;

  RSqueezeDetector detector_;
  RBiquad highPass_;
  RBiquad lowPass_;
  bool highPassOn_ = false;
  bool lowPassOn_ = false;
  bool rested_ = false;  // the envelopes start at rest on the first block after a clear
  LinkForm lastForm_ = LinkForm::kApart;
  std::atomic<float> gainReduction_{0.0f};

  // Sized by Setup_Locked: state per channel, the filtered detector signal per channel, and
  // one frame-long buffer each for levels, the loudest level and gains.
  std::vector<Channel> channels_;
  std::vector<float> filtered_;
  std::vector<float> levels_;
  std::vector<float> loudest_;
  std::vector<float> gains_;
  std::vector<float> silence_;
  std::vector<const float*> sources_;        // per channel, for the whole sub-block (null: silence)
  std::vector<const float*> chunkSources_;   // per channel, the detector signal of one chunk
};

// Enters the module under its catalogue Id "SqueezeStage". [host-thread], at start.
void RegisterSqueezeStage();
