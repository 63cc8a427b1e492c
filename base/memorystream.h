#pragma once
// RMemoryStream: a stream over a growable block in memory, or over a block someone else owns
// (a resource, a mapped file) that is only read. Writing a tree of n bytes moves each byte a
// bounded number of times, since the block doubles.

#include <cstdint>
#include <memory>

#include "base/stream.h"

class RMemoryStream : public RStream {
public:
  RMemoryStream() = default;
  // Around a block that stays its owner's: it must outlive the stream.
  RMemoryStream(const void* data, int64_t size);
  RMemoryStream(const RMemoryStream&) = delete;
  RMemoryStream& operator=(const RMemoryStream&) = delete;
  ~RMemoryStream() override;

  void Write(const void* bytes, int64_t count) override;
  int64_t Read(void* bytes, int64_t count) override;
  bool ReadLine(char* bytes, int capacity) override;
  // Clamps the target to 0 and the size.
  void Seek(int64_t offset, int origin = kBegin) override;
  int64_t GetPosition() override { return position_; }
  void Flush() override {}
  bool IsEnd() override { return position_ >= size_; }
  // Cuts the content at the position.
  void Truncate() override;
  int64_t GetSize() override { return size_; }

  uint8_t* GetData() noexcept { return data_; }
  const uint8_t* GetData() const noexcept { return data_; }
  int64_t GetCapacity() const noexcept { return capacity_; }
  bool OwnsData() const noexcept { return !notOwned_; }
  // Hands the content over (a copy when the block is someone else's) and leaves the stream
  // empty. Null for an empty stream.
  std::unique_ptr<uint8_t[]> Detach();

private:
  void Grow(int64_t need);

  uint8_t* data_ = nullptr;
  int64_t capacity_ = 0;
  bool notOwned_ = false;
  int64_t size_ = 0;
  int64_t position_ = 0;
};
