#include "editor/rpic.h"

#include <algorithm>
#include <cstring>

#include "base/countingstream.h"
#include "base/exception.h"
#include "base/memorystream.h"
#include "base/zlibstream.h"
#include "editor/imagelimits.h"
#include "editor/jpegcodec.h"

namespace {

constexpr int kHeaderSize = 36;
// Alpha moves between the zlib stream and the pixels in blocks of this size, so no second
// plane of the image's size is ever held.
constexpr int kAlphaBlock = 4096;
// A flat baseline JPEG holds at most this many pixels a byte (see the JPEG reader).
constexpr int64_t kJpegPixelsPerByte = 4096;

enum : int32_t { kTypePixels = 0, kTypeJpeg = 1, kTypeJpegAlpha = 2 };

struct RPicHeader {
  int32_t width;
  int32_t height;
  int32_t frameRows;
  int32_t type;
  int32_t firstSize;   // type 0: the zlib stream; type 2: the JPEG stream
  int32_t secondSize;  // type 2: the alpha stream
};

int32_t GetInt32(const uint8_t* p) noexcept {
  return int32_t(uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24);
}

void PutInt32(uint8_t* p, int32_t value) noexcept {
  const auto v = uint32_t(value);
  p[0] = uint8_t(v);
  p[1] = uint8_t(v >> 8);
  p[2] = uint8_t(v >> 16);
  p[3] = uint8_t(v >> 24);
}

[[noreturn]] void ThrowCorrupt() { throw RException("RPIC file is corrupt."); }
[[noreturn]] void ThrowShortRead() { throw RException("Could not read the required data from stream."); }

RPicHeader ReadHeader(RStream& stream) {
  uint8_t bytes[kHeaderSize];
  stream.ReadExactly(bytes, kHeaderSize);
  const RPicHeader header{GetInt32(bytes + 4),  GetInt32(bytes + 8),  GetInt32(bytes + 12),
                          GetInt32(bytes + 16), GetInt32(bytes + 20), GetInt32(bytes + 24)};
  if (std::memcmp(bytes, "RPIC", 4) != 0 || header.width < 0 || header.height < 0 ||
      header.width > RImageLimits::kMaxSide || header.height > RImageLimits::kMaxSide) {
    ThrowCorrupt();
  }
  return header;
}

// The bytes a payload can hold: its size from the header where there is one, and no more
// than the stream has left where the stream can tell.
int64_t PayloadBound(RStream& stream, int64_t headerSize) noexcept {
  const int64_t rest = RImageLimits::RemainingBytes(stream);
  if (headerSize <= 0) return rest;
  return rest < 0 ? headerSize : std::min(rest, headerSize);
}

RBitmap DecodePixels(RStream& stream, const RPicHeader& header) {
  // Four bytes a pixel through deflate: a quarter of its ratio in pixels a byte.
  if (!RImageLimits::Plausible(header.width, header.height, PayloadBound(stream, header.firstSize),
                               RImageLimits::kDeflateRatio / 4)) {
    ThrowShortRead();
  }
  RBitmap bitmap(header.width, header.height);
  RZlibStream expand(&stream, RCompressedStream::kExpand, 100);
  expand.ReadExactly(bitmap.GetPixels(), int64_t(header.width) * header.height * 4);
  return bitmap;
}

// The JPEG inside must be the picture the header announced: the alpha plane and the frames
// are laid out by the header's size.
RImageSizeCheck JpegMatches(const RPicHeader& header, int64_t jpegBytes) {
  return [&header, jpegBytes](int32_t width, int32_t height) {
    if (width != header.width || height != header.height ||
        !RImageLimits::Plausible(width, height, jpegBytes, kJpegPixelsPerByte)) {
      ThrowCorrupt();
    }
  };
}

// The inverse of the encoder's frame coding: every pixel after the first frame adds its
// stored value (less 128, modulo 256) to the alpha of the first frame's pixel at the same
// place. The first frame stands as stored.
void UndoFrameCoding(uint32_t* pixels, int64_t count, int64_t frame) noexcept {
  if (frame <= 0 || frame >= count) return;
  int64_t j = 0;
  for (int64_t i = frame; i < count; ++i) {
    const uint32_t alpha = ((pixels[j] >> 24) + (pixels[i] >> 24) + 128) & 0xFF;
    pixels[i] = (pixels[i] & 0x00FFFFFFu) | (alpha << 24);
    if (++j == frame) j = 0;
  }
}

void ReadAlpha(RStream& stream, uint32_t* pixels, int64_t count) {
  RZlibStream expand(&stream, RCompressedStream::kExpand, 100);
  uint8_t block[kAlphaBlock];
  for (int64_t done = 0; done < count;) {
    const int64_t n = std::min<int64_t>(kAlphaBlock, count - done);
    expand.ReadExactly(block, n);
    for (int64_t i = 0; i < n; ++i) pixels[done + i] = (pixels[done + i] & 0x00FFFFFFu) | uint32_t(block[i]) << 24;
    done += n;
  }
}

RBitmap DecodeJpegAlpha(RStream& stream, const RPicHeader& header) {
  if (header.firstSize < 0 || header.secondSize < 0) ThrowCorrupt();
  const int64_t count = int64_t(header.width) * header.height;
  if (!RImageLimits::Plausible(header.width, header.height, PayloadBound(stream, header.secondSize),
                               RImageLimits::kDeflateRatio)) {
    ThrowShortRead();
  }
  RBitmap bitmap;
  {
    RCountingStream jpegPart(&stream, 0, header.firstSize);
    bitmap = LoadJPEG(jpegPart, JpegMatches(header, PayloadBound(stream, header.firstSize)));
    // The JPEG reader takes blocks and may stop short of its part: the alpha follows the part.
    uint8_t rest[kAlphaBlock];
    while (jpegPart.Read(rest, sizeof(rest)) > 0) {}
  }
  bitmap.ExpandIndices();
  RCountingStream alphaPart(&stream, 0, header.secondSize);
  ReadAlpha(alphaPart, bitmap.GetPixels(), count);
  UndoFrameCoding(bitmap.GetPixels(), count, int64_t(header.frameRows) * header.width);
  return bitmap;
}

// Frame-codes alpha in blocks as the decoder undoes it: stored = (alpha(i) - alpha(j) + 128)
// modulo 256, j running through the first frame.
void WriteAlphaBlocks(const RBitmap& bitmap, int64_t frame, RZlibStream& compress) {
  const uint32_t* pixels = bitmap.GetPixels();
  const int64_t count = int64_t(bitmap.GetWidth()) * bitmap.GetHeight();
  const bool coded = frame > 0 && frame < count;
  uint8_t block[kAlphaBlock];
  int64_t j = 0;
  for (int64_t done = 0; done < count;) {
    const int64_t n = std::min<int64_t>(kAlphaBlock, count - done);
    for (int64_t k = 0; k < n; ++k) {
      const int64_t i = done + k;
      uint32_t alpha = pixels[i] >> 24;
      if (coded && i >= frame) {
        alpha = (alpha - (pixels[j] >> 24) + 128) & 0xFF;
        if (++j == frame) j = 0;
      }
      block[k] = uint8_t(alpha);
    }
    compress.Write(block, n);
    done += n;
  }
}

// Compresses what `write` hands to the stream; a failure gives zlib's state back before it
// goes on, so the stream isn't reported as left unfinished.
template <typename F>
void Compressed(RStream& out, F&& write) {
  RZlibStream compress(&out, RCompressedStream::kCompress, 100);
  try {
    write(compress);
    compress.Finish();
  } catch (...) {
    compress.Abort();
    throw;
  }
}

} // namespace

RImageSize ReadImageSize(RStream& stream) {
  const RPicHeader header = ReadHeader(stream);
  return {header.width, header.height};
}

RBitmap LoadImage(RStream& stream) {
  const RPicHeader header = ReadHeader(stream);
  if (header.type < kTypePixels || header.type > kTypeJpegAlpha) {
    throw RException("Unknown RPIC file type. Please update the software.");
  }
  // Nothing to decode, and no payload is read: a JPEG of no pixels can't exist.
  if (header.width == 0 || header.height == 0) return RBitmap(header.width, header.height);
  switch (header.type) {
    case kTypePixels: return DecodePixels(stream, header);
    case kTypeJpeg: {
      RBitmap bitmap = LoadJPEG(stream, JpegMatches(header, PayloadBound(stream, 0)));
      bitmap.ExpandIndices();
      return bitmap;
    }
    default: return DecodeJpegAlpha(stream, header);
  }
}

void SaveImageRPIC(const RBitmap& source, int32_t type, int32_t frameRows, int jpegQuality, RStream& stream) {
  if (type < kTypePixels || type > kTypeJpegAlpha) throw RException("Unknown RPIC file type. Please update the software.");
  RBitmap expanded;
  const RBitmap* chosen = &source;
  if (source.IsIndexed()) {
    expanded = source;
    expanded.ExpandIndices();
    chosen = &expanded;
  }
  const RBitmap& bitmap = *chosen;

  RMemoryStream first;
  RMemoryStream second;
  if (!bitmap.IsEmpty()) {
    if (type == kTypePixels) {
      Compressed(first, [&](RZlibStream& compress) {
        compress.Write(bitmap.GetPixels(), int64_t(bitmap.GetWidth()) * bitmap.GetHeight() * 4);
      });
    } else {
      SaveJPEG(bitmap, jpegQuality, first);
    }
    if (type == kTypeJpegAlpha) {
      Compressed(second, [&](RZlibStream& compress) {
        WriteAlphaBlocks(bitmap, int64_t(frameRows) * bitmap.GetWidth(), compress);
      });
    }
  }
  if (first.GetSize() > 0x7FFFFFFF || second.GetSize() > 0x7FFFFFFF) {
    throw RException("The stream cannot be written, because its size is out of range.", 256);
  }

  uint8_t header[kHeaderSize];
  std::memcpy(header, "RPIC", 4);
  PutInt32(header + 4, bitmap.GetWidth());
  PutInt32(header + 8, bitmap.GetHeight());
  PutInt32(header + 12, frameRows);
  PutInt32(header + 16, type);
  PutInt32(header + 20, type == kTypeJpeg ? 0 : int32_t(first.GetSize()));
  PutInt32(header + 24, type == kTypeJpegAlpha ? int32_t(second.GetSize()) : 0);
  PutInt32(header + 28, -1);
  PutInt32(header + 32, -1);
  stream.Write(header, kHeaderSize);
  stream.Write(first.GetData(), first.GetSize());
  stream.Write(second.GetData(), second.GetSize());
}
