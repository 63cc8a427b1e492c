#include "editor/fonts.h"

#include <cmath>
#include <map>
#include <mutex>
#include <string>

#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_SIZES_H

#include "base/exception.h"
#include "base/format.h"

// A loaded face file; lives as long as a font holds it.
class RFontFace {
public:
  FT_Face face = nullptr;
  ~RFontFace() {
    if (face) FT_Done_Face(face);
  }
};

namespace {

struct RFaceCache {
  std::mutex lock;
  FT_Library library = nullptr;
  std::map<std::string, std::weak_ptr<RFontFace>> faces;
};

RFaceCache& Cache() {
  // Never destroyed: fonts held by process-wide objects may outlive the statics.
  static RFaceCache* cache = new RFaceCache;
  return *cache;
}

std::shared_ptr<RFontFace> OpenFace(const RString& path) {
  const std::string file = path.ToUTF8();
  RFaceCache& cache = Cache();
  std::lock_guard<std::mutex> hold(cache.lock);
  if (auto known = cache.faces[file].lock()) return known;
  if (!cache.library && FT_Init_FreeType(&cache.library) != 0) {
    cache.library = nullptr;
    throw RException(RString("Could not initialize the font library."));
  }
  auto face = std::make_shared<RFontFace>();
  if (FT_New_Face(cache.library, file.c_str(), 0, &face->face) != 0) {
    face->face = nullptr;
    throw RException(RFormat("Could not load font \"{0}\".") << path);
  }
  cache.faces[file] = face;
  return face;
}

bool SameName(const RString& a, const char* b) { return a.Compare(b) == 0; }

float FromFixed(FT_Pos value) { return float(value) / 64.0f; }

} // namespace

RFont& RFont::Shared(const RString& path, float pixelSize) {
  struct RSharedFonts {
    std::mutex lock;
    std::map<std::pair<std::string, float>, std::unique_ptr<RFont>> fonts;
  };
  // Never destroyed, like the face cache whose faces these fonts hold.
  static RSharedFonts* shared = new RSharedFonts;
  std::lock_guard<std::mutex> hold(shared->lock);
  std::unique_ptr<RFont>& font = shared->fonts[{path.ToUTF8(), pixelSize}];
  if (!font) {
    auto made = std::make_unique<RFont>(path, pixelSize);
    font = std::move(made);
  }
  return *font;
}

RString RFont::PathOfFace(const RString& name) {
  if (SameName(name, "Segment14mod") || SameName(name, "DSEG14")) return RString::FromUTF8(kSegmentPath);
  if (SameName(name, "Roboto Condensed") || SameName(name, "RobotoCondensed")) {
    return RString::FromUTF8(kRobotoCondensedPath);
  }
  return RString::FromUTF8(kRobotoPath);
}

RFont::RFont(const RString& path, float pixelSize) : face_(OpenFace(path)), pixelSize_(pixelSize) {
  if (!(pixelSize > 0.0f) || pixelSize > 4096.0f) throw RException(RFormat("Invalid font size {0}.") << pixelSize);
  FT_Size size = nullptr;
  if (FT_New_Size(face_->face, &size) != 0) throw RException(RFormat("Could not load font \"{0}\".") << path);
  size_ = size;
  FT_Activate_Size(size);
  if (FT_Set_Char_Size(face_->face, 0, FT_F26Dot6(std::lround(pixelSize * 64.0f)), 72, 72) != 0) {
    throw RException(RFormat("Could not load font \"{0}\".") << path);
  }
  ascent_ = FromFixed(size->metrics.ascender);
  descent_ = -FromFixed(size->metrics.descender);
}

RFont::~RFont() {
  if (size_) FT_Done_Size(static_cast<FT_Size>(size_));
}

bool RFont::HasKerning() const noexcept { return FT_HAS_KERNING(face_->face); }

float RFont::Kerning(uint32_t left, uint32_t right) {
  if (left == 0 || !HasKerning()) return 0.0f;
  FT_Activate_Size(static_cast<FT_Size>(size_));
  FT_Vector delta{0, 0};
  if (FT_Get_Kerning(face_->face, left, right, FT_KERNING_UNFITTED, &delta) != 0) return 0.0f;
  return FromFixed(delta.x);
}

const RGlyph& RFont::GetGlyph(char32_t character) {
  if (auto known = glyphs_.find(character); known != glyphs_.end()) return known->second;
  FT_Face face = face_->face;
  FT_Activate_Size(static_cast<FT_Size>(size_));
  RGlyph glyph;
  glyph.index = FT_Get_Char_Index(face, FT_ULong(character));
  // The outlines are unhinted: the faces are drawn at sizes their hints weren't made for, and
  // hinting would move the digits of a display as the value changes.
  if (FT_Load_Glyph(face, glyph.index, FT_LOAD_NO_HINTING) == 0 &&
      FT_Render_Glyph(face->glyph, FT_RENDER_MODE_NORMAL) == 0) {
    const FT_GlyphSlot slot = face->glyph;
    const FT_Bitmap& bitmap = slot->bitmap;
    glyph.left = slot->bitmap_left;
    glyph.top = slot->bitmap_top;
    glyph.width = int32_t(bitmap.width);
    glyph.height = int32_t(bitmap.rows);
    glyph.advance = FromFixed(slot->advance.x);
    glyph.coverage.resize(size_t(glyph.width) * size_t(glyph.height));
    for (int32_t y = 0; y < glyph.height; ++y) {
      const unsigned char* row = bitmap.buffer + std::ptrdiff_t(y) * bitmap.pitch;
      for (int32_t x = 0; x < glyph.width; ++x) glyph.coverage[size_t(y) * size_t(glyph.width) + size_t(x)] = row[x];
    }
  }
  return glyphs_.emplace(character, std::move(glyph)).first->second;
}
