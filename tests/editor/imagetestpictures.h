#pragma once
// Pictures and raw RPIC files for the image tests: smooth generated shapes (what JPEG keeps
// well), hand-built headers, and a stream that fails to read.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/exception.h"
#include "base/memorystream.h"
#include "base/stream.h"
#include "editor/bitmap.h"

namespace imagetest {

// Soft gradients and a round blob; alpha a ring that changes with each frame of `frameRows`
// rows (0: one frame), so that a strip has frames that differ.
inline RBitmap SmoothPicture(int32_t width, int32_t height, int32_t frameRows = 0) {
  RBitmap bitmap(width, height);
  for (int32_t y = 0; y < height; ++y) {
    const int32_t frame = frameRows > 0 ? y / frameRows : 0;
    const int32_t fy = frameRows > 0 ? y % frameRows : y;
    const double rows = frameRows > 0 ? frameRows : height;
    for (int32_t x = 0; x < width; ++x) {
      const double u = (x + 0.5) / width, v = (fy + 0.5) / rows;
      const double d = std::hypot(u - 0.5, v - 0.5);
      const auto red = uint32_t(40 + 180 * u);
      const auto green = uint32_t(60 + 150 * v);
      const auto blue = uint32_t(200 - 150 * std::min(d * 2.0, 1.0));
      const auto alpha = uint32_t((frame * 37 + uint32_t(255 * std::min(d * 2.0, 1.0))) & 0xFF);
      bitmap.SetPixel(x, y, RPixel::Make(red, green, blue, alpha));
    }
  }
  return bitmap;
}

inline void PutInt32(std::vector<uint8_t>& out, size_t at, int32_t value) {
  const auto v = uint32_t(value);
  for (int i = 0; i < 4; ++i) out[at + i] = uint8_t(v >> (8 * i));
}

// A 36-byte header (and whatever payload follows).
inline std::vector<uint8_t> RpicHeader(int32_t width, int32_t height, int32_t frameRows, int32_t type,
                                       int32_t firstSize = 0, int32_t secondSize = 0) {
  std::vector<uint8_t> out(36);
  std::memcpy(out.data(), "RPIC", 4);
  PutInt32(out, 4, width);
  PutInt32(out, 8, height);
  PutInt32(out, 12, frameRows);
  PutInt32(out, 16, type);
  PutInt32(out, 20, firstSize);
  PutInt32(out, 24, secondSize);
  PutInt32(out, 28, -1);
  PutInt32(out, 32, -1);
  return out;
}

inline std::vector<uint8_t> Bytes(RMemoryStream& stream) {
  const uint8_t* data = stream.GetData();
  return std::vector<uint8_t>(data, data + stream.GetSize());
}

inline void Append(std::vector<uint8_t>& out, const std::vector<uint8_t>& more) {
  out.insert(out.end(), more.begin(), more.end());
}

// The message of the RException a call throws; fails the test when it throws nothing.
template <typename F>
std::string MessageOf(F&& call) {
  try {
    call();
  } catch (const RException& e) {
    return e.GetMessage().ToUTF8();
  }
  ADD_FAILURE() << "no RException";
  return std::string();
}

// Largest difference of any colour channel between two bitmaps of one size.
inline int MaxColourError(const RBitmap& a, const RBitmap& b) {
  int worst = 0;
  for (int32_t y = 0; y < a.GetHeight(); ++y) {
    for (int32_t x = 0; x < a.GetWidth(); ++x) {
      const uint32_t p = a.GetPixel(x, y), q = b.GetPixel(x, y);
      for (int shift = 0; shift < 24; shift += 8) {
        worst = std::max(worst, std::abs(int((p >> shift) & 0xFF) - int((q >> shift) & 0xFF)));
      }
    }
  }
  return worst;
}

inline bool SameAlpha(const RBitmap& a, const RBitmap& b) {
  if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight()) return false;
  for (int32_t y = 0; y < a.GetHeight(); ++y) {
    for (int32_t x = 0; x < a.GetWidth(); ++x) {
      if (RPixel::Alpha(a.GetPixel(x, y)) != RPixel::Alpha(b.GetPixel(x, y))) return false;
    }
  }
  return true;
}

inline bool SamePixels(const RBitmap& a, const RBitmap& b) {
  if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight()) return false;
  for (int32_t y = 0; y < a.GetHeight(); ++y) {
    for (int32_t x = 0; x < a.GetWidth(); ++x) {
      if (a.GetPixel(x, y) != b.GetPixel(x, y)) return false;
    }
  }
  return true;
}

// Serves its bytes, then fails to read, as a broken disk or socket does.
class RFailingStream : public RStream {
public:
  RFailingStream(std::vector<uint8_t> bytes, size_t failAt) : bytes_(std::move(bytes)), failAt_(failAt) {}
  int64_t Read(void* out, int64_t count) override {
    if (position_ >= failAt_) throw RException("disk gone");
    const size_t n = std::min({size_t(count), failAt_ - position_, bytes_.size() - position_});
    std::memcpy(out, bytes_.data() + position_, n);
    position_ += n;
    return int64_t(n);
  }

private:
  std::vector<uint8_t> bytes_;
  size_t failAt_;
  size_t position_ = 0;
};

} // namespace imagetest
