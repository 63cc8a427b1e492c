// The backdrops of the SWAP group's two modes, 733 x 660, laid over the group's lower part (the
// group panel shows through wherever they are clear, so the labels painted beneath stay
// readable): PanelMorph is the morph knob's well, its scale's A and B ends and the well of its
// value display; PanelGrid the sixteen wells of the bit keys. Positions are relative to the
// panel, which the definition puts at 614, 216: the morph knob at 195, 34 (342 pixels), its
// value at 246, 390 (240 x 48); the bit keys from 164, 46 on a pitch of 108 across and 104 down.

#include <cmath>
#include <numbers>

#include "resources/skin/generator/skinfamilies.h"

using namespace RSkinPaint;

namespace {

constexpr int32_t kWidth = 733;
constexpr int32_t kHeight = 660;

// A recessed rectangle: a dark well with a shaded top edge and a faint lit lower edge.
void Well(RSkinDrawer& drawer, const RRect& rect, float radius, const RSkinScale& s) {
  drawer.FillRoundRectangle(rect, radius, 0xFF0D0E11);
  drawer.FillRoundRectangle(RRect{rect.left, rect.top, rect.right, rect.top + s.I(3)}, radius, 0x50000000);
  drawer.RoundRectangle(rect, radius, 0x1CFFFFFF, s(1.0f));
}

void DrawMorph(const RSkinScale& s, const RSkinSink& sink) {
  RBitmap image = Transparent(s.I(kWidth), s.I(kHeight), RSkinColour::kPanel);
  RSkinDrawer drawer(image);
  const float cx = s(366.0f), cy = s(205.0f);
  // The well around the knob: a soft shadow ring, then a dished recess darkest at the top.
  PaintHalo(image, cx, cy, s(180.0f), s(196.0f), 0x70000000);
  PaintDisc(image, cx, cy, s(182.0f), [](float, float ny) { return Mix(0xFF0A0B0E, 0xFF17191E, 0.5f * (ny + 1)); });
  drawer.Circle(cx, cy, s(182.5f), 0x22FFFFFF, s(1.0f));
  // The ends of the travel: A where the morph starts, B where it ends.
  const float reach = s(196.0f) * std::sin(std::numbers::pi_v<float> / 4.0f);
  const int32_t box = s.I(40);
  auto letter = [&](float x, float y, const char* text, uint32_t colour) {
    const RRect r{int32_t(x) - box / 2, int32_t(y) - box / 2, int32_t(x) + box / 2, int32_t(y) + box / 2};
    drawer.AlignedTextOut(r, RString::FromUTF8(text), RobotoMedium(s(26.0f)), colour, RAlignH::kCentre, RAlignV::kMiddle);
  };
  letter(cx - reach - s(16.0f), cy + reach + s(10.0f), "A", RSkinColour::kAccentA);
  letter(cx + reach + s(16.0f), cy + reach + s(10.0f), "B", RSkinColour::kAccentB);
  Well(drawer, RRect{s.I(246), s.I(390), s.I(486), s.I(438)}, s(6.0f), s);
  sink("PanelMorph", image);
}

void DrawGrid(const RSkinScale& s, const RSkinSink& sink) {
  RBitmap image = Transparent(s.I(kWidth), s.I(kHeight), RSkinColour::kPanel);
  RSkinDrawer drawer(image);
  // A tray under the sixteen keys.
  const RRect tray{s.I(148), s.I(32), s.I(kWidth - 149), s.I(452)};
  PaintRectHalo(image, float(tray.left), float(tray.top), float(tray.right), float(tray.bottom), s(14.0f), s(8.0f),
                0x50000000);
  drawer.FillRoundRectangle(tray, s(14.0f), 0xFF1A1C21);
  drawer.RoundRectangle(tray, s(14.0f), 0x14FFFFFF, s(1.0f));
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) {
      const int32_t x = 164 + 108 * column, y = 46 + 104 * row;
      Well(drawer, RRect{s.I(x + 5), s.I(y + 5), s.I(x + 75), s.I(y + 75)}, s(11.0f), s);
    }
  }
  sink("PanelGrid", image);
}

} // namespace

void DrawPanels(const RSkinScale& scale, const RSkinSink& sink) {
  DrawGrid(scale, sink);
  DrawMorph(scale, sink);
}
