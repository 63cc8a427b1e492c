#include "editor/alphamask.h"

#include <algorithm>
#include <cstring>

#include "base/exception.h"
#include "base/zlibstream.h"
#include "editor/imagelimits.h"

namespace {

constexpr int kHeaderSize = 20;
constexpr int64_t kReadBlock = 65536;

int32_t GetInt32(const uint8_t* p) noexcept {
  return int32_t(uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24);
}

void PutInt32(uint8_t* p, int32_t value) noexcept {
  const auto v = uint32_t(value);
  for (int i = 0; i < 4; ++i) p[i] = uint8_t(v >> (8 * i));
}

} // namespace

RAlphaMask::RAlphaMask(int32_t width, int32_t height)
    : width_(std::max(width, 0)), height_(std::max(height, 0)), clip_(RRect{0, 0, width_, height_}),
      coverage_(size_t(width_) * size_t(height_), 0) {}

uint8_t RAlphaMask::Get(int32_t x, int32_t y) const noexcept {
  return GetBounds().Contains(x, y) ? coverage_[size_t(y) * size_t(width_) + size_t(x)] : 0;
}

void RAlphaMask::Set(int32_t x, int32_t y, uint8_t coverage) noexcept {
  if (GetBounds().Contains(x, y)) coverage_[size_t(y) * size_t(width_) + size_t(x)] = coverage;
}

void RAlphaMask::Load(RStream& stream) {
  uint8_t header[kHeaderSize];
  stream.ReadExactly(header, kHeaderSize);
  const int32_t width = GetInt32(header + 4);
  const int32_t height = GetInt32(header + 8);
  if (std::memcmp(header, "MASK", 4) != 0 || width < 0 || height < 0 || width > RImageLimits::kMaxSide ||
      height > RImageLimits::kMaxSide) {
    throw RException("Alphamask stream content is invalid.");
  }
  // Grows block by block as bytes arrive, so a short stream fails before a large claim costs
  // memory.
  const int64_t total = int64_t(width) * height;
  std::vector<uint8_t> coverage;
  for (int64_t done = 0; done < total;) {
    const int64_t n = std::min(kReadBlock, total - done);
    coverage.resize(size_t(done + n));
    stream.ReadExactly(coverage.data() + done, n);
    done += n;
  }
  width_ = width;
  height_ = height;
  coverage_ = std::move(coverage);
  clip_ = GetBounds();
}

void RAlphaMask::LoadCompressed(RStream& stream) {
  RZlibStream expand(&stream, RCompressedStream::kExpand, 100);
  Load(expand);
}

void RAlphaMask::Save(RStream& stream) const {
  uint8_t header[kHeaderSize] = {'M', 'A', 'S', 'K'};
  PutInt32(header + 4, width_);
  PutInt32(header + 8, height_);
  stream.Write(header, kHeaderSize);
  if (!coverage_.empty()) stream.Write(coverage_.data(), int64_t(coverage_.size()));
}

void RAlphaMask::SaveCompressed(RStream& stream) const {
  RZlibStream compress(&stream, RCompressedStream::kCompress, 100);
  try {
    Save(compress);
    compress.Finish();
  } catch (...) {
    compress.Abort();  // gives the library's state back quietly; the failure goes on
    throw;
  }
}
