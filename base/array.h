#pragma once
// RArray: a growable array of trivially relocatable elements with a per-instantiation shrink
// threshold. Growth goes to the next power of two above the count; a removal may ask for a
// shrink, which targets the count itself below the threshold and the next power of two at or
// above it otherwise.

#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "base/exception.h"

namespace rarray_detail {
inline int NextPowerOfTwoAbove(int n) noexcept {
  int p = 1;
  while (p <= n) p <<= 1;
  return p;
}
inline int NextPowerOfTwoAtOrAbove(int n) noexcept {
  int p = 1;
  while (p < n) p <<= 1;
  return p;
}
[[noreturn]] void ThrowIndexOutOfRange();
} // namespace rarray_detail

template <typename T, int ShrinkThreshold = 9>
class RArray {
public:
  RArray() = default;
  RArray(const RArray& other) { *this = other; }
  RArray(RArray&& other) noexcept { Swap(other); }
  RArray& operator=(const RArray& other) {
    if (this == &other) return *this;
    RemoveAll(true);
    Reserve(other.count_);
    for (int i = 0; i < other.count_; ++i) new (&data_[i]) T(other.data_[i]);
    count_ = other.count_;
    return *this;
  }
  RArray& operator=(RArray&& other) noexcept {
    RArray tmp(std::move(other));
    Swap(tmp);
    return *this;
  }
  ~RArray() { RemoveAll(true); }

  int Count() const noexcept { return count_; }
  int Capacity() const noexcept { return capacity_; }
  bool IsEmpty() const noexcept { return count_ == 0; }
  T* Data() noexcept { return data_; }
  const T* Data() const noexcept { return data_; }
  T* begin() noexcept { return data_; }
  T* end() noexcept { return data_ + count_; }
  const T* begin() const noexcept { return data_; }
  const T* end() const noexcept { return data_ + count_; }

  T& operator[](int i) {
    if (i < 0 || i >= count_) rarray_detail::ThrowIndexOutOfRange();
    return data_[i];
  }
  const T& operator[](int i) const {
    if (i < 0 || i >= count_) rarray_detail::ThrowIndexOutOfRange();
    return data_[i];
  }

  // Makes room for at least n elements without changing the count.
  void Reserve(int n) {
    if (n > capacity_) Reallocate(n);
  }

  T& Add(const T& value) { return Emplace(value); }
  T& Add(T&& value) { return Emplace(std::move(value)); }
  template <typename... A>
  T& Emplace(A&&... args) {
    if (count_ == capacity_) {
      // The argument may live inside this array: build it before moving the storage.
      T made(std::forward<A>(args)...);
      Reallocate(rarray_detail::NextPowerOfTwoAbove(count_));
      return *new (&data_[count_++]) T(std::move(made));
    }
    return *new (&data_[count_++]) T(std::forward<A>(args)...);
  }

  void Insert(int index, T value) {
    if (index < 0 || index > count_) rarray_detail::ThrowIndexOutOfRange();
    if (count_ == capacity_) Reallocate(rarray_detail::NextPowerOfTwoAbove(count_));
    std::memmove(static_cast<void*>(data_ + index + 1), data_ + index, sizeof(T) * size_t(count_ - index));
    new (&data_[index]) T(std::move(value));
    ++count_;
  }

  // Removes the element at index and moves the tail down. With destroy false the element is
  // handed back to the caller instead of destroyed.
  T Take(int index, bool shrink = false) {
    if (index < 0 || index >= count_) rarray_detail::ThrowIndexOutOfRange();
    T value(std::move(data_[index]));
    RemoveAt(index, shrink);
    return value;
  }
  void RemoveAt(int index, bool shrink = false) {
    if (index < 0 || index >= count_) rarray_detail::ThrowIndexOutOfRange();
    data_[index].~T();
    std::memmove(static_cast<void*>(data_ + index), data_ + index + 1, sizeof(T) * size_t(count_ - index - 1));
    --count_;
    if (shrink) Shrink();
  }
  void RemoveAll(bool shrink = true) {
    for (int i = 0; i < count_; ++i) data_[i].~T();
    count_ = 0;
    if (shrink) Shrink();
  }
  // Capacity target: the count below the threshold, else the next power of two at or above it.
  void Shrink() {
    int target = count_ < ShrinkThreshold ? count_ : rarray_detail::NextPowerOfTwoAtOrAbove(count_);
    if (target != capacity_) Reallocate(target);
  }
  int IndexOf(const T& value) const {
    for (int i = 0; i < count_; ++i)
      if (data_[i] == value) return i;
    return -1;
  }

private:
  static_assert(std::is_nothrow_move_constructible_v<T>, "RArray moves its elements by relocation");
  void Swap(RArray& o) noexcept {
    std::swap(data_, o.data_);
    std::swap(capacity_, o.capacity_);
    std::swap(count_, o.count_);
  }
  // Elements are relocated bytewise: every element type of the system is trivially relocatable.
  void Reallocate(int capacity) {
    if (capacity == 0) {
      std::free(data_);
      data_ = nullptr;
    } else {
      void* p = std::realloc(static_cast<void*>(data_), sizeof(T) * size_t(capacity));
      if (!p) throw std::bad_alloc();
      data_ = static_cast<T*>(p);
    }
    capacity_ = capacity;
  }

  T* data_ = nullptr;
  int32_t capacity_ = 0;
  int32_t count_ = 0;
};
