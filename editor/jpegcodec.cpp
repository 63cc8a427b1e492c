#include "editor/jpegcodec.h"

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include <jerror.h>
#include <jpeglib.h>

#include "base/exception.h"
#include "base/format.h"
#include "editor/imagelimits.h"

namespace {

constexpr int kBlock = 4096;
// The library's own buffers (a progressive picture keeps every coefficient) stay below this;
// beyond it a decode fails instead of exhausting memory.
constexpr long kLibraryMemory = 512l << 20;
// A baseline JPEG of one flat colour needs some bits per 8 x 8 block; more pixels per byte
// than this only a hostile file claims.
constexpr int64_t kPixelsPerByte = 4096;

// The library's error record, with the jump back to the call that started it. base comes
// first: the library sees only that part.
struct RJpegError {
  jpeg_error_mgr base;
  jmp_buf jump;
  char message[JMSG_LENGTH_MAX];
  bool streamFailed;
};

[[noreturn]] void ErrorExit(j_common_ptr info) {
  auto* error = reinterpret_cast<RJpegError*>(info->err);
  if (!error->streamFailed) (*info->err->format_message)(info, error->message);
  longjmp(error->jump, 1);
}

// Warnings (a truncated file decodes as grey to its end) are not printed.
void Quiet(j_common_ptr) {}

void InitError(RJpegError& error) {
  jpeg_std_error(&error.base);
  error.base.error_exit = ErrorExit;
  error.base.output_message = Quiet;
  error.message[0] = 0;
  error.streamFailed = false;
}

[[noreturn]] void FailStream(j_common_ptr info, const char* text) {
  auto* error = reinterpret_cast<RJpegError*>(info->err);
  error->streamFailed = true;
  std::snprintf(error->message, sizeof(error->message), "%s", text);
  ErrorExit(info);
}

struct RJpegSource {
  jpeg_source_mgr base;
  RStream* stream;
  JOCTET buffer[kBlock];
};

void InitSource(j_decompress_ptr) {}
void TermSource(j_decompress_ptr) {}

boolean FillInput(j_decompress_ptr info) {
  auto* source = reinterpret_cast<RJpegSource*>(info->src);
  int64_t count = 0;
  bool failed = false;
  try {
    count = source->stream->Read(source->buffer, kBlock);
  } catch (...) {
    failed = true;
  }
  // The jump happens outside the handler, so the exception object is gone by then.
  if (failed) FailStream(reinterpret_cast<j_common_ptr>(info), "read error");
  if (count <= 0) {
    // The library's convention for a file that ends early: a warning and an end marker.
    WARNMS(info, JWRN_JPEG_EOF);
    source->buffer[0] = JOCTET(0xFF);
    source->buffer[1] = JOCTET(JPEG_EOI);
    count = 2;
  }
  source->base.next_input_byte = source->buffer;
  source->base.bytes_in_buffer = size_t(count);
  return TRUE;
}

void SkipInput(j_decompress_ptr info, long count) {
  jpeg_source_mgr* source = info->src;
  if (count <= 0) return;
  while (count > long(source->bytes_in_buffer)) {
    count -= long(source->bytes_in_buffer);
    FillInput(info);
  }
  source->next_input_byte += count;
  source->bytes_in_buffer -= size_t(count);
}

struct RJpegDecoder {
  jpeg_decompress_struct info;
  RJpegError error;
  RJpegSource source;
  bool created;

  ~RJpegDecoder() {
    if (created) jpeg_destroy_decompress(&info);
  }
};

// The jumping parts live in functions of their own whose locals are all trivial, so that a
// jump back skips no destructor.
bool ReadHeader(RJpegDecoder& d) {
  if (setjmp(d.error.jump)) return false;
  d.info.err = &d.error.base;  // before creation, which may fail already
  d.created = true;
  jpeg_create_decompress(&d.info);
  d.info.mem->max_memory_to_use = kLibraryMemory;
  d.info.src = &d.source.base;
  jpeg_read_header(&d.info, TRUE);
  const bool cmyk = d.info.jpeg_color_space == JCS_CMYK || d.info.jpeg_color_space == JCS_YCCK;
  // Blue, green, red, alpha 255: our pixel's bytes, written straight into the bitmap's rows.
  d.info.out_color_space = cmyk ? JCS_CMYK : JCS_EXT_BGRA;
  return true;
}

// Ink to light; Adobe's files store the inks inverted.
void ConvertCMYK(const uint8_t* in, uint32_t* out, uint32_t width, bool inverted) noexcept {
  for (uint32_t x = 0; x < width; ++x, in += 4) {
    uint32_t c = in[0], m = in[1], y = in[2], k = in[3];
    if (!inverted) {
      c = 255 - c;
      m = 255 - m;
      y = 255 - y;
      k = 255 - k;
    }
    out[x] = RPixel::Make(c * k / 255, m * k / 255, y * k / 255);
  }
}

bool ReadPixels(RJpegDecoder& d, RBitmap& bitmap, uint8_t* cmykRow) {
  if (setjmp(d.error.jump)) return false;
  jpeg_start_decompress(&d.info);
  while (d.info.output_scanline < d.info.output_height) {
    const JDIMENSION y = d.info.output_scanline;
    JSAMPROW row = cmykRow ? cmykRow : reinterpret_cast<JSAMPROW>(bitmap.GetRow(int32_t(y)));
    if (jpeg_read_scanlines(&d.info, &row, 1) != 1) break;
    if (cmykRow) ConvertCMYK(cmykRow, bitmap.GetRow(int32_t(y)), d.info.output_width, d.info.saw_Adobe_marker);
  }
  jpeg_finish_decompress(&d.info);
  return true;
}

[[noreturn]] void ThrowLoad(const RJpegDecoder& d) {
  throw RException(RFormat("Error loading JPEG file - {0}") << RString::FromUTF8(d.error.message));
}

struct RJpegDestination {
  jpeg_destination_mgr base;
  RStream* stream;
  JOCTET buffer[kBlock];
};

void WriteOut(j_compress_ptr info, size_t count) {
  auto* destination = reinterpret_cast<RJpegDestination*>(info->dest);
  bool failed = false;
  try {
    destination->stream->Write(destination->buffer, int64_t(count));
  } catch (...) {
    failed = true;
  }
  if (failed) FailStream(reinterpret_cast<j_common_ptr>(info), "write error");
  destination->base.next_output_byte = destination->buffer;
  destination->base.free_in_buffer = kBlock;
}

void InitDestination(j_compress_ptr info) {
  auto* destination = reinterpret_cast<RJpegDestination*>(info->dest);
  destination->base.next_output_byte = destination->buffer;
  destination->base.free_in_buffer = kBlock;
}

boolean EmptyOutput(j_compress_ptr info) {
  WriteOut(info, kBlock);
  return TRUE;
}

void TermDestination(j_compress_ptr info) { WriteOut(info, kBlock - info->dest->free_in_buffer); }

struct RJpegEncoder {
  jpeg_compress_struct info;
  RJpegError error;
  RJpegDestination destination;
  bool created;

  ~RJpegEncoder() {
    if (created) jpeg_destroy_compress(&info);
  }
};

bool Encode(RJpegEncoder& e, const RBitmap& bitmap, int quality) {
  if (setjmp(e.error.jump)) return false;
  e.info.err = &e.error.base;
  e.created = true;
  jpeg_create_compress(&e.info);
  e.info.dest = &e.destination.base;
  e.info.image_width = JDIMENSION(bitmap.GetWidth());
  e.info.image_height = JDIMENSION(bitmap.GetHeight());
  e.info.input_components = 4;
  e.info.in_color_space = JCS_EXT_BGRX;
  jpeg_set_defaults(&e.info);
  jpeg_set_quality(&e.info, quality, TRUE);
  // Skins have thin coloured edges; above 90 keep chroma at full resolution.
  if (quality > 90) {
    for (int c = 0; c < e.info.num_components; ++c) {
      e.info.comp_info[c].h_samp_factor = 1;
      e.info.comp_info[c].v_samp_factor = 1;
    }
  }
  jpeg_start_compress(&e.info, TRUE);
  while (e.info.next_scanline < e.info.image_height) {
    JSAMPROW row = reinterpret_cast<JSAMPROW>(const_cast<uint32_t*>(bitmap.GetRow(int32_t(e.info.next_scanline))));
    jpeg_write_scanlines(&e.info, &row, 1);
  }
  jpeg_finish_compress(&e.info);
  return true;
}

} // namespace

RBitmap LoadJPEG(RStream& stream, const RImageSizeCheck& check) {
  auto d = std::make_unique<RJpegDecoder>();  // value-initialised: the library expects zeroes
  InitError(d->error);
  d->source.stream = &stream;
  d->source.base.init_source = InitSource;
  d->source.base.fill_input_buffer = FillInput;
  d->source.base.skip_input_data = SkipInput;
  d->source.base.resync_to_restart = jpeg_resync_to_restart;
  d->source.base.term_source = TermSource;

  if (!ReadHeader(*d)) ThrowLoad(*d);
  const int64_t width = d->info.image_width;
  const int64_t height = d->info.image_height;
  if (check) {
    check(int32_t(width), int32_t(height));
  } else if (!RImageLimits::Plausible(width, height, RImageLimits::RemainingBytes(stream), kPixelsPerByte)) {
    throw RException(RFormat("Error loading JPEG file - {0}") << RString("image too large for its data"));
  }

  RBitmap bitmap{int32_t(width), int32_t(height)};
  std::unique_ptr<uint8_t[]> cmykRow;
  if (d->info.out_color_space == JCS_CMYK) cmykRow = std::make_unique<uint8_t[]>(size_t(width) * 4);
  if (!ReadPixels(*d, bitmap, cmykRow.get())) ThrowLoad(*d);
  return bitmap;
}

void SaveJPEG(const RBitmap& bitmap, int quality, RStream& stream) {
  RBitmap expanded;
  const RBitmap* source = &bitmap;
  if (bitmap.IsIndexed()) {
    expanded = bitmap;
    expanded.ExpandIndices();
    source = &expanded;
  }
  auto e = std::make_unique<RJpegEncoder>();
  InitError(e->error);
  e->destination.stream = &stream;
  e->destination.base.init_destination = InitDestination;
  e->destination.base.empty_output_buffer = EmptyOutput;
  e->destination.base.term_destination = TermDestination;
  if (!Encode(*e, *source, quality < 1 ? 1 : quality > 100 ? 100 : quality)) {
    throw RException(RFormat("Error saving JPEG file - {0}") << RString::FromUTF8(e->error.message));
  }
}
