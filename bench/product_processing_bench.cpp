// Cost of the product's processing per stereo frame at 48 kHz, block 512, as a host plays it:
// the command line's host around the product, generated drums on the main input and a chord on
// the side chain. Three cases: the default state as it stands; every path engaged (delays with
// feedback, rate reduction, frequency shift, grains, the master stages driven) with the morph
// automated in a slow triangle; and the instance asleep on silence. Besides "per_frame", each
// reports the real-time factor and the share of one core it takes.
#include <time.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/modules/modulebench.h"
#include "kernel/audioplugin.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/offlinehost.h"
#include "tools/quillon/product.h"
#include "tools/quillon/signals.h"

namespace {

using namespace modulebench;
using quillon_cli::ROfflineHost;

// Four bars at 120 bpm: the music loops without a seam.
constexpr double kMusicSeconds = 8.0;
// Long enough for delays to fill, grains to start and gain stages to settle before timing.
constexpr int32_t kWarmUpBlocks = 200;
// A silent product sleeps after two seconds and its tail; a minute is far beyond both.
constexpr int32_t kMaxBlocksToSleep = int32_t(60.0 * kRate / kBlock);
// A round trip of the morph takes 400 blocks, about 4.3 s: a hand on a knob or a slow LFO.
constexpr int64_t kMorphHalfPeriod = 200;

// The music, made once for every benchmark: synthesising it takes longer than most runs.
struct RMusicData {
  RMusicData() {
    quillon_cli::RSignalSpec spec;
    spec.seconds = kMusicSeconds;
    spec.kind = quillon_cli::RSignalSpec::kDrums;
    main = quillon_cli::GenerateSignal(spec, kRate);
    spec.kind = quillon_cli::RSignalSpec::kChord;
    sidechain = quillon_cli::GenerateSignal(spec, kRate);
  }
  quillon_cli::RAudioData main;
  quillon_cli::RAudioData sidechain;
};

// The music, looped block by block into the host's input buffers.
class RMusic {
public:
  RMusic() {
    static const RMusicData music;
    music_ = &music;
  }

  // Copies the next block into main (two channels) and sidechain (two channels); copying 4 KB
  // costs well under a microsecond, against the product's tens of them per block.
  void Next(float* const* main, float* const* sidechain) {
    if (position_ + kBlock > music_->main.GetFrameCount()) position_ = 0;
    for (size_t c = 0; c < 2; ++c) {
      std::copy_n(music_->main.channels[c].begin() + position_, kBlock, main[c]);
      std::copy_n(music_->sidechain.channels[c].begin() + position_, kBlock, sidechain[c]);
    }
    position_ += kBlock;
  }

private:
  const RMusicData* music_ = nullptr;
  int64_t position_ = 0;
};

// The product as a host holds it: stereo main bus and side chain, 48 kHz, block 512.
class RProductRun {
public:
  RProductRun() : host_(std::make_unique<ROfflineHost>(quillon_cli::CreateProductPlugin())) {
    ROfflineHost::Format format;
    format.rate = kRate;
    format.block = kBlock;
    format.channels = 2;
    format.sidechain = true;
    host_->Prepare(format);
    RAudioPlugin& plugin = host_->GetPlugin();
    const int32_t stride = plugin.GetHostChannels();
    buffers_.assign(size_t(stride * 3), std::vector<float>(size_t(kBlock), 0.0f));
    inputs_.assign(size_t(stride * 2), nullptr);
    for (int32_t c = 0; c < 2; ++c) {
      inputs_[size_t(c)] = buffers_[size_t(c)].data();
      inputs_[size_t(stride + c)] = buffers_[size_t(stride + c)].data();
    }
    for (int32_t c = 0; c < stride; ++c) outputs_.push_back(buffers_[size_t(2 * stride + c)].data());
  }

  RAudioPlugin& Plugin() { return host_->GetPlugin(); }

  // A host parameter by its name at a normalised value, as a host sets it before playback.
  // Returns what went wrong, or an empty text.
  std::string Set(const std::string& name, double normalised) {
    try {
      host_->SetParameter(name + "=@" + std::to_string(normalised));
      return {};
    } catch (const quillon_cli::CommandError& e) {
      return e.what();
    }
  }

  // The index of a host parameter, or -1.
  int32_t Find(const std::string& name) {
    try {
      return host_->FindParameter(name);
    } catch (const quillon_cli::CommandError&) {
      return -1;
    }
  }

  // One block of music through the host's whole process call.
  void PlayMusic() {
    music_.Next(inputs_.data(), inputs_.data() + Plugin().GetHostChannels());
    Process();
  }

  // What a host does between blocks on its own thread, so untimed: slot switches that the
  // last block moved take effect, and a new factor is set up.
  void Idle() { Plugin().DeliverPendingChanges(); }

  // One block of silence on both buses.
  void PlaySilence() {
    for (float* input : inputs_)
      if (input) std::fill_n(input, kBlock, 0.0f);
    Process();
  }

private:
  void Process() {
    host_->ProcessAudio(inputs_.data(), outputs_.data(), kBlock, nullptr);
    benchmark::DoNotOptimize(outputs_[0]);
  }

  std::unique_ptr<ROfflineHost> host_;
  RMusic music_;
  std::vector<std::vector<float>> buffers_;  // inputs, side chain, outputs, a stride each
  std::vector<float*> inputs_;
  std::vector<float*> outputs_;
};

double ThreadCPUSeconds() noexcept {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

// Runs `playBlock` once per iteration and counts "per_frame" and, as plain numbers, how many
// seconds of audio one second of CPU renders ("realtime_factor") and the percentage of one
// core that real-time playback takes ("core_percent"), from this thread's CPU clock.
template <typename PlayBlock>
void RunTimed(benchmark::State& state, PlayBlock&& playBlock) {
  const double started = ThreadCPUSeconds();
  for (auto _ : state) playBlock();
  const double cpuSeconds = std::max(ThreadCPUSeconds() - started, 1e-9);
  CountPerFrame(state);
  const double audioSeconds = double(state.iterations()) * double(kBlock) / kRate;
  state.counters["realtime_factor"] = audioSeconds / cpuSeconds;
  state.counters["core_percent"] = 100.0 * cpuSeconds / audioSeconds;
}

void BM_Product_DefaultState(benchmark::State& state) {
  RProductRun run;
  for (int32_t i = 0; i < kWarmUpBlocks; ++i) {
    run.PlayMusic();
    run.Idle();
  }
  RunTimed(state, [&] { run.PlayMusic(); });
}
BENCHMARK(BM_Product_DefaultState);

// The default state oversampled: the factor's item (1 is 2x, 7 is 8x) and the filters' quality.
void BM_Product_DefaultStateOversampled(benchmark::State& state) {
  RProductRun run;
  const int32_t index = int32_t(state.range(0));
  const double item = (double(index) + 0.5) / 8.0;
  std::string error = run.Set("Oversampling (normal)", item);
  if (error.empty()) error = run.Set("HQ oversampling", state.range(1) ? 1.0 : 0.0);
  if (!error.empty()) {
    state.SkipWithError(error.c_str());
    return;
  }
  run.Idle();
  if (run.Plugin().GetOversampling() != index + 1) {
    state.SkipWithError("the factor was not taken");
    return;
  }
  for (int32_t i = 0; i < kWarmUpBlocks; ++i) {
    run.PlayMusic();
    run.Idle();
  }
  RunTimed(state, [&] { run.PlayMusic(); });
}
BENCHMARK(BM_Product_DefaultStateOversampled)->ArgNames({"item", "hq"})->Args({1, 1})->Args({1, 0})->Args({7, 1})->Args({7, 0});

// Every stage of both paths and of the master chain at work, as a user who turns everything up
// hears it, with the morph moving so that the bit blend crossfades in every block.
void BM_Product_EveryPathEngaged(benchmark::State& state) {
  RProductRun run;
  const std::pair<const char*, double> settings[] = {
      {"A Delay Time", 0.4}, {"B Delay Time", 0.4}, {"A Feed", 0.5},  {"B Feed", 0.5},  {"A Rate", 0.6},
      {"B Rate", 0.6},       {"A Shift", 0.75},     {"B Shift", 0.3}, {"A Error", 0.6}, {"B Error", 0.6},
      {"Press", 0.7},        {"Heat", 0.7},         {"Clip", 0.7},
  };
  for (const auto& [name, normalised] : settings) {
    const std::string error = run.Set(name, normalised);
    if (!error.empty()) {
      state.SkipWithError(("the product has no such setting: " + error).c_str());
      return;
    }
  }
  const int32_t morph = run.Find("Morph");
  if (morph < 0) {
    state.SkipWithError("the product has no parameter 'Morph'");
    return;
  }
  // A triangle from 0 to 1 and back, one step at the start of every block, as a host's
  // automation lane sends it.
  int64_t index = 0;
  auto nextBlock = [&] {
    const int64_t phase = index++ % (2 * kMorphHalfPeriod);
    const double position = double(phase < kMorphHalfPeriod ? phase : 2 * kMorphHalfPeriod - phase) /
                            double(kMorphHalfPeriod);
    run.Plugin().ScheduleAutomationEvent(0, morph, position);
    run.PlayMusic();
  };
  for (int32_t i = 0; i < kWarmUpBlocks; ++i) {
    nextBlock();
    run.Idle();
  }
  RunTimed(state, nextBlock);
}
BENCHMARK(BM_Product_EveryPathEngaged);

// An instance on a silent track: after the music stops it plays silence until it sleeps, then
// every block costs only the sleeping check and the clock.
void BM_Product_AsleepOnSilence(benchmark::State& state) {
  RProductRun run;
  for (int32_t i = 0; i < kWarmUpBlocks; ++i) {
    run.PlayMusic();
    run.Idle();
  }
  for (int32_t i = 0; i < kMaxBlocksToSleep && !run.Plugin().IsAsleep(); ++i) run.PlaySilence();
  if (!run.Plugin().IsAsleep()) {
    state.SkipWithError("the product did not fall asleep within a minute of silence");
    return;
  }
  RunTimed(state, [&] { run.PlaySilence(); });
  if (!run.Plugin().IsAsleep()) state.SkipWithError("the product woke up on silence");
}
BENCHMARK(BM_Product_AsleepOnSilence);

} // namespace
