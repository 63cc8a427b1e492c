#include "editor/imageresource.h"

#include "base/exception.h"
#include "base/format.h"
#include "base/memorystream.h"
#include "editor/imageloader.h"
#include "editor/rpic.h"

RImageRegistry& RImageRegistry::Get() {
  static RImageRegistry registry;
  return registry;
}

RImageResource& RImageRegistry::Enter(const RString& name) {
  std::unique_ptr<RImageResource>& slot = records_[name];
  if (!slot) slot = std::make_unique<RImageResource>();
  return *slot;
}

RImageResource* RImageRegistry::Find(const RString& name) const noexcept {
  const auto found = records_.find(name);
  return found == records_.end() ? nullptr : found->second.get();
}

RImageResource& RegisterImage(const RString& name, const uint8_t* data, int64_t size) {
  RMemoryStream stream(data, size);
  const RImageSize header = ReadImageSize(stream);
  RImageResource& record = RImageRegistry::Get().Enter(name);
  record.state = 0;
  record.bitmap = RBitmap();
  record.data = data;
  record.dataSize = size;
  record.width = header.width;
  record.height = header.height;
  return record;
}

RBitmap& GetBitmap(RImageResource& record) {
  if (record.state != 0) return record.bitmap;
  // Set before decoding: a failure, or a copy chain that comes back here, finds it set.
  record.state = 1;
  if (record.copyOf) {
    try {
      record.bitmap = GetBitmap(*record.copyOf);
    } catch (const RException&) {
      throw RException("Error loading image from a copy.");
    }
  } else if (record.data) {
    try {
      RMemoryStream stream(record.data, record.dataSize);
      record.bitmap = LoadImage(stream);
    } catch (const RException&) {
      throw RException("Error loading image from a data storage.");
    }
  } else if (!record.filePath.IsEmpty()) {
    try {
      record.bitmap = LoadImageFile(record.filePath);
    } catch (const RException&) {
      throw RException(RFormat("Error loading image {0}.") << record.filePath);
    }
  }
  if (record.adjust) record.adjust->Apply(record.bitmap);
  return record.bitmap;
}
