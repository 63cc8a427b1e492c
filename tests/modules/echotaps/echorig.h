#pragma once
// A standalone echo module for tests: values set before Start take effect without a ramp;
// Run feeds whole signals through the processing cycle in blocks of a chosen size.
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "kernel/timeinfo.h"
#include "modules/echotaps/echotaps.h"
#include "tests/support/everychannel.h"

namespace echotest {

using Channels = std::vector<std::vector<float>>;

inline std::vector<float> Impulse(int32_t length, int32_t at = 0, float value = 1.0f) {
  std::vector<float> signal(static_cast<size_t>(length), 0.0f);
  signal[size_t(at)] = value;
  return signal;
}

inline std::vector<float> Sine(int32_t length, double hertz, double rate, float amplitude = 0.5f) {
  std::vector<float> signal(static_cast<size_t>(length));
  for (int32_t i = 0; i < length; ++i) signal[size_t(i)] = amplitude * float(std::sin(2.0 * M_PI * hertz * i / rate));
  return signal;
}

inline std::vector<float> Noise(int32_t length, uint32_t seed, float amplitude = 0.5f) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> uniform(-amplitude, amplitude);
  std::vector<float> signal(static_cast<size_t>(length));
  for (float& v : signal) v = uniform(random);
  return signal;
}

class REchoRig {
public:
  REchoRig() { module.InitParameters(); }

  void Start(double rate = 48000.0, int32_t channels = 2, int32_t block = 512) {
    rate_ = rate;
    block_ = block;
    channels_ = channels;
    ProcessEveryChannel(module, channels);
    module.SetHostFormat(rate, block, channels);
    module.Setup();
  }

  // Processes in blocks of the rig's size; every block may carry a tempo.
  Channels Run(const Channels& in, double tempo = -1.0) {
    const auto length = int32_t(in[0].size());
    Channels out(in.size(), std::vector<float>(size_t(length), 0.0f));
    std::vector<float*> inputs(in.size()), outputs(in.size());
    std::vector<std::vector<float>> work = in;
    RHostTimeInfo host;
    host.tempo = tempo;
    for (int32_t start = 0; start < length; start += block_) {
      const int32_t n = std::min(block_, length - start);
      for (size_t c = 0; c < in.size(); ++c) {
        inputs[c] = work[c].data() + start;
        outputs[c] = out[c].data() + start;
      }
      module.ProcessCycle(inputs.data(), outputs.data(), n, tempo > 0.0 ? &host : nullptr);
    }
    return out;
  }

  // The same signal on every channel.
  Channels RunMono(const std::vector<float>& signal, double tempo = -1.0) {
    return Run(Channels(size_t(channels_), signal), tempo);
  }

  int32_t Samples(double seconds) const { return int32_t(std::lround(seconds * rate_)); }

  REchoTaps module;

private:
  double rate_ = 48000.0;
  int32_t block_ = 512;
  int32_t channels_ = 2;
};

// A tap that echoes once per time, with the rest of the module quiet: dry 0, the other tap off.
inline void PlainTap(REchoTaps& m, double seconds, double feedback, double gain, int32_t mode = 1) {
  m.Dry().SetValueNow(0.0);
  m.Tap(0).Delay().SetValueNow(seconds);
  m.Tap(0).Feedback().SetValueNow(feedback);
  m.Tap(0).Gain().SetValueNow(gain);
  m.Tap(0).Mode().SetValueNow(mode);
  m.Tap(1).Tap().SetValueNow(0.0);
}

// Positions of samples above threshold in magnitude.
inline std::vector<int32_t> Peaks(const std::vector<float>& signal, float threshold = 1e-4f) {
  std::vector<int32_t> at;
  for (size_t i = 0; i < signal.size(); ++i)
    if (std::fabs(signal[i]) > threshold) at.push_back(int32_t(i));
  return at;
}

} // namespace echotest
