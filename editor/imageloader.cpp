#include "editor/imageloader.h"

#include <cstring>

#include "base/exception.h"
#include "base/filestream.h"
#include "base/format.h"
#include "editor/jpegcodec.h"
#include "editor/pngcodec.h"
#include "editor/rpic.h"

RString ImageExtension(const RString& path) {
  int slash = -1;
  for (int i = path.Length() - 1; i >= 0 && slash < 0; --i) {
    if (path[i] == u'\\') slash = i;
  }
  for (int i = path.Length() - 1; i >= 0 && slash < 0; --i) {
    if (path[i] == u'/') slash = i;
  }
  const RString name = path.Mid(slash + 1);
  for (int i = name.Length() - 1; i >= 0; --i) {
    if (name[i] == u'.') return name.Mid(i + 1).Lowered();
  }
  return RString();
}

RBitmap LoadImageFile(const RString& path) {
  const RString extension = ImageExtension(path);
  enum { kNone, kPng, kRpic, kJpeg } reader = kNone;
  if (extension.CompareExact(RString("png")) == 0) reader = kPng;
  else if (extension.CompareExact(RString("rpic")) == 0) reader = kRpic;
  else if (extension.CompareExact(RString("jpg")) == 0 || extension.CompareExact(RString("jpeg")) == 0) reader = kJpeg;

  RFileStream file;
  if (reader != kNone) {
    try {
      file.Open(path, RFileStream::kRead);
    } catch (const RException&) {
      reader = kNone;
    }
  }
  switch (reader) {
    case kPng: return LoadPNG(file);
    case kRpic: return LoadImage(file);
    case kJpeg: return LoadJPEG(file);
    case kNone: break;
  }
  throw RException(RFormat("Could not load image \"{0}\".") << path);
}

RImageFormat DetectImageFormat(const uint8_t* bytes, size_t count) noexcept {
  if (count < 4) return RImageFormat::kUnknown;
  if (std::memcmp(bytes, "RPIC", 4) == 0) return RImageFormat::kRPIC;
  if (std::memcmp(bytes, "MASK", 4) == 0) return RImageFormat::kMask;
  if (std::memcmp(bytes, "\x89PNG", 4) == 0) return RImageFormat::kPNG;
  if (bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF) return RImageFormat::kJPEG;
  // A zlib header: deflate, and the check bits make the first two bytes a multiple of 31.
  if ((bytes[0] & 0x0F) == 8 && ((unsigned(bytes[0]) << 8) | bytes[1]) % 31 == 0) return RImageFormat::kCompressedMask;
  return RImageFormat::kUnknown;
}
