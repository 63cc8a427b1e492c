#include "tools/quillon/treeoutput.h"

#include <cstdio>

#include "base/filestream.h"
#include "base/memorystream.h"
#include "base/tagitem.h"
#include "base/variant.h"

namespace quillon_cli {

void WriteTreeForm(const RTagItem& tree, const std::string& form, RMemoryStream& out) {
  if (form == "xml") {
    tree.WriteXML(out);
  } else if (form == "rtg") {
    tree.WriteBinary(out);
  } else if (form == "rtgz") {
    tree.Save(out, true);
  } else {
    RMemoryStream binary;
    tree.WriteBinary(binary);
    out.WriteText(RString("$"));
    out.WriteText(RVariant::EncodeBase64(binary.GetData(), binary.GetSize()));
    out.WriteText(RString("\n"));
  }
}

void WriteOutput(RMemoryStream& result, const std::string& path) {
  if (path.empty() || path == "-") {
    std::fwrite(result.GetData(), 1, size_t(result.GetSize()), stdout);
    std::fflush(stdout);
    return;
  }
  RFileStream file(RString::FromUTF8(path), RFileStream::kWrite | RFileStream::kReplace);
  file.Write(result.GetData(), result.GetSize());
  file.Close();
}

} // namespace quillon_cli
