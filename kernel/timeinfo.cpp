#include "kernel/timeinfo.h"

#include <cmath>

namespace {

// A position that moves by more than this many quarter notes between two blocks was moved by
// the user (a locate, a loop back), not by playback.
constexpr double kJumpQuarters = 2.0;

constexpr uint8_t kTransportBits = RTimeInfo::kPlaying | RTimeInfo::kJumped | RTimeInfo::kTransportChanged;

} // namespace

void RTimeInfo::Reset() noexcept {
  Tempo = 120.0;
  PPQPosition = 0.0;
  BarStart = 0.0;
  SamplePosition = 0;
  Numerator = 4;
  Denominator = 4;
  LoopStart = -1.0;
  LoopEnd = -1.0;
  BlockStartPPQ = 0.0;
  BlockStartSample = 0;
  state = uint8_t(state & ~kTransportBits);
}

double RTimeInfo::BarStartOf(double ppq, int32_t numerator) noexcept {
  if (numerator < 1) numerator = 4;
  const auto whole = int64_t(ppq);
  return double(whole - whole % numerator);
}

void RTimeInfo::Advance(const RHostTimeInfo* host, int32_t lastBlockSize, double hostSampleRate) noexcept {
  // The scheduler moves PPQPosition and SamplePosition on within a block, sub-block by
  // sub-block; carrying on starts from where the last block began, not where it was cut.
  const double lastPPQ = BlockStartPPQ;
  const bool wasPlaying = IsPlaying();

  if (host && host->tempo >= 0.0) {
    Tempo = host->tempo;
  } else if (Tempo < 0.0) {
    Tempo = 120.0;
  }

  if (host && host->samplePosition >= 0.0) {
    SamplePosition = int64_t(host->samplePosition);
  } else {
    SamplePosition = (BlockStartSample < 0 ? 0 : BlockStartSample) + lastBlockSize;
  }

  if (host && host->ppqPosition >= 0.0) {
    PPQPosition = host->ppqPosition;
  } else {
    const double start = lastPPQ < 0.0 ? 0.0 : lastPPQ;
    PPQPosition = hostSampleRate >= 1.0 ? start + Tempo * lastBlockSize / (hostSampleRate * 60.0) : start;
  }

  if (host && host->numerator > 0) Numerator = host->numerator;
  if (host && host->denominator > 0) Denominator = host->denominator;

  if (host && host->barStart >= 0.0) {
    BarStart = host->barStart;
  } else {
    BarStart = BarStartOf(PPQPosition, Numerator);
  }

  if (host && host->loopStart >= 0.0) LoopStart = host->loopStart;
  if (host && host->loopEnd >= 0.0) LoopEnd = host->loopEnd;

  const bool hostFlags = host && host->flags >= 0;
  const bool playing = hostFlags ? (host->flags & RHostTimeInfo::kPlaying) != 0 : wasPlaying;
  const bool jumped =
      (hostFlags && (host->flags & RHostTimeInfo::kJumped) != 0) || std::fabs(PPQPosition - lastPPQ) > kJumpQuarters;
  const bool changed = (hostFlags && (host->flags & RHostTimeInfo::kTransportChanged) != 0) || playing != wasPlaying;

  uint8_t bits = 0;
  if (playing) bits |= kPlaying;
  if (jumped) bits |= kJumped;
  if (changed) bits |= kTransportChanged;
  state = uint8_t((state & ~kTransportBits) | bits);

  BlockStartPPQ = PPQPosition;
  BlockStartSample = SamplePosition;
}
