#pragma once
// RCountingStream: a window of another stream, from a base offset up to a maximum size. It
// stores a part of a stream (a record of a known size inside a file), and with no wrapped
// stream at all it measures what would be written.

#include <cstdint>

#include "base/stream.h"

class RCountingStream : public RStream {
public:
  static constexpr int64_t kUnlimited = 0x7FFFFFFFFFFFFFFFll;

  // stream may be null: then only the count is kept. The wrapped stream stands at baseOffset
  // when the window starts. With ownsStream the wrapper deletes it.
  explicit RCountingStream(RStream* stream = nullptr, int64_t baseOffset = 0, int64_t maximumSize = kUnlimited,
                           bool seekable = false, bool ownsStream = false)
      : stream_(stream), baseOffset_(baseOffset), maximumSize_(maximumSize), seekable_(seekable),
        ownsStream_(ownsStream) {}
  RCountingStream(const RCountingStream&) = delete;
  RCountingStream& operator=(const RCountingStream&) = delete;
  ~RCountingStream() override;

  // Throws "The stream cannot be written, because its size is out of range.", code 256, for
  // a write that would pass the maximum size; nothing of it is passed on.
  void Write(const void* bytes, int64_t count) override;
  // Reads no further than the maximum size.
  int64_t Read(void* bytes, int64_t count) override;
  // When seekable: the target is clamped to the window and the wrapped stream goes to base
  // offset plus target. Otherwise only a seek to the present position is allowed.
  void Seek(int64_t offset, int origin = kBegin) override;
  int64_t GetPosition() override { return position_; }
  void Flush() override;
  bool IsEnd() override { return position_ >= size_; }
  // The highest position reached: what has been written (or read) in the window.
  int64_t GetSize() override { return size_; }

  int64_t GetBaseOffset() const noexcept { return baseOffset_; }
  int64_t GetMaximumSize() const noexcept { return maximumSize_; }

private:
  void MoveTo(int64_t position) noexcept {
    position_ = position;
    if (position_ > size_) size_ = position_;
  }

  RStream* stream_;
  int64_t baseOffset_;
  int64_t maximumSize_;
  bool seekable_;
  bool ownsStream_;
  int64_t position_ = 0;
  int64_t size_ = 0;
};
