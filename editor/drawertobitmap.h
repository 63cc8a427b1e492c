#pragma once
// RDrawerToRBitmap: the software painter. Draws into an RBitmap within its clip rectangle,
// over a pixel format that says how a target pixel is read, written and blended; the family
// is instantiated for the 32-bit blue-green-red-alpha layout of RBitmap.
//
// Blending is source-over: the colour channels follow the 8-bit rule of the samplers,
// (source * a + target * (255 - a)) >> 8, with a the source alpha times the opacity times the
// shape's coverage, and a = 255 writing the source as it stands; the target's alpha grows as
// a + target alpha * (255 - a) / 255. Shapes are anti-aliased by exact area coverage.
// Every operation is guarded under its qualified name ("RDrawerToRBitmap::BitBlt", ...).
//
// [editor-thread]: one painter per paint; the target is not touched by anyone else meanwhile.

#include <cstdint>
#include <vector>

#include "editor/bitmap.h"
#include "editor/coverage.h"
#include "editor/drawer.h"

// The layout of RBitmap's pixels: bytes blue, green, red, alpha, read as a 0xAARRGGBB word.
struct RPixelFormatBGRA32 {
  using Pixel = uint32_t;

  static uint32_t Read(Pixel pixel) noexcept { return pixel; }
  static Pixel Write(uint32_t color) noexcept { return color; }
  // color over target with alpha a (0..255, the colour's own alpha already folded in).
  static Pixel Over(Pixel target, uint32_t color, uint32_t a) noexcept {
    if (a >= 255) return color | 0xFF000000u;
    if (a == 0) return target;
    const uint32_t b = 255 - a;
    const uint32_t red = ((((color >> 16) & 0xFF) * a + ((target >> 16) & 0xFF) * b) >> 8) & 0xFF;
    const uint32_t green = ((((color >> 8) & 0xFF) * a + ((target >> 8) & 0xFF) * b) >> 8) & 0xFF;
    const uint32_t blue = (((color & 0xFF) * a + (target & 0xFF) * b) >> 8) & 0xFF;
    const uint32_t alpha = a + ((target >> 24) * b + 127) / 255;
    return (alpha << 24) | (red << 16) | (green << 8) | blue;
  }
};

template <class Format = RPixelFormatBGRA32>
class RDrawerToRBitmap : public RDrawer {
public:
  explicit RDrawerToRBitmap(RBitmap& target) : target_(target) {}

  RBitmap& GetTarget() noexcept { return target_; }

  void PatBlt(const RRect& rect, uint32_t color, RRasterOp op) override;
  void BitBlt(int32_t x, int32_t y, const RBitmap& source, const RRect& sourceRect, uint8_t opacity = 255) override;
  void AlphaMask(int32_t x, int32_t y, const RAlphaMask& mask, uint32_t color) override;
  void StretchBlt(const RRect& dest, const RBitmap& source, const RRect& sourceRect, uint8_t opacity = 255) override;
  void StretchBltH(const RRect& dest, const RBitmap& source, const RRect& sourceRect, int32_t leftCorner,
                   int32_t rightCorner, uint8_t opacity = 255) override;
  void StretchBltV(const RRect& dest, const RBitmap& source, const RRect& sourceRect, int32_t topCorner,
                   int32_t bottomCorner, uint8_t opacity = 255) override;
  void RotatedBlt(float centreX, float centreY, const RBitmap& source, const RRect& sourceRect, float angle,
                  uint8_t opacity = 255) override;
  void StretchBltArc(const RRect& dest, const RBitmap& source, const RRect& sourceRect, float startAngle,
                     float endAngle, float innerRadius, float outerRadius, uint8_t opacity = 255) override;
  void AlignedTextOut(const RRect& box, const RString& text, RFont& font, uint32_t color, RAlignH alignH,
                      RAlignV alignV) override;
  void LineTo(int32_t x, int32_t y, uint32_t color, float width = 1) override;
  void Line(int32_t x0, int32_t y0, int32_t x1, int32_t y1, uint32_t color, float width = 1) override;
  void LineToF(float x, float y, uint32_t color, float width = 1) override;
  void Rectangle(const RRect& rect, uint32_t color, float width = 1) override;
  void FillRectangle(const RRect& rect, uint32_t color) override;
  void FillRectangleGradient(const RRect& rect, uint32_t fromColor, uint32_t toColor, bool vertical = true) override;
  void RoundRectangle(const RRect& rect, float radius, uint32_t color, float width = 1) override;
  void FillRoundRectangle(const RRect& rect, float radius, uint32_t color) override;
  void Circle(float centreX, float centreY, float radius, uint32_t color, float width = 1) override;
  void FillCircle(float centreX, float centreY, float radius, uint32_t color) override;
  void FillTriangle(RPointF a, RPointF b, RPointF c, uint32_t color) override;
  void PolyLine(const RPoint* points, int32_t count, uint32_t color, float width = 1) override;
  void PolyLineF(const RPointF* points, int32_t count, uint32_t color, float width = 1) override;
  void FillPolygon(const RPointF* points, int32_t count, uint32_t color) override;
  void PaintHorizontalPolyLine(const RRect& rect, const float* values, int32_t count, uint32_t color,
                               float width = 1) override;
  void PaintHorizontalGraph(const RRect& rect, const float* values, int32_t count, uint32_t color) override;
  void PaintHorizontalIntervalGraph(const RRect& rect, const float* lows, const float* highs, int32_t count,
                                    uint32_t color) override;
  // There are no textures in memory: nothing is drawn.
  void PaintGLTexture(const RRect& dest, uint32_t texture, uint8_t opacity = 255) override;
  void GetScreenShot(const RRect& rect, RBitmap& target) override;
  void SetPixel(int32_t x, int32_t y, uint32_t color) override;

private:
  using Pixel = typename Format::Pixel;

  // The target's clip; a target held as indices throws (it has no pixels to paint).
  const RRect& Clip() const;
  // The unguarded bodies the guarded operations share.
  void Blit(const RRect& dest, const RBitmap& source, const RRect& sourceRect, uint32_t opacity);
  void FillSpan(int32_t x, int32_t y, int32_t count, uint32_t color);
  void FillCovered(uint32_t color);
  void StrokeSegment(RPointF from, RPointF to, float width);
  void StrokePath(const RPointF* points, int32_t count, uint32_t color, float width);
  void FillColumn(int32_t x, float top, float bottom, uint32_t color);
  Pixel* Row(int32_t y) noexcept { return reinterpret_cast<Pixel*>(target_.GetRow(y)); }

  RBitmap& target_;
  RCoverageRasterizer rasterizer_;
  std::vector<RPointF> points_;
};

extern template class RDrawerToRBitmap<RPixelFormatBGRA32>;
