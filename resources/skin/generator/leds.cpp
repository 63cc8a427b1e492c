// LED strips: 51 frames from dark to fully lit. The lens lights up and a glow spreads around
// it as the level rises, so a row of them reads as a meter.

#include <algorithm>
#include <cmath>

#include "resources/skin/generator/skinfamilies.h"

using namespace RSkinPaint;

namespace {

constexpr int32_t kFrames = 51;

void DrawLed(const char* name, int32_t width, int32_t height, uint32_t accent, const RSkinScale& scale,
             const RSkinSink& sink) {
  const int32_t w = scale.I(width);
  const int32_t h = scale.I(height);
  RBitmap strip = Transparent(w, h * kFrames, accent);
  // The lens: a pill inset far enough to leave room for the glow.
  const float insetX = scale(5.0f), insetY = float(h) * 0.3f;
  const float left = insetX, right = float(w) - insetX;
  const float radius = 0.5f * (float(h) - 2.0f * insetY);
  const RRect lens{int32_t(left), int32_t(insetY), int32_t(right), int32_t(float(h) - insetY)};
  const RRect core{lens.left + int32_t(radius * 0.6f), lens.top + std::max(1, int32_t(radius * 0.5f)),
                   lens.right - int32_t(radius * 0.6f), lens.top + std::max(2, int32_t(radius))};
  for (int32_t i = 0; i < kFrames; ++i) {
    const float level = float(i) / float(kFrames - 1);
    RBitmap frame = Transparent(w, h, accent);
    if (level > 0.0f) {
      PaintRectHalo(frame, left, insetY, right, float(h) - insetY, radius, insetY * 1.1f,
                    WithAlpha(accent, uint32_t(std::lround(170.0f * level))));
    }
    RSkinDrawer drawer(frame);
    // Unlit: a dark lens with a hint of its colour; lit: the colour, with a bright core.
    drawer.FillRoundRectangle(RRect{lens.left - 1, lens.top - 1, lens.right + 1, lens.bottom + 1}, radius + 1,
                              0xFF07090C);
    drawer.FillRoundRectangle(lens, radius, Mix(Mix(0xFF1C2128, accent, 0.18f), accent, level));
    drawer.FillRoundRectangle(core, 0.5f * float(core.Height()),
                              WithAlpha(Shade(accent, 0.7f), uint32_t(std::lround(200.0f * level))));
    for (int32_t y = 0; y < h; ++y) std::copy_n(frame.GetRow(y), w, strip.GetRow(i * h + y));
  }
  sink(name, strip);
}

} // namespace

void DrawLeds(const RSkinScale& scale, const RSkinSink& sink) {
  DrawLed("LEDA", 28, 12, RSkinColour::kAccentA, scale, sink);
  DrawLed("LEDB", 28, 12, RSkinColour::kAccentB, scale, sink);
  DrawLed("LEDMorph", 22, 10, RSkinColour::kAccentSwap, scale, sink);
}
