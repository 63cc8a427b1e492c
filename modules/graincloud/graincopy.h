#pragma once
// RGrainCopy: one copy of a GrainCloud voice. It holds a list of grains (references into the
// pool), plays them one after the other with the pitch, panorama, gain and transformation its
// voice's settings give each grain, and delays what it plays through a delay line per channel.
//
// Successive grains overlap by the fade: the present grain plays up to Length minus its fade,
// then the next begins while the present one plays its last fade frames as the tail. The next
// grain is the oldest held grain newer than the one just begun; when the copy has caught up
// with its list it draws one of the held grains instead, which is what makes a frozen or
// pitched-up voice stutter over the grains it keeps. A frozen copy does the same over the
// list as it stood when it froze.
//
// A grain's gain at source frame p of length L with fade F is
//   shape(p / L) * min(1, p / F, (L - p) / F) * drawn gain * pan gain of the channel,
// the shape being the voice's transformation (a flat 1 leaves the grain as cut). The read rate
// is 2^(semitones / 12).
//
// Threads: Reserve allocates (setup); the rest is [audio-thread], allocation-free, noexcept.

#include <cstdint>

#include "modulation/shapesegments.h"
#include "modules/dsp/delayline.h"
#include "modules/graincloud/grainpool.h"
#include "modules/graincloud/grainrandom.h"
#include "modules/graincloud/grainsequencer.h"

// What a voice gives all its copies for a block.
struct RGrainCopySettings {
  double PitchLo = 0, PitchHi = 0;  // semitones
  double PanLo = 0, PanHi = 0;      // -1..1
  double GainLo = 1, GainHi = 1;
  int32_t PitchMode = 0;
  int32_t SequencerCount = 1;
  int32_t GrainsPerStep = 1;
  int32_t GrainCount = 1;
  const uint64_t* Steps = nullptr;              // RGrainSequencer::kMaxSteps steps
  const RShapeSegments* Transform = nullptr;    // null: no shaping
};

class RGrainCopy {
public:
  static constexpr int32_t kMaxHeld = 64;
  static constexpr int32_t kMaxChannels = 8;
  // Frames a copy plays at once: the bound of its envelope buffer on the stack.
  static constexpr int32_t kMaxFrames = 256;
  // Pan gains below this leave a side of the stereo kernel out.
  static constexpr float kSilentGain = 1e-6f;

  // Delay lines for channels channels and delays up to maxDelay frames. Allocates.
  void Reserve(int32_t channels, int32_t maxDelay);
  // Drops every held grain and both players; the delay lines fall silent.
  void Clear(RGrainPool& pool) noexcept;
  // Forgets the grains without releasing them: for a pool that is being rebuilt.
  void Forget() noexcept;

  // Appends grains (nulls skipped) in order; when the held and new grains together pass
  // grainCount the oldest held go first. Each appended grain gains one reference.
  void Append(RGrain* const* grains, int32_t count, int32_t grainCount, RGrainPool& pool) noexcept;
  int32_t GetHeldCount() const noexcept { return held_; }
  // Holds no grain at all, neither listed, frozen nor playing.
  bool IsIdle() const noexcept { return held_ == 0 && frozenCount_ == 0 && !present_.grain && !tail_.grain; }

  // Freezing takes a copy of the present list, with a reference on each grain, and plays from
  // it alone; the list itself goes on taking new grains. Thawing releases the copy, so the
  // voice plays the present input again at once.
  void SetFrozen(bool frozen, RGrainPool& pool) noexcept;
  bool IsFrozen() const noexcept { return isFrozen_; }
  int32_t GetFrozenCount() const noexcept { return frozenCount_; }
  const RGrain* GetHeld(int32_t index) const noexcept { return list_[index]; }

  // Adds up to kMaxFrames frames of the copy into out (channels channels, at most
  // kMaxChannels); returns false when nothing was playing.
  bool Play(float* const* out, int32_t channels, int32_t frames, const RGrainCopySettings& settings,
            RGrainRandom& random, RGrainPool& pool) noexcept;

  // The delay in frames (glides over the delay line's own travel when it changes). Allocates
  // only when it passes what Reserve made room for.
  void SetDelay(int32_t frames);
  int32_t GetDelay() const noexcept { return delay_; }
  // Runs each channel through its delay line in place.
  void Delay(float* const* buffers, int32_t channels, int32_t frames) noexcept;

  // The copy's fixed random share of the maximum copy delay, drawn at each reset.
  double RandomDelayShare = 0.0;
  RGrainSequencer::Position Sequencer;

  // The grain the copy plays now and its read position, for tests and meters.
  const RGrain* GetPresentGrain() const noexcept { return present_.grain; }
  double GetPresentRate() const noexcept { return present_.rate; }

private:
  struct Player {
    RGrain* grain = nullptr;
    double position = 0.0;  // source frames
    double rate = 1.0;
    float gains[kMaxChannels] = {};
    const RShapeSegments* transform = nullptr;
    RShapeSegments::Cursor cursor;
  };

  // Picks and begins the next grain; false when the list is empty.
  bool StartNext(int32_t channels, const RGrainCopySettings& settings, RGrainRandom& random, RGrainPool& pool) noexcept;
  // Renders frames frames of a player into out at offset and moves it on.
  static void Render(Player& player, float* const* out, int32_t channels, int32_t offset, int32_t frames) noexcept;
  static int32_t FramesUntil(const Player& player, double end) noexcept;

  RGrain* list_[kMaxHeld] = {};
  int32_t held_ = 0;
  RGrain* frozen_[kMaxHeld] = {};
  int32_t frozenCount_ = 0;
  bool isFrozen_ = false;
  Player present_;
  Player tail_;
  uint64_t lastSerial_ = 0;
  bool anyPlayed_ = false;
  RDelayLine lines_[kMaxChannels];
  int32_t lineChannels_ = 0;  // lines made ready by Reserve
  int32_t delay_ = 0;
};
