// quillon graph [--state FILE]
// The compiled form of a state's graph: one processor a line in the order the audio walks
// them, then the mix list and the lanes the host input is copied on. It shows what the compile
// made of a grid (which modules run, where each reads and writes, the latency alignment)
// without rendering a sample.

#include <CLI/CLI.hpp>

#include <cstdio>
#include <memory>
#include <string>

#include "graph/audiopluginmodular.h"
#include "tools/quillon/commands.h"
#include "tools/quillon/offlinehost.h"
#include "tools/quillon/product.h"

namespace quillon_cli {
namespace {

void RunGraph(const HostOptions& options) {
  ROfflineHost host(CreateProductPlugin());
  const auto& graph = static_cast<const RAudioPluginModular&>(host.GetPlugin());
  // Set up before the state arrives: a graph compiles only once its lane buffers exist, and
  // the list shown is the one a host at this format would run.
  ROfflineHost::Format format;
  format.sidechain = true;
  host.Prepare(format);
  ApplyHostOptions(host, options);
  const std::string text = graph.DescribeProcessors().ToUTF8();
  std::fputs(text.c_str(), stdout);
  if (!text.empty() && text.back() != '\n') std::fputc('\n', stdout);
  std::fflush(stdout);
}

} // namespace

void AddGraphCommand(CLI::App& app) {
  auto options = std::make_shared<HostOptions>();
  CLI::App* command = app.add_subcommand("graph", "Print the compiled processor list of the graph, its mix list "
                                                  "and the lanes copied from the input");
  // No --set: a host's setting reaches the graph with the next block, and this command
  // processes none.
  command->add_option("--state", options->state, "Load a state first: any stored tree form, or a chunk");
  command->callback([options] { RunGraph(*options); });
}

} // namespace quillon_cli
