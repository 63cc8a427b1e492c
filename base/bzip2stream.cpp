#include "base/bzip2stream.h"

#include <bzlib.h>

namespace {

// bzip2 counts in unsigned int; larger requests go in slices.
constexpr int64_t kSlice = int64_t(1) << 30;

[[noreturn]] void ThrowInvalid() { throw RException("Source compressed stream has invalid content.", 256); }
[[noreturn]] void ThrowCompress() { throw RException("Data could not be compressed."); }

} // namespace

struct RBzip2Stream::State {
  bz_stream z{};
};

RBzip2Stream::RBzip2Stream(RStream* stream, int direction, int quality, bool ownsStream)
    : RCompressedStream(stream, direction, ownsStream),
      state_(new State()),
      buffer_(new char[direction == kCompress ? kOutputBlock : kInputBlock]) {
  const bool compress = direction == kCompress;
  const int level = LevelForQuality(quality);
  const int result = compress ? BZ2_bzCompressInit(&state_->z, level < 1 ? 1 : level, 0, kWorkFactor)
                              : BZ2_bzDecompressInit(&state_->z, 0, 0);
  if (result != BZ_OK) {
    if (ownsStream_) delete stream_;
    stream_ = nullptr;
    throw RException(compress ? "Could not initialize deflating." : "Could not initialize inflating.", 257);
  }
  live_ = true;
}

RBzip2Stream::~RBzip2Stream() {
  if (live_ && direction_ == kCompress) ReportUnterminated("BZIP2 stream has not been terminated.");
  End();
}

void RBzip2Stream::End() noexcept {
  if (!live_) return;
  if (direction_ == kCompress) BZ2_bzCompressEnd(&state_->z);
  else BZ2_bzDecompressEnd(&state_->z);
  live_ = false;
}

void RBzip2Stream::Abort() noexcept { End(); }

void RBzip2Stream::Close() {
  if (live_ && direction_ == kCompress) {
    End();
    throw RException("BZIP2 stream has not been terminated.", 256);
  }
  End();
}

void RBzip2Stream::Write(const void* bytes, int64_t count) {
  if (direction_ != kCompress) return RStream::Write(bytes, count);
  if (!live_) ThrowCompress();
  bz_stream& z = state_->z;
  const char* p = static_cast<const char*>(bytes);
  for (int64_t left = count; left > 0;) {
    const int64_t slice = left < kSlice ? left : kSlice;
    z.next_in = const_cast<char*>(p);
    z.avail_in = unsigned(slice);
    do {
      z.next_out = buffer_.get();
      z.avail_out = kOutputBlock;
      if (BZ2_bzCompress(&z, BZ_RUN) != BZ_RUN_OK) ThrowCompress();
      const int produced = kOutputBlock - int(z.avail_out);
      if (produced > 0) stream_->Write(buffer_.get(), produced);
    } while (z.avail_in > 0 || z.avail_out == 0);
    p += slice;
    left -= slice;
  }
  if (count > 0) total_ += count;
}

void RBzip2Stream::Finish() {
  if (direction_ != kCompress || !live_) return;
  bz_stream& z = state_->z;
  z.next_in = nullptr;
  z.avail_in = 0;
  int result;
  do {
    z.next_out = buffer_.get();
    z.avail_out = kOutputBlock;
    result = BZ2_bzCompress(&z, BZ_FINISH);
    if (result != BZ_FINISH_OK && result != BZ_STREAM_END) ThrowCompress();
    const int produced = kOutputBlock - int(z.avail_out);
    if (produced > 0) stream_->Write(buffer_.get(), produced);
  } while (result != BZ_STREAM_END);
  End();
}

int64_t RBzip2Stream::Read(void* bytes, int64_t count) {
  if (direction_ != kExpand) return RStream::Read(bytes, count);
  if (end_ || count <= 0 || !live_) return 0;
  bz_stream& z = state_->z;
  char* out = static_cast<char*>(bytes);
  int64_t done = 0;
  while (done < count) {
    if (z.avail_in == 0 && !inputEnd_) {
      const int64_t got = stream_->Read(buffer_.get(), kInputBlock);
      if (got <= 0) inputEnd_ = true;
      z.next_in = buffer_.get();
      z.avail_in = unsigned(got > 0 ? got : 0);
    }
    const int64_t want = count - done < kSlice ? count - done : kSlice;
    z.next_out = out + done;
    z.avail_out = unsigned(want);
    const unsigned before = z.avail_in;
    const int result = BZ2_bzDecompress(&z);
    const int64_t produced = want - int64_t(z.avail_out);
    done += produced;
    if (result == BZ_STREAM_END) {
      end_ = true;
      GiveBack(z.avail_in);
      z.avail_in = 0;
      End();
      break;
    }
    if (result != BZ_OK) ThrowInvalid();
    if (inputEnd_ && produced == 0 && before == z.avail_in) {
      // The input ended before the compressed data did.
      if (done > 0) break;
      ThrowInvalid();
    }
  }
  total_ += done;
  return done;
}
