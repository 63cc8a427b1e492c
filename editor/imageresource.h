#pragma once
// RImageResource: a named image of the skin, decoded only when first drawn, and the registry
// that maps names (compared as strings compare: case and accents aside) to records. The
// registry lives as long as the library; records never move, so a control may keep a
// pointer to its record.
//
// Registration happens once while the library loads; everything else on the editor thread.

#include <cstdint>
#include <map>
#include <memory>

#include "base/string.h"
#include "editor/bitmap.h"
#include "editor/imageadjust.h"

struct RImageResource {
  int32_t state = 0;  // 0 not decoded; 1 decoded, or being decoded, or failed: never tried again
  RString filePath;
  const uint8_t* data = nullptr;  // embedded RPIC, owned by the program
  int64_t dataSize = 0;
  RImageResource* copyOf = nullptr;        // another record whose picture this one takes
  int32_t width = 0;                       // from the header, before decoding
  int32_t height = 0;
  RBitmap bitmap;
  std::unique_ptr<RImageAdjust> adjust;  // recolouring, applied after decoding
};

class RImageRegistry {
public:
  // The one registry of the process.
  static RImageRegistry& Get();

  // A record for the name, made empty when new; the same record for a name already there.
  RImageResource& Enter(const RString& name);
  RImageResource* Find(const RString& name) const noexcept;
  const std::map<RString, std::unique_ptr<RImageResource>>& GetRecords() const noexcept { return records_; }
  // Drops every record (tests; pointers to records go stale).
  void Clear() noexcept { records_.clear(); }

private:
  std::map<RString, std::unique_ptr<RImageResource>> records_;
};

// Enters embedded RPIC data under a name: the header is read for width and height (its
// failures are thrown), the pixels wait for first use. The data must outlive the registry.
RImageResource& RegisterImage(const RString& name, const uint8_t* data, int64_t size);

// The record's bitmap, decoded on first use from its copy source, its data or its file,
// tried in that order, then recoloured. A failure throws "Error loading image from a copy.",
// "Error loading image from a data storage." or "Error loading image {0}." with the path, and
// the record keeps its state: it is not decoded again.
RBitmap& GetBitmap(RImageResource& record);
