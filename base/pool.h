#pragma once
// RPool: a process-wide, lock-guarded allocator of fixed-size records. Records come from
// 1 MiB chunks by a bump pointer; freed records go on a free list whose link overlays their
// first word. Chunks live as long as the process: tagged trees allocate and free thousands of
// nodes, attributes and buffer records, and the pool keeps that off the general heap.

#include <cstddef>
#include <cstdint>
#include <mutex>

class RPool {
public:
  static constexpr size_t kChunkBytes = 1 << 20;

  explicit RPool(size_t recordSize);
  RPool(const RPool&) = delete;
  RPool& operator=(const RPool&) = delete;

  void* Allocate();
  void Free(void* record) noexcept;
  size_t RecordSize() const noexcept { return recordSize_; }
  // Chunks taken so far (for tests).
  int ChunkCount() const noexcept;

  // Typed helpers: construct and destroy a T in a record of this pool.
  template <typename T, typename... A>
  T* New(A&&... args) {
    void* p = Allocate();
    try {
      return new (p) T(static_cast<A&&>(args)...);
    } catch (...) {
      Free(p);
      throw;
    }
  }
  template <typename T>
  void Delete(T* object) noexcept {
    if (!object) return;
    object->~T();
    Free(object);
  }

private:
  size_t recordSize_;
  char* firstChunk_ = nullptr;
  char* bump_ = nullptr;
  char* chunkEnd_ = nullptr;
  void* freeList_ = nullptr;
  int chunks_ = 0;
  mutable std::mutex lock_;
};
