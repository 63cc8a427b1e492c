// Buttons of the header (presets, A/B, undo, bypass): frames of glass over the background,
// whose labels and icons show through the translucent face, so one image serves every button.
// The first frame is at rest, the second pressed.

#include "resources/skin/generator/skinfamilies.h"

using namespace RSkinPaint;

namespace {

void DrawButtonFrame(RBitmap& strip, int32_t top, int32_t width, int32_t height, bool pressed, const RSkinScale& s) {
  RSkinDrawer drawer(strip);
  const RRect box{s.I(2), top + s.I(2), width - s.I(2), top + height - s.I(2)};
  const float radius = s(6.0f);
  drawer.FillRoundRectangle(box, radius, pressed ? 0x40D8DDF6 : 0x1CFFFFFF);
  // Light from above: a brighter upper half at rest, a shaded one when pushed in.
  const RRect upper{box.left + s.I(1), box.top + s.I(1), box.right - s.I(1), box.top + box.Height() / 2};
  drawer.FillRoundRectangle(upper, radius - s(1.0f), pressed ? 0x18000000 : 0x10FFFFFF);
  drawer.RoundRectangle(box, radius, pressed ? WithAlpha(RSkinColour::kAccentSwap, 190) : 0x38FFFFFF, s(1.0f));
  drawer.RoundRectangle(RRect{box.left - s.I(1), box.top - s.I(1), box.right + s.I(1), box.bottom + s.I(1)},
                        radius + s(1.0f), 0x70000000, s(1.0f));
}

void DrawButton(const char* name, int32_t width, int32_t frameHeight, int32_t frames, const RSkinScale& s,
                const RSkinSink& sink) {
  const int32_t w = s.I(width), h = s.I(frameHeight);
  RBitmap strip = Transparent(w, h * frames, 0xFF1B2028);
  for (int32_t i = 0; i < frames; ++i) DrawButtonFrame(strip, i * h, w, h, i == 1, s);
  sink(name, strip);
}

} // namespace

void DrawButtons(const RSkinScale& scale, const RSkinSink& sink) {
  DrawButton("ButtonBig", 100, 38, 2, scale, sink);
  DrawButton("ButtonSingle", 42, 38, 1, scale, sink);
  DrawButton("ButtonSmall", 42, 38, 2, scale, sink);
}
