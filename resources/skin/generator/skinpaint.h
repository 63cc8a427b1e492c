#pragma once
// What every family of the skin's generator shares: the palette, the scale, transparent
// canvases, shaded discs and spaced text. One place for the look, so that knobs, LEDs and the
// background use the same colours.
//
// Build-time only: runs inside quillon_skingen, one thread.

#include <cstdint>
#include <functional>
#include <memory>

#include "base/string.h"
#include "editor/bitmap.h"
#include "editor/drawertobitmap.h"
#include "editor/fonts.h"

using RSkinDrawer = RDrawerToRBitmap<RPixelFormatBGRA32>;

// Colours as 0xAARRGGBB.
namespace RSkinColour {
// The product definition's colours: its group panels, labels and the four accents.
constexpr uint32_t kBackTop = 0xFF1C1F25;
constexpr uint32_t kBackBottom = 0xFF111317;
constexpr uint32_t kPanel = 0xFF23262D;
constexpr uint32_t kPanelEdge = 0xFF343842;
constexpr uint32_t kWell = 0xFF0B0C0F;
constexpr uint32_t kLabel = 0xFF9A968E;
constexpr uint32_t kTitle = 0xFFE8E4DA;
constexpr uint32_t kAccentA = 0xFF5FB3C9;       // cyan: path A
constexpr uint32_t kAccentB = 0xFFF2A23A;       // amber: path B
constexpr uint32_t kAccentSwap = 0xFFD8D2F0;    // pale lavender between the two: SWAP
constexpr uint32_t kAccentMaster = 0xFFE8E4DA;  // warm white: Master
constexpr uint32_t kIndicator = 0xFFF6F4EF;
constexpr uint32_t kTrack = 0xFF15171B;
} // namespace RSkinColour

// The image's pixels are multiplied by scale: 1 for the plain set, 2 for HiDPI.
struct RSkinScale {
  int32_t factor = 1;
  float operator()(float value) const noexcept { return value * float(factor); }
  int32_t I(int32_t value) const noexcept { return value * factor; }
};

// Sink for finished images, by name; the generator checks each against its table.
using RSkinSink = std::function<void(const char* name, const RBitmap& bitmap)>;

namespace RSkinPaint {

// a and b mixed, t = 0 gives a, 1 gives b (alpha too).
uint32_t Mix(uint32_t a, uint32_t b, float t) noexcept;
uint32_t WithAlpha(uint32_t colour, uint32_t alpha) noexcept;
// colour lightened (amount > 0) towards white or darkened towards black.
uint32_t Shade(uint32_t colour, float amount) noexcept;

// A canvas of fully transparent pixels that carry colour's red, green and blue: edges blended
// over them keep that hue instead of fading to black in the JPEG colour plane.
RBitmap Transparent(int32_t width, int32_t height, uint32_t colour);

// Composites a disc of radius about (cx, cy), anti-aliased at its edge; shader gives the colour
// (with alpha) of a point from its position relative to the centre in radii (-1..1 each way).
void PaintDisc(RBitmap& target, float cx, float cy, float radius, const std::function<uint32_t(float, float)>& shader);
// A soft shadow or glow: colour whose alpha falls from alpha at radius inner to 0 at outer.
void PaintHalo(RBitmap& target, float cx, float cy, float inner, float outer, uint32_t colour);
// A soft glow around a rounded rectangle: alpha falls from alpha at its edge to 0 at spread.
void PaintRectHalo(RBitmap& target, float left, float top, float right, float bottom, float radius, float spread,
                   uint32_t colour);

// Fonts of the skin, loaded once per size.
RFont& Roboto(float pixelSize);
RFont& RobotoMedium(float pixelSize);
RFont& RobotoBold(float pixelSize);
RFont& RobotoCondensed(float pixelSize);
RFont& RobotoCondensedBold(float pixelSize);
RFont& Segment(float pixelSize);
// The font a definition names ("Roboto", "Roboto Condensed", "Segment14mod").
RFont& FontNamed(const RString& name, float pixelSize);

// Text with extra space between characters (uppercase titles), aligned in box horizontally and
// on box's vertical middle.
void SpacedText(RSkinDrawer& drawer, const RRect& box, const RString& text, RFont& font, uint32_t colour,
                float spacing, RAlignH align);

} // namespace RSkinPaint
