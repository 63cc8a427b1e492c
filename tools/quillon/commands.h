#pragma once
// The quillon command line: each command registers itself on the application and runs when
// chosen. Bad input ends in CommandError, which main turns into one line and status 1.

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace quillon_cli {

struct CommandError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class ROfflineHost;

// --state and --set, shared by every command that opens the plug-in.
struct HostOptions {
  std::string state;
  std::vector<std::string> sets;
};
void AddHostOptions(CLI::App& command, HostOptions& options);
// The product's plug-in in an offline host.
std::unique_ptr<ROfflineHost> OpenHost();
// Loads the state, then makes the settings in the order given.
void ApplyHostOptions(ROfflineHost& host, const HostOptions& options);

void AddTreeCommand(CLI::App& app);
void AddRenderCommand(CLI::App& app);
void AddParamsCommand(CLI::App& app);
void AddStateCommand(CLI::App& app);
void AddGraphCommand(CLI::App& app);
void AddBenchCommand(CLI::App& app);
// image and skin: decoding images to PNG.
void AddImageCommands(CLI::App& app);
// editor-preview: the editor's layout painted with the skin, without a window.
void AddEditorPreviewCommand(CLI::App& app);

} // namespace quillon_cli
