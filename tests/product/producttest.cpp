#include "tests/product/producttest.h"

#include <unistd.h>

#include <fstream>
#include <sstream>

#include "base/log.h"
#include "graph/product/embeddedtree.h"

namespace product_test {

void ReadBuiltInDefinition(RTagItem& plugin) { ReadEmbeddedTree(kProductDefinitionTree, plugin); }

LogCapture::LogCapture()
    : path_(std::filesystem::temp_directory_path() / ("quillon-product-" + std::to_string(getpid()) + ".log")) {
  std::filesystem::remove(path_);
  RLog::SetPath(path_.string());
}

LogCapture::~LogCapture() {
  RLog::SetPath("");
  std::filesystem::remove(path_);
}

std::string LogCapture::Text() const {
  std::ifstream file(path_);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string ParameterName(const RAudioPluginBase& plugin, int32_t index) {
  const RAudioPluginBase::Parameter* record = plugin.GetParameter(index);
  return record && record->Name ? std::string(record->Name) : std::string();
}

} // namespace product_test
