// The backdrops of the SWAP group's two modes, 733 x 660, laid over the group's lower part (the
// group panel shows through wherever they are clear, so the labels painted beneath stay
// readable): PanelMorph is the morph knob's well, its scale's A and B ends and the well of its
// value display; PanelGrid the tray and wells of the sixteen bit keys. Where those controls
// stand relative to the panels comes from the definition's layout.

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
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

// Places within a panel, in its pixels at scale 1.
struct RPanelPlaces {
  float knobX = 195, knobY = 34, knobSize = 342;  // the morph knob
  RRect value{246, 390, 486, 438};                 // its value display
  RPoint keys[16];                                 // the bit keys' top left corners
  int32_t keySize = 80;

  RPanelPlaces() {
    for (int i = 0; i < 16; ++i) keys[i] = RPoint{164 + 108 * (i % 4), 46 + 104 * (i / 4)};
  }
};

const RLayoutControl* FindImage(const RLayout& layout, const char* image) {
  for (const RLayoutControl& control : layout.controls) {
    if (control.image.ToUTF8() == image) return &control;
  }
  return nullptr;
}

RPanelPlaces Places(const RLayout* layout) {
  RPanelPlaces places;
  if (layout == nullptr) return places;
  if (const RLayoutControl* panel = FindImage(*layout, "PanelMorph")) {
    for (size_t i = 0; i < layout->controls.size(); ++i) {
      const RLayoutControl& knob = layout->controls[i];
      if (knob.image.ToUTF8() != "KnobMorph") continue;
      places.knobX = float(knob.x - panel->x);
      places.knobY = float(knob.y - panel->y);
      if (i + 1 < layout->controls.size() && layout->controls[i + 1].valueText) {
        const RRect box = layout->controls[i + 1].Box();
        places.value = RRect{box.left - panel->x, box.top - panel->y, box.right - panel->x, box.bottom - panel->y};
      }
    }
  }
  if (const RLayoutControl* panel = FindImage(*layout, "PanelGrid")) {
    char name[8];
    for (int bit = 1; bit <= 16; ++bit) {
      std::snprintf(name, sizeof name, "Bit%02dX", bit);
      if (const RLayoutControl* key = FindImage(*layout, name)) {
        places.keys[bit - 1] = RPoint{key->x - panel->x, key->y - panel->y};
      }
    }
  }
  return places;
}

void DrawMorph(const RSkinScale& s, const RPanelPlaces& places, const RSkinSink& sink) {
  RBitmap image = Transparent(s.I(kWidth), s.I(kHeight), RSkinColour::kPanel);
  RSkinDrawer drawer(image);
  const float cx = s(places.knobX + 0.5f * places.knobSize), cy = s(places.knobY + 0.5f * places.knobSize);
  const float well = 0.532f * places.knobSize;  // the knob and the marks of its scale, with a margin
  // The well around the knob: a soft shadow ring, then a dished recess darkest at the top.
  PaintHalo(image, cx, cy, s(well - 2.0f), s(well + 14.0f), 0x70000000);
  PaintDisc(image, cx, cy, s(well), [](float, float ny) { return Mix(0xFF0A0B0E, 0xFF17191E, 0.5f * (ny + 1)); });
  drawer.Circle(cx, cy, s(well + 0.5f), 0x22FFFFFF, s(1.0f));
  // The ends of the travel: A where the morph starts, B where it ends.
  const float reach = s(well + 14.0f) * std::sin(std::numbers::pi_v<float> / 4.0f);
  const int32_t box = s.I(40);
  auto letter = [&](float x, float y, const char* text, uint32_t colour) {
    const RRect r{int32_t(x) - box / 2, int32_t(y) - box / 2, int32_t(x) + box / 2, int32_t(y) + box / 2};
    drawer.AlignedTextOut(r, RString::FromUTF8(text), RobotoMedium(s(26.0f)), colour, RAlignH::kCentre, RAlignV::kMiddle);
  };
  letter(cx - reach - s(16.0f), cy + reach + s(10.0f), "A", RSkinColour::kAccentA);
  letter(cx + reach + s(16.0f), cy + reach + s(10.0f), "B", RSkinColour::kAccentB);
  const RRect& v = places.value;
  Well(drawer, RRect{s.I(v.left), s.I(v.top), s.I(v.right), s.I(v.bottom)}, s(6.0f), s);
  sink("PanelMorph", image);
}

void DrawGrid(const RSkinScale& s, const RPanelPlaces& places, const RSkinSink& sink) {
  RBitmap image = Transparent(s.I(kWidth), s.I(kHeight), RSkinColour::kPanel);
  RSkinDrawer drawer(image);
  // A tray under the sixteen keys, centred on them and reaching down over the morph's value
  // display and its label (36 pixels), which the grid mode doesn't use.
  RRect keys{INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN};
  for (const RPoint& key : places.keys) {
    keys.left = std::min(keys.left, key.x);
    keys.top = std::min(keys.top, key.y);
    keys.right = std::max(keys.right, key.x + places.keySize);
    keys.bottom = std::max(keys.bottom, key.y + places.keySize);
  }
  const int32_t side = 16;
  const int32_t pad = std::max(14, places.value.bottom + 36 - keys.bottom);
  const RRect tray{s.I(keys.left - side), s.I(std::max(0, keys.top - pad)), s.I(keys.right + side),
                   s.I(std::min(kHeight, keys.bottom + pad))};
  PaintRectHalo(image, float(tray.left), float(tray.top), float(tray.right), float(tray.bottom), s(14.0f), s(8.0f),
                0x50000000);
  drawer.FillRoundRectangle(tray, s(14.0f), 0xFF1A1C21);
  drawer.RoundRectangle(tray, s(14.0f), 0x14FFFFFF, s(1.0f));
  for (const RPoint& key : places.keys) {
    Well(drawer, RRect{s.I(key.x + 5), s.I(key.y + 5), s.I(key.x + 75), s.I(key.y + 75)}, s(11.0f), s);
  }
  sink("PanelGrid", image);
}

} // namespace

void DrawPanels(const RSkinScale& scale, const RLayout* layout, const RSkinSink& sink) {
  const RPanelPlaces places = Places(layout);
  DrawGrid(scale, places, sink);
  DrawMorph(scale, places, sink);
}
