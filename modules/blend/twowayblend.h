#pragma once
// RTwoWayBlend: mixes the main input with the side chain (the slot's second input) along one
// of the crossfade laws of modules/blend/blendlaws.h. Ratio 0 is the main input alone, 1 the
// side chain alone. The main input first passes its own Volume, Panorama and Gain, so that a
// slot can level the two signals against each other before the blend.
//
// A second input left unconnected reaches the module as the main input's own buffer; the
// module then passes the levelled main input and blends nothing.
//
// Parameters, in table order: Ratio, Gain ("Input"), Volume, panorama, Mode. Derived blends
// without the input side (RManyWayBlend) have Ratio and Mode only.
//
// Threads: constructed and set up on the editor or host thread; Process on the audio thread,
// allocation-free. No audio state: the last Ratio lives in its value.

#include <memory>

#include "kernel/audioplugin.h"
#include "modules/blend/blendlaws.h"
#include "modules/common/modulevalues.h"

class RTwoWayBlend : public RAudioPlugin {
public:
  // Per-sample gains are worked out in chunks of this many samples on the stack.
  static constexpr int32_t kChunk = 256;

  RTwoWayBlend();

  RPercentValue& GetRatio() noexcept { return *ratio_; }
  const RPercentValue& GetRatio() const noexcept { return *ratio_; }
  RModuleChoiceValue& GetMode() noexcept { return *mode_; }
  // Null on a blend without the input side.
  RGainValue* GetGain() noexcept { return gain_.get(); }
  RVolumeValue* GetVolume() noexcept { return volume_.get(); }
  RPanValue* GetPanorama() noexcept { return panorama_.get(); }
  bool HasInputSide() const noexcept { return inputSide_; }

  void BeforeBlock(float* const* inputs, float* const* outputs) override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;

protected:
  // For derived blends: the module's catalogue name and whether the input-side values exist.
  RTwoWayBlend(const RString& name, bool inputSide);

  RBlendMode ProcessingMode() const noexcept { return BlendModeOf(mode_->GetProcessingIndex()); }

private:
  // The main input levelled into the outputs: Volume, panorama (stereo only), Gain.
  void LevelMainInput(float* const* inputs, float* const* outputs, int32_t frames) noexcept;
  // outputs = outputs x B + side x A, with Ratio's ramp when it moves.
  void BlendSideChain(float* const* side, float* const* outputs, int32_t frames) noexcept;

  bool inputSide_;
  // Whether the second bus arrived as buffers of its own. Judged on the pointers as the block
  // came in: a block processed in place reaches Process with a separate copy of each bus, and
  // an open side chain would then pass for a connected one.
  bool sideApart_ = true;
  std::unique_ptr<RPercentValue> ratio_;
  std::unique_ptr<RGainValue> gain_;
  std::unique_ptr<RVolumeValue> volume_;
  std::unique_ptr<RPanValue> panorama_;
  std::unique_ptr<RModuleChoiceValue> mode_;
};

// Enters "TwoWayBlend" into the module registry. [host-thread], at start.
void RegisterTwoWayBlend();
