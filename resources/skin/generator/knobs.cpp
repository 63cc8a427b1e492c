// Knob strips: 101 frames, each as high as the strip is wide. The body, its shadow and the
// arc's track are painted once; each frame copies them and adds the lit arc and the pointer,
// which keeps the 684-pixel HiDPI morph knob (47 MB of pixels) cheap to draw.

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

#include "resources/skin/generator/skinfamilies.h"

using namespace RSkinPaint;

namespace {

constexpr int32_t kFrames = 101;
// The travel leaves 45 degrees either side of straight down dead.
constexpr float kStartAngle = -135.0f;
constexpr float kSweep = 270.0f;
constexpr float kPi = std::numbers::pi_v<float>;

struct RKnobLook {
  const char* name;
  int32_t size;           // at scale 1
  uint32_t accentFrom;    // arc colour at the start of the travel
  uint32_t accentTo;      // and at its end (the morph knob goes from A's colour to B's)
  bool ticks;             // a scale of 17 marks: the sixteen bit steps of the morph
};

uint32_t BodyShade(float nx, float ny) {
  const float r = std::sqrt(nx * nx + ny * ny);
  // Lit from above: a vertical gradient with a soft highlight up and left of the centre.
  uint32_t colour = Mix(0xFF3B424E, 0xFF1A1E25, 0.5f * (ny + 1.0f));
  const float hx = nx + 0.3f, hy = ny + 0.45f;
  const float highlight = std::max(0.0f, 1.0f - std::sqrt(hx * hx + hy * hy) / 0.9f);
  colour = Mix(colour, 0xFF58606D, 0.35f * highlight * highlight);
  // A bevelled rim: light along the top edge, dark along the bottom.
  if (r > 0.88f) {
    const float rim = (r - 0.88f) / 0.12f;
    colour = Mix(colour, ny < 0 ? 0xFF6A7280 : 0xFF101318, rim * std::abs(ny) * 0.8f);
  }
  return colour;
}

uint32_t FaceShade(float nx, float ny) {
  // The face is dished: darker at the top, lighter at the bottom, the other way to the body.
  uint32_t colour = Mix(0xFF242932, 0xFF323843, 0.5f * (ny + 1.0f));
  const float r = std::sqrt(nx * nx + ny * ny);
  if (r > 0.93f) colour = Mix(colour, ny < 0 ? 0xFF15181D : 0xFF4A515D, (r - 0.93f) / 0.07f * std::abs(ny));
  return colour;
}

RBitmap Solid(int32_t w, int32_t h, uint32_t colour) {
  RBitmap bitmap(w, h);
  bitmap.Fill(colour);
  return bitmap;
}

// The arc's colour at each pixel, by its direction from the centre (for a two-colour arc).
RBitmap ArcColours(int32_t size, uint32_t from, uint32_t to) {
  RBitmap bitmap(size, size);
  const float c = 0.5f * float(size);
  for (int32_t y = 0; y < size; ++y) {
    uint32_t* row = bitmap.GetRow(y);
    for (int32_t x = 0; x < size; ++x) {
      const float direction = std::atan2(float(x) + 0.5f - c, c - float(y) - 0.5f) * 180.0f / kPi;
      // Through the SWAP colour halfway, so that the mix of the two accents never turns muddy.
      const float t = (direction - kStartAngle) / kSweep;
      row[x] = from == to ? from : t < 0.5f ? Mix(from, RSkinColour::kAccentSwap, 2.0f * t)
                                            : Mix(RSkinColour::kAccentSwap, to, 2.0f * t - 1.0f);
    }
  }
  return bitmap;
}

void DrawKnob(const RKnobLook& look, const RSkinScale& scale, const RSkinSink& sink) {
  const int32_t size = scale.I(look.size);
  const float w = float(size);
  const float c = 0.5f * w;
  const float arcWidth = std::max(w * 0.04f, scale(2.5f));
  const float arcRadius = w * (look.ticks ? 0.40f : 0.44f);
  const float bodyRadius = w * (look.ticks ? 0.31f : 0.34f);
  const RRect whole{0, 0, size, size};

  RBitmap base = Transparent(size, size, 0xFF15191F);
  RSkinDrawer drawer(base);
  const RBitmap track = Solid(1, 1, RSkinColour::kTrack);
  drawer.StretchBltArc(whole, track, RRect{0, 0, 1, 1}, kStartAngle, kStartAngle + kSweep,
                       arcRadius - 0.5f * arcWidth, arcRadius + 0.5f * arcWidth);
  if (look.ticks) {
    for (int i = 0; i <= 16; ++i) {
      const float angle = (kStartAngle + kSweep * float(i) / 16.0f) * kPi / 180.0f;
      const float inner = arcRadius + arcWidth * 1.2f;
      const float outer = inner + (i % 4 == 0 ? w * 0.035f : w * 0.02f);
      const uint32_t colour = WithAlpha(RSkinColour::kLabel, i % 4 == 0 ? 230 : 150);
      drawer.MoveToF(c + inner * std::sin(angle), c - inner * std::cos(angle));
      drawer.LineToF(c + outer * std::sin(angle), c - outer * std::cos(angle), colour, scale(1.5f));
    }
  }
  PaintHalo(base, c, c + w * 0.03f, bodyRadius * 0.85f, bodyRadius * 1.2f, 0xA0000000);
  PaintDisc(base, c, c, bodyRadius, BodyShade);
  PaintDisc(base, c, c, bodyRadius * 0.8f, FaceShade);

  const RBitmap arc = ArcColours(size, look.accentFrom, look.accentTo);
  const float pointerWidth = std::clamp(w * 0.035f, scale(2.0f), scale(5.0f));
  const float pointerInner = bodyRadius * 0.42f;
  const float pointerOuter = bodyRadius * 0.86f;

  RBitmap strip(size, size * kFrames);
  RBitmap frame(size, size);
  for (int32_t i = 0; i < kFrames; ++i) {
    std::memcpy(frame.GetPixels(), base.GetPixels(), size_t(size) * size_t(size) * 4);
    RSkinDrawer paint(frame);
    const float degrees = kStartAngle + kSweep * float(i) / float(kFrames - 1);
    if (i > 0) {
      // A faint glow under the lit arc, then the arc itself.
      paint.StretchBltArc(whole, arc, whole, kStartAngle, degrees, arcRadius - 1.4f * arcWidth,
                          arcRadius + 1.4f * arcWidth, 40);
      paint.StretchBltArc(whole, arc, whole, kStartAngle, degrees, arcRadius - 0.5f * arcWidth,
                          arcRadius + 0.5f * arcWidth);
    }
    const float angle = degrees * kPi / 180.0f;
    const float sx = std::sin(angle), sy = -std::cos(angle);
    paint.MoveToF(c + pointerInner * sx, c + pointerInner * sy);
    paint.LineToF(c + pointerOuter * sx, c + pointerOuter * sy, RSkinColour::kIndicator, pointerWidth);
    // Round ends.
    paint.FillCircle(c + pointerInner * sx, c + pointerInner * sy, 0.5f * pointerWidth, RSkinColour::kIndicator);
    paint.FillCircle(c + pointerOuter * sx, c + pointerOuter * sy, 0.5f * pointerWidth, RSkinColour::kIndicator);
    std::memcpy(strip.GetRow(i * size), frame.GetPixels(), size_t(size) * size_t(size) * 4);
  }
  sink(look.name, strip);
}

} // namespace

void DrawKnobs(const RSkinScale& scale, const RSkinSink& sink) {
  using namespace RSkinColour;
  const RKnobLook looks[] = {
      {"KnobA", 102, kAccentA, kAccentA, false},
      {"KnobB", 102, kAccentB, kAccentB, false},
      {"KnobFeed", 54, kAccentSwap, kAccentSwap, false},
      {"KnobMaster", 72, kAccentMaster, kAccentMaster, false},
      {"KnobMorph", 342, kAccentA, kAccentB, true},
  };
  for (const RKnobLook& look : looks) DrawKnob(look, scale, sink);
}
