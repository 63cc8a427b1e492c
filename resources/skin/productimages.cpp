#include "resources/skin/productimages.h"

#include <mutex>

#include "editor/imageresource.h"
#include "resources/skin/skindata.h"

int GetProductImageCount() noexcept { return kSkinImageCount; }

RProductImage GetProductImage(int index, int scale) noexcept {
  const int set = scale == 2 ? 1 : 0;
  const uint8_t* blob = set == 1 ? quillon_skin_blob_2x : quillon_skin_blob_1x;
  const RSkinEntry& entry = kSkinEntries[set][index];
  return RProductImage{entry.name, blob + entry.offset, entry.size};
}

RString HiDPIName(const RString& name) { return name + RString("@2x"); }

void RegisterProductImages() {
  static std::once_flag once;
  std::call_once(once, [] {
    for (int scale = 1; scale <= kSkinScaleCount; ++scale) {
      for (int i = 0; i < kSkinImageCount; ++i) {
        const RProductImage image = GetProductImage(i, scale);
        const RString name = RString::FromUTF8(image.name);
        RegisterImage(scale == 1 ? name : HiDPIName(name), image.data, image.size);
      }
    }
  });
}
