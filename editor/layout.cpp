#include "editor/layout.h"

#include <cstdlib>
#include <string>

#include "base/exception.h"
#include "base/format.h"
#include "base/tagitem.h"

namespace {

RString Text(const RTagItem& item, const char* key) {
  return item.GetAttributeText(RHashedString(RString::FromUTF8(key)));
}

bool Flag(const RTagItem& item, const char* key) {
  const RString text = Text(item, key);
  return !text.IsEmpty() && RNumberText::TextToInteger(text) != 0;
}

int32_t Integer(const RTagItem& item, const char* key, int32_t fallback) {
  const RString text = Text(item, key);
  return text.IsEmpty() ? fallback : int32_t(RNumberText::TextToInteger(text));
}

float Real(const RTagItem& item, const char* key, float fallback) {
  const std::string text = Text(item, key).ToUTF8();
  if (text.empty()) return fallback;
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  return end == text.c_str() ? fallback : float(value);
}

void Pair(const RTagItem& item, const char* key, int32_t& first, int32_t& second) {
  const RString text = Text(item, key);
  if (!text.IsEmpty()) RNumberText::ReadPair(text, first, second);
}

bool IsNumber(const RString& text) {
  if (text.IsEmpty()) return false;
  for (int i = 0; i < text.Length(); ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
  }
  return true;
}

RLayoutControl::Kind KindOf(const RString& type, bool word) {
  using Kind = RLayoutControl::Kind;
  if (type.IsEmpty()) return word ? Kind::Function : Kind::Knob;
  const std::string t = type.ToUTF8();
  if (t == "switch") return Kind::Switch;
  if (t == "slider") return Kind::Slider;
  if (t == "menu") return Kind::Menu;
  if (t == "units") return Kind::Units;
  return Kind::Other;
}

RLayoutControl ReadControl(const RTagItem& item, int32_t multiParameterCount) {
  RLayoutControl c;
  c.type = Text(item, "type");
  c.target = Text(item, "target");
  Pair(item, "pos", c.x, c.y);
  if (c.target.IsEmpty()) {
    throw RException(RString(RFormat("Control at position {0.6},{1.6} has no target.") << double(c.x) << double(c.y)));
  }
  const bool numeric = IsNumber(c.target);
  if (numeric) {
    const int64_t n = RNumberText::TextToInteger(c.target);
    if (n < 1 || n > multiParameterCount) {
      throw RException(RString(RFormat("Control attached to multiparameter {0} (mp count is {1}).") << n
                                                                                                   << multiParameterCount));
    }
    c.multiParameter = int32_t(n - 1);
  }
  c.kind = KindOf(c.type, !numeric);
  Pair(item, "size", c.width, c.height);
  c.image = Text(item, "image");
  c.count = Integer(item, "count", 0);
  c.isStatic = Flag(item, "static");
  c.followsPrevious = Flag(item, "followprevctrl");
  c.vertical = Flag(item, "vertical");
  c.clickSwitch = Flag(item, "clickswitch");
  c.valueText = c.kind == RLayoutControl::Kind::Knob && c.image.IsEmpty() && c.width > 0 && Flag(item, "unitsinside");
  c.font = Text(item, "font");
  if (c.font.IsEmpty()) c.font = RString("Roboto");
  c.fontHeight = Real(item, "fontheight", 0.0f);
  Pair(item, "fontshift", c.fontShiftX, c.fontShiftY);
  c.upperCase = Flag(item, "uppercase");
  c.color = ReadLayoutColor(Text(item, "color"), 0xFF000000u);
  for (const RTagItem* sub = item.GetFirstSubItem(); sub; sub = sub->GetNext()) {
    if (sub->GetName().ToUTF8() != "item") continue;
    RLayoutItem entry;
    entry.value = Integer(*sub, "value", 0);
    int32_t x = 0, y = 0, w = 0, h = 0;
    Pair(*sub, "pos", x, y);
    Pair(*sub, "size", w, h);
    entry.box = RRect{x, y, x + w, y + h};
    c.items.push_back(entry);
  }
  return c;
}

int HexDigit(char16_t c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

} // namespace

uint32_t ReadLayoutColor(const RString& text, uint32_t fallback) {
  int start = text.Length() > 0 && text[0] == '#' ? 1 : 0;
  const int digits = text.Length() - start;
  if (digits != 6 && digits != 8) return fallback;
  uint32_t value = 0;
  for (int i = start; i < text.Length(); ++i) {
    const int d = HexDigit(text[i]);
    if (d < 0) return fallback;
    value = (value << 4) | uint32_t(d);
  }
  if (digits == 6) value = (value << 8) | 0xFFu;
  // Written red, green, blue, alpha; held with alpha on top.
  return (value >> 8) | (value << 24);
}

RLayout ReadLayout(const RTagItem& plugin, int32_t multiParameterCount) {
  RLayout layout;
  layout.background = Text(plugin, "Background");
  if (layout.background.IsEmpty()) layout.background = RString("plugin");
  for (const RTagItem* item = plugin.GetFirstSubItem(); item; item = item->GetNext()) {
    const std::string name = item->GetName().ToUTF8();
    if (name == "control") {
      layout.controls.push_back(ReadControl(*item, multiParameterCount));
    } else if (name == "rect") {
      RLayoutRect r;
      int32_t x = 0, y = 0, w = 0, h = 0;
      Pair(*item, "pos", x, y);
      Pair(*item, "size", w, h);
      r.box = RRect{x, y, x + w, y + h};
      r.color = ReadLayoutColor(Text(*item, "color"), 0);
      r.border = ReadLayoutColor(Text(*item, "border"), 0);
      r.round = Real(*item, "round", 0.0f);
      layout.rects.push_back(r);
    } else if (name == "text") {
      RLayoutText t;
      int32_t x = 0, y = 0, w = 0, h = 0;
      Pair(*item, "pos", x, y);
      Pair(*item, "size", w, h);
      t.box = RRect{x, y, x + w, y + h};
      t.text = item->Value().ToText();
      t.font = Text(*item, "font");
      if (t.font.IsEmpty()) t.font = RString("Roboto");
      t.fontHeight = Real(*item, "fontheight", 16.0f);
      t.bold = Flag(*item, "fontbold");
      t.upperCase = Flag(*item, "uppercase");
      t.spacing = Real(*item, "fontspacebetweenchars", 0.0f);
      const std::string align = Text(*item, "align").ToUTF8();
      t.align = align == "left" ? -1 : align == "right" ? 1 : 0;
      t.color = ReadLayoutColor(Text(*item, "color"), 0xFFFFFFFFu);
      layout.texts.push_back(t);
    }
  }
  return layout;
}
