// Glass over the value and name displays: clear in the middle so the segment digits beneath
// read, with a reflection across the upper part, a lit top edge and a dark rim.

#include <algorithm>
#include <cmath>

#include "resources/skin/generator/skinfamilies.h"

using namespace RSkinPaint;

namespace {

void DrawPane(const char* name, int32_t width, int32_t height, const RSkinScale& s, const RSkinSink& sink) {
  const int32_t w = s.I(width), h = s.I(height);
  RBitmap image = Transparent(w, h, 0xFFFFFFFF);
  RSkinDrawer drawer(image);
  const RRect pane{0, 0, w, h};
  const float radius = s(7.0f);
  // The reflection: a white sheen over the upper half, fading downwards and, softly, to the
  // right of a gentle diagonal, so that it reads as curved glass.
  for (int32_t y = 0; y < h / 2; ++y) {
    const float t = (float(y) + 0.5f) / float(h);
    const float cut = float(w) * (0.6f + 0.5f * t);
    const float soft = 0.2f * float(w);
    uint32_t* row = image.GetRow(y);
    for (int32_t x = 0; x < w; ++x) {
      // Inside the rounded outline only.
      const float px = float(x) + 0.5f, py = float(y) + 0.5f;
      const float qx = std::max({radius - px, px - (float(w) - radius), 0.0f});
      const float qy = std::max(radius - py, 0.0f);
      if (qx * qx + qy * qy > radius * radius) continue;
      const float across = std::clamp((cut - px) / soft + 0.5f, 0.0f, 1.0f);
      const float alpha = 30.0f * (1.0f - t / 0.5f) * across;
      row[x] = WithAlpha(0xFFFFFFFF, uint32_t(std::lround(alpha)));
    }
  }
  drawer.RoundRectangle(pane, radius, 0xC0050608, s(1.0f));
  drawer.RoundRectangle(RRect{s.I(1), s.I(1), w - s.I(1), h - s.I(1)}, radius - s(1.0f), 0x30FFFFFF, s(1.0f));
  // The top edge catches the light.
  drawer.FillRectangle(RRect{int32_t(radius), s.I(1), w - int32_t(radius), s.I(2)}, 0x60FFFFFF);
  sink(name, image);
}

} // namespace

void DrawGlass(const RSkinScale& scale, const RSkinSink& sink) {
  DrawPane("GlassA", 210, 64, scale, sink);
  DrawPane("GlassB", 212, 64, scale, sink);
  DrawPane("GlassPattern", 314, 64, scale, sink);
  DrawPane("GlassPreset", 314, 62, scale, sink);
}
