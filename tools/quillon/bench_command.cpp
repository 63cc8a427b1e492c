// quillon bench [--seconds N] [--state FILE] [--set NAME=VALUE ...] [--block N] [--rate HZ]
// The product's cost on music: generated drums on the main input and a chord on the side
// chain, processed block by block as a host plays them, timed on the processing thread's CPU
// clock around the plug-in's process calls only (signal generation and copies don't count).
// Prints the cost per stereo frame, the share of one core, and ends with the real-time factor.

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "tools/quillon/audiofile.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/offlinehost.h"
#include "tools/quillon/progress.h"
#include "tools/quillon/signals.h"

namespace quillon_cli {
namespace {

constexpr double kDefaultSeconds = 10.0;
constexpr double kMaxSeconds = 3600.0;
// Four bars at 120 bpm: whole bars of the drums and whole strokes of the chord (every 2 s),
// so that pieces of this length follow one another without a seam in the music. Playing the
// signal in such pieces keeps an hour's benchmark at a few megabytes.
constexpr double kPieceSeconds = 8.0;

struct BenchOptions {
  std::string seconds;
  HostOptions host;
  int32_t block = 512;
  double rate = 48000.0;
};

double ParseSeconds(const std::string& text) {
  if (text.empty()) return kDefaultSeconds;
  char* end = nullptr;
  const double seconds = std::strtod(text.c_str(), &end);
  if (*end != '\0' || !std::isfinite(seconds) || seconds <= 0.0 || seconds > kMaxSeconds) {
    throw CommandError("--seconds takes a number of seconds above 0 and up to 3600, not '" + text + "'");
  }
  return seconds;
}

struct RPiece {
  RAudioData main;
  RAudioData sidechain;
};

RPiece MakePiece(double seconds, double rate) {
  RSignalSpec drums;
  drums.kind = RSignalSpec::kDrums;
  drums.seconds = seconds;
  RSignalSpec chord = drums;
  chord.kind = RSignalSpec::kChord;
  return {GenerateSignal(drums, rate), GenerateSignal(chord, rate)};
}

void RunBench(const BenchOptions& options) {
  const double seconds = ParseSeconds(options.seconds);
  // Generated first: a bad rate is refused before the plug-in is built.
  const RPiece piece = MakePiece(std::min(seconds, kPieceSeconds), options.rate);
  const int64_t totalFrames = std::llround(seconds * options.rate);
  if (totalFrames < 1) {
    throw CommandError("--seconds " + options.seconds + " is shorter than one frame at " +
                       std::to_string(std::lround(options.rate)) + " Hz");
  }

  std::unique_ptr<ROfflineHost> host = OpenHost();
  ROfflineHost::Format format;
  format.rate = options.rate;
  format.block = options.block;
  format.channels = piece.main.GetChannelCount();
  format.sidechain = true;
  host->Prepare(format);
  ApplyHostOptions(*host, options.host);

  RProgressBar silent(false);
  RProcessTimer timer;
  int64_t frames = 0;
  while (frames < totalFrames) {
    const int64_t left = totalFrames - frames;
    if (left >= piece.main.GetFrameCount()) {
      host->Render(piece.main, &piece.sidechain, true, silent, timer);
      frames += piece.main.GetFrameCount();
    } else {
      // The last, shorter piece: the start of the same music.
      const RPiece last = MakePiece(double(left) / options.rate, options.rate);
      host->Render(last.main, &last.sidechain, true, silent, timer);
      frames += last.main.GetFrameCount();
    }
  }

  const double audioSeconds = double(frames) / options.rate;
  const double cpuSeconds = timer.GetSeconds();
  std::printf("bench: %.3f s of drums on the main input and a chord on the side chain, %.0f Hz stereo, "
              "block %d, through %s\n",
              audioSeconds, options.rate, options.block, host->GetDisplayName().c_str());
  std::printf("processing: %.6f s of CPU time, %.1f ns per stereo frame, %.3f%% of one core\n", cpuSeconds,
              cpuSeconds * 1e9 / double(frames), cpuSeconds / audioSeconds * 100.0);
  std::printf("%s\n", FormatRealTimeFactor(audioSeconds, cpuSeconds).c_str());
  std::fflush(stdout);
}

} // namespace

void AddBenchCommand(CLI::App& app) {
  auto options = std::make_shared<BenchOptions>();
  CLI::App* bench = app.add_subcommand("bench", "Measure the plug-in's processing cost on generated music and "
                                                "print its real-time factor");
  bench->add_option("--seconds", options->seconds, "Length of music to process (default 10)");
  AddHostOptions(*bench, options->host);
  bench->add_option("--block", options->block, "Host block size")->capture_default_str();
  bench->add_option("--rate", options->rate, "Sample rate")->capture_default_str();
  bench->callback([options] { RunBench(*options); });
}

} // namespace quillon_cli
