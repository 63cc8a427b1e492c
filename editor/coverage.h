#pragma once
// RCoverageRasterizer: the anti-aliasing under every shape the software painter fills. Edges
// of closed outlines are accumulated as signed areas per pixel; a sweep along each row turns
// them into coverage 0..1 (exact for straight edges), counted by the non-zero rule: where
// outlines overlap the coverage saturates at 1, and an outline of opposite direction cuts a
// hole (a ring is an outer outline and an inner one reversed).
//
// The cell buffer is kept between shapes, so that a painter that fills many small shapes per
// frame allocates only when a shape is larger than any before.
//
// [editor-thread]

#include <cstdint>
#include <vector>

#include "editor/bitmap.h"
#include "editor/drawer.h"

class RCoverageRasterizer {
public:
  // Starts a shape that may touch area (already clipped to the target); edges outside it are
  // cut off.
  void Begin(const RRect& area);
  const RRect& GetArea() const noexcept { return area_; }

  // One directed edge in continuous coordinates.
  void AddEdge(RPointF from, RPointF to) noexcept;
  // A closed outline through count points.
  void AddOutline(const RPointF* points, int32_t count, bool reversed = false) noexcept;

  // Calls span(x, y, coverage, count) for the covered run of each row of the area (coverage
  // values for pixels x .. x + count - 1), then clears the cells for the next shape.
  template <class F>
  void Sweep(F&& span) {
    const int32_t width = area_.Width();
    const size_t stride = size_t(width) + 1;
    for (int32_t row = 0; row < area_.Height(); ++row) {
      float* cells = cells_.data() + size_t(row) * stride;
      int32_t first = -1;
      int32_t last = -1;
      float sum = 0.0f;
      for (int32_t x = 0; x < width; ++x) {
        sum += cells[x];
        cells[x] = 0.0f;
        float c = sum < 0.0f ? -sum : sum;
        c = c > 1.0f ? 1.0f : c;
        // Rounding residue of cancelled edges is not coverage.
        if (c < 1.0f / 1024.0f) c = 0.0f;
        row_[size_t(x)] = c;
        if (c > 0.0f) {
          if (first < 0) first = x;
          last = x;
        }
      }
      cells[width] = 0.0f;
      if (first >= 0) span(area_.left + first, area_.top + row, row_.data() + first, last - first + 1);
    }
  }

private:
  void Deposit(float* cells, int32_t column, float fraction, float height) noexcept;

  RRect area_;
  std::vector<float> cells_;
  std::vector<float> row_;
};

// The pixels a set of points may touch, widened by margin (a stroke's half width) and one pixel
// for anti-aliasing, within clip.
RRect CoverageBounds(const RPointF* points, int32_t count, float margin, const RRect& clip) noexcept;
