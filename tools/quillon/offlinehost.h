#pragma once
// ROfflineHost: the command line's host. It plays the part of a digital audio workstation
// rendering a track offline: it announces rate, block size and buses, restores a state, sets
// parameters, sends automation points sample-accurately, feeds the audio block by block with
// the transport of a playing host, and lines the output up with the input by the latency the
// plug-in reports.
//
// Everything runs on the calling thread, which is host and audio thread in turn.
// Bad input (unknown parameter, unreadable value or state) ends in CommandError.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kernel/audioplugininterface.h"
#include "tools/quillon/audiofile.h"

namespace quillon_cli {

class RProgressBar;
class RProcessTimer;

class ROfflineHost : public RAudioPluginInterface {
public:
  struct Format {
    double rate = 48000.0;
    int32_t block = 512;
    int32_t channels = 2;
    bool sidechain = false;  // a second input bus of the same channel count
    bool offline = false;
  };

  struct AutomationPoint {
    int32_t index;
    double normalised;
    double seconds;
  };

  explicit ROfflineHost(std::unique_ptr<RAudioPlugin> plugin);
  ~ROfflineHost() override;

  // What the user reads as the plug-in's name: the product's ("QUILLON"), or the plug-in's own.
  std::string GetDisplayName();

  // Announces the format; the plug-in sets itself up for it.
  void Prepare(const Format& format);
  const Format& GetFormat() const noexcept { return format_; }

  // A state file in any stored tree form, or a chunk as a host stores it.
  void LoadStateFile(const std::string& path);

  // A parameter by its name (case and accents folded) or its index.
  int32_t FindParameter(const std::string& name);
  // VALUE as the parameter's own text ("On", "-6 dB") or @N for a normalised N.
  double ParseValue(int32_t index, const std::string& text);
  // NAME=VALUE, applied at once as a host does before playback.
  void SetParameter(const std::string& assignment);
  // NAME=VALUE,SECONDS: a point sent during Render in the block that holds that time.
  void AddAutomation(const std::string& point);
  const std::vector<AutomationPoint>& GetAutomation() const noexcept { return automation_; }

  // Processes input (and the side chain, padded or cut to the input's length) and returns an
  // output of the input's length and channel count. Unless rawLatency, the plug-in is fed
  // `latency` frames of silence more and the first `latency` output frames are dropped, so
  // that the output lines up with the input. Time inside ProcessAudio goes to timer.
  RAudioData Render(const RAudioData& input, const RAudioData* sidechain, bool rawLatency, RProgressBar& progress,
                    RProcessTimer& timer);
  // The latency the last Render compensated (or would have, with rawLatency).
  int32_t GetRenderLatency() const noexcept { return renderLatency_; }

  void LatencyChanged(int32_t samples) override { reportedLatency_ = samples; }

private:
  Format format_;
  bool prepared_ = false;
  std::vector<AutomationPoint> automation_;
  int32_t reportedLatency_ = -1;
  int32_t renderLatency_ = 0;
};

} // namespace quillon_cli
