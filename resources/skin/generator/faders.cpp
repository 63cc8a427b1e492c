// Fader caps of the paths' Gain sliders: a grooved cap with a line in the path's colour, centred
// in an image of 32 x 130 whose rest is clear (the slider moves the whole image).

#include "resources/skin/generator/skinfamilies.h"

using namespace RSkinPaint;

namespace {

void DrawFader(const char* name, uint32_t accent, const RSkinScale& s, const RSkinSink& sink) {
  const int32_t w = s.I(32), h = s.I(130);
  RBitmap image = Transparent(w, h, 0xFF2A303A);
  const float top = s(43.0f), bottom = s(87.0f);
  PaintRectHalo(image, s(3.0f), top + s(3.0f), s(29.0f), bottom + s(3.0f), s(4.0f), s(6.0f), 0xB0000000);
  RSkinDrawer drawer(image);
  const RRect cap{s.I(2), int32_t(top), s.I(30), int32_t(bottom)};
  for (int32_t y = cap.top; y < cap.bottom; ++y) {
    image.SetClip(RRect{0, y, w, y + 1});
    const float t = float(y - cap.top) / float(cap.Height());
    // Two slopes meeting at the centre line, as a real cap's profile catches the light.
    const uint32_t colour = t < 0.5f ? Mix(0xFF59616E, 0xFF2B3039, t * 2.0f) : Mix(0xFF22262D, 0xFF3D444F, t * 2.0f - 1);
    drawer.FillRoundRectangle(cap, s(4.0f), colour);
  }
  image.ResetClip();
  drawer.RoundRectangle(cap, s(4.0f), 0xFF0B0D11, s(1.0f));
  for (int i = -2; i <= 2; ++i) {
    if (i == 0) continue;
    const int32_t y = int32_t(0.5f * (top + bottom)) + s.I(i * 6);
    drawer.FillRectangle(RRect{s.I(7), y, s.I(25), y + s.I(1)}, i < 0 ? 0x50FFFFFF : 0x60000000);
  }
  const int32_t middle = int32_t(0.5f * (top + bottom));
  drawer.FillRectangle(RRect{s.I(4), middle - s.I(1), s.I(28), middle + s.I(1)}, accent);
  sink(name, image);
}

} // namespace

void DrawFaders(const RSkinScale& scale, const RSkinSink& sink) {
  DrawFader("FaderA", RSkinColour::kAccentA, scale, sink);
  DrawFader("FaderB", RSkinColour::kAccentB, scale, sink);
}
