// The command line's host: format, state, parameters, automation and the block loop.

#include "tools/quillon/offlinehost.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "base/filestream.h"
#include "base/memorystream.h"
#include "base/tagitem.h"
#include "graph/product/quillon.h"
#include "kernel/audioplugin.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/progress.h"

namespace quillon_cli {
namespace {

// The transport of a playing host: 120 bpm in 4/4 from the start of the file.
constexpr double kTempo = 120.0;
constexpr int32_t kBeatsPerBar = 4;
constexpr int32_t kMaxBlock = 65536;

bool IsIndex(const std::string& text) {
  return !text.empty() && text.size() < 10 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// A number that is the whole of the text, and finite.
bool ReadNumber(const std::string& text, double& number) {
  if (text.empty()) return false;
  char* end = nullptr;
  number = std::strtod(text.c_str(), &end);
  return *end == '\0' && std::isfinite(number);
}

std::string ParameterName(RAudioPlugin& plugin, int32_t index) {
  const RAudioPluginBase::Parameter* record = plugin.GetParameter(index);
  return record && record->Name ? std::string(record->Name) : std::to_string(index);
}

} // namespace

ROfflineHost::ROfflineHost(std::unique_ptr<RAudioPlugin> plugin) : RAudioPluginInterface(std::move(plugin)) {}

ROfflineHost::~ROfflineHost() = default;

std::string ROfflineHost::GetDisplayName() {
  if (auto* product = dynamic_cast<RQuillon*>(&GetPlugin())) return product->GetProductName().ToUTF8();
  return GetPlugin().GetName().ToUTF8();
}

void ROfflineHost::Prepare(const Format& format) {
  if (format.block < 1 || format.block > kMaxBlock) {
    throw CommandError("block size " + std::to_string(format.block) + " is out of range (1 to 65536)");
  }
  if (format.channels < 1 || format.channels * (format.sidechain ? 2 : 1) > RAudioPlugin::kMaxChannelPointers) {
    throw CommandError("the plug-in takes at most " + std::to_string(RAudioPlugin::kMaxChannelPointers / 2) +
                       " channels a bus, not " + std::to_string(format.channels));
  }
  format_ = format;
  // Offline first: Setup picks what it runs (oversampling, block limits) by it.
  plugin_->SetOffline(format.offline);
  plugin_->SetHostFormat(format.rate, format.block, format.channels, format.sidechain ? 2 : 1, 1);
  plugin_->Setup();
  prepared_ = true;
}

void ROfflineHost::LoadStateFile(const std::string& path) {
  struct stat info{};
  if (stat(path.c_str(), &info) != 0) throw CommandError(path + ": no such file");
  if (!S_ISREG(info.st_mode)) throw CommandError(path + ": not a file");
  RMemoryStream bytes;
  {
    RFileStream file(RString::FromUTF8(path), RFileStream::kRead);
    CopyStream(file, bytes);
  }
  if (bytes.GetSize() == 0) throw CommandError(path + ": the file is empty");
  // A tree is told apart from its bytes; what holds none is not a state, whatever LoadState
  // would make of it.
  bytes.Seek(0);
  {
    RTagItem probe;
    probe.Load(bytes);
    if (probe.GetName().IsEmpty()) throw CommandError(path + ": no stored state in any known form");
  }
  bytes.Seek(0);
  if (!LoadState(bytes)) throw CommandError(path + ": " + GetLastError().ToUTF8());
}

int32_t ROfflineHost::FindParameter(const std::string& name) {
  RAudioPlugin& plugin = *plugin_;
  const int32_t count = plugin.GetParameterCount();
  if (IsIndex(name)) {
    const int32_t index = int32_t(std::strtol(name.c_str(), nullptr, 10));
    if (index >= count) {
      throw CommandError("no parameter " + name + " (indexes run from 0 to " + std::to_string(count - 1) + ")");
    }
    return index;
  }
  const int32_t index = name.empty() ? -1 : plugin.GetParameterIndex(RString::FromUTF8(name));
  if (index < 0 || index >= count) throw CommandError("unknown parameter '" + name + "'");
  return index;
}

double ROfflineHost::ParseValue(int32_t index, const std::string& text) {
  RValue* value = plugin_->GetParameterValue(index);
  const std::string name = ParameterName(*plugin_, index);
  if (!value) throw CommandError("parameter " + name + " has no value");
  if (!text.empty() && text[0] == '@') {
    double normalised = 0.0;
    if (!ReadNumber(text.substr(1), normalised) || normalised < 0.0 || normalised > 1.0) {
      throw CommandError("bad value '" + text + "' for " + name + ": @ takes a normalised number from 0 to 1");
    }
    return normalised;
  }
  // Switches and menus read their item texts (case folded) or an item's number; their own
  // parsing takes any unknown text as an item, which a command line should refuse.
  std::vector<std::pair<RString, double>> items;
  if (dynamic_cast<RBoolValue*>(value)) {
    items = {{value->GetTextOfNormalised(0.0), 0.0}, {value->GetTextOfNormalised(1.0), 1.0}};
  } else if (const RValueRange* range = value->GetRange(); range && range->GetItemCount() > 0) {
    for (int32_t i = 0; i < range->GetItemCount(); ++i) {
      items.emplace_back(range->GetItemText(i), range->RealToNormalised(double(i)));
    }
  }
  if (!items.empty()) {
    const RString wanted = RString::FromUTF8(text);
    for (const auto& [itemText, itemNormalised] : items) {
      if (wanted == itemText) return itemNormalised;
    }
    if (IsIndex(text) && std::strtol(text.c_str(), nullptr, 10) < long(items.size())) {
      return items[size_t(std::strtol(text.c_str(), nullptr, 10))].second;
    }
    std::string choices;
    for (const auto& item : items) choices += (choices.empty() ? "'" : ", '") + item.first.ToUTF8() + "'";
    throw CommandError("bad value '" + text + "' for " + name + " (" + choices + ", or @N for a normalised N)");
  }
  double normalised = 0.0;
  if (!value->ParseToNormalised(RString::FromUTF8(text), normalised) || !std::isfinite(normalised)) {
    throw CommandError("bad value '" + text + "' for " + name + " (it reads text such as '" +
                       value->GetText().ToUTF8() + "', or @N for a normalised N)");
  }
  return std::clamp(normalised, 0.0, 1.0);
}

void ROfflineHost::SetParameter(const std::string& assignment) {
  const std::string::size_type equals = assignment.find('=');
  if (equals == std::string::npos) throw CommandError("--set takes NAME=VALUE, not '" + assignment + "'");
  const int32_t index = FindParameter(assignment.substr(0, equals));
  const double normalised = ParseValue(index, assignment.substr(equals + 1));
  RAudioPlugin& plugin = *plugin_;
  if (index < plugin.GetAutomatableCount()) {
    // Offset 0: the change applies before the next block, as a host's setting does.
    plugin.ScheduleAutomationEvent(0, index, normalised);
  } else {
    // Records past the automatable ones are the plug-in's own: no host event reaches them.
    RValue* value = plugin.GetParameterValue(index);
    value->SetNormalised(normalised);
    value->SyncProcessing();
  }
}

void ROfflineHost::AddAutomation(const std::string& point) {
  const std::string::size_type equals = point.find('=');
  // The last comma: value texts may hold a decimal comma themselves.
  const std::string::size_type comma = point.rfind(',');
  if (equals == std::string::npos || comma == std::string::npos || comma < equals) {
    throw CommandError("--automate takes NAME=VALUE,SECONDS, not '" + point + "'");
  }
  const int32_t index = FindParameter(point.substr(0, equals));
  const double normalised = ParseValue(index, point.substr(equals + 1, comma - equals - 1));
  double seconds = 0.0;
  if (!ReadNumber(point.substr(comma + 1), seconds) || seconds < 0.0) {
    throw CommandError("bad time '" + point.substr(comma + 1) + "' in --automate " + point +
                       " (seconds from the start, 0 or more)");
  }
  if (index >= plugin_->GetAutomatableCount()) {
    throw CommandError("parameter " + ParameterName(*plugin_, index) + " can't be automated by a host");
  }
  automation_.push_back({index, normalised, seconds});
}

RAudioData ROfflineHost::Render(const RAudioData& input, const RAudioData* sidechain, bool rawLatency,
                                RProgressBar& progress, RProcessTimer& timer) {
  if (!prepared_) throw CommandError("the host was not prepared for a format");
  RAudioPlugin& plugin = *plugin_;
  const int32_t channels = input.GetChannelCount();
  const int64_t inputFrames = input.GetFrameCount();
  const int32_t block = format_.block;
  const double rate = format_.rate;

  // What the settings changed that needs a Setup (a channel mode, an oversampling factor) is
  // done before the plug-in is activated. A host activating it asks for its latency; the report
  // may also come later through LatencyChanged, but the compensation of one render is fixed at
  // its start.
  plugin.DeliverPendingChanges();
  plugin.UpdateLatency(true, true);
  renderLatency_ = std::max(plugin.GetReportedLatency(), std::max(reportedLatency_, 0));
  const int64_t latency = rawLatency ? 0 : renderLatency_;
  const int64_t totalFrames = inputFrames + latency;

  // Points in time order: the host sends them so, and a later point replaces what the
  // plug-in planned after it. The sort is stable, so points of one time keep their order.
  std::vector<std::pair<int64_t, const AutomationPoint*>> points;
  for (const AutomationPoint& point : automation_) points.emplace_back(std::llround(point.seconds * rate), &point);
  std::stable_sort(points.begin(), points.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  size_t nextPoint = 0;

  // Scratch blocks: the host's buffers are its own; the plug-in's input guard may write them.
  const int32_t stride = std::max(plugin.GetHostChannels(), 1);
  const int32_t inputBuses = plugin.GetInputBuses();
  const std::vector<float> emptyBlock(static_cast<size_t>(block), 0.0f);
  std::vector<std::vector<float>> inBlocks(static_cast<size_t>(inputBuses * stride), emptyBlock);
  std::vector<std::vector<float>> outBlocks(static_cast<size_t>(stride), emptyBlock);
  std::vector<float*> inPointers(inBlocks.size(), nullptr), outPointers(outBlocks.size(), nullptr);
  for (size_t i = 0; i < outBlocks.size(); ++i) outPointers[i] = outBlocks[i].data();
  for (int32_t c = 0; c < channels; ++c) {
    inPointers[size_t(c)] = inBlocks[size_t(c)].data();
    if (sidechain) inPointers[size_t(stride + c)] = inBlocks[size_t(stride + c)].data();
  }

  RAudioData output;
  output.rate = input.rate;
  output.format = input.format;
  output.channels.assign(size_t(channels), std::vector<float>(size_t(inputFrames), 0.0f));

  // Copies frames [from, from + count) of a source, silence past its end.
  auto fill = [](std::vector<float>& into, const std::vector<float>& source, int64_t from, int32_t count) {
    const int64_t available = std::clamp<int64_t>(int64_t(source.size()) - from, 0, count);
    if (available > 0) std::copy_n(source.begin() + from, available, into.begin());
    std::fill(into.begin() + available, into.begin() + count, 0.0f);
  };

  RHostTimeInfo time;
  time.tempo = kTempo;
  time.numerator = kBeatsPerBar;
  time.denominator = 4;
  for (int64_t position = 0; position < totalFrames; position += block) {
    const int32_t frames = int32_t(std::min<int64_t>(block, totalFrames - position));
    for (int32_t c = 0; c < channels; ++c) {
      fill(inBlocks[size_t(c)], input.channels[size_t(c)], position, frames);
      if (sidechain) {
        const int32_t source = std::min(c, sidechain->GetChannelCount() - 1);
        fill(inBlocks[size_t(stride + c)], sidechain->channels[size_t(source)], position, frames);
      }
    }
    while (nextPoint < points.size() && points[nextPoint].first < position + frames) {
      const AutomationPoint& point = *points[nextPoint].second;
      const int64_t offset = std::max<int64_t>(points[nextPoint].first - position, 0);
      plugin.ScheduleAutomationEvent(int32_t(offset), point.index, point.normalised);
      ++nextPoint;
    }
    time.samplePosition = double(position);
    time.ppqPosition = double(position) / rate * kTempo / 60.0;
    time.barStart = RTimeInfo::BarStartOf(time.ppqPosition, kBeatsPerBar);
    time.flags = RHostTimeInfo::kPlaying | (position == 0 ? RHostTimeInfo::kTransportChanged : 0);

    timer.Start();
    ProcessAudio(inPointers.data(), outPointers.data(), frames, &time);
    timer.Stop();
    // The host's idle time between blocks: slot switches the block moved take effect.
    plugin.DeliverPendingChanges();

    // Output frame f of the block is frame position + f - latency of the result.
    const int64_t first = std::max<int64_t>(latency - position, 0);
    for (int32_t c = 0; c < channels; ++c) {
      if (first < frames) {
        std::copy(outBlocks[size_t(c)].begin() + first, outBlocks[size_t(c)].begin() + frames,
                  output.channels[size_t(c)].begin() + (position + first - latency));
      }
    }
    progress.Update(position + frames, totalFrames);
  }
  progress.Finish();
  return output;
}

} // namespace quillon_cli
