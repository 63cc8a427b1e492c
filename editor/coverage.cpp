#include "editor/coverage.h"

#include <algorithm>
#include <cmath>

void RCoverageRasterizer::Begin(const RRect& area) {
  area_ = area.IsEmpty() ? RRect{} : area;
  const size_t size = (size_t(area_.Width()) + 1) * size_t(area_.Height());
  // Cells are left at zero by every sweep, so only new ones need clearing.
  if (cells_.size() < size) cells_.resize(size, 0.0f);
  if (row_.size() < size_t(area_.Width())) row_.resize(size_t(area_.Width()));
}

// A piece of edge inside one cell covers the part of the cell to its right, height times
// (1 - fraction); everything further right gets the whole height, which the next cell carries
// into the running sum.
void RCoverageRasterizer::Deposit(float* cells, int32_t column, float fraction, float height) noexcept {
  const int32_t width = area_.Width();
  if (column >= width) return;
  if (column < 0) {
    cells[0] += height;
    return;
  }
  cells[column] += height * (1.0f - fraction);
  cells[column + 1] += height * fraction;
}

void RCoverageRasterizer::AddEdge(RPointF from, RPointF to) noexcept {
  if (area_.IsEmpty()) return;
  if (!std::isfinite(from.x) || !std::isfinite(from.y) || !std::isfinite(to.x) || !std::isfinite(to.y)) return;
  if (from.y == to.y) return;
  float direction = 1.0f;
  if (from.y > to.y) {
    std::swap(from, to);
    direction = -1.0f;
  }
  const float x0 = from.x - float(area_.left);
  const float y0 = from.y - float(area_.top);
  const float x1 = to.x - float(area_.left);
  const float y1 = to.y - float(area_.top);
  const float height = float(area_.Height());
  const float yTop = std::max(y0, 0.0f);
  const float yBottom = std::min(y1, height);
  if (yTop >= yBottom) return;
  const float slope = (x1 - x0) / (y1 - y0);
  const size_t stride = size_t(area_.Width()) + 1;

  for (int32_t row = int32_t(std::floor(yTop)); row < area_.Height() && float(row) < yBottom; ++row) {
    const float top = std::max(yTop, float(row));
    const float bottom = std::min(yBottom, float(row + 1));
    if (bottom <= top) continue;
    const float dy = (bottom - top) * direction;
    const float xa = x0 + (top - y0) * slope;
    const float xb = x0 + (bottom - y0) * slope;
    const float lo = std::min(xa, xb);
    const float hi = std::max(xa, xb);
    float* cells = cells_.data() + size_t(row) * stride;
    if (hi - lo < 1e-6f) {
      const float column = std::floor(lo);
      Deposit(cells, int32_t(std::max(column, -1.0f)), lo - column, dy);
      continue;
    }
    // Split the piece at column borders; each part carries its share of the height.
    const float length = hi - lo;
    const int32_t first = int32_t(std::max(std::floor(lo), -1.0f));
    const int32_t end = int32_t(std::min(std::ceil(hi), float(area_.Width())));
    if (first < 0) {
      const float part = std::min(hi, 0.0f) - lo;
      Deposit(cells, -1, 0.0f, dy * part / length);
    }
    for (int32_t column = std::max(first, 0); column < end; ++column) {
      const float left = std::max(lo, float(column));
      const float right = std::min(hi, float(column + 1));
      if (right <= left) continue;
      Deposit(cells, column, 0.5f * (left + right) - float(column), dy * (right - left) / length);
    }
  }
}

void RCoverageRasterizer::AddOutline(const RPointF* points, int32_t count, bool reversed) noexcept {
  if (count < 2) return;
  for (int32_t i = 0; i < count; ++i) {
    const RPointF a = points[i];
    const RPointF b = points[(i + 1) % count];
    if (reversed) {
      AddEdge(b, a);
    } else {
      AddEdge(a, b);
    }
  }
}

RRect CoverageBounds(const RPointF* points, int32_t count, float margin, const RRect& clip) noexcept {
  if (count <= 0) return RRect{};
  float left = points[0].x, right = points[0].x, top = points[0].y, bottom = points[0].y;
  for (int32_t i = 1; i < count; ++i) {
    left = std::min(left, points[i].x);
    right = std::max(right, points[i].x);
    top = std::min(top, points[i].y);
    bottom = std::max(bottom, points[i].y);
  }
  left -= margin;
  top -= margin;
  right += margin;
  bottom += margin;
  if (!std::isfinite(left) || !std::isfinite(right) || !std::isfinite(top) || !std::isfinite(bottom)) return RRect{};
  // Far outside coordinates are cut to the clip before the conversion to integers.
  const auto toInt = [](float v, int32_t lo, int32_t hi) { return int32_t(std::clamp(v, float(lo), float(hi))); };
  const RRect bounds{toInt(std::floor(left) - 1, clip.left, clip.right), toInt(std::floor(top) - 1, clip.top, clip.bottom),
                     toInt(std::ceil(right) + 1, clip.left, clip.right), toInt(std::ceil(bottom) + 1, clip.top, clip.bottom)};
  return bounds.Intersect(clip);
}
