#include "modules/graincloud/grainengine.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr uint32_t kSeed = 1;
constexpr double kMaxPitch = 24.0;

// Seeds that differ per voice, so that four voices with the same settings don't move in step.
uint32_t VoiceSeed(int32_t voice) noexcept { return kSeed + 7919u * uint32_t(voice + 1); }

} // namespace

RGrainCopyCount CountCopies(double copies) noexcept {
  if (!(copies >= 1.0)) copies = 1.0;
  copies = std::min(copies, double(RGrainEngine::kMaxCopies));
  RGrainCopyCount result;
  result.Count = std::clamp(int32_t(std::ceil(copies)), 1, RGrainEngine::kMaxCopies);
  result.LastGain = copies - double(result.Count - 1);
  if (result.Count >= 2 && result.LastGain <= 1e-5) {
    --result.Count;
    result.LastGain = 1.0;
  }
  return result;
}

RGrainCopySettings MakeCopySettings(const RGrainVoiceSettings& voice) noexcept {
  RGrainCopySettings s;
  s.PitchLo = voice.Pitch;
  s.PitchHi = std::min(voice.Pitch + voice.PitchRandom, kMaxPitch);
  s.PanLo = std::max(voice.Pan - voice.PanRandom, -1.0);
  s.PanHi = std::min(voice.Pan + voice.PanRandom, 1.0);
  s.GainLo = voice.GainMin;
  s.GainHi = voice.GainMin + voice.GainRandom;
  s.PitchMode = voice.PitchMode;
  s.SequencerCount = std::clamp(voice.SequencerCount, 1, RGrainSequencer::kMaxSteps);
  s.GrainsPerStep = std::max(voice.GrainsPerStep, 1);
  s.GrainCount = std::clamp(voice.GrainCount, 1, RGrainEngine::kMaxGrainCount);
  return s;
}

bool SyncedGrainSizes(int64_t syncFrames, double crossFade, RGrainSizes& sizes) noexcept {
  if (syncFrames < 2) return false;
  const double half = double(syncFrames / 2);
  const double share = crossFade * 0.5;
  sizes.SizeMin = sizes.SizeMax = int32_t(std::min(half + std::trunc(half * share), 2147483647.0));
  sizes.FadeLength = int32_t(std::trunc(double(sizes.SizeMin) * share));
  return true;
}

RGrainSizes PlainGrainSizes(double sampleRate, double grainSize, double grainSizeRandom, double crossFade) noexcept {
  constexpr double kLimit = 2147483647.0;
  RGrainSizes sizes;
  sizes.SizeMin = int32_t(std::clamp(std::trunc(sampleRate * grainSize), 0.0, kLimit));
  sizes.SizeMax = int32_t(std::clamp(double(sizes.SizeMin) + std::trunc(sampleRate * grainSizeRandom), 0.0, kLimit));
  sizes.FadeLength = int32_t(std::trunc(double(sizes.SizeMin) * 0.5 * std::clamp(crossFade, 0.0, 1.0)));
  return sizes;
}

std::vector<RShapePoint> RGrainEngine::DefaultTransformPoints() {
  RShapePoint start, end;
  start.X = 0.0;
  start.Y = 1.0;
  end.X = 1.0;
  end.Y = 1.0;
  return {start, end};
}

bool RGrainEngine::IsDefaultTransform(const RShape& shape) noexcept {
  const std::vector<RShapePoint>& points = shape.GetPoints();
  if (points.size() != 2 || !shape.PresetName.IsEmpty()) return false;
  for (const RShapePoint& p : points) {
    if (p.Y != 1.0 || p.Curvature != 0.0 || p.CurvatureX != 0.0 || p.Type != kCurveQuartic || p.Flags != 0 ||
        p.SmoothingType != 0)
      return false;
  }
  return points[0].X == 0.0 && points[1].X == 1.0;
}

RGrainEngine::RGrainEngine() {
  const std::vector<RShapePoint> flat = DefaultTransformPoints();
  for (Voice& voice : voices_) {
    for (RShape& shape : voice.Transforms) shape.SetPoints(flat);
  }
  voices_[0].Settings.Enable = true;
  Reset(true);
}

void RGrainEngine::Setup(double sampleRate, int32_t channels) {
  // The grains go back to the pool they came from before it is rebuilt.
  Reset(false);
  sampleRate_ = sampleRate;
  channels_ = std::clamp(channels, 1, RGrainCopy::kMaxChannels);
  const double arena = std::clamp(sampleRate * kArenaSeconds, double(RGrainPool::kPageFrames), 2.0e8);
  pool_.Setup(channels_, int32_t(arena), kGrainRecords);
  for (Voice& voice : voices_) {
    const RGrainVoiceSettings& s = voice.Settings;
    const double longest = std::max(std::max(s.DelayFrames, 0.0) + std::max(s.CopyMaxDelayFrames, 0.0),
                                    sampleRate * kReservedDelaySeconds);
    for (RGrainCopy& copy : voice.Copies) copy.Reserve(channels_, int32_t(std::min(std::ceil(longest), 1.0e8)) + 1);
  }
}

void RGrainEngine::Reset(bool reseed) noexcept {
  cutter_.Reset(pool_);
  if (reseed) random_.Seed(kSeed);
  for (int32_t v = 0; v < kVoices; ++v) {
    Voice& voice = voices_[v];
    if (reseed) voice.Random.Seed(VoiceSeed(v));
    for (RGrainCopy& copy : voice.Copies) {
      copy.Clear(pool_);
      copy.RandomDelayShare = voice.Random.Next();
    }
    voice.Active = false;
  }
}

void RGrainEngine::PrepareVoice(Voice& voice) noexcept {
  const int32_t index = int32_t(&voice - voices_);
  const RGrainVoiceSettings& s = voice.Settings;
  Snapshot& snapshot = snapshots_[index];
  snapshot.Copy = MakeCopySettings(s);
  snapshot.Copy.Steps = voice.Steps;
  const int32_t transform = std::clamp(s.Transformation, 0, kTransforms - 1);
  snapshot.Copy.Transform = IsDefaultTransform(voice.Transforms[transform]) ? nullptr
                                                                              : &voice.Transforms[transform].GetSegments();
  snapshot.Count = CountCopies(s.Copies);
  const int32_t count = snapshot.Count.Count;
  const double spread = std::clamp(s.CopyDelayRand, 0.0, 1.0);
  for (int32_t k = 0; k < count; ++k) {
    RGrainCopy& copy = voice.Copies[k];
    // Copies spread evenly over the longest copy delay, moved towards their own random share.
    const double even = count > 1 ? double(k) / double(count - 1) : 0.0;
    const double share = (1.0 - spread) * even + spread * copy.RandomDelayShare;
    const double frames = std::max(s.DelayFrames, 0.0) + std::max(s.CopyMaxDelayFrames, 0.0) * share;
    copy.SetDelay(int32_t(std::min(std::lround(frames), 100000000L)));
  }
  // Copies that no longer play give their grains back.
  for (int32_t k = count; k < kMaxCopies; ++k) {
    RGrainCopy& copy = voice.Copies[k];
    if (!copy.IsIdle()) copy.Clear(pool_);
  }
}

void RGrainEngine::ProcessVoice(Voice& voice, int32_t offset, int32_t frames, int32_t blockFrames, bool side,
                                float* const* outputs, int32_t outputBuses, int32_t stride, int32_t channels) noexcept {
  const int32_t index = int32_t(&voice - voices_);
  const RGrainVoiceSettings& s = voice.Settings;
  const Snapshot& snapshot = snapshots_[index];
  const int32_t count = snapshot.Count.Count;
  const int32_t bus = std::clamp(s.OutputBus, 0, std::max(outputBuses - 1, 0));
  const double share = side ? std::clamp(s.SideShare, 0.0, 1.0) : 0.0;

  // The squared output level moves linearly over the whole block; copies share it.
  const double from = s.GainStart * s.GainStart, to = s.GainEnd * s.GainEnd;
  const double step = (to - from) / double(blockFrames);
  const double start = from + step * double(offset);

  const int32_t finished = cutter_.GetFinishedCount();
  RGrain* picked[RGrainCutter::kMaxFinished];
  alignas(32) float scratch[RGrainCopy::kMaxChannels][kChunk];
  float* lanes[RGrainCopy::kMaxChannels];
  for (int32_t c = 0; c < channels; ++c) lanes[c] = scratch[c];

  for (int32_t k = 0; k < count; ++k) {
    RGrainCopy& copy = voice.Copies[k];
    copy.SetFrozen(s.Freeze, pool_);
    for (int32_t i = 0; i < finished; ++i) {
      RGrain* main = cutter_.GetFinished(0, i);
      RGrain* sideGrain = side ? cutter_.GetFinished(1, i) : nullptr;
      // A draw of the share or more keeps the main grain.
      const bool fromSide = side && voice.Random.Next() < share;
      picked[i] = fromSide && sideGrain ? sideGrain : main;
    }
    copy.Append(picked, finished, snapshot.Copy.GrainCount, pool_);
    for (int32_t c = 0; c < channels; ++c) std::memset(scratch[c], 0, size_t(frames) * sizeof(float));
    copy.Play(lanes, channels, frames, snapshot.Copy, voice.Random, pool_);
    copy.Delay(lanes, channels, frames);

    const double weight = (k == count - 1 ? snapshot.Count.LastGain : 1.0) / double(count);
    const float g0 = float(start * weight), dg = float(step * weight);
    for (int32_t c = 0; c < channels; ++c) {
      float* out = outputs[bus * stride + c];
      if (!out) continue;
      out += offset;
      const float* x = scratch[c];
      if (dg == 0.0f) {
        for (int32_t i = 0; i < frames; ++i) out[i] += x[i] * g0;
      } else {
        for (int32_t i = 0; i < frames; ++i) out[i] += x[i] * (g0 + dg * float(i));
      }
    }
  }
}

void RGrainEngine::Process(const float* const* main, const float* const* side, float* const* outputs,
                           int32_t outputBuses, int32_t stride, int32_t channels, int32_t frames) noexcept {
  if (frames <= 0 || !outputs) return;
  channels = std::clamp(std::min(channels, channels_), 0, RGrainCopy::kMaxChannels);
  for (int32_t b = 0; b < outputBuses; ++b) {
    for (int32_t c = 0; c < channels; ++c) {
      if (float* out = outputs[b * stride + c]) std::memset(out, 0, size_t(frames) * sizeof(float));
    }
  }
  if (channels == 0) return;

  for (Voice& voice : voices_) {
    if (!voice.Settings.Enable) {
      // A voice that is off holds nothing, so that its grains go back to the pool.
      if (voice.Active) {
        for (RGrainCopy& copy : voice.Copies) copy.Clear(pool_);
      }
      voice.Active = false;
      continue;
    }
    voice.Active = true;
    PrepareVoice(voice);
  }

  const float* mainAt[RGrainCopy::kMaxChannels];
  const float* sideAt[RGrainCopy::kMaxChannels];
  for (int32_t offset = 0; offset < frames; offset += kChunk) {
    const int32_t count = std::min(kChunk, frames - offset);
    for (int32_t c = 0; c < channels; ++c) {
      mainAt[c] = main && main[c] ? main[c] + offset : nullptr;
      sideAt[c] = side && side[c] ? side[c] + offset : nullptr;
    }
    cutter_.Cut(mainAt, side ? sideAt : nullptr, channels, count, pool_, random_);
    for (Voice& voice : voices_) {
      if (voice.Active) ProcessVoice(voice, offset, count, frames, side != nullptr, outputs, outputBuses, stride, channels);
    }
  }
}
