// The editor's background, 1962 x 1280: a dark backdrop, the group panels and labels that the
// product definition lists as `rect` and `text` items, and under each display, menu and slider of
// the definition the well or groove it sits in, so that background and editor agree. Without
// `rect` items (an early definition) a provisional arrangement of the four groups is drawn.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

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

// The buttons are translucent glass: what they do is painted beneath them, so one image serves
// every button. A button's frame is 38 pixels high; its width follows the image.
void ButtonFace(RBitmap& image, const RSkinScale& s, const RLayoutControl& control) {
  const std::string picture = control.image.ToUTF8();
  const float width = picture == "ButtonBig" ? 100.0f : 42.0f;
  const float cx = float(control.x) + 0.5f * width, cy = float(control.y) + 19.0f;
  const std::string word = control.target.ToUTF8();
  const uint32_t ink = 0xFFCFCAC0;
  RSkinDrawer drawer(image);
  auto text = [&](const char* label, float height) {
    SpacedText(drawer, Scaled(s, cx - 0.5f * width, cy - 12.0f, width, 24.0f), RString::FromUTF8(label),
               RobotoCondensedBold(s(height)), ink, s(1.0f), RAlignH::kCentre);
  };
  auto triangle = [&](float direction) {
    drawer.FillTriangle(RPointF{s(cx + 6.0f * direction), s(cy)}, RPointF{s(cx - 5.0f * direction), s(cy - 7.0f)},
                        RPointF{s(cx - 5.0f * direction), s(cy + 7.0f)}, ink);
  };
  if (word == "presetprev") {
    triangle(-1.0f);
  } else if (word == "presetnext") {
    triangle(1.0f);
  } else if (word == "a" || word == "b") {
    text(word == "a" ? "A" : "B", 17.0f);
  } else if (word == "copyab") {
    text("A>B", 13.0f);
  } else if (word == "undo" || word == "redo") {
    // A hooked arrow: an arc and its head.
    const float direction = word == "undo" ? -1.0f : 1.0f;
    std::vector<RPointF> arc;
    for (int i = 0; i <= 12; ++i) {
      const float a = (-160.0f + 140.0f * float(i) / 12.0f) * 3.14159265f / 180.0f;
      arc.push_back(RPointF{s(cx - direction * 7.0f * std::cos(a)), s(cy + 2.0f + 7.0f * std::sin(a))});
    }
    drawer.PolyLineF(arc.data(), int32_t(arc.size()), ink, s(2.0f));
    const RPointF tip = arc.front();
    drawer.FillTriangle(RPointF{tip.x - s(4.5f), tip.y}, RPointF{tip.x + s(4.5f), tip.y},
                        RPointF{tip.x, tip.y + s(5.0f)}, ink);
  } else if (word == "menu") {
    for (int i = -1; i <= 1; ++i) drawer.FillRectangle(Scaled(s, cx - 8.0f, cy - 1.0f + 6.0f * float(i), 16.0f, 2.0f), ink);
  } else if (word == "bypass") {
    // The power sign.
    std::vector<RPointF> ring;
    for (int i = 0; i <= 24; ++i) {
      const float a = (-60.0f + 300.0f * float(i) / 24.0f) * 3.14159265f / 180.0f;
      ring.push_back(RPointF{s(cx + 7.5f * std::sin(a)), s(cy + 1.0f - 7.5f * std::cos(a))});
    }
    drawer.PolyLineF(ring.data(), int32_t(ring.size()), ink, s(2.0f));
    drawer.FillRectangle(Scaled(s, cx - 1.0f, cy - 9.0f, 2.0f, 9.0f), ink);
  } else if (control.multiParameter >= 0 && control.kind != RLayoutControl::Kind::Switch) {
    // A button on a multi-parameter is a dice: five pips.
    drawer.RoundRectangle(Scaled(s, cx - 9.0f, cy - 9.0f, 18.0f, 18.0f), s(4.0f), ink, s(1.5f));
    for (const auto& [px, py] : {std::pair{-4.0f, -4.0f}, {4.0f, -4.0f}, {0.0f, 0.0f}, {-4.0f, 4.0f}, {4.0f, 4.0f}}) {
      drawer.FillCircle(s(cx + px), s(cy + py), s(1.6f), ink);
    }
  } else if (control.kind == RLayoutControl::Kind::Switch) {
    // An on/off switch: its lamp.
    drawer.FillCircle(s(cx), s(cy), s(3.5f), 0xFF07080A);
    drawer.Circle(s(cx), s(cy), s(4.0f), 0x50FFFFFF, s(1.0f));
  }
}

// What a control needs painted beneath it: a well under displays, menus and the preset name, a
// groove under faders, what a button does under its glass.
void Seat(RBitmap& image, const RSkinScale& s, const RLayoutControl& control) {
  if (control.image.ToUTF8().rfind("Button", 0) == 0) {
    ButtonFace(image, s, control);
    return;
  }
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

void DrawBackground(const RSkinScale& scale, const RLayout* layout, const RSkinSink& sink) {
  RBitmap image(scale.I(kWidth), scale.I(kHeight));
  RSkinDrawer drawer(image);
  drawer.FillRectangleGradient(image.GetBounds(), RSkinColour::kBackTop, RSkinColour::kBackBottom);
  if (layout == nullptr || layout->rects.empty()) Provisional(image, scale);
  if (layout != nullptr) {
    for (const RLayoutRect& rect : layout->rects) {
      Panel(image, scale, BoxOf(rect.box), rect.color, rect.border, rect.round);
    }
    for (const RLayoutControl& control : layout->controls) Seat(image, scale, control);
    for (const RLayoutText& text : layout->texts) Label(image, scale, text);
  }
  sink("plugin", image);
}
