// Test signals for rendering without an input file.

#include "tools/quillon/signals.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <numbers>
#include <vector>

#include "tools/quillon/commands.h"
#include "tools/quillon/musicsignals.h"

namespace quillon_cli {
namespace {

constexpr double kLevel = 0.5;  // -6 dBFS: room for a plug-in that adds gain
constexpr double kSweepLow = 20.0;
constexpr double kSweepHigh = 20000.0;
// An hour at 192 kHz is about 700 million frames per channel: beyond that a typo is likelier.
constexpr double kMaxSeconds = 3600.0;

std::vector<std::string> SplitColons(const std::string& text) {
  std::vector<std::string> parts;
  std::string::size_type start = 0;
  for (;;) {
    std::string::size_type colon = text.find(':', start);
    parts.push_back(text.substr(start, colon == std::string::npos ? std::string::npos : colon - start));
    if (colon == std::string::npos) break;
    start = colon + 1;
  }
  return parts;
}

double ParsePositive(const std::string& text, const std::string& signal, const char* what) {
  char* end = nullptr;
  double number = text.empty() ? 0.0 : std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !std::isfinite(number) || number <= 0.0) {
    throw CommandError("signal '" + signal + "': " + what + " '" + text + "' is not a positive number");
  }
  return number;
}

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

// A small seeded generator (xorshift32): the same noise on every machine and every run.
class RNoise {
public:
  explicit RNoise(uint32_t seed) : state_(seed ? seed : 1u) {}
  double Next() noexcept {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return double(state_) / 2147483648.0 - 1.0;
  }

private:
  uint32_t state_;
};

} // namespace

RSignalSpec ParseSignal(const std::string& text) {
  std::vector<std::string> parts = SplitColons(text);
  RSignalSpec spec;
  const std::string& name = parts[0];
  size_t next = 1;
  if (name == "silence") {
    spec.kind = RSignalSpec::kSilence;
  } else if (name == "sine") {
    spec.kind = RSignalSpec::kSine;
    if (parts.size() > 1) spec.hz = ParsePositive(parts[next++], text, "frequency");
  } else if (name == "noise") {
    spec.kind = RSignalSpec::kNoise;
  } else if (name == "sweep") {
    spec.kind = RSignalSpec::kSweep;
  } else if (name == "impulse") {
    spec.kind = RSignalSpec::kImpulse;
  } else if (name == "drums") {
    spec.kind = RSignalSpec::kDrums;
  } else if (name == "chord") {
    spec.kind = RSignalSpec::kChord;
  } else {
    throw CommandError("unknown signal '" + text +
                       "' (silence, sine:HZ, noise, sweep, impulse, drums or chord, with :SECONDS)");
  }
  if (next < parts.size()) spec.seconds = ParsePositive(parts[next++], text, "length in seconds");
  if (next < parts.size()) throw CommandError("signal '" + text + "': too many fields");
  if (spec.seconds > kMaxSeconds) throw CommandError("signal '" + text + "': longer than an hour");
  return spec;
}

RAudioData GenerateSignal(const RSignalSpec& spec, double rate, int32_t channels) {
  if (!(rate >= 1.0) || rate > 1e6) throw CommandError("sample rate " + Number(rate) + " is out of range");
  if (spec.kind == RSignalSpec::kSine && spec.hz >= rate * 0.5) {
    throw CommandError("a sine of " + Number(spec.hz) + " Hz is at or above half the sample rate");
  }
  if (spec.kind == RSignalSpec::kSweep && rate * 0.45 <= kSweepLow * 2.0) {
    throw CommandError("a sweep needs a sample rate of at least 100 Hz");
  }
  RAudioData audio;
  audio.rate = rate;
  audio.format = RSampleFormat::kFloat;
  const size_t frames = size_t(std::llround(spec.seconds * rate));
  audio.channels.assign(size_t(channels), std::vector<float>(frames, 0.0f));

  if (spec.kind == RSignalSpec::kDrums) {
    RenderDrums(audio.channels, rate, kLevel);
    return audio;
  }
  if (spec.kind == RSignalSpec::kChord) {
    RenderChord(audio.channels, rate, kLevel);
    return audio;
  }
  const double twoPi = 2.0 * std::numbers::pi;
  for (int32_t c = 0; c < channels; ++c) {
    std::vector<float>& out = audio.channels[size_t(c)];
    switch (spec.kind) {
      case RSignalSpec::kSilence:
        break;
      case RSignalSpec::kSine:
        for (size_t i = 0; i < frames; ++i) out[i] = float(kLevel * std::sin(twoPi * spec.hz * double(i) / rate));
        break;
      case RSignalSpec::kNoise: {
        RNoise noise(0x51ed270bu + uint32_t(c) * 0x9e3779b9u);
        for (size_t i = 0; i < frames; ++i) out[i] = float(kLevel * noise.Next());
        break;
      }
      case RSignalSpec::kSweep: {
        // Exponential sweep: the phase is the integral of f(t) = low * (high/low)^(t/T).
        const double high = std::min(kSweepHigh, rate * 0.45);
        const double duration = double(frames) / rate;
        const double k = std::log(high / kSweepLow);
        for (size_t i = 0; i < frames; ++i) {
          const double t = double(i) / rate;
          const double phase = twoPi * kSweepLow * duration / k * (std::exp(k * t / duration) - 1.0);
          out[i] = float(kLevel * std::sin(phase));
        }
        break;
      }
      case RSignalSpec::kImpulse:
        if (frames > 0) out[0] = 1.0f;
        break;
      case RSignalSpec::kDrums:
      case RSignalSpec::kChord:
        break;
    }
  }
  return audio;
}

} // namespace quillon_cli
