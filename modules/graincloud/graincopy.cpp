#include "modules/graincloud/graincopy.h"

#include <algorithm>
#include <cmath>

#include "modules/graincloud/grainkernels.h"

void RGrainCopy::Reserve(int32_t channels, int32_t maxDelay) {
  lineChannels_ = std::clamp(channels, 0, kMaxChannels);
  if (maxDelay <= 0) return;
  for (int32_t c = 0; c < lineChannels_; ++c) lines_[c].Reserve(maxDelay);
}

void RGrainCopy::Clear(RGrainPool& pool) noexcept {
  for (int32_t i = 0; i < held_; ++i) pool.Release(list_[i]);
  for (int32_t i = 0; i < frozenCount_; ++i) pool.Release(frozen_[i]);
  pool.Release(present_.grain);
  pool.Release(tail_.grain);
  Forget();
  for (RDelayLine& line : lines_) line.Clear();
}

void RGrainCopy::Forget() noexcept {
  for (RGrain*& grain : list_) grain = nullptr;
  held_ = 0;
  for (RGrain*& grain : frozen_) grain = nullptr;
  frozenCount_ = 0;
  isFrozen_ = false;
  present_ = Player{};
  tail_ = Player{};
  lastSerial_ = 0;
  anyPlayed_ = false;
  Sequencer = RGrainSequencer::Position{};
}

void RGrainCopy::Append(RGrain* const* grains, int32_t count, int32_t grainCount, RGrainPool& pool) noexcept {
  grainCount = std::clamp(grainCount, 1, kMaxHeld);
  RGrain* fresh[kMaxHeld];
  int32_t freshCount = 0;
  // Only the newest grainCount of the new grains can stay.
  for (int32_t i = count - 1; i >= 0 && freshCount < grainCount; --i) {
    if (grains[i]) fresh[freshCount++] = grains[i];
  }
  const int32_t drop = std::clamp(held_ + freshCount - grainCount, 0, held_);
  for (int32_t i = 0; i < drop; ++i) pool.Release(list_[i]);
  std::move(list_ + drop, list_ + held_, list_);
  held_ -= drop;
  for (int32_t i = freshCount - 1; i >= 0; --i) {
    pool.AddReference(fresh[i]);
    list_[held_++] = fresh[i];
  }
}

void RGrainCopy::SetFrozen(bool frozen, RGrainPool& pool) noexcept {
  if (frozen == isFrozen_) return;
  isFrozen_ = frozen;
  if (frozen) {
    for (int32_t i = 0; i < held_; ++i) {
      pool.AddReference(list_[i]);
      frozen_[i] = list_[i];
    }
    frozenCount_ = held_;
    return;
  }
  for (int32_t i = 0; i < frozenCount_; ++i) {
    pool.Release(frozen_[i]);
    frozen_[i] = nullptr;
  }
  frozenCount_ = 0;
}

bool RGrainCopy::StartNext(int32_t channels, const RGrainCopySettings& settings, RGrainRandom& random,
                           RGrainPool& pool) noexcept {
  RGrain* const* list = isFrozen_ ? frozen_ : list_;
  const int32_t held = isFrozen_ ? frozenCount_ : held_;
  if (held == 0) return false;
  RGrain* next = anyPlayed_ ? nullptr : list[0];
  for (int32_t i = 0; i < held && !next; ++i) {
    if (list[i]->Serial > lastSerial_) next = list[i];
  }
  if (!next) next = list[std::min(int32_t(random.Next() * held), held - 1)];

  const int32_t step = Sequencer.Next(settings.SequencerCount, settings.GrainsPerStep);
  const uint64_t notes = settings.Steps ? settings.Steps[step] : 0;
  const double pitch = RGrainSequencer::ChoosePitch(notes, settings.PitchMode, settings.PitchLo, settings.PitchHi, random);
  const double pan = random.Between(settings.PanLo, settings.PanHi);
  const double gain = random.Between(settings.GainLo, settings.GainHi);

  pool.AddReference(next);
  present_ = Player{};
  present_.grain = next;
  present_.rate = std::exp2(pitch / 12.0);
  present_.transform = settings.Transform;
  for (int32_t c = 0; c < kMaxChannels; ++c) present_.gains[c] = float(gain);
  if (channels == 2) {
    // Balance: the centre keeps both sides whole, a side turns the other one down.
    present_.gains[0] = float(gain * std::min(1.0, 1.0 - pan));
    present_.gains[1] = float(gain * std::min(1.0, 1.0 + pan));
  }
  lastSerial_ = next->Serial;
  anyPlayed_ = true;
  return true;
}

int32_t RGrainCopy::FramesUntil(const Player& player, double end) noexcept {
  const double remaining = end - player.position;
  if (!(remaining > 0.0)) return 0;
  auto frames = int32_t(std::min(std::ceil(remaining / player.rate), double(kMaxFrames) + 1.0));
  while (frames > 1 && player.position + double(frames - 1) * player.rate >= end) --frames;
  while (frames <= kMaxFrames && player.position + double(frames) * player.rate < end) ++frames;
  return frames;
}

void RGrainCopy::Render(Player& player, float* const* out, int32_t channels, int32_t offset, int32_t frames) noexcept {
  const RGrain& grain = *player.grain;
  const double length = grain.Length;
  alignas(32) float envelope[kMaxFrames];
  if (player.transform) {
    player.transform->EvaluateBlock(envelope, player.position / length, player.rate / length, frames, player.cursor);
  } else {
    std::fill(envelope, envelope + frames, 1.0f);
  }
  const double fade = grain.FadeLength;
  // Most of a grain lies between its fades: only a run that touches one needs the weights.
  const double lastPosition = player.position + double(frames - 1) * player.rate;
  if (fade > 0.0 && (player.position < fade || lastPosition > length - fade)) {
    for (int32_t i = 0; i < frames; ++i) {
      const double p = player.position + double(i) * player.rate;
      const double edge = std::min(p, length - p);
      if (edge < fade) envelope[i] *= float(std::max(edge, 0.0) / fade);
    }
  }
  const bool stereo = channels == 2 && grain.Channels >= 2 && player.gains[0] > kSilentGain &&
                      player.gains[1] > kSilentGain;
  if (stereo) {
    RGrainKernels::AddStereo(grain.Channel(0), grain.Channel(1), grain.Length, player.position, player.rate, envelope,
                             player.gains[0], player.gains[1], out[0] + offset, out[1] + offset, frames);
  } else {
    for (int32_t c = 0; c < channels; ++c) {
      if (!(player.gains[c] > kSilentGain)) continue;
      const int32_t source = std::min(c, grain.Channels - 1);
      RGrainKernels::AddMono(grain.Channel(source), grain.Length, player.position, player.rate, envelope,
                             player.gains[c], out[c] + offset, frames);
    }
  }
  player.position += double(frames) * player.rate;
}

bool RGrainCopy::Play(float* const* out, int32_t channels, int32_t frames, const RGrainCopySettings& settings,
                      RGrainRandom& random, RGrainPool& pool) noexcept {
  frames = std::min(frames, kMaxFrames);
  channels = std::clamp(channels, 0, kMaxChannels);
  bool played = false;
  int32_t done = 0;
  while (done < frames) {
    if (!present_.grain && !StartNext(channels, settings, random, pool)) {
      // Nothing to begin: only the tail plays out.
      if (tail_.grain) {
        const int32_t count = std::min(frames - done, FramesUntil(tail_, tail_.grain->Length));
        if (count > 0) {
          Render(tail_, out, channels, done, count);
          played = true;
        }
        if (FramesUntil(tail_, tail_.grain->Length) == 0) {
          pool.Release(tail_.grain);
          tail_ = Player{};
        }
      }
      break;
    }
    const RGrain& grain = *present_.grain;
    const double boundary = double(grain.Length - grain.FadeLength);
    const int32_t count = std::min(frames - done, FramesUntil(present_, boundary));
    if (count == 0) {
      // The present grain reaches its fade: it plays on as the tail while the next begins.
      pool.Release(tail_.grain);
      tail_ = present_;
      present_ = Player{};
      continue;
    }
    Render(present_, out, channels, done, count);
    if (tail_.grain) {
      const int32_t tailCount = std::min(count, FramesUntil(tail_, tail_.grain->Length));
      if (tailCount > 0) Render(tail_, out, channels, done, tailCount);
      if (FramesUntil(tail_, tail_.grain->Length) == 0) {
        pool.Release(tail_.grain);
        tail_ = Player{};
      }
    }
    done += count;
    played = true;
  }
  return played;
}

void RGrainCopy::SetDelay(int32_t frames) {
  frames = std::max(frames, 0);
  if (frames == delay_) return;
  delay_ = frames;
  for (int32_t c = 0; c < lineChannels_; ++c) lines_[c].SetDelay(frames);
}

void RGrainCopy::Delay(float* const* buffers, int32_t channels, int32_t frames) noexcept {
  for (int32_t c = 0; c < std::min(channels, lineChannels_); ++c) {
    if (delay_ > 0 || lines_[c].IsGliding()) lines_[c].Process(buffers[c], buffers[c], frames);
  }
}
