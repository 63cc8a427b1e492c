#include "base/stringset.h"

#include <cstdlib>
#include <cstring>
#include <new>

RStringSet::~RStringSet() {
  for (char* block : blocks_) std::free(block);
}

const char* RStringSet::Add(const RString& text) {
  if (text.GetKind() == RString::kLiteral) return text.Narrow();
  int length = text.Length();
  if (length >= kBlockSize) throw RException("RStringSet failure");
  if (length + fill_ + 1 > kBlockSize) {
    char* block = static_cast<char*>(std::malloc(kBlockSize));
    if (!block) throw std::bad_alloc();
    blocks_.Add(block);
    fill_ = 0;
  }
  char* dest = blocks_[blocks_.Count() - 1] + fill_;
  RByteBuffer bytes = text.ToLatin1Buffer(true);
  std::memcpy(dest, bytes.Data(), size_t(length) + 1);
  fill_ += length + 1;
  return dest;
}
