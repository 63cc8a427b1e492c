#include "base/memorystream.h"

#include <cstring>

#include "base/exception.h"

RMemoryStream::RMemoryStream(const void* data, int64_t size)
    : data_(static_cast<uint8_t*>(const_cast<void*>(data))),
      capacity_(size > 0 ? size : 0),
      notOwned_(true),
      size_(size > 0 ? size : 0) {}

RMemoryStream::~RMemoryStream() {
  if (!notOwned_) delete[] data_;
}

// The first block is exact (most streams are written once, to a known size); later blocks
// double, so a growing stream copies each byte a bounded number of times.
void RMemoryStream::Grow(int64_t need) {
  int64_t capacity = need;
  if (data_) {
    capacity = 1;
    while (capacity < need) capacity <<= 1;
    if (capacity < capacity_) capacity = capacity_;
  }
  uint8_t* grown = new uint8_t[size_t(capacity)];
  if (size_ > 0) std::memcpy(grown, data_, size_t(size_));
  // A foreign block is never freed here; from now on the stream owns its copy.
  if (!notOwned_) delete[] data_;
  data_ = grown;
  capacity_ = capacity;
  notOwned_ = false;
}

void RMemoryStream::Write(const void* bytes, int64_t count) {
  if (count < 0) throw RException("Trying to write a block of negative size.");
  if (count == 0) return;
  const int64_t end = position_ + count;
  if (end > capacity_ && end > size_) Grow(end);
  std::memcpy(data_ + position_, bytes, size_t(count));
  position_ = end;
  if (position_ > size_) size_ = position_;
}

int64_t RMemoryStream::Read(void* bytes, int64_t count) {
  if (count < 0) throw RException("Trying to read a block of negative size.");
  const int64_t left = size_ - position_;
  const int64_t n = count < left ? count : left;
  if (n <= 0) return 0;
  std::memcpy(bytes, data_ + position_, size_t(n));
  position_ += n;
  return n;
}

bool RMemoryStream::ReadLine(char* bytes, int capacity) {
  if (capacity < 0) throw RException("Trying to read a string of negative size.");
  return RStream::ReadLine(bytes, capacity);
}

void RMemoryStream::Seek(int64_t offset, int origin) {
  int64_t target = SeekTarget(offset, origin);
  if (target < 0) target = 0;
  if (target > size_) target = size_;
  position_ = target;
}

void RMemoryStream::Truncate() { size_ = position_; }

std::unique_ptr<uint8_t[]> RMemoryStream::Detach() {
  std::unique_ptr<uint8_t[]> content;
  if (notOwned_) {
    if (size_ > 0) {
      content.reset(new uint8_t[size_t(size_)]);
      std::memcpy(content.get(), data_, size_t(size_));
    }
  } else {
    content.reset(data_);
  }
  data_ = nullptr;
  capacity_ = 0;
  notOwned_ = false;
  size_ = 0;
  position_ = 0;
  return content;
}
