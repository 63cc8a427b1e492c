#include "editor/bitmap.h"

#include <algorithm>
#include <cmath>

RRect RRect::Intersect(const RRect& other) const noexcept {
  RRect r{std::max(left, other.left), std::max(top, other.top), std::min(right, other.right),
          std::min(bottom, other.bottom)};
  if (r.IsEmpty()) return RRect{};
  return r;
}

namespace RPixel {

uint32_t Blend(uint32_t a, uint32_t b, uint32_t w) noexcept {
  if (w == 0) return b;
  if (w >= 255) return a;
  const uint32_t v = 255 - w;
  uint32_t out = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    const uint32_t ca = (a >> shift) & 0xFF;
    const uint32_t cb = (b >> shift) & 0xFF;
    out |= (((ca * w + cb * v) >> 8) & 0xFF) << shift;
  }
  return out;
}

} // namespace RPixel

RBitmap::RBitmap(int32_t width, int32_t height) { Create(width, height); }

void RBitmap::Create(int32_t width, int32_t height) {
  width_ = std::max(width, 0);
  height_ = std::max(height, 0);
  indexed_ = false;
  indices_.clear();
  indices_.shrink_to_fit();
  palette_.clear();
  palette_.shrink_to_fit();
  pixels_.assign(size_t(width_) * size_t(height_), 0xFFFFFFFFu);
  clip_ = GetBounds();
}

void RBitmap::CreateIndexed(int32_t width, int32_t height) {
  width_ = std::max(width, 0);
  height_ = std::max(height, 0);
  indexed_ = true;
  pixels_.clear();
  pixels_.shrink_to_fit();
  indices_.assign(size_t(width_) * size_t(height_), 0);
  palette_.assign(256, 0xFFFFFFFFu);
  clip_ = GetBounds();
}

uint32_t* RBitmap::GetPixels() noexcept { return indexed_ || pixels_.empty() ? nullptr : pixels_.data(); }

const uint32_t* RBitmap::GetPixels() const noexcept {
  return indexed_ || pixels_.empty() ? nullptr : pixels_.data();
}

uint32_t RBitmap::GetPixel(int32_t x, int32_t y) const noexcept {
  if (!GetBounds().Contains(x, y)) return 0;
  const size_t i = size_t(y) * size_t(width_) + size_t(x);
  return indexed_ ? palette_[indices_[i]] : pixels_[i];
}

void RBitmap::SetPixel(int32_t x, int32_t y, uint32_t pixel) noexcept {
  if (indexed_ || !GetBounds().Contains(x, y)) return;
  pixels_[size_t(y) * size_t(width_) + size_t(x)] = pixel;
}

void RBitmap::Fill(uint32_t pixel) noexcept {
  if (indexed_ || clip_.IsEmpty()) return;
  for (int32_t y = clip_.top; y < clip_.bottom; ++y) {
    uint32_t* row = GetRow(y);
    std::fill(row + clip_.left, row + clip_.right, pixel);
  }
}

void RBitmap::ExpandIndices() {
  if (!indexed_) return;
  std::vector<uint32_t> pixels(indices_.size());
  for (size_t i = 0; i < indices_.size(); ++i) pixels[i] = palette_[indices_[i]];
  pixels_ = std::move(pixels);
  indices_.clear();
  indices_.shrink_to_fit();
  palette_.clear();
  palette_.shrink_to_fit();
  indexed_ = false;
}

void RBitmap::SetClip(const RRect& clip) noexcept { clip_ = clip.Intersect(GetBounds()); }

namespace {

// The whole part of a coordinate and its fraction, clamped so that the next pixel exists;
// outside the image the edge pixel stands alone.
struct RSamplePos {
  int32_t index;
  float fraction;
};

RSamplePos ClampForPair(float pos, int32_t size) noexcept {
  if (size < 2 || !(pos > 0.0f)) return {0, 0.0f};  // also NaN
  const float last = float(size - 2);
  if (pos >= last + 1.0f) return {size - 2, 1.0f};
  const float whole = std::floor(pos);
  return {int32_t(whole), pos - whole};
}

uint32_t Weight255(float fraction) noexcept { return uint32_t(std::lround(fraction * 255.0f)); }

// Catmull-Rom weights: passes through the samples, and overshoots at sharp edges, which is why
// each channel is clamped afterwards.
void CubicWeights(float t, float w[4]) noexcept {
  const float t2 = t * t;
  const float t3 = t2 * t;
  w[0] = 0.5f * (-t3 + 2.0f * t2 - t);
  w[1] = 0.5f * (3.0f * t3 - 5.0f * t2 + 2.0f);
  w[2] = 0.5f * (-3.0f * t3 + 4.0f * t2 + t);
  w[3] = 0.5f * (t3 - t2);
}

} // namespace

uint32_t RBitmap::SampleBilinear(float x, float y) const noexcept {
  if (IsEmpty()) return 0;
  const RSamplePos px = ClampForPair(x, width_);
  const RSamplePos py = ClampForPair(y, height_);
  const int32_t x1 = std::min(px.index + 1, width_ - 1);
  const int32_t y1 = std::min(py.index + 1, height_ - 1);
  const uint32_t wx = Weight255(px.fraction);
  const uint32_t wy = Weight255(py.fraction);
  const uint32_t top = RPixel::Blend(GetPixel(x1, py.index), GetPixel(px.index, py.index), wx);
  const uint32_t bottom = RPixel::Blend(GetPixel(x1, y1), GetPixel(px.index, y1), wx);
  return RPixel::Blend(bottom, top, wy);
}

uint32_t RBitmap::SampleBicubic(float x, float y) const noexcept {
  if (IsEmpty()) return 0;
  if (!std::isfinite(x)) x = 0.0f;
  if (!std::isfinite(y)) y = 0.0f;
  x = std::clamp(x, 0.0f, float(width_ - 1));
  y = std::clamp(y, 0.0f, float(height_ - 1));
  const int32_t x0 = int32_t(std::floor(x));
  const int32_t y0 = int32_t(std::floor(y));
  float wx[4];
  float wy[4];
  CubicWeights(std::clamp(x - float(x0), 0.0f, 1.0f), wx);
  CubicWeights(std::clamp(y - float(y0), 0.0f, 1.0f), wy);

  float sum[4] = {0.0f, 0.0f, 0.0f, 0.0f};
  for (int32_t j = 0; j < 4; ++j) {
    const int32_t sy = std::clamp(y0 - 1 + j, 0, height_ - 1);
    for (int32_t i = 0; i < 4; ++i) {
      const int32_t sx = std::clamp(x0 - 1 + i, 0, width_ - 1);
      const uint32_t p = GetPixel(sx, sy);
      const float w = wx[i] * wy[j];
      for (int c = 0; c < 4; ++c) sum[c] += w * float((p >> (8 * c)) & 0xFF);
    }
  }
  uint32_t out = 0;
  for (int c = 0; c < 4; ++c) {
    const long v = std::clamp(std::lround(sum[c]), 0L, 255L);
    out |= uint32_t(v) << (8 * c);
  }
  return out;
}
