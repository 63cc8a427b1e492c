#pragma once
// RDrawer: what every control paints through, so that the same paint code runs on a bitmap in
// memory (RDrawerToRBitmap) or on the graphics card. The order of the operations is fixed:
// painters and the tools that replay paints rely on it.
//
// Conventions shared by every painter:
// - Colours are 0xAARRGGBB words; the alpha of a colour blends it over what is there.
// - Integer coordinates name pixels: a line through integer points runs through their centres,
//   an RRect covers [left, right) x [top, bottom). Float coordinates are continuous: pixel
//   (x, y) covers [x, x + 1) x [y, y + 1), so (2.5, 3.5) is the centre of pixel (2, 3).
// - Angles are in degrees, clockwise on the screen (y grows downwards).
// - Blits honour the source's alpha, scaled by an opacity of 0..255.
// - Nothing is drawn outside the target's clip rectangle; an empty rectangle, an empty source
//   or a zero width draws nothing.
// - Each operation is guarded in each painter under its qualified name: a failure ends that
//   operation alone and the rest of the paint goes on.
//
// [editor-thread]: a painter belongs to the window that paints with it.

#include <cstdint>

#include "base/string.h"
#include "editor/bitmap.h"

class RAlphaMask;
class RFont;

struct RPoint {
  int32_t x = 0;
  int32_t y = 0;
};

struct RPointF {
  float x = 0;
  float y = 0;
};

// How PatBlt combines its colour with the target.
enum class RRasterOp : uint8_t {
  kCopy,    // the colour replaces the pixel, alpha included
  kBlend,   // the colour over the pixel by its alpha
  kInvert,  // the pixel's red, green and blue inverted; the colour is not used
  kXor,     // the pixel's red, green and blue exclusive-or the colour's
};

enum class RAlignH : uint8_t { kLeft, kCentre, kRight };
// kBaseline puts the text's baseline on the rectangle's bottom edge (descenders are clipped):
// what value displays of digits want.
enum class RAlignV : uint8_t { kTop, kMiddle, kBaseline, kBottom };

class RDrawer {
public:
  virtual ~RDrawer() = default;

  // Fills rect with color combined by op.
  virtual void PatBlt(const RRect& rect, uint32_t color, RRasterOp op) = 0;
  // Draws sourceRect of source with its top left at (x, y), 1:1.
  virtual void BitBlt(int32_t x, int32_t y, const RBitmap& source, const RRect& sourceRect, uint8_t opacity = 255) = 0;
  // Paints color through the mask's coverage, the mask's clip rectangle placed at (x, y).
  virtual void AlphaMask(int32_t x, int32_t y, const RAlphaMask& mask, uint32_t color) = 0;
  // Scales sourceRect of source onto dest: whole-number magnifications by repeating pixels,
  // any other ratio bilinear.
  virtual void StretchBlt(const RRect& dest, const RBitmap& source, const RRect& sourceRect,
                          uint8_t opacity = 255) = 0;
  // Scales along one axis while the first and last corner pixels of that axis (leftCorner,
  // rightCorner columns; topCorner, bottomCorner rows) keep their size: a skin's frame that
  // stretches without smearing its rounded ends.
  virtual void StretchBltH(const RRect& dest, const RBitmap& source, const RRect& sourceRect, int32_t leftCorner,
                           int32_t rightCorner, uint8_t opacity = 255) = 0;
  virtual void StretchBltV(const RRect& dest, const RBitmap& source, const RRect& sourceRect, int32_t topCorner,
                           int32_t bottomCorner, uint8_t opacity = 255) = 0;
  // Draws sourceRect turned by angle about its centre, that centre placed at (centreX, centreY).
  virtual void RotatedBlt(float centreX, float centreY, const RBitmap& source, const RRect& sourceRect, float angle,
                          uint8_t opacity = 255) = 0;
  // A knob's arc: sourceRect scaled onto dest, keeping only the pixels of the ring between
  // innerRadius and outerRadius (pixels from dest's centre) whose direction lies on the sweep
  // from startAngle to endAngle (0 points up; the two may come in either order).
  virtual void StretchBltArc(const RRect& dest, const RBitmap& source, const RRect& sourceRect, float startAngle,
                             float endAngle, float innerRadius, float outerRadius, uint8_t opacity = 255) = 0;
  // One line of text aligned within box and clipped to it.
  virtual void AlignedTextOut(const RRect& box, const RString& text, RFont& font, uint32_t color, RAlignH alignH,
                              RAlignV alignV) = 0;

  // A line from the current position to (x, y), which becomes the current position.
  virtual void LineTo(int32_t x, int32_t y, uint32_t color, float width = 1) = 0;
  virtual void Line(int32_t x0, int32_t y0, int32_t x1, int32_t y1, uint32_t color, float width = 1) = 0;
  virtual void LineToF(float x, float y, uint32_t color, float width = 1) = 0;

  // Outline of width pixels inside rect.
  virtual void Rectangle(const RRect& rect, uint32_t color, float width = 1) = 0;
  virtual void FillRectangle(const RRect& rect, uint32_t color) = 0;
  // From one colour at the top (left) edge to the other at the bottom (right) edge.
  virtual void FillRectangleGradient(const RRect& rect, uint32_t fromColor, uint32_t toColor, bool vertical = true) = 0;
  virtual void RoundRectangle(const RRect& rect, float radius, uint32_t color, float width = 1) = 0;
  virtual void FillRoundRectangle(const RRect& rect, float radius, uint32_t color) = 0;
  // The outline is centred on the radius.
  virtual void Circle(float centreX, float centreY, float radius, uint32_t color, float width = 1) = 0;
  virtual void FillCircle(float centreX, float centreY, float radius, uint32_t color) = 0;
  virtual void FillTriangle(RPointF a, RPointF b, RPointF c, uint32_t color) = 0;
  // Connected lines through count points (pixel points, or continuous ones for PolyLineF).
  virtual void PolyLine(const RPoint* points, int32_t count, uint32_t color, float width = 1) = 0;
  virtual void PolyLineF(const RPointF* points, int32_t count, uint32_t color, float width = 1) = 0;
  // Filled by the non-zero rule.
  virtual void FillPolygon(const RPointF* points, int32_t count, uint32_t color) = 0;

  // Graphs over rect, one value for each of its columns from the left (count of them, at most
  // rect's width); a value is a height as a fraction of rect's, 0 at the bottom edge, 1 at the
  // top, and is clamped to that range.
  // A line through the values, from the centres of the bottom row (0) to the top row's (1).
  virtual void PaintHorizontalPolyLine(const RRect& rect, const float* values, int32_t count, uint32_t color,
                                       float width = 1) = 0;
  // Each column filled from the bottom up to its value: meters and curve displays.
  virtual void PaintHorizontalGraph(const RRect& rect, const float* values, int32_t count, uint32_t color) = 0;
  // Each column filled between its low and its high value.
  virtual void PaintHorizontalIntervalGraph(const RRect& rect, const float* lows, const float* highs, int32_t count,
                                            uint32_t color) = 0;
  // Draws an OpenGL texture (its id) onto dest; only a painter on the graphics card has any.
  virtual void PaintGLTexture(const RRect& dest, uint32_t texture, uint8_t opacity = 255) = 0;

  // Copies the part of rect that lies on the surface into target, which takes that part's size
  // (empty when rect lies outside).
  virtual void GetScreenShot(const RRect& rect, RBitmap& target) = 0;
  // Sets one pixel to color as it stands (no blend), within the clip.
  virtual void SetPixel(int32_t x, int32_t y, uint32_t color) = 0;

  // The current position of LineTo and LineToF, kept in continuous coordinates: MoveTo names a
  // pixel (its centre), MoveToF a point.
  void MoveTo(int32_t x, int32_t y) noexcept { position_ = RPointF{float(x) + 0.5f, float(y) + 0.5f}; }
  void MoveToF(float x, float y) noexcept { position_ = RPointF{x, y}; }
  RPointF GetPosition() const noexcept { return position_; }

protected:
  RPointF position_;
};
