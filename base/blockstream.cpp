#include "base/blockstream.h"

#include <cstring>

#include "base/exception.h"
#include "base/log.h"

RBlockStream::~RBlockStream() {
  if (fill_ > 0) {
    try {
      Flush();
    } catch (const RException& failure) {
      RLog::Write(failure.GetMessage());
    }
  }
  Release();
}

void RBlockStream::Release() noexcept {
  if (ownsStream_) delete stream_;
  stream_ = nullptr;
  ownsStream_ = false;
}

void RBlockStream::Init(RStream* stream, RBlockTransform* transform, int blockSize, bool ownsStream) {
  Release();
  stream_ = stream;
  transform_ = transform;
  ownsStream_ = ownsStream;
  blockSize_ = blockSize > 0 ? blockSize : 0;
  input_.reset(blockSize_ ? new uint8_t[size_t(blockSize_)] : nullptr);
  output_.reset(blockSize_ ? new uint8_t[size_t(blockSize_)] : nullptr);
  fill_ = readAt_ = readFill_ = 0;
  position_ = 0;
}

void RBlockStream::Require() const {
  if (blockSize_ == 0 || !stream_ || !transform_) throw RException("Buffering stream has not been initialized.");
}

void RBlockStream::Write(const void* bytes, int64_t count) {
  Require();
  const uint8_t* p = static_cast<const uint8_t*>(bytes);
  while (count > 0) {
    const int64_t room = blockSize_ - fill_;
    const int step = int(count < room ? count : room);
    std::memcpy(input_.get() + fill_, p, size_t(step));
    fill_ += step;
    p += step;
    count -= step;
    position_ += step;
    if (fill_ == blockSize_) Flush();
  }
}

void RBlockStream::Flush() {
  Require();
  if (fill_ == 0) return;
  transform_->Transform(input_.get(), output_.get(), fill_);
  const int size = fill_;
  fill_ = 0;
  stream_->Write(output_.get(), size);
}

int64_t RBlockStream::Read(void* bytes, int64_t count) {
  Require();
  uint8_t* p = static_cast<uint8_t*>(bytes);
  int64_t done = 0;
  while (done < count) {
    if (readAt_ == readFill_) {
      const int64_t got = stream_->Read(input_.get(), blockSize_);
      if (got <= 0) break;
      transform_->Transform(input_.get(), output_.get(), int(got));
      readAt_ = 0;
      readFill_ = int(got);
    }
    const int64_t available = readFill_ - readAt_;
    const int step = int(count - done < available ? count - done : available);
    std::memcpy(p + done, output_.get() + readAt_, size_t(step));
    readAt_ += step;
    done += step;
  }
  position_ += done;
  return done;
}

void RBlockStream::Close() {
  if (fill_ > 0) Flush();
}
