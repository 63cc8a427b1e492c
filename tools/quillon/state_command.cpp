// quillon state [--state FILE] [--set NAME=VALUE ...] [--to xml|rtg|rtgz|chunk] [-o OUT]
// The plug-in's whole state, after the given state and settings, in a stored tree form or as
// the chunk a host keeps in its project.

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "base/memorystream.h"
#include "base/tagitem.h"
#include "kernel/audioplugin.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/offlinehost.h"
#include "tools/quillon/treeoutput.h"

namespace quillon_cli {
namespace {

struct StateOptions {
  HostOptions host;
  std::string form = "xml";
  std::string output;
};

void RunState(const StateOptions& options) {
  std::unique_ptr<ROfflineHost> host = OpenHost();
  ApplyHostOptions(*host, options.host);

  RMemoryStream result;
  if (options.form == "chunk") {
    if (!host->SaveState(result)) throw CommandError(host->GetLastError().ToUTF8());
  } else {
    RTagItem root;
    host->GetPlugin().SaveStateTree(root);
    WriteTreeForm(root, options.form, result);
  }
  WriteOutput(result, options.output);
}

} // namespace

void AddStateCommand(CLI::App& app) {
  auto options = std::make_shared<StateOptions>();
  CLI::App* state = app.add_subcommand("state", "Write the plug-in's state (xml, rtg, rtgz, or a host's chunk)");
  AddHostOptions(*state, options->host);
  state->add_option("--to", options->form, "Form to write")
      ->check(CLI::IsMember({"xml", "rtg", "rtgz", "chunk"}))
      ->capture_default_str();
  state->add_option("-o,--output", options->output, "Output file (default: standard output)");
  state->callback([options] { RunState(*options); });
}

} // namespace quillon_cli
