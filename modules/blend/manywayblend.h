#pragma once
// RManyWayBlend: walks through the slot's input buses. The Ratio spreads over the N buses
// (span N - 1 steps, or N when Cyclic, where the walk comes back round to the first bus), and
// between two neighbouring buses the Mode law crossfades. With 17 buses a ratio of 0.875 is
// position 14: bus 14 alone.
//
// N is however many inputs the slot has (its InputCount); one bus is copied, none is
// silence. A moving ratio stops just short of the end of the span, so the last bus is reached
// within a millionth of a step and its neighbour never indexes past the buses.
//
// Parameters, in table order: Ratio, Mode, Cyclic. No input-side level.
//
// Threads: as RTwoWayBlend.

#include <memory>

#include "modules/blend/twowayblend.h"

class RManyWayBlend : public RTwoWayBlend {
public:
  RManyWayBlend();

  RBoolValue& GetCyclic() noexcept { return *cyclic_; }

  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;
  // The buses between where the ratio stood at the end of the last block and where it stands
  // now, and the next one up: all a block can mix.
  uint64_t GetInputsInUse() const noexcept override;

private:
  // Fixed ratio: one position for the whole block.
  void BlendAt(float* const* inputs, float* const* outputs, int32_t frames, int32_t buses, bool cyclic,
               double ratio) noexcept;
  // Moving ratio: a position per sample, mixed in runs that share their pair of buses.
  void BlendRamp(float* const* inputs, float* const* outputs, int32_t frames, int32_t buses, bool cyclic,
                 double start, double step) noexcept;

  std::unique_ptr<RBoolValue> cyclic_;
};

// Enters "ManyWayBlend" into the module registry. [host-thread], at start.
void RegisterManyWayBlend();
