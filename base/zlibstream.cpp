#include "base/zlibstream.h"

#include <zlib.h>

#include <climits>

namespace {

// zlib counts in unsigned int; larger requests go in slices.
constexpr int64_t kSlice = int64_t(1) << 30;

[[noreturn]] void ThrowInvalid() { throw RException("Source compressed stream has invalid content.", 256); }
[[noreturn]] void ThrowCompress() { throw RException("Data could not be compressed."); }

} // namespace

RZlibStream::RZlibStream(RStream* stream, int direction, int quality, bool ownsStream)
    : RCompressedStream(stream, direction, ownsStream), state_(new z_stream_s()), buffer_(new uint8_t[kBlock]) {
  const bool compress = direction == kCompress;
  const int result = compress ? deflateInit(state_.get(), LevelForQuality(quality)) : inflateInit(state_.get());
  if (result != Z_OK) {
    // The base destructor does not run for a constructor that throws.
    if (ownsStream_) delete stream_;
    stream_ = nullptr;
    throw RException(compress ? "Could not initialize deflating." : "Could not initialize inflating.", 257);
  }
  live_ = true;
}

RZlibStream::~RZlibStream() {
  if (live_ && direction_ == kCompress) ReportUnterminated("ZLIB stream has not been terminated.");
  End();
}

void RZlibStream::End() noexcept {
  if (!live_) return;
  if (direction_ == kCompress) deflateEnd(state_.get());
  else inflateEnd(state_.get());
  live_ = false;
}

void RZlibStream::Abort() noexcept { End(); }

void RZlibStream::Close() {
  if (live_ && direction_ == kCompress) {
    End();
    throw RException("ZLIB stream has not been terminated.", 256);
  }
  End();
}

void RZlibStream::Write(const void* bytes, int64_t count) {
  if (direction_ != kCompress) return RStream::Write(bytes, count);
  if (!live_) ThrowCompress();
  z_stream_s& z = *state_;
  const Bytef* p = static_cast<const Bytef*>(bytes);
  for (int64_t left = count; left > 0;) {
    const int64_t slice = left < kSlice ? left : kSlice;
    z.next_in = const_cast<Bytef*>(p);
    z.avail_in = uInt(slice);
    // Until zlib has taken all input and left room in its output: then it holds nothing more
    // that this call could give out.
    do {
      z.next_out = buffer_.get();
      z.avail_out = kBlock;
      if (deflate(&z, Z_NO_FLUSH) == Z_STREAM_ERROR) ThrowCompress();
      const int produced = kBlock - int(z.avail_out);
      if (produced > 0) stream_->Write(buffer_.get(), produced);
    } while (z.avail_in > 0 || z.avail_out == 0);
    p += slice;
    left -= slice;
  }
  if (count > 0) total_ += count;
}

void RZlibStream::Finish() {
  if (direction_ != kCompress || !live_) return;
  z_stream_s& z = *state_;
  z.next_in = nullptr;
  z.avail_in = 0;
  int result;
  do {
    z.next_out = buffer_.get();
    z.avail_out = kBlock;
    result = deflate(&z, Z_FINISH);
    if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) ThrowCompress();
    const int produced = kBlock - int(z.avail_out);
    if (produced > 0) stream_->Write(buffer_.get(), produced);
  } while (result != Z_STREAM_END);
  End();
}

int64_t RZlibStream::Read(void* bytes, int64_t count) {
  if (direction_ != kExpand) return RStream::Read(bytes, count);
  if (end_ || count <= 0 || !live_) return 0;
  z_stream_s& z = *state_;
  Bytef* out = static_cast<Bytef*>(bytes);
  int64_t done = 0;
  while (done < count) {
    if (z.avail_in == 0 && !inputEnd_) {
      const int64_t got = stream_->Read(buffer_.get(), kBlock);
      if (got <= 0) inputEnd_ = true;
      z.next_in = buffer_.get();
      z.avail_in = uInt(got > 0 ? got : 0);
    }
    const int64_t want = count - done < kSlice ? count - done : kSlice;
    z.next_out = out + done;
    z.avail_out = uInt(want);
    const uInt before = z.avail_in;
    const int result = inflate(&z, Z_SYNC_FLUSH);
    const int64_t produced = want - int64_t(z.avail_out);
    done += produced;
    if (result == Z_STREAM_END) {
      end_ = true;
      GiveBack(z.avail_in);
      z.avail_in = 0;
      End();
      break;
    }
    if (result == Z_BUF_ERROR) {
      // No progress: either more input is needed, or there is none left before the end of
      // the compressed data.
      if (inputEnd_ && produced == 0 && before == z.avail_in) {
        if (done > 0) break;  // what came before the cut is given out; the next read fails
        ThrowInvalid();
      }
      continue;
    }
    if (result != Z_OK) ThrowInvalid();
  }
  total_ += done;
  return done;
}
