// The editor's background, 1962 x 1280: a dark backdrop, the group panels and labels that the
// product definition lists as `rect` and `text` items, and under each display, menu and slider of
// the definition the well or groove it sits in, so that background and editor agree. Without
// `rect` items (an early definition) a provisional arrangement of the four groups is drawn.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>

#include "editor/layout.h"
#include "resources/skin/generator/skinfamilies.h"

using namespace RSkinPaint;

namespace {

constexpr int32_t kWidth = 1962;
constexpr int32_t kHeight = 1280;

struct RBox {
  float x = 0, y = 0, w = 0, h = 0;
};

RBox BoxOf(const RRect& rect) {
  return RBox{float(rect.left), float(rect.top), float(rect.Width()), float(rect.Height())};
}

RRect Scaled(const RSkinScale& s, float x, float y, float w, float h) {
  return RRect{int32_t(std::lround(s(x))), int32_t(std::lround(s(y))), int32_t(std::lround(s(x + w))),
               int32_t(std::lround(s(y + h)))};
}

// A group panel: a soft shadow, a gentle top-to-bottom shade of its colour, the edge, and a lit
// upper rim.
void Panel(RBitmap& image, const RSkinScale& s, const RBox& box, uint32_t colour, uint32_t border, float round) {
  RSkinDrawer drawer(image);
  const RRect rect = Scaled(s, box.x, box.y, box.w, box.h);
  const float radius = s(round);
  if (round > 0) {
    PaintRectHalo(image, float(rect.left), float(rect.top + s.I(3)), float(rect.right), float(rect.bottom + s.I(3)),
                  radius, s(14.0f), 0x80000000);
  }
  const uint32_t top = Shade(colour, 0.03f), bottom = Shade(colour, -0.12f);
  for (int32_t y = rect.top; y < rect.bottom; ++y) {
    image.SetClip(RRect{0, y, image.GetWidth(), y + 1});
    drawer.FillRoundRectangle(rect, radius, Mix(top, bottom, float(y - rect.top) / float(std::max(1, rect.Height()))));
  }
  image.ResetClip();
  if ((border >> 24) != 0) drawer.RoundRectangle(rect, radius, border, s(1.0f));
  if (round > 0) {
    drawer.FillRectangle(RRect{rect.left + int32_t(radius), rect.top + s.I(1), rect.right - int32_t(radius),
                               rect.top + s.I(2)},
                         0x12FFFFFF);
  }
}

// The recess a display, a menu or the preset name sits in.
void Well(RBitmap& image, const RSkinScale& s, const RBox& box) {
  RSkinDrawer drawer(image);
  const RRect rect = Scaled(s, box.x, box.y, box.w, box.h);
  const float radius = s(std::min(7.0f, box.h * 0.25f));
  drawer.FillRoundRectangle(rect, radius, RSkinColour::kWell);
  drawer.FillRoundRectangle(RRect{rect.left, rect.top, rect.right, rect.top + s.I(4)}, radius, 0x60000000);
  drawer.RoundRectangle(RRect{rect.left - s.I(1), rect.top - s.I(1), rect.right + s.I(1), rect.bottom + s.I(1)},
                        radius + s(1.0f), 0x16FFFFFF, s(1.0f));
}

// A fader's slot with a scale either side: the cap travels over the slot's length.
void Groove(RBitmap& image, const RSkinScale& s, const RBox& box, uint32_t accent) {
  RSkinDrawer drawer(image);
  const float cx = box.x + 0.5f * box.w;
  const RRect slot = Scaled(s, cx - 3.0f, box.y + 8.0f, 6.0f, box.h - 16.0f);
  drawer.FillRoundRectangle(slot, s(3.0f), 0xFF07080A);
  drawer.RoundRectangle(slot, s(3.0f), 0x18FFFFFF, s(1.0f));
  for (int i = 0; i <= 10; ++i) {
    const float y = box.y + 8.0f + (box.h - 16.0f) * float(i) / 10.0f;
    const float length = i % 5 == 0 ? 10.0f : 6.0f;
    const uint32_t colour = i % 5 == 0 ? WithAlpha(accent, 150) : 0x40FFFFFF;
    drawer.FillRectangle(Scaled(s, cx - 10.0f - length, y, length, 1.0f), colour);
    drawer.FillRectangle(Scaled(s, cx + 10.0f, y, length, 1.0f), colour);
  }
}

void Label(RBitmap& image, const RSkinScale& s, const RLayoutText& label) {
  std::string text = label.text.ToUTF8();
  if (label.upperCase) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return char(std::toupper(c)); });
  }
  const float height = s(label.fontHeight);
  const bool condensed = label.font.ToUTF8().find("Condensed") != std::string::npos;
  RFont& font = label.bold ? (condensed ? RobotoCondensedBold(height) : RobotoBold(height)) : FontNamed(label.font, height);
  const RAlignH align = label.align < 0 ? RAlignH::kLeft : label.align > 0 ? RAlignH::kRight : RAlignH::kCentre;
  RSkinDrawer drawer(image);
  const RBox box = BoxOf(label.box);
  SpacedText(drawer, Scaled(s, box.x, box.y, box.w, box.h), RString::FromUTF8(text), font, label.color,
             s(label.spacing), align);
}

// What a control needs painted beneath it: a well under displays, menus and the preset name, a
// groove under faders.
void Seat(RBitmap& image, const RSkinScale& s, const RLayoutControl& control) {
  if (control.width <= 0 || control.height <= 0) return;
  const RBox box = BoxOf(control.Box());
  if (control.valueText || control.kind == RLayoutControl::Kind::Menu || control.target.ToUTF8() == "presets") {
    Well(image, s, box);
  } else if (control.kind == RLayoutControl::Kind::Slider) {
    Groove(image, s, box, control.image.ToUTF8() == "FaderB" ? RSkinColour::kAccentB : RSkinColour::kAccentA);
  }
}

void Provisional(RBitmap& image, const RSkinScale& s) {
  Panel(image, s, RBox{0, 0, kWidth, 112}, 0xFF15171B, 0, 0);
  Panel(image, s, RBox{24, 136, 576, 1116}, RSkinColour::kPanel, RSkinColour::kPanelEdge, 14);
  Panel(image, s, RBox{614, 136, 733, 740}, RSkinColour::kPanel, RSkinColour::kPanelEdge, 14);
  Panel(image, s, RBox{1362, 136, 576, 1116}, RSkinColour::kPanel, RSkinColour::kPanelEdge, 14);
  Panel(image, s, RBox{614, 892, 733, 360}, RSkinColour::kPanel, RSkinColour::kPanelEdge, 14);
  RSkinDrawer drawer(image);
  SpacedText(drawer, Scaled(s, 44, 22, 360, 54), RString("QUILLON"), RobotoMedium(s(46)), RSkinColour::kTitle, s(10),
             RAlignH::kLeft);
  const struct {
    float x, y;
    const char* text;
    uint32_t colour;
  } titles[] = {{48, 150, "PATH A", RSkinColour::kAccentA},
                {638, 150, "SWAP", RSkinColour::kAccentSwap},
                {1386, 150, "PATH B", RSkinColour::kAccentB},
                {638, 906, "MASTER", RSkinColour::kAccentMaster}};
  for (const auto& title : titles) {
    SpacedText(drawer, Scaled(s, title.x, title.y, 300, 26), RString::FromUTF8(title.text), RobotoCondensedBold(s(17)),
               title.colour, s(2), RAlignH::kLeft);
  }
}

} // namespace

void DrawBackground(const RSkinScale& scale, const RTagItem* definition, const RSkinSink& sink) {
  RBitmap image(scale.I(kWidth), scale.I(kHeight));
  RSkinDrawer drawer(image);
  drawer.FillRectangleGradient(image.GetBounds(), RSkinColour::kBackTop, RSkinColour::kBackBottom);
  RLayout layout;
  if (definition != nullptr) {
    int32_t multi = 0;
    definition->ReadAttribute(RHashedString("multi"), multi);
    layout = ReadLayout(*definition, multi);
  }
  if (layout.rects.empty()) Provisional(image, scale);
  for (const RLayoutRect& rect : layout.rects) Panel(image, scale, BoxOf(rect.box), rect.color, rect.border, rect.round);
  for (const RLayoutControl& control : layout.controls) Seat(image, scale, control);
  for (const RLayoutText& text : layout.texts) Label(image, scale, text);
  sink("plugin", image);
}
