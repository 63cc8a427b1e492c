#include "editor/imageadjust.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/format.h"

const char* const kColorizeAlgorithmNames[kColorizeAlgorithmCount] = {
    "None", "Add", "Subtract", "Max", "Min", "Mul", "Full brightness", "Linear brightness",
    "Brightness only saturated"};

namespace {

struct RGB {
  double r, g, b;
};

double Clamp01(double v) noexcept { return v > 0.0 ? (v < 1.0 ? v : 1.0) : 0.0; }
RGB Clamp01(RGB c) noexcept { return {Clamp01(c.r), Clamp01(c.g), Clamp01(c.b)}; }

// Rec. 709 luma: what "brightness" means throughout.
double Luma(RGB c) noexcept { return 0.2126 * c.r + 0.7152 * c.g + 0.0722 * c.b; }

RGB Saturate(RGB c, double factor) noexcept {
  const double l = Luma(c);
  return {l + (c.r - l) * factor, l + (c.g - l) * factor, l + (c.b - l) * factor};
}

// Rotation about the grey axis that keeps luma, the usual hue-rotation matrix.
RGB RotateHue(RGB c, double degrees) noexcept {
  const double a = degrees * std::numbers::pi / 180.0;
  const double cs = std::cos(a), sn = std::sin(a);
  return {(0.213 + cs * 0.787 - sn * 0.213) * c.r + (0.715 - cs * 0.715 - sn * 0.715) * c.g +
              (0.072 - cs * 0.072 + sn * 0.928) * c.b,
          (0.213 - cs * 0.213 + sn * 0.143) * c.r + (0.715 + cs * 0.285 + sn * 0.140) * c.g +
              (0.072 - cs * 0.072 - sn * 0.283) * c.b,
          (0.213 - cs * 0.213 - sn * 0.787) * c.r + (0.715 - cs * 0.715 + sn * 0.715) * c.g +
              (0.072 + cs * 0.928 + sn * 0.072) * c.b};
}

RGB FromPixel(uint32_t p) noexcept { return {RPixel::Red(p) / 255.0, RPixel::Green(p) / 255.0, RPixel::Blue(p) / 255.0}; }

uint32_t ToPixel(RGB c, uint32_t alpha) noexcept {
  const auto channel = [](double v) { return uint32_t(std::lround(Clamp01(v) * 255.0)); };
  return RPixel::Make(channel(c.r), channel(c.g), channel(c.b), alpha);
}

double FullBrightness(double colour, double luma) noexcept {
  return luma < 0.5 ? colour * 2.0 * luma : colour + (1.0 - colour) * (2.0 * luma - 1.0);
}

RGB Colorize(RGB p, RGB c, int32_t algorithm) noexcept {
  const auto each = [&](auto f) { return RGB{f(p.r, c.r), f(p.g, c.g), f(p.b, c.b)}; };
  const double l = Luma(p);
  switch (algorithm) {
    case kColorizeAdd: return each([](double a, double b) { return std::min(a + b, 1.0); });
    case kColorizeSubtract: return each([](double a, double b) { return std::max(a - b, 0.0); });
    case kColorizeMax: return each([](double a, double b) { return std::max(a, b); });
    case kColorizeMin: return each([](double a, double b) { return std::min(a, b); });
    case kColorizeMul: return each([](double a, double b) { return a * b; });
    case kColorizeFullBrightness: return {FullBrightness(c.r, l), FullBrightness(c.g, l), FullBrightness(c.b, l)};
    case kColorizeLinearBrightness: return {c.r * l, c.g * l, c.b * l};
    case kColorizeBrightnessSaturated: {
      const double s = std::max({p.r, p.g, p.b}) - std::min({p.r, p.g, p.b});
      const RGB full{FullBrightness(c.r, l), FullBrightness(c.g, l), FullBrightness(c.b, l)};
      return {p.r + (full.r - p.r) * s, p.g + (full.g - p.g) * s, p.b + (full.b - p.b) * s};
    }
    default: return p;
  }
}

bool HexDigit(char16_t u, uint32_t& value) noexcept {
  if (u >= '0' && u <= '9') value = uint32_t(u - '0');
  else if (u >= 'a' && u <= 'f') value = uint32_t(u - 'a' + 10);
  else if (u >= 'A' && u <= 'F') value = uint32_t(u - 'A' + 10);
  else return false;
  return true;
}

} // namespace

RString ColourToText(uint32_t colour) {
  return RFormat("{0x;02}{1x;02}{2x;02}{3x;02}") << RPixel::Red(colour) << RPixel::Green(colour)
                                                 << RPixel::Blue(colour) << RPixel::Alpha(colour);
}

bool TextToColour(const RString& text, uint32_t& colour) noexcept {
  if (text.Length() != 8) return false;
  uint32_t rgba = 0;
  for (int i = 0; i < 8; ++i) {
    uint32_t digit = 0;
    if (!HexDigit(text[i], digit)) return false;
    rgba = (rgba << 4) | digit;
  }
  colour = (rgba >> 8) | (rgba << 24);  // RRGGBBAA to AARRGGBB
  return true;
}

void RImageAdjust::Read(const RTagItem& item) {
  item.ReadAttribute("ColorizeEnable", colorizeEnable);
  RString text;
  if (item.ReadAttribute("Colorize", text)) TextToColour(text, colorize);
  item.ReadAttribute("ColorizeSaturation", colorizeSaturation);
  item.ReadAttribute("ColorizeBrightness", colorizeBrightness);
  item.ReadAttribute("AdjustBrightness", adjustBrightness);
  item.ReadAttribute("AdjustContrast", adjustContrast);
  item.ReadAttribute("AdjustSaturation", adjustSaturation);
  item.ReadAttribute("AdjustHue", adjustHue);
  item.ReadAttribute("ColorizeAlgorithm", colorizeAlgorithm);
  if (colorizeAlgorithm < 0 || colorizeAlgorithm >= kColorizeAlgorithmCount) colorizeAlgorithm = kColorizeNone;
}

void RImageAdjust::Write(RTagItem& item) const {
  item.SetAttribute("ColorizeEnable", colorizeEnable);
  item.SetAttribute("Colorize", ColourToText(colorize));
  item.SetAttribute("ColorizeSaturation", colorizeSaturation);
  item.SetAttribute("ColorizeBrightness", colorizeBrightness);
  item.SetAttribute("AdjustBrightness", adjustBrightness);
  item.SetAttribute("AdjustContrast", adjustContrast);
  item.SetAttribute("AdjustSaturation", adjustSaturation);
  item.SetAttribute("AdjustHue", adjustHue);
  item.SetAttribute("ColorizeAlgorithm", colorizeAlgorithm);
}

bool RImageAdjust::IsNeutral() const noexcept {
  const bool colorizes = colorizeEnable && colorizeAlgorithm != kColorizeNone && RPixel::Alpha(colorize) != 0;
  return !colorizes && adjustBrightness == 0.0 && adjustContrast == 0.0 && adjustSaturation == 0.0 &&
         std::fmod(adjustHue, 360.0) == 0.0;
}

uint32_t RImageAdjust::ApplyToPixel(uint32_t pixel) const noexcept {
  RGB p = FromPixel(pixel);
  if (std::fmod(adjustHue, 360.0) != 0.0) p = Clamp01(RotateHue(p, adjustHue));
  if (adjustSaturation != 0.0) p = Clamp01(Saturate(p, 1.0 + adjustSaturation / 100.0));
  if (adjustBrightness != 0.0) {
    const double b = adjustBrightness / 100.0;
    p = Clamp01(RGB{p.r + b, p.g + b, p.b + b});
  }
  if (adjustContrast != 0.0) {
    const double k = 1.0 + adjustContrast / 100.0;
    p = Clamp01(RGB{(p.r - 0.5) * k + 0.5, (p.g - 0.5) * k + 0.5, (p.b - 0.5) * k + 0.5});
  }
  if (colorizeEnable && colorizeAlgorithm != kColorizeNone) {
    RGB c = Clamp01(Saturate(FromPixel(colorize), colorizeSaturation / 100.0));
    const double cb = colorizeBrightness / 100.0;
    c = Clamp01(RGB{c.r + cb, c.g + cb, c.b + cb});
    const RGB out = Clamp01(Colorize(p, c, colorizeAlgorithm));
    const double strength = RPixel::Alpha(colorize) / 255.0;
    p = {p.r + (out.r - p.r) * strength, p.g + (out.g - p.g) * strength, p.b + (out.b - p.b) * strength};
  }
  return ToPixel(p, RPixel::Alpha(pixel));
}

void RImageAdjust::Apply(RBitmap& bitmap) const {
  if (IsNeutral() || bitmap.IsEmpty()) return;
  bitmap.ExpandIndices();
  uint32_t* pixels = bitmap.GetPixels();
  const size_t count = size_t(bitmap.GetWidth()) * size_t(bitmap.GetHeight());
  for (size_t i = 0; i < count; ++i) pixels[i] = ApplyToPixel(pixels[i]);
}
