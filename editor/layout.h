#pragma once
// The editor's layout as the product definition writes it: the `control` elements (what the
// editor builds, in painting order), and the `rect` and `text` elements that the background
// carries. The editor's builder and the headless preview read it through here, so the two
// agree on every position.
//
// Pairs ("x,y", or "x;y") and colours ("RRGGBBAA") are read as every definition reads them.
// [editor-thread] or a tool; allocates.

#include <cstdint>
#include <vector>

#include "base/string.h"
#include "editor/bitmap.h"

class RTagItem;

struct RLayoutItem {
  int32_t value = 0;
  RRect box;
};

struct RLayoutControl {
  enum class Kind : int32_t { Knob, Switch, Slider, Menu, Units, Function, Other };

  Kind kind = Kind::Knob;
  RString type;             // as written; empty for a knob or a fixed function
  RString target;           // as written
  int32_t multiParameter = -1;  // numeric target, counted from 0; -1 for a word
  int32_t x = 0, y = 0;
  int32_t width = 0, height = 0;  // the size attribute; 0 when the image gives it
  RString image;
  int32_t count = 0;        // frames written; 0 when absent
  bool isStatic = false;
  bool followsPrevious = false;
  bool vertical = false;
  bool clickSwitch = false;
  // A knob with no image and a size that shows its value inside: a value text.
  bool valueText = false;
  RString font;             // "Roboto" when absent
  float fontHeight = 0.0f;
  int32_t fontShiftX = 0, fontShiftY = 0;
  bool upperCase = false;
  uint32_t color = 0xFF000000u;  // 0xAARRGGBB
  std::vector<RLayoutItem> items;

  RRect Box() const noexcept { return RRect{x, y, x + width, y + height}; }
};

struct RLayoutRect {
  RRect box;
  uint32_t color = 0;
  uint32_t border = 0;
  float round = 0.0f;
};

struct RLayoutText {
  RRect box;
  RString text;
  RString font;
  float fontHeight = 16.0f;
  bool bold = false;
  bool upperCase = false;
  float spacing = 0.0f;  // extra pixels between letters
  int32_t align = 0;     // -1 left, 0 centre, 1 right
  uint32_t color = 0xFFFFFFFFu;
};

struct RLayout {
  RString background;  // the background image's name, "plugin" when absent
  std::vector<RLayoutControl> controls;
  std::vector<RLayoutRect> rects;
  std::vector<RLayoutText> texts;
};

// Reads the layout of a `plugin` tree. A control without target throws "Control at position
// {0} has no target." (the position as "x,y" with six decimals); a numeric target outside
// 1..multiParameterCount throws "Control attached to multiparameter {0} (mp count is {1}).".
RLayout ReadLayout(const RTagItem& plugin, int32_t multiParameterCount);

// "RRGGBBAA" (a leading '#' allowed, "RRGGBB" opaque) as 0xAARRGGBB; fallback when unreadable.
uint32_t ReadLayoutColor(const RString& text, uint32_t fallback);
