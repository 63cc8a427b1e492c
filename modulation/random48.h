#pragma once
// The process-wide random source of randomising multi-parameters: a 48-bit linear
// congruential generator, seed = seed * 0x5deece66d + 0xb (mod 2^48), whose top 32 bits divided
// by 2^32 give a number in [0, 1). One sequence for the whole process, so that two instances
// never draw the same numbers in step; a test seeds it to know the sequence.
//
// [any-thread], allocation-free and lock-free: a draw is one compare-and-swap, so the audio
// thread may draw while the editor does.

#include <cstdint>

namespace RRandom48 {

constexpr uint64_t kMultiplier = 0x5deece66dull;
constexpr uint64_t kIncrement = 0xbull;
constexpr uint64_t kMask = (uint64_t(1) << 48) - 1;
// The seed a fresh process starts from.
constexpr uint64_t kDefaultSeed = 0x1234abcd330eull;

// The state after one step from seed.
constexpr uint64_t Step(uint64_t seed) noexcept { return (seed * kMultiplier + kIncrement) & kMask; }
// The number a state gives: its top 32 bits over 2^32.
constexpr double ToUnit(uint64_t state) noexcept { return double(state >> 16) * (1.0 / 4294967296.0); }

void SetSeed(uint64_t seed) noexcept;
uint64_t GetSeed() noexcept;
// Steps the process-wide state and returns its number in [0, 1).
double Next() noexcept;

} // namespace RRandom48
