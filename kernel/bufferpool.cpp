#include "kernel/bufferpool.h"

#include <algorithm>
#include <bit>
#include <new>

// Sits in the 32 bytes in front of every buffer, so that Give finds the class without a
// search and the list needs no storage of its own.
struct RBufferPools::Header {
  Header* next;
  int32_t classIndex;
};

RBufferPools& RBufferPools::Get() {
  static RBufferPools pools;
  return pools;
}

RBufferPools::~RBufferPools() {
  // Buffers still taken at this point belong to someone who outlived the process-wide
  // pools; they are left alone rather than freed under their user.
  for (SizeClass& sizeClass : classes_) {
    Header* header = sizeClass.free.exchange(nullptr);
    while (header) {
      Header* next = header->next;
      ::operator delete(header, std::align_val_t(kAlignment));
      header = next;
    }
  }
}

int32_t RBufferPools::ClassOf(int32_t floats) noexcept {
  if (floats <= 0) return -1;
  const int32_t bits = std::max<int32_t>(kSmallestClassBits, int32_t(std::bit_width(uint32_t(floats - 1))));
  return bits > kLargestClassBits ? -1 : bits - kSmallestClassBits;
}

void RBufferPools::Push(SizeClass& sizeClass, Header* header) noexcept {
  Header* head = sizeClass.free.load(std::memory_order_relaxed);
  do {
    header->next = head;
  } while (!sizeClass.free.compare_exchange_weak(head, header, std::memory_order_release, std::memory_order_relaxed));
  sizeClass.freeCount.fetch_add(1, std::memory_order_relaxed);
}

void RBufferPools::Reserve(int32_t count, int32_t floats) {
  const int32_t index = ClassOf(floats);
  if (index < 0) return;
  SizeClass& sizeClass = classes_[index];
  RLockGuard guard(sizeClass.lock);
  const size_t bytes = size_t(kAlignment) + (sizeof(float) << (index + kSmallestClassBits));
  while (sizeClass.buffers.load(std::memory_order_relaxed) < count) {
    auto* header = static_cast<Header*>(::operator new(bytes, std::align_val_t(kAlignment)));
    header->classIndex = index;
    sizeClass.buffers.fetch_add(1, std::memory_order_relaxed);
    Push(sizeClass, header);
  }
}

float* RBufferPools::TryTake(int32_t floats) noexcept {
  const int32_t index = ClassOf(floats);
  if (index < 0) return nullptr;
  SizeClass& sizeClass = classes_[index];
  RTryLockGuard guard(sizeClass.lock);
  if (!guard.Owns()) return nullptr;
  // The only popper holds the lock, so a node seen at the head can't leave and come back
  // between the load and the exchange: concurrent Give only pushes.
  Header* head = sizeClass.free.load(std::memory_order_acquire);
  while (head && !sizeClass.free.compare_exchange_weak(head, head->next, std::memory_order_acquire,
                                                       std::memory_order_acquire)) {
  }
  if (!head) return nullptr;
  sizeClass.freeCount.fetch_sub(1, std::memory_order_relaxed);
  return reinterpret_cast<float*>(reinterpret_cast<uint8_t*>(head) + kAlignment);
}

void RBufferPools::Give(float* buffer) noexcept {
  static_assert(sizeof(Header) <= size_t(kAlignment));
  if (!buffer) return;
  auto* header = reinterpret_cast<Header*>(reinterpret_cast<uint8_t*>(buffer) - kAlignment);
  Push(classes_[header->classIndex], header);
}

int32_t RBufferPools::CountBuffers(int32_t floats) const noexcept {
  const int32_t index = ClassOf(floats);
  return index < 0 ? 0 : classes_[index].buffers.load(std::memory_order_relaxed);
}

int32_t RBufferPools::CountFree(int32_t floats) const noexcept {
  const int32_t index = ClassOf(floats);
  return index < 0 ? 0 : classes_[index].freeCount.load(std::memory_order_relaxed);
}
