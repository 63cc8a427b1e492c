// --state and --set: what every command that opens the plug-in shares.

#include <CLI/CLI.hpp>

#include "kernel/audioplugin.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/offlinehost.h"
#include "tools/quillon/product.h"

namespace quillon_cli {

void AddHostOptions(CLI::App& command, HostOptions& options) {
  command.add_option("--state", options.state, "Load a state first: any stored tree form, or a chunk");
  command.add_option("--set", options.sets, "Set a parameter: NAME=VALUE, by name or index; VALUE as the "
                                            "parameter reads it (\"75%\", \"-6 dB\", \"On\") or @N normalised")
      ->allow_extra_args(false);
}

std::unique_ptr<ROfflineHost> OpenHost() { return std::make_unique<ROfflineHost>(CreateProductPlugin()); }

void ApplyHostOptions(ROfflineHost& host, const HostOptions& options) {
  if (!options.state.empty()) host.LoadStateFile(options.state);
  for (const std::string& assignment : options.sets) host.SetParameter(assignment);
}

} // namespace quillon_cli
