// Until the product's class exists, a plain graph of its shape stands in for it: six lanes, a
// side-chain bus and every module of the catalogue, empty by default (it passes its input
// through) and ready to load any state's graph.

#include "tools/quillon/product.h"

#include "graph/audiopluginmodular.h"
#include "modules/registermodules.h"

namespace quillon_cli {

namespace {
constexpr int32_t kProductLanes = 6;
} // namespace

std::unique_ptr<RAudioPlugin> CreateProductPlugin() {
  // A graph copies the registered creators when it is built: register them first.
  RegisterModules();
  auto graph = std::make_unique<RAudioPluginModular>(RString("Quillon"), kProductLanes, true);
  graph->InitParameters();
  return graph;
}

} // namespace quillon_cli
