#include "tools/quillon/editorpreview.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "base/exception.h"
#include "editor/drawertobitmap.h"
#include "editor/fonts.h"
#include "editor/imageresource.h"
#include "editor/layout.h"
#include "graph/product/quillon.h"
#include "modulation/multiparameter.h"

namespace {

using RPainter = RDrawerToRBitmap<RPixelFormatBGRA32>;

constexpr uint32_t kOutline = 0xFF8A93A6u;
constexpr uint32_t kOutlineText = 0xFFFFE066u;

// Labels are written in mixed case and shown in capitals where the layout says so.
RString Upper(const RString& text) {
  std::string utf8 = text.ToUTF8();
  for (char& c : utf8) {
    if (c >= 'a' && c <= 'z') c = char(c - 32);
  }
  return RString::FromUTF8(utf8);
}

// The image of a name, decoded; null when the skin has none (or it can't be decoded).
const RBitmap* Image(const RString& name) {
  if (name.IsEmpty()) return nullptr;
  RImageResource* record = RImageRegistry::Get().Find(name);
  if (!record) return nullptr;
  try {
    const RBitmap& bitmap = GetBitmap(*record);
    return bitmap.IsEmpty() ? nullptr : &bitmap;
  } catch (const RException&) {
    return nullptr;
  }
}

// Frames of a strip: as written, else a knob's square frames, else one.
int32_t FrameCount(const RLayoutControl& control, const RBitmap& image) {
  if (control.count > 0) return control.count;
  const int32_t w = image.GetWidth(), h = image.GetHeight();
  if (control.kind == RLayoutControl::Kind::Knob && w > 0 && h % w == 0) return std::max(h / w, 1);
  return 1;
}

int32_t FrameOf(double normalised, int32_t frames) {
  return std::clamp(int32_t(std::lround(std::clamp(normalised, 0.0, 1.0) * double(frames - 1))), 0, frames - 1);
}

void Text(RPainter& painter, const RRect& box, const RString& text, const RString& face, float height, uint32_t color,
          RAlignH align) {
  if (text.IsEmpty() || height <= 0.0f) return;
  RFont& font = RFont::Shared(RFont::PathOfFace(face), height);
  painter.AlignedTextOut(box, text, font, color, align, RAlignV::kMiddle);
}

void Outline(RPainter& painter, const RLayoutControl& control) {
  const int32_t w = control.width > 0 ? control.width : 40, h = control.height > 0 ? control.height : 40;
  const RRect box{control.x, control.y, control.x + w, control.y + h};
  painter.Rectangle(box, kOutline);
  Text(painter, box, control.target, RString("Roboto Condensed"), 12.0f, kOutlineText, RAlignH::kCentre);
}

void PaintBackground(RPainter& painter, const RLayout& layout, RBitmap& canvas) {
  if (const RBitmap* background = Image(layout.background)) {
    painter.BitBlt(0, 0, *background, background->GetBounds());
    return;
  }
  canvas.Fill(0xFF101114u);
  for (const RLayoutRect& r : layout.rects) {
    if (r.color >> 24) painter.FillRoundRectangle(r.box, r.round, r.color);
    if (r.border >> 24) painter.RoundRectangle(r.box, r.round, r.border);
  }
  for (const RLayoutText& t : layout.texts) {
    const RAlignH align = t.align < 0 ? RAlignH::kLeft : t.align > 0 ? RAlignH::kRight : RAlignH::kCentre;
    Text(painter, t.box, t.upperCase ? Upper(t.text) : t.text, t.font, t.fontHeight, t.color, align);
  }
}

void PaintControl(RPainter& painter, RQuillon& product, const RLayoutControl& control) {
  RMultiParameter* multi = product.GetMultiParameter(control.multiParameter);
  const double value = multi ? multi->GetValue().GetNormalised() : 0.0;

  if (control.valueText || control.kind == RLayoutControl::Kind::Menu ||
      (control.kind == RLayoutControl::Kind::Function && control.image.IsEmpty())) {
    RString text = multi ? multi->GetValue().GetText() : RString("Default");
    if (control.upperCase) text = Upper(text);
    RRect box = control.Box();
    box.left += control.fontShiftX;
    box.right += control.fontShiftX;
    box.top += control.fontShiftY;
    box.bottom += control.fontShiftY;
    Text(painter, box, text, control.font, control.fontHeight > 0 ? control.fontHeight : 20.0f, control.color,
         RAlignH::kCentre);
    return;
  }
  const RBitmap* image = Image(control.image);
  if (!image) {
    Outline(painter, control);
    return;
  }
  const int32_t frames = FrameCount(control, *image);
  const int32_t frameHeight = image->GetHeight() / frames;
  int32_t frame = 0;
  switch (control.kind) {
    case RLayoutControl::Kind::Knob:
      frame = FrameOf(value, frames);
      break;
    case RLayoutControl::Kind::Switch:
      // A selector by position shows its item's state; a click switch steps through its frames.
      frame = control.items.empty() ? FrameOf(value, frames)
                                    : std::min(FrameOf(value, int32_t(control.items.size())), frames - 1);
      break;
    case RLayoutControl::Kind::Function:
      if (control.target == RString("bypass") && product.GetBypassValue()) frame = product.GetBypassValue()->IsOn() ? 1 : 0;
      break;
    default:
      break;
  }
  frame = std::min(frame, frames - 1);
  const RRect source{0, frame * frameHeight, image->GetWidth(), (frame + 1) * frameHeight};
  if (control.kind == RLayoutControl::Kind::Slider) {
    // The cap travels the slider's length, the top for the highest value.
    const int32_t travel = (control.vertical ? control.height - frameHeight : control.width - image->GetWidth());
    const int32_t offset = int32_t(std::lround((control.vertical ? 1.0 - value : value) * double(std::max(travel, 0))));
    const int32_t x = control.vertical ? control.x + (control.width - image->GetWidth()) / 2 : control.x + offset;
    const int32_t y = control.vertical ? control.y + offset : control.y + (control.height - frameHeight) / 2;
    painter.BitBlt(x, y, *image, source);
    return;
  }
  painter.BitBlt(control.x, control.y, *image, source);
}

} // namespace

RBitmap PaintEditorPreview(RQuillon& product) {
  const RTagItem& definition = product.GetDefinition().GetTree();
  const RLayout layout = ReadLayout(definition, product.GetMultiParameterCount());
  int32_t width = 1962, height = 1280;
  if (const RBitmap* background = Image(layout.background)) {
    width = background->GetWidth();
    height = background->GetHeight();
  }
  RBitmap canvas(width, height);
  RPainter painter(canvas);
  PaintBackground(painter, layout, canvas);
  for (const RLayoutControl& control : layout.controls) {
    RMultiParameter* multi = product.GetMultiParameter(control.multiParameter);
    if (multi && !multi->GetVisible().IsOn()) continue;
    PaintControl(painter, product, control);
  }
  return canvas;
}
