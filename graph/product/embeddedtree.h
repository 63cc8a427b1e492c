#pragma once
// A tree built into the library: its binary mark-up behind zlib, as the build-time tool
// quillon_embedtree writes it. The bytes stay compressed in the program; each read expands
// them into a fresh tree through a read-only memory stream.
//
// [any-thread] but never the audio thread: a read allocates.

#include <cstddef>
#include <cstdint>

class RTagItem;

struct REmbeddedTree {
  const uint8_t* Bytes;
  size_t CompressedSize;
  size_t DecompressedSize;  // the binary mark-up's size, for the record
};

// Expands an embedded tree into root (cleared first). The tree reader's error stands when
// the bytes are not a tree.
void ReadEmbeddedTree(const REmbeddedTree& embedded, RTagItem& root);

// The two trees of the product, compiled from resources/product by the build.
extern const REmbeddedTree kProductDefinitionTree;
extern const REmbeddedTree kProductDefaultStateTree;
