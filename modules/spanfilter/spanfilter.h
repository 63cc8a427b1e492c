#pragma once
// RSpanFilter: a high-pass and a low-pass in series with selectable Butterworth slopes, then an
// output gain and a linear dry/wet mix. The product's master chain opens with one, its two
// corners moved by multi-parameters.
//
// Each side runs when its panel switch is on and its slope isn't "Off". The slope's split into
// stages and where the Q goes: modules/spanfilter/butterworth.h. Corners and Qs are read per
// sub-block, so while they ramp the stages are designed anew at every step of the ramp; they
// ask for the fine sub-block limit, which keeps a step within 256 samples.
//
// Parameters are set on editor and host threads; Process runs on the audio thread and
// allocates nothing. No latency.

#include "kernel/audioplugin.h"
#include "modules/common/modulevalues.h"
#include "modules/spanfilter/spanfilterchain.h"

class RSpanFilter : public RAudioPlugin {
public:
  RSpanFilter();

  void Setup_Locked() override;
  void ClearState() override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;

  // The design as it stands, for the editor's curve: both sides at a frequency in Hz.
  std::complex<double> Response(double frequency) const noexcept { return chain_.Response(frequency); }
  int32_t GetStageCount(RButterworthKind side) const noexcept { return chain_.GetStageCount(side); }

  // Slope item to Butterworth order: "Off" 0, "6" 1, then 12 dB steps of order 2.
  static int32_t SlopeOrder(int32_t slopeIndex) noexcept;

private:
  // Both sides from the processing values; cheap when nothing moved.
  void RefreshDesign() noexcept;

  // Declared in the order of the parameter table.
  RPercentValue depth_;
  RGainValue gain_;
  RBoolValue hpEnable_;
  RLog10FrequencyValue hpFrequency_;
  RRealValue hpQ_;
  RModuleChoiceValue hpSlope_;
  RBoolValue lpEnable_;
  RLog10FrequencyValue lpFrequency_;
  RRealValue lpQ_;
  RModuleChoiceValue lpSlope_;

  RSpanFilterChain chain_;
};

// Registers the catalogue row "SpanFilter".
void RegisterSpanFilter();
