#include "base/pool.h"

#include <new>

#include "base/exception.h"

// Freed records are poisoned under AddressSanitizer (all but the free-list link), so a use
// after Free is reported at the faulty access instead of corrupting the next owner's record.
#if defined(__SANITIZE_ADDRESS__)
#define QUILLON_POOL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUILLON_POOL_ASAN 1
#endif
#endif

#ifdef QUILLON_POOL_ASAN
#include <sanitizer/asan_interface.h>
#define POOL_POISON(p, n) ASAN_POISON_MEMORY_REGION((p), (n))
#define POOL_UNPOISON(p, n) ASAN_UNPOISON_MEMORY_REGION((p), (n))
#else
#define POOL_POISON(p, n) ((void)(p), (void)(n))
#define POOL_UNPOISON(p, n) ((void)(p), (void)(n))
#endif

namespace {

// Records are handed out at 16-byte alignment, enough for any member a record may hold
// (doubles, pointers, 64-bit counts); the size is rounded up so that every record stays there.
constexpr size_t kRecordAlignment = 16;
// The first eight record sizes of a chunk are left unused: its first word links the chunks.
constexpr size_t kChunkHeaderRecords = 8;

size_t RoundedRecordSize(size_t size) noexcept {
  if (size < sizeof(void*)) size = sizeof(void*);
  return (size + kRecordAlignment - 1) & ~(kRecordAlignment - 1);
}

}  // namespace

RPool::RPool(size_t recordSize) : recordSize_(RoundedRecordSize(recordSize)) {
  // A chunk must hold its header and at least one record.
  if ((kChunkHeaderRecords + 2) * recordSize_ > kChunkBytes) throw RException("Pool record size too large.");
}

// [any-thread]
void* RPool::Allocate() {
  std::lock_guard<std::mutex> hold(lock_);
  if (freeList_) {
    void* record = freeList_;
    POOL_UNPOISON(record, recordSize_);
    freeList_ = *static_cast<void**>(record);
    return record;
  }
  if (bump_ >= chunkEnd_) {
    // Chunks are never given back: records of process-wide trees live until the process ends,
    // and a chain of chunks keeps them reachable for leak checkers.
    char* chunk = static_cast<char*>(::operator new(kChunkBytes, std::align_val_t(kRecordAlignment)));
    *reinterpret_cast<char**>(chunk) = firstChunk_;
    firstChunk_ = chunk;
    bump_ = chunk + kChunkHeaderRecords * recordSize_;
    chunkEnd_ = chunk + kChunkBytes - recordSize_ - 1;
    ++chunks_;
  }
  void* record = bump_;
  bump_ += recordSize_;
  return record;
}

// [any-thread]
void RPool::Free(void* record) noexcept {
  if (!record) return;
  std::lock_guard<std::mutex> hold(lock_);
  *static_cast<void**>(record) = freeList_;
  freeList_ = record;
  POOL_POISON(static_cast<char*>(record) + sizeof(void*), recordSize_ - sizeof(void*));
}

int RPool::ChunkCount() const noexcept {
  std::lock_guard<std::mutex> hold(lock_);
  return chunks_;
}
