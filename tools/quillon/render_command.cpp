// quillon render IN OUT [options] | quillon render --generate SIGNAL OUT [options]
// Processes a file (or a generated signal) through the plug-in as a host rendering offline
// would, writes the result, and ends with the real-time factor of the processing.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "kernel/audioplugin.h"
#include "tools/quillon/audiofile.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/offlinehost.h"
#include "tools/quillon/progress.h"
#include "tools/quillon/signals.h"

namespace quillon_cli {
namespace {

constexpr double kDefaultRate = 48000.0;

struct RenderOptions {
  std::vector<std::string> files;
  std::string generate;
  std::string sidechain;
  HostOptions host;
  std::vector<std::string> automate;
  int32_t block = 512;
  double rate = kDefaultRate;
  bool rateGiven = false;
  bool offline = false;
  std::string format;
  bool quiet = false;
  bool rawLatency = false;
};

void RunRender(const RenderOptions& options) {
  const bool generating = !options.generate.empty();
  if (generating && options.files.size() != 1) throw CommandError("render --generate SIGNAL takes one file: OUT");
  if (!generating && options.files.size() != 2) {
    throw CommandError("render takes IN and OUT (or --generate SIGNAL OUT)");
  }
  if (!generating && options.rateGiven) throw CommandError("--rate is for --generate; a file plays at its own rate");
  const std::string& out = options.files.back();
  // Refuse a bad format before any work is done.
  const bool formatGiven = !options.format.empty();
  const RSampleFormat chosenFormat = formatGiven ? ParseSampleFormat(options.format) : RSampleFormat::kFloat;

  RAudioData input;
  std::string source;
  if (generating) {
    input = GenerateSignal(ParseSignal(options.generate), options.rate);
    source = options.generate;
  } else {
    input = ReadAudioFile(options.files[0]);
    source = options.files[0];
  }
  std::unique_ptr<RAudioData> sidechain;
  if (!options.sidechain.empty()) {
    sidechain = std::make_unique<RAudioData>(ReadAudioFile(options.sidechain));
    if (sidechain->rate != input.rate) {
      throw CommandError(options.sidechain + ": its rate " + std::to_string(int(sidechain->rate)) +
                         " Hz differs from the input's " + std::to_string(int(input.rate)) + " Hz");
    }
  }

  std::unique_ptr<ROfflineHost> host = OpenHost();
  ROfflineHost::Format format;
  format.rate = input.rate;
  format.block = options.block;
  format.channels = input.GetChannelCount();
  format.sidechain = sidechain != nullptr;
  format.offline = options.offline;
  host->Prepare(format);
  ApplyHostOptions(*host, options.host);
  for (const std::string& point : options.automate) host->AddAutomation(point);

  RProgressBar progress(!options.quiet);
  RProcessTimer timer;
  RAudioData output = host->Render(input, sidechain.get(), options.rawLatency, progress, timer);
  const RSampleFormat outFormat = formatGiven ? chosenFormat : input.format;
  WriteAudioFile(out, output, outFormat);

  std::printf("rendered %s (%.3f s, %d channel%s, %.0f Hz) through %s, block %d%s, latency %d%s, into %s (%s)\n",
              source.c_str(), input.GetSeconds(), input.GetChannelCount(), input.GetChannelCount() == 1 ? "" : "s",
              input.rate, host->GetDisplayName().c_str(), options.block,
              options.offline ? ", offline" : "", host->GetRenderLatency(),
              options.rawLatency ? " kept" : " compensated", out.c_str(), SampleFormatName(outFormat));
  const double processedSeconds =
      double(input.GetFrameCount() + (options.rawLatency ? 0 : host->GetRenderLatency())) / input.rate;
  std::printf("%s\n", FormatRealTimeFactor(processedSeconds, timer.GetSeconds()).c_str());
  std::fflush(stdout);
}

} // namespace

void AddRenderCommand(CLI::App& app) {
  auto options = std::make_shared<RenderOptions>();
  CLI::App* render = app.add_subcommand("render", "Process an audio file (or a generated signal) through the plug-in");
  render->add_option("files", options->files, "IN OUT, or OUT alone with --generate")->expected(1, 2);
  render->add_option("--generate", options->generate,
                     "Generate the input: silence|sine:HZ|noise|sweep|impulse, with :SECONDS (sine:440:2)");
  render->add_option("--sidechain", options->sidechain, "Second input bus");
  AddHostOptions(*render, options->host);
  render->add_option("--automate", options->automate,
                     "Host automation point NAME=VALUE,SECONDS, sample-accurate; repeatable")
      ->allow_extra_args(false);
  render->add_option("--block", options->block, "Host block size")->capture_default_str();
  CLI::Option* rate = render->add_option("--rate", options->rate, "Sample rate for --generate")->capture_default_str();
  render->add_flag("--offline", options->offline, "Process as an offline render");
  render->add_option("--format", options->format, "Sample format of OUT: float|pcm16|pcm24 (default: that of IN)");
  render->add_flag("--quiet", options->quiet, "No progress bar");
  render->add_flag("--raw-latency", options->rawLatency,
                   "Keep the plug-in's latency in OUT instead of lining OUT up with IN");
  render->callback([options, rate] {
    options->rateGiven = rate->count() > 0;
    RunRender(*options);
  });
}

} // namespace quillon_cli
