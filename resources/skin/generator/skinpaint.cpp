#include "resources/skin/generator/skinpaint.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace RSkinPaint {
namespace {

constexpr const char* kRobotoMediumPath = "/usr/share/fonts/truetype/roboto/unhinted/RobotoTTF/Roboto-Medium.ttf";
constexpr const char* kRobotoBoldPath = "/usr/share/fonts/truetype/roboto/unhinted/RobotoTTF/Roboto-Bold.ttf";
constexpr const char* kRobotoCondensedBoldPath = "/usr/share/fonts/truetype/roboto/unhinted/RobotoCondensed-Bold.ttf";

float Clamp01(float v) noexcept { return std::clamp(v, 0.0f, 1.0f); }

uint32_t Channel(uint32_t colour, int shift) noexcept { return (colour >> shift) & 0xFF; }

RFont& Cached(const char* path, float pixelSize) {
  static std::map<std::pair<std::string, int>, std::unique_ptr<RFont>> fonts;
  const auto key = std::make_pair(std::string(path), int(std::lround(pixelSize * 16.0f)));
  auto& font = fonts[key];
  if (!font) font = std::make_unique<RFont>(RString::FromUTF8(path), pixelSize);
  return *font;
}

// The target pixel with colour laid over it by alpha a (0..1), keeping colour's hue where the
// target is transparent.
void Over(uint32_t& pixel, uint32_t colour, float a) noexcept {
  const uint32_t alpha = uint32_t(std::lround(Clamp01(a) * float(colour >> 24)));
  if (alpha == 0) return;
  if ((pixel >> 24) == 0) {
    pixel = (alpha << 24) | (colour & 0xFFFFFF);
    return;
  }
  pixel = RPixelFormatBGRA32::Over(pixel, colour, alpha);
}

} // namespace

uint32_t Mix(uint32_t a, uint32_t b, float t) noexcept {
  t = Clamp01(t);
  uint32_t out = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    const float v = float(Channel(a, shift)) * (1.0f - t) + float(Channel(b, shift)) * t;
    out |= uint32_t(std::lround(v)) << shift;
  }
  return out;
}

uint32_t WithAlpha(uint32_t colour, uint32_t alpha) noexcept { return (colour & 0xFFFFFF) | (std::min(alpha, 255u) << 24); }

uint32_t Shade(uint32_t colour, float amount) noexcept {
  const uint32_t towards = amount >= 0 ? (colour | 0xFFFFFF) : (colour & 0xFF000000);
  return Mix(colour, towards, std::abs(amount));
}

RBitmap Transparent(int32_t width, int32_t height, uint32_t colour) {
  RBitmap bitmap(width, height);
  bitmap.Fill(colour & 0xFFFFFF);
  return bitmap;
}

void PaintDisc(RBitmap& target, float cx, float cy, float radius, const std::function<uint32_t(float, float)>& shader) {
  const int32_t top = std::max(0, int32_t(std::floor(cy - radius - 1)));
  const int32_t bottom = std::min(target.GetHeight(), int32_t(std::ceil(cy + radius + 1)));
  const int32_t left = std::max(0, int32_t(std::floor(cx - radius - 1)));
  const int32_t right = std::min(target.GetWidth(), int32_t(std::ceil(cx + radius + 1)));
  for (int32_t y = top; y < bottom; ++y) {
    uint32_t* row = target.GetRow(y);
    const float dy = float(y) + 0.5f - cy;
    for (int32_t x = left; x < right; ++x) {
      const float dx = float(x) + 0.5f - cx;
      const float cover = Clamp01(radius - std::sqrt(dx * dx + dy * dy) + 0.5f);
      if (cover <= 0.0f) continue;
      Over(row[x], shader(dx / radius, dy / radius), cover);
    }
  }
}

void PaintHalo(RBitmap& target, float cx, float cy, float inner, float outer, uint32_t colour) {
  const int32_t top = std::max(0, int32_t(std::floor(cy - outer)));
  const int32_t bottom = std::min(target.GetHeight(), int32_t(std::ceil(cy + outer)));
  const int32_t left = std::max(0, int32_t(std::floor(cx - outer)));
  const int32_t right = std::min(target.GetWidth(), int32_t(std::ceil(cx + outer)));
  for (int32_t y = top; y < bottom; ++y) {
    uint32_t* row = target.GetRow(y);
    const float dy = float(y) + 0.5f - cy;
    for (int32_t x = left; x < right; ++x) {
      const float dx = float(x) + 0.5f - cx;
      const float t = Clamp01((std::sqrt(dx * dx + dy * dy) - inner) / std::max(outer - inner, 0.5f));
      // Squared fall-off reads as light rather than as a hard ring.
      Over(row[x], colour, (1.0f - t) * (1.0f - t));
    }
  }
}

void PaintRectHalo(RBitmap& target, float left, float top, float right, float bottom, float radius, float spread,
                   uint32_t colour) {
  const int32_t y0 = std::max(0, int32_t(std::floor(top - spread)));
  const int32_t y1 = std::min(target.GetHeight(), int32_t(std::ceil(bottom + spread)));
  const int32_t x0 = std::max(0, int32_t(std::floor(left - spread)));
  const int32_t x1 = std::min(target.GetWidth(), int32_t(std::ceil(right + spread)));
  for (int32_t y = y0; y < y1; ++y) {
    uint32_t* row = target.GetRow(y);
    const float py = float(y) + 0.5f;
    for (int32_t x = x0; x < x1; ++x) {
      const float px = float(x) + 0.5f;
      // Distance to the rounded rectangle: to its inner rectangle, less the radius.
      const float qx = std::max({left + radius - px, px - (right - radius), 0.0f});
      const float qy = std::max({top + radius - py, py - (bottom - radius), 0.0f});
      const float distance = std::sqrt(qx * qx + qy * qy) - radius;
      if (distance <= 0.0f) continue;
      const float t = Clamp01(distance / std::max(spread, 0.5f));
      Over(row[x], colour, (1.0f - t) * (1.0f - t));
    }
  }
}

RFont& Roboto(float pixelSize) { return Cached(RFont::kRobotoPath, pixelSize); }
RFont& RobotoMedium(float pixelSize) { return Cached(kRobotoMediumPath, pixelSize); }
RFont& RobotoBold(float pixelSize) { return Cached(kRobotoBoldPath, pixelSize); }
RFont& RobotoCondensed(float pixelSize) { return Cached(RFont::kRobotoCondensedPath, pixelSize); }
RFont& RobotoCondensedBold(float pixelSize) { return Cached(kRobotoCondensedBoldPath, pixelSize); }
RFont& Segment(float pixelSize) { return Cached(RFont::kSegmentPath, pixelSize); }

RFont& FontNamed(const RString& name, float pixelSize) {
  const std::string path = RFont::PathOfFace(name).ToUTF8();
  return Cached(path.c_str(), pixelSize);
}

void SpacedText(RSkinDrawer& drawer, const RRect& box, const RString& text, RFont& font, uint32_t colour,
                float spacing, RAlignH align) {
  float total = 0;
  for (int i = 0; i < text.Length(); ++i) total += font.Measure(text.Mid(i, 1)) + (i > 0 ? spacing : 0.0f);
  float x = float(box.left);
  if (align == RAlignH::kCentre) x = float(box.left) + 0.5f * (float(box.Width()) - total);
  if (align == RAlignH::kRight) x = float(box.right) - total;
  for (int i = 0; i < text.Length(); ++i) {
    const RString one = text.Mid(i, 1);
    const float width = font.Measure(one);
    const int32_t left = int32_t(std::lround(x));
    drawer.AlignedTextOut(RRect{left, box.top, left + int32_t(std::ceil(width)) + 2, box.bottom}, one, font, colour,
                          RAlignH::kLeft, RAlignV::kMiddle);
    x += width + spacing;
  }
}

} // namespace RSkinPaint
