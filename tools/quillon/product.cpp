// The command line renders and inspects the product itself: a new instance is the default
// state, and a state file loaded over it may hold any graph of the catalogue's modules.

#include "tools/quillon/product.h"

#include "graph/product/quillon.h"

namespace quillon_cli {

std::unique_ptr<RAudioPlugin> CreateProductPlugin() { return RQuillon::Create(); }

} // namespace quillon_cli
