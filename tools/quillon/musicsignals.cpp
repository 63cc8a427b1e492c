#include "tools/quillon/musicsignals.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace quillon_cli {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kStepSeconds = 0.125;  // a sixteenth at 120 bpm
constexpr int32_t kStepsPerBar = 16;

// xorshift32, as the plain noise signal uses: the same pattern on every machine.
class RSeededNoise {
public:
  explicit RSeededNoise(uint32_t seed) : state_(seed ? seed : 1u) {}
  double Next() noexcept {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return double(state_) / 2147483648.0 - 1.0;
  }

private:
  uint32_t state_;
};

// Adds one hit starting at frame `start`, `length` frames long, sample k from voice(k / rate).
template <typename Voice>
void AddHit(std::vector<float>& out, size_t start, double seconds, double rate, Voice voice) {
  const size_t length = size_t(seconds * rate);
  for (size_t k = 0; k < length && start + k < out.size(); ++k) out[start + k] += float(voice(double(k) / rate));
}

// Scales every channel together so that the loudest sample sits at peak.
void Normalise(std::vector<std::vector<float>>& channels, double peak) {
  float loudest = 0.0f;
  for (const auto& channel : channels)
    for (float v : channel) loudest = std::max(loudest, std::fabs(v));
  if (loudest <= 0.0f) return;
  const float scale = float(peak / double(loudest));
  for (auto& channel : channels)
    for (float& v : channel) v *= scale;
}

} // namespace

void RenderDrums(std::vector<std::vector<float>>& channels, double rate, double peak) {
  static constexpr bool kKick[kStepsPerBar] = {1, 0, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0};
  static constexpr bool kSnare[kStepsPerBar] = {0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0};
  const size_t frames = channels.empty() ? 0 : channels[0].size();
  const size_t steps = size_t(double(frames) / rate / kStepSeconds) + 1;
  for (size_t c = 0; c < channels.size(); ++c) {
    std::vector<float>& out = channels[c];
    RSeededNoise noise(0x2545f491u + uint32_t(c) * 0x9e3779b9u);
    // Hats lean right: quieter on the first of two channels.
    const double hatGain = channels.size() > 1 && c == 0 ? 0.6 : 1.0;
    for (size_t step = 0; step < steps; ++step) {
      const size_t start = size_t(std::llround(double(step) * kStepSeconds * rate));
      const int32_t place = int32_t(step % kStepsPerBar);
      if (kKick[place]) {
        // A sine falling from 150 Hz to 50 Hz: the phase is the integral of that frequency.
        AddHit(out, start, 0.4, rate, [](double t) {
          const double phase = kTwoPi * (50.0 * t + 100.0 * 0.03 * (1.0 - std::exp(-t / 0.03)));
          return std::sin(phase) * std::exp(-t / 0.3);
        });
      }
      if (kSnare[place]) {
        AddHit(out, start, 0.25, rate, [&](double t) {
          return 0.5 * std::sin(kTwoPi * 185.0 * t) * std::exp(-t / 0.06) + 0.6 * noise.Next() * std::exp(-t / 0.1);
        });
      }
      if (place % 2 == 0) {
        // Differenced noise: its energy sits in the top octaves, as a closed hat's does.
        double previous = 0.0;
        AddHit(out, start, 0.08, rate, [&](double t) {
          const double x = noise.Next();
          const double y = x - previous;
          previous = x;
          return 0.35 * hatGain * y * std::exp(-t / 0.025);
        });
      }
    }
  }
  Normalise(channels, peak);
}

void RenderChord(std::vector<std::vector<float>>& channels, double rate, double peak) {
  static constexpr double kNotes[] = {220.0, 261.6255653005986, 329.6275569128699, 391.99543598174927};
  static constexpr double kStrikeSeconds = 2.0;
  // Harmonics stop below both the top of hearing's useful band and the rate's limit.
  const double highest = std::min(8000.0, rate * 0.45);
  const size_t frames = channels.empty() ? 0 : channels[0].size();
  const size_t count = channels.size();
  for (size_t n = 0; n < std::size(kNotes); ++n) {
    // Spread from left to right in note order.
    const double pan = count > 1 ? double(n) / double(std::size(kNotes) - 1) : 0.5;
    for (size_t i = 0; i < frames; ++i) {
      const double t = double(i) / rate;
      const double since = std::fmod(t, kStrikeSeconds);
      // A quick attack, a fall to 60%, and a release before the next strike.
      const double envelope = std::min(since / 0.01, 1.0) * (0.6 + 0.4 * std::exp(-since / 0.5)) *
                              std::clamp((kStrikeSeconds - since) / 0.2, 0.0, 1.0);
      double saw = 0.0;
      for (int32_t k = 1; double(k) * kNotes[n] < highest; ++k) saw += std::sin(kTwoPi * kNotes[n] * k * t) / k;
      const double note = envelope * saw;
      for (size_t c = 0; c < count; ++c) {
        const double gain = count > 1 ? (c == 0 ? 1.0 - 0.6 * pan : 0.4 + 0.6 * pan) : 1.0;
        channels[c][i] += float(gain * note);
      }
    }
  }
  Normalise(channels, peak);
}

} // namespace quillon_cli
