#pragma once
// RTransferBender: a transfer-curve shaper and clipper. A block runs, per channel:
//   Drive -> the curve around the Clip threshold, anti-aliased -> (Level match: 1 / Drive)
//   -> Output gain -> Dry/Wet (linear).
// The curve (modules/transferbender/bendercurve.h) goes from a hard clip at Shape 0 to a
// smooth knee at Shape 1; whatever comes in, the wet signal never passes the Clip threshold
// before Output gain, so at full wet the output's peak is at most Clip x Output gain. The
// curve is odd, so a symmetric signal leaves without DC. With Level match on, the drive's
// gain comes off again after the curve: Drive then pushes harder into the curve and a signal
// below the knee passes at its own level.
//
// Parameters, in table order: Shape, Clip, Drive, Output gain (key "OutputGain"; the
// product's meter ceiling reads it), Dry/Wet, Level match. Every continuous one glides;
// Shape follows per sub-block.
//
// Construction and Setup_Locked on the host or editor thread under the kernel's locks;
// Process and ClearState are [audio-thread] and allocate nothing.

#include <vector>

#include "kernel/audioplugin.h"
#include "modules/common/modulevalues.h"
#include "modules/transferbender/bendercurve.h"

class RTransferBender : public RAudioPlugin {
public:
  RTransferBender();

  RRealValue& GetShape() noexcept { return shape_; }
  RGainValue& GetClip() noexcept { return clip_; }
  RGainValue& GetDrive() noexcept { return drive_; }
  RGainValue& GetOutputGain() noexcept { return outputGain_; }
  RPercentValue& GetDryWet() noexcept { return dryWet_; }
  RBoolValue& GetLevelMatch() noexcept { return levelMatch_; }

  void Setup_Locked() override;
  void ClearState() override;
  void Reset() override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;

private:
  // Declared in the table's order: each registers itself as it is made.
  RRealValue shape_;
  RGainValue clip_;
  RGainValue drive_;
  RGainValue outputGain_;
  RPercentValue dryWet_;
  RBoolValue levelMatch_;

  RBenderCurve curve_;
  std::vector<RAntiderivativeState> states_;  // one per channel, sized by Setup_Locked
};

// Enters the module under its catalogue Id "TBender". [host-thread], at start.
void RegisterTransferBender();
