#pragma once
// RDecimator: lowers word length and sample rate, each with a spread between channels. A block
// runs: the input gain, the core (word stage then rate stage, modules/decimator/decimatorcore.h),
// the output gain, and last the linear mix of this wet signal with the untouched input.
//
// Every continuous value is ramped: a change glides over the sub-block it arrives in, and the
// stages then work sample by sample; otherwise they work out their constants once per block.
// No latency, no tail, no state beyond its parameters in the stored form.
//
// Construction, Setup_Locked and the values' text operations run on the host or editor thread
// under the kernel's locks; Process and ClearState are [audio-thread] and allocate nothing.

#include <vector>

#include "kernel/audioplugin.h"
#include "modules/common/modulevalues.h"
#include "modules/decimator/decimatorcore.h"

class RDecimator : public RAudioPlugin {
public:
  RDecimator();

  void Setup_Locked() override;
  void ClearState() override;
  void Reset() override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;

private:
  // The parameter table's order is the order of these members.
  RGainValue gainIn_;
  RGainValue gainOut_;
  RPercentValue dryWet_;
  RBoolValue bitReduction_;
  RRealValue bits_;
  RRealValue bitsWidth_;
  RBoolValue sampleRateReduction_;
  RFrequencyValue sampleRate_;
  RRealValue sampleRateWidth_;

  // One record per processed channel, sized by Setup_Locked.
  std::vector<RDecimatorChannelState> states_;
};

// Enters the module under its catalogue Id "Decimator". [host-thread], at start.
void RegisterDecimator();
