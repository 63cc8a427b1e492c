#pragma once
// RFont: one face at one pixel size, with its glyphs rendered anti-aliased through FreeType and
// kept for the life of the font. Faces are loaded once per file and shared by every font that
// uses them; each font keeps a size object of its own, so fonts of one face at different sizes
// never disturb each other's metrics.
//
// The product's faces: Roboto for text (the condensed cut for tight labels) and the 14-segment
// display face for value displays.
//
// [editor-thread]: a font is used by the painters of one thread. The face cache itself is
// behind a lock, so that fonts may be made on any thread.

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "base/string.h"

class RFontFace;

// One rendered glyph: coverage rows of width bytes; left and top place the coverage relative to
// the pen on the baseline (top counts upwards), advance moves the pen.
struct RGlyph {
  uint32_t index = 0;
  int32_t left = 0;
  int32_t top = 0;
  int32_t width = 0;
  int32_t height = 0;
  float advance = 0;
  std::vector<uint8_t> coverage;
};

class RFont {
public:
  static constexpr const char* kRobotoPath = "/usr/share/fonts/truetype/roboto/unhinted/RobotoTTF/Roboto-Regular.ttf";
  static constexpr const char* kRobotoCondensedPath =
      "/usr/share/fonts/truetype/roboto/unhinted/RobotoCondensed-Regular.ttf";
  static constexpr const char* kSegmentPath = "/usr/share/fonts/truetype/dseg/DSEG14Classic-Regular.ttf";

  // The file of a face named as the product's definition names them ("Roboto",
  // "Roboto Condensed", "Segment14mod"); any other name is Roboto.
  static RString PathOfFace(const RString& name);

  // The process-wide font of a file at a size, made on first use and kept for the life of the
  // library: what controls that repaint the same texts every frame should use. Throws as the
  // constructor does (and tries again on the next call).
  static RFont& Shared(const RString& path, float pixelSize);

  // Loads (or finds) the face of the file. A file that is missing or not a font throws
  // RException "Could not load font "<path>"."
  RFont(const RString& path, float pixelSize);
  ~RFont();
  RFont(const RFont&) = delete;
  RFont& operator=(const RFont&) = delete;

  float GetPixelSize() const noexcept { return pixelSize_; }
  // Distances from the baseline in pixels, both positive.
  float GetAscent() const noexcept { return ascent_; }
  float GetDescent() const noexcept { return descent_; }
  bool HasKerning() const noexcept;

  // The glyph of a character (rendered on first use). A character the face lacks gives the
  // face's missing-glyph box.
  const RGlyph& GetGlyph(char32_t character);

  // Lays one line of text out from a pen at 0 on the baseline, kerned where the face says:
  // place(glyph, penX) for each character in order. Returns the advance of the whole line.
  template <class F>
  float Layout(const RString& text, F&& place) {
    float pen = 0.0f;
    uint32_t previous = 0;
    for (int i = 0; i < text.Length(); ++i) {
      char32_t c = text[i];
      // UTF-16 pairs make one character; a lone half stands for itself.
      if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.Length() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
        c = 0x10000 + ((c - 0xD800) << 10) + (char32_t(text[i + 1]) - 0xDC00);
        ++i;
      }
      const RGlyph& glyph = GetGlyph(c);
      pen += Kerning(previous, glyph.index);
      place(glyph, pen);
      pen += glyph.advance;
      previous = glyph.index;
    }
    return pen;
  }
  float Measure(const RString& text) {
    return Layout(text, [](const RGlyph&, float) {});
  }

private:
  float Kerning(uint32_t left, uint32_t right);

  std::shared_ptr<RFontFace> face_;
  void* size_ = nullptr;  // FT_Size of this font
  float pixelSize_ = 0;
  float ascent_ = 0;
  float descent_ = 0;
  std::unordered_map<char32_t, RGlyph> glyphs_;
};
