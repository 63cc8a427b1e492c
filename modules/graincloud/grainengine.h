#pragma once
// RGrainEngine: the grain engine of a GrainCloud, a record the module holds. It owns the grain
// pool, the cutter of both input buses and four voices of up to twenty copies each, and runs
// the block: cut the input, hand each voice's copies the finished grains (from the main input
// or, by a draw against the voice's side-chain share, from the side chain), play every copy
// into scratch on the stack, delay it and add it with its gain into the voice's output bus.
//
// The module turns its parameters into the plain settings below once per block; the engine
// knows no parameter objects, so tests and benchmarks drive it directly.
//
// Threads: Setup allocates (under the audio lock); Reset, SetSizes and Process are
// [audio-thread], allocation-free and noexcept (a delay that grows past what Setup reserved
// is the delay line's one allocation, on a parameter change).

#include <cstdint>
#include <vector>

#include "modulation/shape.h"
#include "modules/graincloud/graincopy.h"
#include "modules/graincloud/graincutter.h"
#include "modules/graincloud/grainpool.h"
#include "modules/graincloud/grainrandom.h"

// One voice's parameters for a block, in processing units.
struct RGrainVoiceSettings {
  bool Enable = false;
  bool Freeze = false;
  double GainStart = 1.0;  // "Output" at the block's start and end; each copy gets it squared
  double GainEnd = 1.0;
  double DelayFrames = 0.0;
  double CopyMaxDelayFrames = 0.0;
  double CopyDelayRand = 0.0;
  int32_t GrainCount = 4;
  double SideShare = 0.0;
  double Pitch = 0.0;
  double PitchRandom = 0.0;
  int32_t PitchMode = 0;
  int32_t SequencerCount = 1;
  int32_t GrainsPerStep = 1;
  double Pan = 0.0;
  double PanRandom = 0.0;
  double Copies = 1.0;
  double GainMin = 1.0;
  double GainRandom = 0.0;
  int32_t OutputBus = 0;  // 0-based; the highest bus there is when beyond
  int32_t Transformation = 0;
};

// How many copies play and the gain of the last: ceil(copies) up to 20, the last one at the
// fractional rest, except that a rest of 1e-5 or less above a whole count of 2 or more is no
// copy at all.
struct RGrainCopyCount {
  int32_t Count = 1;
  double LastGain = 1.0;
};
RGrainCopyCount CountCopies(double copies) noexcept;

// The ranges a voice's copies draw from: pitch Pitch .. min(Pitch + PitchRandom, 24), panorama
// max(Pan - PanRandom, -1) .. min(Pan + PanRandom, 1), gain GainMin .. GainMin + GainRandom.
// Steps and transformation are left for the engine to point at.
RGrainCopySettings MakeCopySettings(const RGrainVoiceSettings& voice) noexcept;

// Grain sizes from a tempo-synced length (frames; below 2 gives nothing) with the cross-fade
// share, and from the plain time values.
bool SyncedGrainSizes(int64_t syncFrames, double crossFade, RGrainSizes& sizes) noexcept;
RGrainSizes PlainGrainSizes(double sampleRate, double grainSize, double grainSizeRandom, double crossFade) noexcept;

class RGrainEngine {
public:
  static constexpr int32_t kVoices = 4;
  static constexpr int32_t kMaxCopies = 20;
  static constexpr int32_t kMaxGrainCount = 32;
  static constexpr int32_t kTransforms = 16;
  // The block is played in stretches of this many frames: the bound of the stack scratch.
  static constexpr int32_t kChunk = RGrainCopy::kMaxFrames;
  // Audio the pool holds per channel, in seconds of the sample rate: 32 held grains of 50 ms
  // in each of four frozen voices and the live lists fit several times over.
  static constexpr double kArenaSeconds = 8.0;
  // Every copy's delay lines get room for at least this much at Setup, so that short delays
  // set later never allocate (160 lines of 4096 frames at 48 kHz).
  static constexpr double kReservedDelaySeconds = 0.05;
  static constexpr int32_t kGrainRecords = 2048;

  struct Voice {
    RGrainVoiceSettings Settings;
    uint64_t Steps[RGrainSequencer::kMaxSteps] = {};
    RShape Transforms[kTransforms];
    RGrainRandom Random;
    RGrainCopy Copies[kMaxCopies];
    bool Active = false;  // enabled in the last block
  };

  RGrainEngine();

  // A transformation that leaves grains as cut: a flat line at 1.
  static std::vector<RShapePoint> DefaultTransformPoints();
  static bool IsDefaultTransform(const RShape& shape) noexcept;

  // Sizes the pool and the copies' delay lines for the rate and channel count; drops every
  // grain. Delay lines get room for each voice's present Delay plus CopyMaxDelay, and at least
  // kReservedDelaySeconds.
  void Setup(double sampleRate, int32_t channels);
  // Drops every grain and clears every delay line; with reseed the generators start over.
  void Reset(bool reseed) noexcept;
  void SetSizes(const RGrainSizes& sizes) noexcept { cutter_.SetSizes(sizes, random_); }

  // One block: main (channels channels, null channels silent), side (null: no side chain),
  // outputs as outputBuses buses of stride pointers each, of which the first channels are
  // written. Every written output channel is cleared first.
  void Process(const float* const* main, const float* const* side, float* const* outputs, int32_t outputBuses,
               int32_t stride, int32_t channels, int32_t frames) noexcept;

  Voice& GetVoice(int32_t index) noexcept { return voices_[index]; }
  const Voice& GetVoice(int32_t index) const noexcept { return voices_[index]; }
  RGrainPool& GetPool() noexcept { return pool_; }
  const RGrainCutter& GetCutter() const noexcept { return cutter_; }
  int32_t GetChannels() const noexcept { return channels_; }

private:
  void PrepareVoice(Voice& voice) noexcept;
  void ProcessVoice(Voice& voice, int32_t offset, int32_t frames, int32_t blockFrames, bool side,
                    float* const* outputs, int32_t outputBuses, int32_t stride, int32_t channels) noexcept;

  RGrainPool pool_;
  RGrainCutter cutter_;
  RGrainRandom random_;
  Voice voices_[kVoices];
  double sampleRate_ = 0.0;
  int32_t channels_ = 0;

  // The present block's snapshot per voice.
  struct Snapshot {
    RGrainCopySettings Copy;
    RGrainCopyCount Count;
  };
  Snapshot snapshots_[kVoices];
};
