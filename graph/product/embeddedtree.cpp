#include "graph/product/embeddedtree.h"

#include "base/memorystream.h"
#include "base/tagitem.h"

void ReadEmbeddedTree(const REmbeddedTree& embedded, RTagItem& root) {
  root.Clear();
  RMemoryStream stream(embedded.Bytes, int64_t(embedded.CompressedSize));
  root.Load(stream);
}
