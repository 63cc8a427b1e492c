#pragma once
// RStringSet: an arena of 8-bit copies of strings in 8192-byte blocks. A copy's address stays
// valid for the set's life, which is what makes it a home for names handed out as char*.

#include "base/array.h"
#include "base/string.h"

class RStringSet {
public:
  static constexpr int kBlockSize = 8192;
  RStringSet() = default;
  RStringSet(const RStringSet&) = delete;
  RStringSet& operator=(const RStringSet&) = delete;
  ~RStringSet();
  // A literal is returned by its own pointer; anything else is copied as 8-bit text (folded
  // and truncated as ToLatin1Buffer does). 8192 units or more throw "RStringSet failure".
  const char* Add(const RString& text);
  int BlockCount() const noexcept { return blocks_.Count(); }

private:
  RArray<char*, 9> blocks_;
  int fill_ = kBlockSize;
};
