// Until the product's graph exists, the kernel's own plug-in stands in for it: a plain
// pass-through with the Bypass value and the whole processing cycle around it.

#include "tools/quillon/product.h"

#include "kernel/audioplugin.h"

namespace quillon_cli {

std::unique_ptr<RAudioPlugin> CreateProductPlugin() {
  auto plugin = std::make_unique<RAudioPlugin>(RString("Quillon"));
  plugin->InitParameters();
  return plugin;
}

} // namespace quillon_cli
