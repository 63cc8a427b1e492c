#include "editor/pngcodec.h"

#include <csetjmp>
#include <vector>

#include <png.h>

#include "base/exception.h"
#include "editor/imagelimits.h"

namespace {

// deflate expands a byte to at most about 1032, and a byte of a 1-bit grey row holds 8 pixels.
constexpr int64_t kPixelsPerByte = RImageLimits::kDeflateRatio * 8;

// Errors jump back to the call that started the library; warnings are dropped.
[[noreturn]] void JumpBack(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void Quiet(png_structp, png_const_charp) {}

void ReadData(png_structp png, png_bytep out, size_t count) {
  auto* stream = static_cast<RStream*>(png_get_io_ptr(png));
  bool complete = false;
  try {
    complete = stream->Read(out, int64_t(count)) == int64_t(count);
  } catch (...) {
    complete = false;
  }
  // Outside the handler: the jump must not leave a live exception behind.
  if (!complete) png_error(png, "read error");
}

void WriteData(png_structp png, png_bytep data, size_t count) {
  auto* stream = static_cast<RStream*>(png_get_io_ptr(png));
  bool failed = false;
  try {
    stream->Write(data, int64_t(count));
  } catch (...) {
    failed = true;
  }
  if (failed) png_error(png, "write error");
}

void FlushData(png_structp) {}

struct RPngReader {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~RPngReader() { png_destroy_read_struct(&png, info ? &info : nullptr, nullptr); }
};

struct RPngHeader {
  png_uint_32 width = 0;
  png_uint_32 height = 0;
  bool palette = false;  // rows come as one index a byte, expanded by us
  bool paletteBad = false;
  bool layoutBad = false;
  uint32_t table[256];  // 0xAARRGGBB of each palette entry
  int tableSize = 0;
};

bool ReadPalette(RPngReader& r, RPngHeader& header) {
  png_colorp colours = nullptr;
  int count = 0;
  if (png_get_PLTE(r.png, r.info, &colours, &count) != PNG_INFO_PLTE || count < 1 || count > 256) return false;
  png_bytep alphas = nullptr;
  int alphaCount = 0;
  if (png_get_tRNS(r.png, r.info, &alphas, &alphaCount, nullptr) != PNG_INFO_tRNS) alphaCount = 0;
  for (int i = 0; i < count; ++i) {
    header.table[i] = RPixel::Make(colours[i].red, colours[i].green, colours[i].blue, i < alphaCount ? alphas[i] : 255);
  }
  header.tableSize = count;
  return true;
}

// The jumping parts live in functions of their own whose locals are all trivial, so that a
// jump back skips no destructor.
bool ReadInfo(RPngReader& r, RStream& stream, RPngHeader& header) {
  if (setjmp(png_jmpbuf(r.png))) return false;
  png_set_read_fn(r.png, &stream, ReadData);
  png_set_user_limits(r.png, RImageLimits::kMaxSide, RImageLimits::kMaxSide);
  png_read_info(r.png, r.info);
  header.width = png_get_image_width(r.png, r.info);
  header.height = png_get_image_height(r.png, r.info);
  const int colour = png_get_color_type(r.png, r.info);
  header.palette = colour == PNG_COLOR_TYPE_PALETTE;
  if (header.palette) {
    // Indices one a byte; the table is applied afterwards, so that an index past the
    // palette's end is found instead of being drawn black.
    header.paletteBad = !ReadPalette(r, header);
    png_set_packing(r.png);
  } else {
    // Everything to 8-bit blue, green, red, alpha: our pixel's bytes.
    png_set_scale_16(r.png);
    png_set_expand(r.png);  // small greys to 8 bits, transparency to alpha
    if (!(colour & PNG_COLOR_MASK_COLOR)) png_set_gray_to_rgb(r.png);
    png_set_bgr(r.png);
    png_set_filler(r.png, 0xFF, PNG_FILLER_AFTER);
  }
  png_set_interlace_handling(r.png);
  png_read_update_info(r.png, r.info);
  header.layoutBad = png_get_rowbytes(r.png, r.info) != size_t(header.width) * (header.palette ? 1 : 4);
  return true;
}

// Indices sit at the start of each 32-bit row; walking backwards, no pixel overwrites an
// index still to be read.
bool ExpandPaletteRows(RBitmap& bitmap, const RPngHeader& header) noexcept {
  for (int32_t y = 0; y < bitmap.GetHeight(); ++y) {
    uint32_t* row = bitmap.GetRow(y);
    const auto* indices = reinterpret_cast<const uint8_t*>(row);
    for (int32_t x = bitmap.GetWidth() - 1; x >= 0; --x) {
      const uint8_t index = indices[x];
      if (index >= header.tableSize) return false;
      row[x] = header.table[index];
    }
  }
  return true;
}

bool ReadRows(RPngReader& r, png_bytep* rows) {
  if (setjmp(png_jmpbuf(r.png))) return false;
  png_read_image(r.png, rows);
  png_read_end(r.png, nullptr);
  return true;
}

struct RPngWriter {
  png_structp png = nullptr;
  png_infop info = nullptr;
  ~RPngWriter() { png_destroy_write_struct(&png, info ? &info : nullptr); }
};

uint32_t Luma(uint32_t p) noexcept {
  // Weights sum to 256, so a grey pixel keeps its exact level.
  return (RPixel::Red(p) * 77 + RPixel::Green(p) * 150 + RPixel::Blue(p) * 29) >> 8;
}

// One row in the file's layout; 16-bit samples repeat the byte (v * 257, big-endian).
void ConvertRow(const RBitmap& bitmap, int32_t y, RPngColour colour, bool sixteen, uint8_t* out) noexcept {
  const int repeat = sixteen ? 2 : 1;
  auto put = [&](uint32_t v) {
    for (int i = 0; i < repeat; ++i) *out++ = uint8_t(v);
  };
  const uint32_t* row = bitmap.GetRow(y);
  for (int32_t x = 0; x < bitmap.GetWidth(); ++x) {
    const uint32_t p = row[x];
    switch (colour) {
      case RPngColour::kRGBA: put(RPixel::Red(p)); put(RPixel::Green(p)); put(RPixel::Blue(p)); put(RPixel::Alpha(p)); break;
      case RPngColour::kRGB: put(RPixel::Red(p)); put(RPixel::Green(p)); put(RPixel::Blue(p)); break;
      case RPngColour::kGray: put(Luma(p)); break;
      case RPngColour::kGrayAlpha: put(Luma(p)); put(RPixel::Alpha(p)); break;
      case RPngColour::kPalette: break;
    }
  }
}

struct RPngLayout {
  int colourType;
  int depth;
  int channels;
};

RPngLayout LayoutOf(RPngColour colour, bool sixteen) noexcept {
  const int depth = sixteen ? 16 : 8;
  switch (colour) {
    case RPngColour::kRGB: return {PNG_COLOR_TYPE_RGB, depth, 3};
    case RPngColour::kGray: return {PNG_COLOR_TYPE_GRAY, depth, 1};
    case RPngColour::kGrayAlpha: return {PNG_COLOR_TYPE_GRAY_ALPHA, depth, 2};
    case RPngColour::kPalette: return {PNG_COLOR_TYPE_PALETTE, 8, 1};
    case RPngColour::kRGBA: break;
  }
  return {PNG_COLOR_TYPE_RGBA, depth, 4};
}

struct RPngPalette {
  png_color colours[256];
  png_byte alphas[256];
  int alphaCount = 0;  // up to the last entry that isn't opaque
};

bool WriteImage(RPngWriter& w, RStream& stream, const RBitmap& bitmap, RPngColour colour, const RPngWriteOptions& options,
                RPngPalette* palette, uint8_t* row) {
  if (setjmp(png_jmpbuf(w.png))) return false;
  const RPngLayout layout = LayoutOf(colour, options.sixteenBits);
  png_set_write_fn(w.png, &stream, WriteData, FlushData);
  png_set_IHDR(w.png, w.info, png_uint_32(bitmap.GetWidth()), png_uint_32(bitmap.GetHeight()), layout.depth,
               layout.colourType, options.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (palette) {
    png_set_PLTE(w.png, w.info, palette->colours, 256);
    if (palette->alphaCount > 0) png_set_tRNS(w.png, w.info, palette->alphas, palette->alphaCount, nullptr);
  }
  png_write_info(w.png, w.info);
  const int passes = png_set_interlace_handling(w.png);
  for (int pass = 0; pass < passes; ++pass) {
    for (int32_t y = 0; y < bitmap.GetHeight(); ++y) {
      if (palette) {
        png_write_row(w.png, const_cast<png_bytep>(bitmap.GetIndices() + size_t(y) * size_t(bitmap.GetWidth())));
      } else {
        ConvertRow(bitmap, y, colour, options.sixteenBits, row);
        png_write_row(w.png, row);
      }
    }
  }
  png_write_end(w.png, nullptr);
  return true;
}

} // namespace

RBitmap LoadPNG(RStream& stream) {
  RPngReader r;
  r.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, JumpBack, Quiet);
  if (!r.png) throw RException("Could not initialize libpng.");
  r.info = png_create_info_struct(r.png);
  if (!r.info) throw RException("Could not initialize libpng info structure.");

  RPngHeader header;
  if (!ReadInfo(r, stream, header)) throw RException("Error loading a PNG file.");
  if (header.paletteBad) throw RException("Error loading PNG palette.");
  if (header.layoutBad ||
      !RImageLimits::Plausible(header.width, header.height, RImageLimits::RemainingBytes(stream), kPixelsPerByte)) {
    throw RException("Error loading a PNG file.");
  }

  RBitmap bitmap(int32_t(header.width), int32_t(header.height));
  std::vector<png_bytep> rows(header.height);
  for (png_uint_32 y = 0; y < header.height; ++y) rows[y] = reinterpret_cast<png_bytep>(bitmap.GetRow(int32_t(y)));
  if (!ReadRows(r, rows.data())) throw RException("Error loading a PNG file.");
  if (header.palette && !ExpandPaletteRows(bitmap, header)) throw RException("Error loading PNG palette.");
  return bitmap;
}

void SavePNG(const RBitmap& source, RStream& stream, const RPngWriteOptions& options) {
  if (source.IsEmpty()) throw RException("Empty image cannot be saved to PNG.");
  RPngColour colour = options.colour;
  RPngPalette palette;
  const bool indexed = colour == RPngColour::kPalette && source.IsIndexed();
  // Only an indexed bitmap written in colours needs a copy.
  RBitmap expanded;
  const RBitmap* chosen = &source;
  if (source.IsIndexed() && !indexed) {
    expanded = source;
    expanded.ExpandIndices();
    chosen = &expanded;
  }
  const RBitmap& bitmap = *chosen;
  if (indexed) {
    const uint32_t* table = bitmap.GetPalette();
    for (int i = 0; i < 256; ++i) {
      palette.colours[i] = {png_byte(RPixel::Red(table[i])), png_byte(RPixel::Green(table[i])),
                            png_byte(RPixel::Blue(table[i]))};
      palette.alphas[i] = png_byte(RPixel::Alpha(table[i]));
      if (palette.alphas[i] != 255) palette.alphaCount = i + 1;
    }
  } else if (colour == RPngColour::kPalette) {
    colour = RPngColour::kRGBA;
  }

  RPngWriter w;
  w.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, JumpBack, Quiet);
  if (!w.png) throw RException("Could not initialize libpng.");
  w.info = png_create_info_struct(w.png);
  if (!w.info) throw RException("Could not initialize libpng info structure.");
  std::vector<uint8_t> row(size_t(bitmap.GetWidth()) * 8);
  if (!WriteImage(w, stream, bitmap, colour, options, indexed ? &palette : nullptr, row.data())) {
    throw RException("Error saving a PNG file.");
  }
}
