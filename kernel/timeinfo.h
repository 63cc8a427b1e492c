#pragma once
// RTimeInfo: the transport as the DSP sees it. A host may give any field or none; what it
// leaves out is carried on from the previous block (RTimeInfo::Advance).

#include <cstdint>

struct RHostTimeInfo {
  // Any field below 0 is absent.
  double tempo = -1.0;
  double ppqPosition = -1.0;
  double barStart = -1.0;
  double samplePosition = -1.0;
  int32_t numerator = -1;
  int32_t denominator = -1;
  double loopStart = -1.0;
  double loopEnd = -1.0;
  int32_t flags = -1;  // kPlaying | kJumped | kTransportChanged
  enum Flags : int32_t { kPlaying = 1, kJumped = 2, kTransportChanged = 4 };
};

struct RTimeInfo {
  // Bits of `state`; the other five bits are kept as they stand.
  enum State : uint8_t { kPlaying = 1, kJumped = 2, kTransportChanged = 4 };

  double Tempo = 120.0;  // bpm
  double PPQPosition = 0.0;
  double BarStart = 0.0;
  int64_t SamplePosition = 0;
  int32_t Numerator = 4;
  int32_t Denominator = 4;
  double LoopStart = -1.0;
  double LoopEnd = -1.0;
  uint8_t state = 0;
  // Where the present block began: the scheduler moves the two positions above on within a
  // block, and a block without host positions carries on from these.
  double BlockStartPPQ = 0.0;
  int64_t BlockStartSample = 0;

  bool IsPlaying() const noexcept { return (state & kPlaying) != 0; }
  bool HasJumped() const noexcept { return (state & kJumped) != 0; }
  bool TransportChanged() const noexcept { return (state & kTransportChanged) != 0; }

  // Back to the state after Setup: 120 bpm, position 0, 4/4, no loop.
  void Reset() noexcept;
  // Takes a block's transport: host fields where given, else carried on from the last block
  // of lastBlockSize samples at hostSampleRate.
  void Advance(const RHostTimeInfo* host, int32_t lastBlockSize, double hostSampleRate) noexcept;
  // (int)ppq - (int)ppq % numerator, a numerator below 1 counting as 4.
  static double BarStartOf(double ppq, int32_t numerator) noexcept;
};
