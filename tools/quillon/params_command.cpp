// quillon params [--state FILE] [--set NAME=VALUE ...] [--all] [--json]
// One parameter a line: index, name, normalised value and text, tab-separated; or the same
// as a JSON array. By default the parameters a host sees (the automatable ones); --all adds
// the rest of the table: every module's values, the multi-parameters' switches, Bypass.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <string>

#include "kernel/audioplugin.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/offlinehost.h"

namespace quillon_cli {
namespace {

struct ParamsOptions {
  HostOptions host;
  bool all = false;
  bool json = false;
};

std::string JSONString(const std::string& text) {
  std::string quoted = "\"";
  for (char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (byte < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", byte);
      quoted += escape;
    } else {
      quoted += c;  // UTF-8 passes as it stands
    }
  }
  return quoted + "\"";
}

// Tabs and line ends inside a name or text would break the one-parameter-a-line form.
std::string OneField(std::string text) {
  for (char& c : text) {
    if (c == '\t' || c == '\n' || c == '\r') c = ' ';
  }
  return text;
}

void RunParams(const ParamsOptions& options) {
  std::unique_ptr<ROfflineHost> host = OpenHost();
  ApplyHostOptions(*host, options.host);
  RAudioPlugin& plugin = host->GetPlugin();
  const int32_t count = options.all ? plugin.GetParameterCount() : plugin.GetAutomatableCount();
  if (options.json) std::printf("[");
  for (int32_t index = 0; index < count; ++index) {
    const RAudioPluginBase::Parameter* record = plugin.GetParameter(index);
    const RValue* value = record ? record->Value : nullptr;
    const std::string name = record && record->Name ? record->Name : "";
    const double normalised = value ? value->GetNormalised() : 0.0;
    const std::string text = value ? value->GetText().ToUTF8() : "";
    if (options.json) {
      std::printf("%s\n  {\"index\": %d, \"name\": %s, \"normalised\": %.9g, \"text\": %s, \"automatable\": %s}",
                  index ? "," : "", index, JSONString(name).c_str(), normalised, JSONString(text).c_str(),
                  index < plugin.GetAutomatableCount() ? "true" : "false");
    } else {
      std::printf("%d\t%s\t%.6f\t%s\n", index, OneField(name).c_str(), normalised, OneField(text).c_str());
    }
  }
  if (options.json) std::printf("%s]\n", count ? "\n" : "");
  std::fflush(stdout);
}

} // namespace

void AddParamsCommand(CLI::App& app) {
  auto options = std::make_shared<ParamsOptions>();
  CLI::App* params = app.add_subcommand("params", "List the host's parameters: index, name, normalised value, text");
  AddHostOptions(*params, options->host);
  params->add_flag("--all", options->all, "List the whole table, not only what a host automates");
  params->add_flag("--json", options->json, "Print a JSON array instead of lines");
  params->callback([options] { RunParams(*options); });
}

} // namespace quillon_cli
