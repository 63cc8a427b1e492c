#include "modules/graincloud/grainsequencer.h"

#include <algorithm>

namespace RGrainSequencer {

uint64_t AddNote(uint64_t step, int32_t semitones) noexcept {
  if (semitones < kLowestNote || semitones > kHighestNote) return step;
  return step | (uint64_t(1) << (semitones - kLowestNote));
}

bool HasNote(uint64_t step, int32_t semitones) noexcept {
  if (semitones < kLowestNote || semitones > kHighestNote) return false;
  return ((step >> (semitones - kLowestNote)) & 1u) != 0;
}

double ChoosePitch(uint64_t step, int32_t mode, double lo, double hi, RGrainRandom& random) noexcept {
  const double draw = random.Next();
  const double plain = lo + draw * (hi - lo);
  if (mode <= kAnyPitch || mode >= kModeCount) return plain;
  const bool limited = mode <= kHighestLimited;
  // A small tolerance, so that a range ending on a note's value includes it.
  constexpr double kTolerance = 1e-9;
  int32_t notes[kHighestNote - kLowestNote + 1];
  int32_t count = 0;
  for (int32_t s = kLowestNote; s <= kHighestNote; ++s) {
    if (!HasNote(step, s)) continue;
    if (limited && (s < lo - kTolerance || s > hi + kTolerance)) continue;
    notes[count++] = s;
  }
  if (count == 0) return plain;
  switch (mode) {
    case kLowestLimited:
    case kLowestUnlimited:
      return notes[0];
    case kHighestLimited:
    case kHighestUnlimited:
      return notes[count - 1];
    default:
      return notes[std::min(int32_t(draw * count), count - 1)];
  }
}

int32_t Position::Next(int32_t count, int32_t grainsPerStep) noexcept {
  count = std::clamp(count, 1, kMaxSteps);
  grainsPerStep = std::max(grainsPerStep, 1);
  if (Step >= count) Step = 0;
  const int32_t present = Step;
  if (++Grains >= grainsPerStep) {
    Grains = 0;
    Step = (Step + 1) % count;
  }
  return present;
}

} // namespace RGrainSequencer
