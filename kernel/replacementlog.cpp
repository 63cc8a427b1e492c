#include "kernel/replacementlog.h"

#include <atomic>

#include "base/format.h"
#include "base/guard.h"
#include "kernel/audioplugin.h"
#include "kernel/globalconfig.h"

namespace {

std::atomic<RReplacementLog::Viewer> viewer{nullptr};

} // namespace

namespace RReplacementLog {

Viewer SetViewer(Viewer replacement) noexcept { return viewer.exchange(replacement); }

void Note(RAudioPlugin& plugin, const RString& from, const RString& to) {
  RString& log = plugin.GetSharedData().ReplacementLog;
  log += RFormat("{0} -> {1}\n") << from << to;
}

void Finish(RAudioPlugin& plugin, bool show) {
  RString& log = plugin.GetSharedData().ReplacementLog;
  const Viewer shown = viewer.load();
  if (!log.IsEmpty() && shown && (show || RGlobalConfiguration::Get().GetSwitch(kShowSwitch, false))) {
    const RString text = log;
    RGuarded("RAudioPlugin::ShowReplacementLog", [&] { shown(plugin, RString(kTitle, int(std::char_traits<char>::length(kTitle))), text); });
  }
  log = RString();
}

} // namespace RReplacementLog
