#include "editor/drawertobitmap.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/exception.h"
#include "base/guard.h"
#include "editor/alphamask.h"
#include "editor/fonts.h"

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

uint32_t ScaleAlpha(uint32_t alpha, uint32_t factor) noexcept { return (alpha * factor + 127) / 255; }

uint32_t CoverageAlpha(uint32_t alpha, float coverage) noexcept {
  return uint32_t(float(alpha) * coverage + 0.5f);
}

void CheckSource(const RBitmap& source) {
  if (source.IsIndexed()) throw RException(RString("An image held as indices must be expanded before it is drawn."));
}

// Segments of a full circle of this radius: few enough to stay cheap, many enough that the
// polygon's edge stays within about 0.05 pixels of the true circle. A multiple of four keeps
// the polygon as symmetric as the circle under mirroring and quarter turns.
int32_t SegmentsFor(float radius) noexcept {
  const float r = std::max(radius, 0.1f);
  const int32_t n = std::clamp(int32_t(std::ceil(kPi * std::sqrt(10.0f * r))), 8, 2048);
  return (n + 3) & ~3;
}

// A circle as a polygon whose area is that of the circle.
void AppendCircle(std::vector<RPointF>& points, float cx, float cy, float radius) {
  const int32_t n = SegmentsFor(radius);
  const float step = 2.0f * kPi / float(n);
  const float r = radius * std::sqrt(step / std::sin(step));
  for (int32_t i = 0; i < n; ++i) {
    const float a = step * float(i);
    points.push_back(RPointF{cx + r * std::cos(a), cy + r * std::sin(a)});
  }
}

// A rectangle with corners rounded by radius, clockwise on the screen.
void AppendRoundRect(std::vector<RPointF>& points, float left, float top, float right, float bottom, float radius) {
  const float r = std::clamp(radius, 0.0f, 0.5f * std::min(right - left, bottom - top));
  if (r < 0.01f) {
    points.insert(points.end(), {RPointF{left, top}, RPointF{right, top}, RPointF{right, bottom}, RPointF{left, bottom}});
    return;
  }
  const int32_t steps = std::max(2, SegmentsFor(r) / 4);
  const float centres[4][2] = {{left + r, top + r}, {right - r, top + r}, {right - r, bottom - r}, {left + r, bottom - r}};
  for (int32_t corner = 0; corner < 4; ++corner) {
    const float from = kPi + 0.5f * kPi * float(corner);
    for (int32_t i = 0; i <= steps; ++i) {
      const float a = from + 0.5f * kPi * float(i) / float(steps);
      points.push_back(RPointF{centres[corner][0] + r * std::cos(a), centres[corner][1] + r * std::sin(a)});
    }
  }
}

// How one axis of a destination maps onto a source: whole-number magnifications (1:1
// included) pick pixels, other ratios give a position for the bilinear sampler.
struct RAxisMap {
  int32_t destStart = 0;
  int32_t sourceStart = 0;
  int32_t sourceSize = 1;
  int32_t destSize = 1;
  bool nearest = true;

  RAxisMap(int32_t destStart_, int32_t destSize_, int32_t sourceStart_, int32_t sourceSize_)
      : destStart(destStart_), sourceStart(sourceStart_), sourceSize(sourceSize_), destSize(destSize_),
        nearest(destSize_ % sourceSize_ == 0) {}

  int32_t Pick(int32_t d) const noexcept {
    return sourceStart + int32_t(int64_t(d - destStart) * sourceSize / destSize);
  }
  float Position(int32_t d) const noexcept {
    const float p = float(sourceStart) + (float(d - destStart) + 0.5f) * float(sourceSize) / float(destSize) - 0.5f;
    // The sampler must not reach into the neighbours of the rectangle (the next frame of a strip).
    return std::clamp(p, float(sourceStart), float(sourceStart + sourceSize - 1));
  }
};

// Sine and cosine of an angle in degrees, exact at the quarter turns, so that a turn by 90
// degrees moves pixels without blending them.
void SinCos(float degrees, float& s, float& c) noexcept {
  const float turned = std::fmod(degrees, 360.0f);
  const float quarters = turned / 90.0f;
  if (quarters == std::floor(quarters)) {
    const int32_t q = (int32_t(quarters) % 4 + 4) % 4;
    static constexpr float kSin[4] = {0, 1, 0, -1};
    static constexpr float kCos[4] = {1, 0, -1, 0};
    s = kSin[q];
    c = kCos[q];
    return;
  }
  const float radians = turned * kPi / 180.0f;
  s = std::sin(radians);
  c = std::cos(radians);
}

float Clamp01(float v) noexcept { return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f; }  // NaN gives 0

uint32_t Mix(uint32_t from, uint32_t to, int32_t i, int32_t n) noexcept {
  if (n <= 1) return from;
  uint32_t out = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    const int32_t a = int32_t((from >> shift) & 0xFF);
    const int32_t b = int32_t((to >> shift) & 0xFF);
    const int32_t v = a + int32_t(std::lround(float(b - a) * float(i) / float(n - 1)));
    out |= uint32_t(std::clamp(v, 0, 255)) << shift;
  }
  return out;
}

} // namespace

// --- shared bodies

template <class Format>
const RRect& RDrawerToRBitmap<Format>::Clip() const {
  if (target_.IsIndexed()) throw RException(RString("A painter draws only into an image of 32-bit pixels."));
  return target_.GetClip();
}

template <class Format>
void RDrawerToRBitmap<Format>::FillSpan(int32_t x, int32_t y, int32_t count, uint32_t color) {
  Pixel* row = Row(y) + x;
  const uint32_t alpha = color >> 24;
  if (alpha == 255) {
    std::fill(row, row + count, Format::Write(color));
    return;
  }
  for (int32_t i = 0; i < count; ++i) row[i] = Format::Over(row[i], color, alpha);
}

template <class Format>
void RDrawerToRBitmap<Format>::FillCovered(uint32_t color) {
  const uint32_t alpha = color >> 24;
  rasterizer_.Sweep([&](int32_t x, int32_t y, const float* coverage, int32_t count) {
    Pixel* row = Row(y) + x;
    for (int32_t i = 0; i < count; ++i) row[i] = Format::Over(row[i], color, CoverageAlpha(alpha, coverage[i]));
  });
}

// A segment as a quad with square ends half the width long, so that a line between pixel
// centres covers both end pixels whole. Every quad turns the same way, so the overlaps of a
// path's segments add up instead of cancelling.
template <class Format>
void RDrawerToRBitmap<Format>::StrokeSegment(RPointF from, RPointF to, float width) {
  const float half = 0.5f * width;
  float dx = to.x - from.x;
  float dy = to.y - from.y;
  const float length = std::sqrt(dx * dx + dy * dy);
  if (length < 1e-6f) {
    dx = 1.0f;
    dy = 0.0f;
  } else {
    dx /= length;
    dy /= length;
  }
  const float ex = dx * half, ey = dy * half;  // along the segment
  const float nx = -ey, ny = ex;               // across it
  const RPointF quad[4] = {RPointF{from.x - ex + nx, from.y - ey + ny}, RPointF{to.x + ex + nx, to.y + ey + ny},
                           RPointF{to.x + ex - nx, to.y + ey - ny}, RPointF{from.x - ex - nx, from.y - ey - ny}};
  rasterizer_.AddOutline(quad, 4);
}

template <class Format>
void RDrawerToRBitmap<Format>::StrokePath(const RPointF* points, int32_t count, uint32_t color, float width) {
  if (count <= 0) return;
  if (!points) throw RException(RString("No points were given."));
  if (!(width > 0.0f)) return;
  rasterizer_.Begin(CoverageBounds(points, count, 0.75f * width, Clip()));
  if (count == 1) StrokeSegment(points[0], points[0], width);
  for (int32_t i = 1; i < count; ++i) StrokeSegment(points[i - 1], points[i], width);
  FillCovered(color);
}

// Fills the rows of one column between two continuous heights, the end pixels by their share.
template <class Format>
void RDrawerToRBitmap<Format>::FillColumn(int32_t x, float top, float bottom, uint32_t color) {
  const RRect& clip = Clip();
  if (x < clip.left || x >= clip.right || !(bottom > top)) return;
  const uint32_t alpha = color >> 24;
  const int32_t first = std::max(int32_t(std::floor(top)), clip.top);
  const int32_t end = std::min(int32_t(std::ceil(bottom)), clip.bottom);
  for (int32_t y = first; y < end; ++y) {
    const float share = std::min(bottom, float(y + 1)) - std::max(top, float(y));
    Pixel& pixel = Row(y)[x];
    pixel = Format::Over(pixel, color, share >= 1.0f ? alpha : CoverageAlpha(alpha, share));
  }
}

template <class Format>
void RDrawerToRBitmap<Format>::Blit(const RRect& dest, const RBitmap& source, const RRect& sourceRect,
                                    uint32_t opacity) {
  CheckSource(source);
  const RRect from = sourceRect.Intersect(source.GetBounds());
  if (from.IsEmpty() || dest.IsEmpty() || opacity == 0) return;
  const RAxisMap mapX(dest.left, dest.Width(), from.left, from.Width());
  const RAxisMap mapY(dest.top, dest.Height(), from.top, from.Height());
  const RRect area = dest.Intersect(Clip());
  for (int32_t y = area.top; y < area.bottom; ++y) {
    Pixel* row = Row(y);
    if (mapX.nearest && mapY.nearest) {
      const uint32_t* sourceRow = source.GetRow(mapY.Pick(y));
      for (int32_t x = area.left; x < area.right; ++x) {
        const uint32_t p = sourceRow[mapX.Pick(x)];
        row[x] = Format::Over(row[x], p, opacity == 255 ? p >> 24 : ScaleAlpha(p >> 24, opacity));
      }
    } else {
      const float sy = mapY.nearest ? float(mapY.Pick(y)) : mapY.Position(y);
      for (int32_t x = area.left; x < area.right; ++x) {
        const float sx = mapX.nearest ? float(mapX.Pick(x)) : mapX.Position(x);
        const uint32_t p = source.SampleBilinear(sx, sy);
        row[x] = Format::Over(row[x], p, ScaleAlpha(p >> 24, opacity));
      }
    }
  }
}

// --- operations, in the order of RDrawer

template <class Format>
void RDrawerToRBitmap<Format>::PatBlt(const RRect& rect, uint32_t color, RRasterOp op) {
  RGuarded("RDrawerToRBitmap::PatBlt", [&] {
    const RRect area = rect.Intersect(Clip());
    for (int32_t y = area.top; y < area.bottom; ++y) {
      Pixel* row = Row(y);
      switch (op) {
        case RRasterOp::kCopy:
          std::fill(row + area.left, row + area.right, Format::Write(color));
          break;
        case RRasterOp::kBlend:
          FillSpan(area.left, y, area.Width(), color);
          break;
        case RRasterOp::kInvert:
          for (int32_t x = area.left; x < area.right; ++x) row[x] = Format::Write(Format::Read(row[x]) ^ 0x00FFFFFFu);
          break;
        case RRasterOp::kXor:
          for (int32_t x = area.left; x < area.right; ++x) {
            row[x] = Format::Write(Format::Read(row[x]) ^ (color & 0x00FFFFFFu));
          }
          break;
      }
    }
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::BitBlt(int32_t x, int32_t y, const RBitmap& source, const RRect& sourceRect,
                                      uint8_t opacity) {
  RGuarded("RDrawerToRBitmap::BitBlt", [&] {
    const RRect from = sourceRect.Intersect(source.GetBounds());
    const int32_t left = x + from.left - sourceRect.left;
    const int32_t top = y + from.top - sourceRect.top;
    Blit(RRect{left, top, left + from.Width(), top + from.Height()}, source, from, opacity);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::AlphaMask(int32_t x, int32_t y, const RAlphaMask& mask, uint32_t color) {
  RGuarded("RDrawerToRBitmap::AlphaMask", [&] {
    const uint8_t* coverage = mask.GetCoverage();
    const RRect from = mask.GetClip().Intersect(RRect{0, 0, mask.GetWidth(), mask.GetHeight()});
    if (!coverage || from.IsEmpty()) return;
    const RRect dest{x, y, x + from.Width(), y + from.Height()};
    const RRect area = dest.Intersect(Clip());
    const uint32_t alpha = color >> 24;
    for (int32_t row = area.top; row < area.bottom; ++row) {
      const uint8_t* maskRow = coverage + size_t(row - y + from.top) * size_t(mask.GetWidth());
      Pixel* pixels = Row(row);
      for (int32_t column = area.left; column < area.right; ++column) {
        pixels[column] = Format::Over(pixels[column], color, ScaleAlpha(alpha, maskRow[column - x + from.left]));
      }
    }
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::StretchBlt(const RRect& dest, const RBitmap& source, const RRect& sourceRect,
                                          uint8_t opacity) {
  RGuarded("RDrawerToRBitmap::StretchBlt", [&] { Blit(dest, source, sourceRect, opacity); });
}

namespace {

// Splits a length into two kept ends and a middle: the ends keep their source size while they
// fit, and share the length in their proportion when they don't.
void SplitCorners(int32_t length, int32_t first, int32_t last, int32_t& outFirst, int32_t& outLast) noexcept {
  if (first + last <= length) {
    outFirst = first;
    outLast = last;
    return;
  }
  outFirst = first + last > 0 ? int32_t(int64_t(length) * first / (first + last)) : 0;
  outLast = length - outFirst;
}

} // namespace

template <class Format>
void RDrawerToRBitmap<Format>::StretchBltH(const RRect& dest, const RBitmap& source, const RRect& sourceRect,
                                           int32_t leftCorner, int32_t rightCorner, uint8_t opacity) {
  RGuarded("RDrawerToRBitmap::StretchBltH", [&] {
    const RRect from = sourceRect.Intersect(source.GetBounds());
    if (from.IsEmpty() || dest.IsEmpty()) return;
    int32_t left = 0, right = 0, destLeft = 0, destRight = 0;
    SplitCorners(from.Width(), std::max(leftCorner, 0), std::max(rightCorner, 0), left, right);
    SplitCorners(dest.Width(), left, right, destLeft, destRight);
    Blit(RRect{dest.left, dest.top, dest.left + destLeft, dest.bottom}, source,
         RRect{from.left, from.top, from.left + left, from.bottom}, opacity);
    Blit(RRect{dest.left + destLeft, dest.top, dest.right - destRight, dest.bottom}, source,
         RRect{from.left + left, from.top, from.right - right, from.bottom}, opacity);
    Blit(RRect{dest.right - destRight, dest.top, dest.right, dest.bottom}, source,
         RRect{from.right - right, from.top, from.right, from.bottom}, opacity);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::StretchBltV(const RRect& dest, const RBitmap& source, const RRect& sourceRect,
                                           int32_t topCorner, int32_t bottomCorner, uint8_t opacity) {
  RGuarded("RDrawerToRBitmap::StretchBltV", [&] {
    const RRect from = sourceRect.Intersect(source.GetBounds());
    if (from.IsEmpty() || dest.IsEmpty()) return;
    int32_t top = 0, bottom = 0, destTop = 0, destBottom = 0;
    SplitCorners(from.Height(), std::max(topCorner, 0), std::max(bottomCorner, 0), top, bottom);
    SplitCorners(dest.Height(), top, bottom, destTop, destBottom);
    Blit(RRect{dest.left, dest.top, dest.right, dest.top + destTop}, source,
         RRect{from.left, from.top, from.right, from.top + top}, opacity);
    Blit(RRect{dest.left, dest.top + destTop, dest.right, dest.bottom - destBottom}, source,
         RRect{from.left, from.top + top, from.right, from.bottom - bottom}, opacity);
    Blit(RRect{dest.left, dest.bottom - destBottom, dest.right, dest.bottom}, source,
         RRect{from.left, from.bottom - bottom, from.right, from.bottom}, opacity);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::RotatedBlt(float centreX, float centreY, const RBitmap& source, const RRect& sourceRect,
                                          float angle, uint8_t opacity) {
  RGuarded("RDrawerToRBitmap::RotatedBlt", [&] {
    CheckSource(source);
    const RRect from = sourceRect.Intersect(source.GetBounds());
    if (from.IsEmpty() || opacity == 0 || !std::isfinite(angle) || !std::isfinite(centreX) || !std::isfinite(centreY)) {
      return;
    }
    float s = 0, c = 1;
    SinCos(angle, s, c);
    const float halfW = 0.5f * float(from.Width());
    const float halfH = 0.5f * float(from.Height());
    const float extentX = std::abs(c) * halfW + std::abs(s) * halfH;
    const float extentY = std::abs(s) * halfW + std::abs(c) * halfH;
    const RPointF corners[2] = {RPointF{centreX - extentX, centreY - extentY}, RPointF{centreX + extentX, centreY + extentY}};
    const RRect area = CoverageBounds(corners, 2, 0.0f, Clip());
    const float sourceX = float(from.left) + halfW;
    const float sourceY = float(from.top) + halfH;
    for (int32_t y = area.top; y < area.bottom; ++y) {
      Pixel* row = Row(y);
      const float dy = float(y) + 0.5f - centreY;
      for (int32_t x = area.left; x < area.right; ++x) {
        const float dx = float(x) + 0.5f - centreX;
        // Back from the screen into the source: the inverse turn.
        const float u = c * dx + s * dy;
        const float v = c * dy - s * dx;
        // Edge pixels count by how far their centre lies inside, which smooths the border of
        // a turned image and leaves whole pixels whole at the quarter turns.
        const float coverX = Clamp01(halfW - std::abs(u) + 0.5f);
        const float coverY = Clamp01(halfH - std::abs(v) + 0.5f);
        if (coverX <= 0.0f || coverY <= 0.0f) continue;
        const float sx = std::clamp(sourceX + u - 0.5f, float(from.left), float(from.right - 1));
        const float sy = std::clamp(sourceY + v - 0.5f, float(from.top), float(from.bottom - 1));
        const uint32_t p = source.SampleBilinear(sx, sy);
        const uint32_t alpha = ScaleAlpha(p >> 24, opacity);
        row[x] = Format::Over(row[x], p, coverX * coverY >= 1.0f ? alpha : CoverageAlpha(alpha, coverX * coverY));
      }
    }
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::StretchBltArc(const RRect& dest, const RBitmap& source, const RRect& sourceRect,
                                             float startAngle, float endAngle, float innerRadius, float outerRadius,
                                             uint8_t opacity) {
  RGuarded("RDrawerToRBitmap::StretchBltArc", [&] {
    CheckSource(source);
    const RRect from = sourceRect.Intersect(source.GetBounds());
    if (from.IsEmpty() || dest.IsEmpty() || opacity == 0) return;
    if (!std::isfinite(startAngle) || !std::isfinite(endAngle)) return;
    const float first = std::min(startAngle, endAngle);
    const float sweep = std::abs(endAngle - startAngle);
    const float centreX = float(dest.left) + 0.5f * float(dest.Width());
    const float centreY = float(dest.top) + 0.5f * float(dest.Height());
    const RAxisMap mapX(dest.left, dest.Width(), from.left, from.Width());
    const RAxisMap mapY(dest.top, dest.Height(), from.top, from.Height());
    const RRect area = dest.Intersect(Clip());
    for (int32_t y = area.top; y < area.bottom; ++y) {
      Pixel* row = Row(y);
      const float dy = float(y) + 0.5f - centreY;
      for (int32_t x = area.left; x < area.right; ++x) {
        const float dx = float(x) + 0.5f - centreX;
        const float radius = std::sqrt(dx * dx + dy * dy);
        // Each border softened over one pixel around the pixel's centre: a ring and its ends
        // drawn from a strip of hard masks would otherwise show stairs.
        float cover = innerRadius > 0.0f ? Clamp01(radius - innerRadius + 0.5f) : 1.0f;
        cover *= Clamp01(outerRadius - radius + 0.5f);
        if (cover <= 0.0f) continue;
        if (sweep < 360.0f) {
          // Clockwise from straight up, as a knob turns.
          const float direction = std::atan2(dx, -dy) * 180.0f / kPi;
          float along = std::fmod(direction - first, 360.0f);
          if (along < 0.0f) along += 360.0f;
          // Past the end by less than the gap's half counts from the end, else from the start.
          if (along > 180.0f + 0.5f * sweep) along -= 360.0f;
          const float toPixels = radius * kPi / 180.0f;
          cover *= Clamp01(along * toPixels + 0.5f) * Clamp01((sweep - along) * toPixels + 0.5f);
          if (cover <= 0.0f) continue;
        }
        uint32_t p = 0;
        if (mapX.nearest && mapY.nearest) {
          p = source.GetRow(mapY.Pick(y))[mapX.Pick(x)];
        } else {
          p = source.SampleBilinear(mapX.nearest ? float(mapX.Pick(x)) : mapX.Position(x),
                                    mapY.nearest ? float(mapY.Pick(y)) : mapY.Position(y));
        }
        const uint32_t alpha = ScaleAlpha(p >> 24, opacity);
        row[x] = Format::Over(row[x], p, cover >= 1.0f ? alpha : CoverageAlpha(alpha, cover));
      }
    }
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::AlignedTextOut(const RRect& box, const RString& text, RFont& font, uint32_t color,
                                              RAlignH alignH, RAlignV alignV) {
  RGuarded("RDrawerToRBitmap::AlignedTextOut", [&] {
    const RRect area = box.Intersect(Clip());
    if (area.IsEmpty() || text.IsEmpty()) return;
    const float width = font.Measure(text);
    float originX = float(box.left);
    if (alignH == RAlignH::kCentre) originX += 0.5f * (float(box.Width()) - width);
    if (alignH == RAlignH::kRight) originX = float(box.right) - width;
    float baseline = float(box.top) + font.GetAscent();
    if (alignV == RAlignV::kMiddle) {
      baseline = float(box.top) + 0.5f * (float(box.Height()) - font.GetAscent() - font.GetDescent()) + font.GetAscent();
    }
    if (alignV == RAlignV::kBaseline) baseline = float(box.bottom);
    if (alignV == RAlignV::kBottom) baseline = float(box.bottom) - font.GetDescent();
    // Whole pixels for the baseline and each pen position keep glyphs as FreeType drew them.
    const int32_t baseY = int32_t(std::lround(baseline));
    const uint32_t alpha = color >> 24;
    font.Layout(text, [&](const RGlyph& glyph, float pen) {
      const int32_t left = int32_t(std::lround(originX + pen)) + glyph.left;
      const int32_t top = baseY - glyph.top;
      const RRect glyphArea = RRect{left, top, left + glyph.width, top + glyph.height}.Intersect(area);
      for (int32_t y = glyphArea.top; y < glyphArea.bottom; ++y) {
        const uint8_t* coverage = glyph.coverage.data() + size_t(y - top) * size_t(glyph.width);
        Pixel* row = Row(y);
        for (int32_t x = glyphArea.left; x < glyphArea.right; ++x) {
          row[x] = Format::Over(row[x], color, ScaleAlpha(alpha, coverage[x - left]));
        }
      }
    });
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::LineTo(int32_t x, int32_t y, uint32_t color, float width) {
  RGuarded("RDrawerToRBitmap::LineTo", [&] {
    const RPointF points[2] = {position_, RPointF{float(x) + 0.5f, float(y) + 0.5f}};
    position_ = points[1];
    StrokePath(points, 2, color, width);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::Line(int32_t x0, int32_t y0, int32_t x1, int32_t y1, uint32_t color, float width) {
  RGuarded("RDrawerToRBitmap::Line", [&] {
    const RPointF points[2] = {RPointF{float(x0) + 0.5f, float(y0) + 0.5f}, RPointF{float(x1) + 0.5f, float(y1) + 0.5f}};
    StrokePath(points, 2, color, width);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::LineToF(float x, float y, uint32_t color, float width) {
  RGuarded("RDrawerToRBitmap::LineToF", [&] {
    const RPointF points[2] = {position_, RPointF{x, y}};
    position_ = points[1];
    StrokePath(points, 2, color, width);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::Rectangle(const RRect& rect, uint32_t color, float width) {
  RGuarded("RDrawerToRBitmap::Rectangle", [&] {
    if (rect.IsEmpty() || !(width > 0.0f)) return;
    const float left = float(rect.left), top = float(rect.top), right = float(rect.right), bottom = float(rect.bottom);
    const RPointF outer[4] = {RPointF{left, top}, RPointF{right, top}, RPointF{right, bottom}, RPointF{left, bottom}};
    rasterizer_.Begin(rect.Intersect(Clip()));
    rasterizer_.AddOutline(outer, 4);
    if (2.0f * width < std::min(right - left, bottom - top)) {
      const RPointF inner[4] = {RPointF{left + width, top + width}, RPointF{right - width, top + width},
                                RPointF{right - width, bottom - width}, RPointF{left + width, bottom - width}};
      rasterizer_.AddOutline(inner, 4, true);
    }
    FillCovered(color);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::FillRectangle(const RRect& rect, uint32_t color) {
  RGuarded("RDrawerToRBitmap::FillRectangle", [&] {
    const RRect area = rect.Intersect(Clip());
    for (int32_t y = area.top; y < area.bottom; ++y) FillSpan(area.left, y, area.Width(), color);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::FillRectangleGradient(const RRect& rect, uint32_t fromColor, uint32_t toColor,
                                                     bool vertical) {
  RGuarded("RDrawerToRBitmap::FillRectangleGradient", [&] {
    const RRect area = rect.Intersect(Clip());
    if (area.IsEmpty()) return;
    if (vertical) {
      for (int32_t y = area.top; y < area.bottom; ++y) {
        FillSpan(area.left, y, area.Width(), Mix(fromColor, toColor, y - rect.top, rect.Height()));
      }
      return;
    }
    for (int32_t y = area.top; y < area.bottom; ++y) {
      Pixel* row = Row(y);
      for (int32_t x = area.left; x < area.right; ++x) {
        const uint32_t color = Mix(fromColor, toColor, x - rect.left, rect.Width());
        row[x] = Format::Over(row[x], color, color >> 24);
      }
    }
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::RoundRectangle(const RRect& rect, float radius, uint32_t color, float width) {
  RGuarded("RDrawerToRBitmap::RoundRectangle", [&] {
    if (rect.IsEmpty() || !(width > 0.0f)) return;
    const float left = float(rect.left), top = float(rect.top), right = float(rect.right), bottom = float(rect.bottom);
    points_.clear();
    AppendRoundRect(points_, left, top, right, bottom, radius);
    rasterizer_.Begin(rect.Intersect(Clip()));
    rasterizer_.AddOutline(points_.data(), int32_t(points_.size()));
    if (2.0f * width < std::min(right - left, bottom - top)) {
      points_.clear();
      AppendRoundRect(points_, left + width, top + width, right - width, bottom - width, radius - width);
      rasterizer_.AddOutline(points_.data(), int32_t(points_.size()), true);
    }
    FillCovered(color);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::FillRoundRectangle(const RRect& rect, float radius, uint32_t color) {
  RGuarded("RDrawerToRBitmap::FillRoundRectangle", [&] {
    if (rect.IsEmpty()) return;
    points_.clear();
    AppendRoundRect(points_, float(rect.left), float(rect.top), float(rect.right), float(rect.bottom), radius);
    rasterizer_.Begin(rect.Intersect(Clip()));
    rasterizer_.AddOutline(points_.data(), int32_t(points_.size()));
    FillCovered(color);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::Circle(float centreX, float centreY, float radius, uint32_t color, float width) {
  RGuarded("RDrawerToRBitmap::Circle", [&] {
    if (!(radius > 0.0f) || !(width > 0.0f) || !std::isfinite(radius)) return;
    const float outer = radius + 0.5f * width;
    const float inner = radius - 0.5f * width;
    points_.clear();
    AppendCircle(points_, centreX, centreY, outer);
    rasterizer_.Begin(CoverageBounds(points_.data(), int32_t(points_.size()), 0.0f, Clip()));
    rasterizer_.AddOutline(points_.data(), int32_t(points_.size()));
    if (inner > 0.0f) {
      points_.clear();
      AppendCircle(points_, centreX, centreY, inner);
      rasterizer_.AddOutline(points_.data(), int32_t(points_.size()), true);
    }
    FillCovered(color);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::FillCircle(float centreX, float centreY, float radius, uint32_t color) {
  RGuarded("RDrawerToRBitmap::FillCircle", [&] {
    if (!(radius > 0.0f) || !std::isfinite(radius)) return;
    points_.clear();
    AppendCircle(points_, centreX, centreY, radius);
    rasterizer_.Begin(CoverageBounds(points_.data(), int32_t(points_.size()), 0.0f, Clip()));
    rasterizer_.AddOutline(points_.data(), int32_t(points_.size()));
    FillCovered(color);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::FillTriangle(RPointF a, RPointF b, RPointF c, uint32_t color) {
  RGuarded("RDrawerToRBitmap::FillTriangle", [&] {
    const RPointF points[3] = {a, b, c};
    rasterizer_.Begin(CoverageBounds(points, 3, 0.0f, Clip()));
    rasterizer_.AddOutline(points, 3);
    FillCovered(color);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::PolyLine(const RPoint* points, int32_t count, uint32_t color, float width) {
  RGuarded("RDrawerToRBitmap::PolyLine", [&] {
    if (count > 0 && !points) throw RException(RString("No points were given."));
    points_.clear();
    for (int32_t i = 0; i < count; ++i) points_.push_back(RPointF{float(points[i].x) + 0.5f, float(points[i].y) + 0.5f});
    StrokePath(points_.data(), count, color, width);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::PolyLineF(const RPointF* points, int32_t count, uint32_t color, float width) {
  RGuarded("RDrawerToRBitmap::PolyLineF", [&] { StrokePath(points, count, color, width); });
}

template <class Format>
void RDrawerToRBitmap<Format>::FillPolygon(const RPointF* points, int32_t count, uint32_t color) {
  RGuarded("RDrawerToRBitmap::FillPolygon", [&] {
    if (count < 3) return;
    if (!points) throw RException(RString("No points were given."));
    rasterizer_.Begin(CoverageBounds(points, count, 0.0f, Clip()));
    rasterizer_.AddOutline(points, count);
    FillCovered(color);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::PaintHorizontalPolyLine(const RRect& rect, const float* values, int32_t count,
                                                       uint32_t color, float width) {
  RGuarded("RDrawerToRBitmap::PaintHorizontalPolyLine", [&] {
    const int32_t n = std::min(count, rect.Width());
    if (n <= 0 || rect.IsEmpty()) return;
    if (!values) throw RException(RString("No values were given."));
    const float bottom = float(rect.bottom) - 0.5f;
    const float span = float(rect.Height() - 1);
    points_.clear();
    for (int32_t i = 0; i < n; ++i) {
      points_.push_back(RPointF{float(rect.left + i) + 0.5f, bottom - Clamp01(values[i]) * span});
    }
    StrokePath(points_.data(), n, color, width);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::PaintHorizontalGraph(const RRect& rect, const float* values, int32_t count,
                                                    uint32_t color) {
  RGuarded("RDrawerToRBitmap::PaintHorizontalGraph", [&] {
    const int32_t n = std::min(count, rect.Width());
    if (n <= 0 || rect.IsEmpty()) return;
    if (!values) throw RException(RString("No values were given."));
    const float bottom = float(rect.bottom);
    const float height = float(rect.Height());
    for (int32_t i = 0; i < n; ++i) FillColumn(rect.left + i, bottom - Clamp01(values[i]) * height, bottom, color);
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::PaintHorizontalIntervalGraph(const RRect& rect, const float* lows, const float* highs,
                                                            int32_t count, uint32_t color) {
  RGuarded("RDrawerToRBitmap::PaintHorizontalIntervalGraph", [&] {
    const int32_t n = std::min(count, rect.Width());
    if (n <= 0 || rect.IsEmpty()) return;
    if (!lows || !highs) throw RException(RString("No values were given."));
    const float bottom = float(rect.bottom);
    const float height = float(rect.Height());
    for (int32_t i = 0; i < n; ++i) {
      const float low = Clamp01(lows[i]);
      const float high = Clamp01(highs[i]);
      FillColumn(rect.left + i, bottom - std::max(low, high) * height, bottom - std::min(low, high) * height, color);
    }
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::PaintGLTexture(const RRect&, uint32_t, uint8_t) {}

template <class Format>
void RDrawerToRBitmap<Format>::GetScreenShot(const RRect& rect, RBitmap& target) {
  RGuarded("RDrawerToRBitmap::GetScreenShot", [&] {
    const RRect area = rect.Intersect(target_.GetBounds());
    Clip();
    target.Create(area.Width(), area.Height());
    for (int32_t y = area.top; y < area.bottom; ++y) {
      const Pixel* row = Row(y);
      uint32_t* out = target.GetRow(y - area.top);
      for (int32_t x = area.left; x < area.right; ++x) out[x - area.left] = Format::Read(row[x]);
    }
  });
}

template <class Format>
void RDrawerToRBitmap<Format>::SetPixel(int32_t x, int32_t y, uint32_t color) {
  RGuarded("RDrawerToRBitmap::SetPixel", [&] {
    if (Clip().Contains(x, y)) Row(y)[x] = Format::Write(color);
  });
}

template class RDrawerToRBitmap<RPixelFormatBGRA32>;
