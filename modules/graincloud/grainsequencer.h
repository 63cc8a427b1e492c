#pragma once
// The pitch sequencer of a GrainCloud voice: up to sixteen steps, each a set of notes, walked
// one step per SequencerGrainsPerItem grains; the voice's random mode picks a grain's pitch
// from the present step.
//
// A step packs into 64 bits as a set of notes: bit k stands for a shift of k - 24 semitones,
// so bits 0..48 cover -24..+24 and the upper bits stay clear. 0 is a step with no notes; such
// a step leaves the pitch to the plain random range.
//
// [any-thread], allocation-free and noexcept.

#include <cstdint>

#include "modules/graincloud/grainrandom.h"

namespace RGrainSequencer {

constexpr int32_t kMaxSteps = 16;
constexpr int32_t kLowestNote = -24;
constexpr int32_t kHighestNote = 24;
constexpr uint64_t kNoteMask = (uint64_t(1) << (kHighestNote - kLowestNote + 1)) - 1;

// The modes in the order of the voice's "Random mode" choice.
enum Mode : int32_t {
  kAnyPitch = 0,
  kRandomLimited = 1,
  kLowestLimited = 2,
  kHighestLimited = 3,
  kRandomUnlimited = 4,
  kLowestUnlimited = 5,
  kHighestUnlimited = 6,
  kModeCount = 7,
};

// The step with one more note (semitones outside -24..24 are ignored).
uint64_t AddNote(uint64_t step, int32_t semitones) noexcept;
bool HasNote(uint64_t step, int32_t semitones) noexcept;

// A grain's pitch in semitones. lo..hi is the voice's range (Pitch to Pitch + PitchRandom).
// "Any pitch", and a step without a usable note, draw evenly in lo..hi; the sequencer modes
// pick a note of the step (at random, the lowest or the highest), the limited ones only among
// notes within lo..hi. Exactly one draw per call, so the voice's sequence doesn't depend on
// the mode.
double ChoosePitch(uint64_t step, int32_t mode, double lo, double hi, RGrainRandom& random) noexcept;

// Where a copy stands in the sequence.
struct Position {
  int32_t Step = 0;
  int32_t Grains = 0;

  // The step index for a new grain, moving on after grainsPerStep grains; count steps in all.
  int32_t Next(int32_t count, int32_t grainsPerStep) noexcept;
};

} // namespace RGrainSequencer
