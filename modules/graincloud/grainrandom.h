#pragma once
// RGrainRandom: the small generator each voice (and the cutter) draws from. The classic 32-bit
// linear congruential form, so that a seed gives the same grains on every machine and a
// restarted sequence repeats exactly.
//
// [any-thread] for one caller; allocation-free and noexcept.

#include <cstdint>

class RGrainRandom {
public:
  static constexpr uint32_t kMultiplier = 214013u;
  static constexpr uint32_t kIncrement = 2531011u;
  static constexpr double kScale = 3.051850947599719e-5;  // 1 / 32767

  explicit RGrainRandom(uint32_t seed = 1) noexcept : state_(seed) {}

  void Seed(uint32_t seed) noexcept { state_ = seed; }
  uint32_t GetState() const noexcept { return state_; }

  // 0 up to below 1: the top 15 bits of the new state, 32767 read as 0 so that 1 is never drawn.
  double Next() noexcept {
    state_ = state_ * kMultiplier + kIncrement;
    uint32_t bits = (state_ >> 16) & 0x7fffu;
    if (bits == 0x7fffu) bits = 0;
    return double(bits) * kScale;
  }

  // lo + draw * (hi - lo).
  double Between(double lo, double hi) noexcept { return lo + Next() * (hi - lo); }

private:
  uint32_t state_;
};
