#include "tests/support/allocationcounter.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {
thread_local bool tCounting = false;
thread_local long tAllocations = 0;

void Count() noexcept {
  if (tCounting) ++tAllocations;
}
} // namespace

RCountingScope::RCountingScope() : start_(tAllocations) { tCounting = true; }
RCountingScope::~RCountingScope() { tCounting = false; }
long RCountingScope::Allocations() const { return tAllocations - start_; }

// The C allocator too, where the C library lets itself be wrapped (glibc, without a sanitizer
// that owns malloc): C code and libraries come here directly.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* p, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* p);

void* malloc(size_t size) {
  Count();
  return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
  Count();
  return __libc_calloc(count, size);
}
void* realloc(void* p, size_t size) {
  Count();
  return __libc_realloc(p, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
  Count();
  return __libc_memalign(alignment, size);
}
void* memalign(size_t alignment, size_t size) {
  Count();
  return __libc_memalign(alignment, size);
}
int posix_memalign(void** out, size_t alignment, size_t size) {
  Count();
  *out = __libc_memalign(alignment, size);
  return *out ? 0 : ENOMEM;
}
void free(void* p) { __libc_free(p); }
}
#endif

void* operator new(size_t size) {
  Count();
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t size) { return operator new(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  Count();
  return std::malloc(size ? size : 1);
}
void* operator new[](size_t size, const std::nothrow_t& tag) noexcept { return operator new(size, tag); }
void* operator new(size_t size, std::align_val_t alignment) {
  Count();
  const size_t a = size_t(alignment);
  if (void* p = std::aligned_alloc(a, (size + a - 1) / a * a)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t size, std::align_val_t alignment) { return operator new(size, alignment); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t, std::align_val_t) noexcept { std::free(p); }
