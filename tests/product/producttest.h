#pragma once
// What the product's tests share: the built-in definition as a tree to vary, a product built
// from such a variant, and a log that each test reads back.

#include <filesystem>
#include <memory>
#include <string>

#include "base/string.h"
#include "base/tagitem.h"
#include "graph/product/quillon.h"

namespace product_test {

// The built-in `plugin` tree, for a test to change before building a product from it.
void ReadBuiltInDefinition(RTagItem& plugin);

// The log goes to a file of this object's own for its life.
class LogCapture {
public:
  LogCapture();
  ~LogCapture();
  std::string Text() const;

private:
  std::filesystem::path path_;
};

// The text of a table record's name; empty out of range.
std::string ParameterName(const RAudioPluginBase& plugin, int32_t index);

} // namespace product_test
