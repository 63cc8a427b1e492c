#pragma once
// The plug-in that the command line renders and inspects. Every command gets it from here,
// so that the product takes the kernel's place in this one spot.

#include <memory>

class RAudioPlugin;

namespace quillon_cli {

// A new instance with its parameter table filled. [host-thread]
std::unique_ptr<RAudioPlugin> CreateProductPlugin();

} // namespace quillon_cli
