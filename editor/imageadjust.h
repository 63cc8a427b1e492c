#pragma once
// RImageAdjust: the recolouring of an image or a control's image, stored in a tagged tree
// under ColorizeEnable, Colorize, ColorizeSaturation, ColorizeBrightness, AdjustBrightness,
// AdjustContrast, AdjustSaturation, AdjustHue and ColorizeAlgorithm. Colours are text of
// eight hexadecimal digits, red, green, blue, alpha ("FFFFFFFF").
//
// Applying it adjusts each pixel (hue, saturation, brightness, contrast, in that order), then
// colourises it with the colour by the chosen algorithm, the colour's alpha being how much of
// the colourised result replaces the pixel. A pixel's alpha is never touched.
//
// [editor-thread].

#include <cstdint>

#include "base/string.h"
#include "base/tagitem.h"
#include "editor/bitmap.h"

enum RColorizeAlgorithm : int32_t {
  kColorizeNone = 0,           // the pixel unchanged
  kColorizeAdd,                // pixel + colour, to white at most
  kColorizeSubtract,           // pixel - colour, to black at least
  kColorizeMax,                // the lighter of the two, per channel
  kColorizeMin,                // the darker of the two, per channel
  kColorizeMul,                // pixel x colour: white takes the colour, black stays black
  kColorizeFullBrightness,     // the colour at the pixel's brightness: black and white stay, mid-grey is the colour
  kColorizeLinearBrightness,   // the colour scaled by the pixel's brightness: white is the colour
  kColorizeBrightnessSaturated,// full brightness weighted by the pixel's own saturation: greys stay grey
  kColorizeAlgorithmCount
};

// The algorithms' names, by index, as choice texts show them.
extern const char* const kColorizeAlgorithmNames[kColorizeAlgorithmCount];

struct RImageAdjust {
  bool colorizeEnable = false;
  uint32_t colorize = 0xFFFFFFFFu;  // 0xAARRGGBB
  double colorizeSaturation = 100.0;  // percent of the colour's own saturation used
  double colorizeBrightness = 0.0;    // -100..100, added to the colour before use
  double adjustBrightness = 0.0;      // -100..100: -100 black, 100 white
  double adjustContrast = 0.0;        // -100..100: -100 flat mid-grey, 100 twice the distance from it
  double adjustSaturation = 0.0;      // -100..100: -100 grey, 100 twice the saturation
  double adjustHue = 0.0;             // degrees around the colour wheel
  int32_t colorizeAlgorithm = kColorizeNone;

  // Keys that are missing keep their value; an algorithm out of range counts as "None".
  void Read(const RTagItem& item);
  void Write(RTagItem& item) const;

  // True when applying changes no pixel.
  bool IsNeutral() const noexcept;
  uint32_t ApplyToPixel(uint32_t pixel) const noexcept;
  // Expands an indexed bitmap first.
  void Apply(RBitmap& bitmap) const;

  bool operator==(const RImageAdjust&) const = default;
};

// "RRGGBBAA" for 0xAARRGGBB, and back (false for text that isn't eight hexadecimal digits).
RString ColourToText(uint32_t colour);
bool TextToColour(const RString& text, uint32_t& colour) noexcept;
