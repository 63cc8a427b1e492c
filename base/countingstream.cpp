#include "base/countingstream.h"

#include "base/exception.h"

RCountingStream::~RCountingStream() {
  if (ownsStream_) delete stream_;
}

void RCountingStream::Write(const void* bytes, int64_t count) {
  if (count <= 0) return;
  // Checked before passing on: bytes behind the window belong to whatever follows it.
  if (count > maximumSize_ - position_)
    throw RException("The stream cannot be written, because its size is out of range.", 256);
  if (stream_) stream_->Write(bytes, count);
  MoveTo(position_ + count);
}

int64_t RCountingStream::Read(void* bytes, int64_t count) {
  if (!stream_) return RStream::Read(bytes, count);
  const int64_t left = maximumSize_ - position_;
  const int64_t want = count < left ? count : left;
  if (want <= 0) return 0;
  const int64_t got = stream_->Read(bytes, want);
  if (got > 0) MoveTo(position_ + got);
  return got;
}

void RCountingStream::Seek(int64_t offset, int origin) {
  int64_t target = SeekTarget(offset, origin);
  if (!seekable_) {
    if (target != position_) throw RException("Seeking operation is forbidden for the size-stream");
    return;
  }
  if (target < 0) target = 0;
  if (target > maximumSize_) target = maximumSize_;
  if (stream_) stream_->Seek(baseOffset_ + target, kBegin);
  MoveTo(target);
}

void RCountingStream::Flush() {
  if (stream_) stream_->Flush();
}
