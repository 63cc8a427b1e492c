#include "base/string.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/exception.h"

namespace rstring_detail {

const char kEmptyText[1] = {0};

namespace {
struct FoldPair {
  uint16_t source;
  uint16_t base;
};
constexpr FoldPair kFoldTable[] = {
#include "base/foldtable.inc"
};
constexpr int kFoldCount = int(sizeof(kFoldTable) / sizeof(kFoldTable[0]));

constexpr int kHeaderBytes = 8;

int32_t* HeaderOf(const char16_t* text) noexcept {
  return reinterpret_cast<int32_t*>(const_cast<char*>(reinterpret_cast<const char*>(text) - kHeaderBytes));
}
std::atomic_ref<int32_t> CountOf(const char16_t* text) noexcept { return std::atomic_ref<int32_t>(HeaderOf(text)[1]); }

// Accent-folds and lowers one unit of either width. An 8-bit unit is sign-extended first,
// so only the ASCII letters of 8-bit text fold.
inline int FoldedValue(char c) noexcept {
  int v = static_cast<signed char>(c);
  return (v >= 'A' && v <= 'Z') ? v + 32 : v;
}
inline int FoldedValue(char16_t c) noexcept { return FoldUnit(c); }
} // namespace

char16_t FoldAccent(char16_t unit) noexcept {
  if (unit < 192) return unit;
  int lo = 0, hi = kFoldCount - 1;
  while (lo <= hi) {
    int mid = (lo + hi) >> 1;
    if (kFoldTable[mid].source == unit) return kFoldTable[mid].base;
    if (kFoldTable[mid].source < unit) lo = mid + 1;
    else hi = mid - 1;
  }
  return unit;
}

char16_t FoldUnit(char16_t unit) noexcept { return LowerAscii(FoldAccent(unit)); }

template <typename A, typename B>
static int CompareFoldedT(const A* a, int na, const B* b, int nb, int limit) noexcept {
  int n = std::min(na, nb);
  if (limit >= 0 && limit < n) n = limit;
  for (int i = 0; i < n; ++i) {
    int d = FoldedValue(a[i]) - FoldedValue(b[i]);
    if (d != 0) return d;
  }
  if (limit >= 0 && n == limit) return 0;
  // One side ended: compare its terminator (0) against the other's next unit.
  int ca = n < na ? FoldedValue(a[n]) : 0;
  int cb = n < nb ? FoldedValue(b[n]) : 0;
  return ca - cb;
}

int CompareFolded(const char* a, int na, const char* b, int nb, int limit) noexcept { return CompareFoldedT(a, na, b, nb, limit); }
int CompareFolded(const char* a, int na, const char16_t* b, int nb, int limit) noexcept { return CompareFoldedT(a, na, b, nb, limit); }
int CompareFolded(const char16_t* a, int na, const char* b, int nb, int limit) noexcept { return CompareFoldedT(a, na, b, nb, limit); }
int CompareFolded(const char16_t* a, int na, const char16_t* b, int nb, int limit) noexcept { return CompareFoldedT(a, na, b, nb, limit); }

int32_t BlockBytesFor(int units) noexcept {
  int32_t need = 2 * units + 10;
  int32_t size = 16;
  while (size < need) size <<= 1;
  return size;
}

char16_t* AllocateBlock(int units) {
  int32_t bytes = BlockBytesFor(units);
  auto* block = static_cast<int32_t*>(::operator new(size_t(bytes)));
  block[0] = bytes;
  block[1] = 1;
  return reinterpret_cast<char16_t*>(reinterpret_cast<char*>(block) + kHeaderBytes);
}

void RetainBlock(char16_t* text) noexcept { CountOf(text).fetch_add(1, std::memory_order_relaxed); }

void ReleaseBlock(char16_t* text) noexcept {
  if (CountOf(text).fetch_sub(1, std::memory_order_acq_rel) == 1) ::operator delete(HeaderOf(text));
}

int32_t BlockSize(const char16_t* text) noexcept { return HeaderOf(text)[0]; }
int32_t BlockCount(const char16_t* text) noexcept { return CountOf(text).load(std::memory_order_relaxed); }

} // namespace rstring_detail

using namespace rstring_detail;

// ---------------------------------------------------------------------------------------
// RByteBuffer

RByteBuffer::RByteBuffer(size_t size) : data_(static_cast<char*>(::operator new(size ? size : 1))), size_(size) {}
RByteBuffer& RByteBuffer::operator=(RByteBuffer&& o) noexcept {
  if (this != &o) {
    ::operator delete(data_);
    data_ = o.data_;
    size_ = o.size_;
    o.data_ = nullptr;
    o.size_ = 0;
  }
  return *this;
}
RByteBuffer::~RByteBuffer() { ::operator delete(data_); }

// ---------------------------------------------------------------------------------------
// RStringT

template <int N>
RStringT<N> RStringT<N>::Literal(const char* text, int length) noexcept {
  RStringT s;
  s.storage_.literal = text;
  s.length_ = length;
  return s;
}

template <int N>
template <typename Unit>
void RStringT<N>::AssignUnits(const Unit* text, int length) {
  // Called on a string holding nothing that needs releasing.
  if (length <= 0) {
    length_ = 0;
    kind_ = kLiteral;
    storage_.literal = kEmptyText;
    return;
  }
  char16_t* dest;
  if (length < N) {
    kind_ = kInline;
    dest = storage_.inl;
  } else {
    storage_.heap = AllocateBlock(length);
    kind_ = kHeap;
    dest = storage_.heap;
  }
  for (int i = 0; i < length; ++i) dest[i] = char16_t(std::make_unsigned_t<Unit>(text[i]));
  dest[length] = 0;
  length_ = length;
}

template <int N>
RStringT<N>::RStringT(const char* text, int length) : length_(0), kind_(kLiteral) {
  storage_.literal = kEmptyText;
  AssignUnits(text, length);
}

template <int N>
RStringT<N>::RStringT(const char16_t* text, int length) : length_(0), kind_(kLiteral) {
  storage_.literal = kEmptyText;
  AssignUnits(text, length);
}

template <int N>
template <int M>
RStringT<N>::RStringT(const RStringT<M>& other) : length_(0), kind_(kLiteral) {
  storage_.literal = kEmptyText;
  if (other.kind_ == kLiteral) {
    storage_.literal = other.storage_.literal;
    length_ = other.length_;
  } else if (other.kind_ == kHeap && other.length_ >= N) {
    RetainBlock(other.storage_.heap);
    storage_.heap = other.storage_.heap;
    kind_ = kHeap;
    length_ = other.length_;
  } else {
    AssignUnits(other.WideData(), other.length_);
  }
}

template <int N>
void RStringT<N>::CopyFrom(const RStringT& other) {
  if (other.kind_ == kLiteral) {
    kind_ = kLiteral;
    storage_.literal = other.storage_.literal;
    length_ = other.length_;
  } else if (other.length_ >= N) {
    RetainBlock(other.storage_.heap);
    kind_ = kHeap;
    storage_.heap = other.storage_.heap;
    length_ = other.length_;
  } else {
    kind_ = kInline;
    length_ = other.length_;
    std::memcpy(storage_.inl, other.WideData(), sizeof(char16_t) * size_t(length_ + 1));
  }
}

template <int N>
RStringT<N>::RStringT(const RStringT& other) : length_(0), kind_(kLiteral) {
  CopyFrom(other);
}

template <int N>
RStringT<N>::RStringT(RStringT&& other) noexcept : length_(other.length_), kind_(other.kind_) {
  std::memcpy(&storage_, &other.storage_, kind_ == kInline ? sizeof(char16_t) * size_t(length_ + 1) : sizeof(void*));
  other.kind_ = kLiteral;
  other.length_ = 0;
  other.storage_.literal = kEmptyText;
}

template <int N>
RStringT<N>& RStringT<N>::operator=(const RStringT& other) {
  if (this == &other) return *this;
  // Retain before release: other may share our block.
  RStringT copy(other);
  *this = std::move(copy);
  return *this;
}

template <int N>
RStringT<N>& RStringT<N>::operator=(RStringT&& other) noexcept {
  if (this == &other) return *this;
  Release();
  length_ = other.length_;
  kind_ = other.kind_;
  std::memcpy(&storage_, &other.storage_, kind_ == kInline ? sizeof(char16_t) * size_t(length_ + 1) : sizeof(void*));
  other.kind_ = kLiteral;
  other.length_ = 0;
  other.storage_.literal = kEmptyText;
  return *this;
}

template <int N>
void RStringT<N>::Release() noexcept {
  if (kind_ == kHeap) ReleaseBlock(storage_.heap);
}

template <int N>
char16_t* RStringT<N>::Reserve(int n) {
  if (n < 0) n = 0;
  if (kind_ == kInline) {
    if (n < N) return storage_.inl;
    char16_t* block = AllocateBlock(n);
    std::memcpy(block, storage_.inl, sizeof(char16_t) * size_t(length_ + 1));
    storage_.heap = block;
    kind_ = kHeap;
    return block;
  }
  if (kind_ == kHeap && BlockCount(storage_.heap) < 2) {
    if (BlockSize(storage_.heap) >= BlockBytesFor(n)) return storage_.heap;
    char16_t* block = AllocateBlock(n);
    std::memcpy(block, storage_.heap, sizeof(char16_t) * size_t(length_ + 1));
    ReleaseBlock(storage_.heap);
    storage_.heap = block;
    return block;
  }
  // Shared block or literal: take a private copy of what fits.
  RStringT old(std::move(*this));
  int keep = std::min(n, old.length_);
  char16_t* dest;
  if (n < N) {
    kind_ = kInline;
    dest = storage_.inl;
  } else {
    storage_.heap = AllocateBlock(n);
    kind_ = kHeap;
    dest = storage_.heap;
  }
  for (int i = 0; i < keep; ++i) dest[i] = old[i];
  dest[keep] = 0;
  length_ = keep;
  return dest;
}

template <int N>
void RStringT<N>::SetLength(int n) noexcept {
  if (n <= 0) {
    Release();
    kind_ = kLiteral;
    length_ = 0;
    storage_.literal = kEmptyText;
    return;
  }
  length_ = n;
  WideData()[n] = 0;
  // Keep the invariant: a short text never stays in a heap block.
  if (kind_ == kHeap && n < N) {
    char16_t* block = storage_.heap;
    kind_ = kInline;
    std::memcpy(storage_.inl, block, sizeof(char16_t) * size_t(n + 1));
    ReleaseBlock(block);
  }
}

template <int N>
RStringT<N> RStringT<N>::Mid(int start, int count) const {
  if (start < 0) start = 0;
  if (start >= length_ || count <= 0) return RStringT();
  if (count > length_ - start) count = length_ - start;
  if (start == 0 && count == length_) return *this;
  if (kind_ == kLiteral) return RStringT(storage_.literal + start, count);
  return RStringT(WideData() + start, count);
}

template <int N>
RStringT<N>& RStringT<N>::Append(const char16_t* text, int length) {
  if (length <= 0) return *this;
  int old = length_;
  char16_t* dest = Reserve(old + length);
  std::memcpy(dest + old, text, sizeof(char16_t) * size_t(length));
  SetLength(old + length);
  return *this;
}

template <int N>
RStringT<N>& RStringT<N>::Append(const char* text, int length) {
  if (length <= 0) return *this;
  int old = length_;
  char16_t* dest = Reserve(old + length);
  for (int i = 0; i < length; ++i) dest[old + i] = char16_t(uint8_t(text[i]));
  SetLength(old + length);
  return *this;
}

template <int N>
RStringT<N>& RStringT<N>::Append(const RStringT& other) {
  if (other.length_ == 0) return *this;
  if (length_ == 0) return *this = other;
  if (&other == this) {
    RStringT copy(other);
    return Append(copy);
  }
  if (other.kind_ == kLiteral) return Append(other.storage_.literal, other.length_);
  return Append(other.WideData(), other.length_);
}

template <int N>
RStringT<N>& RStringT<N>::TrimLeft() {
  int skip = 0;
  while (skip < length_ && (*this)[skip] <= 32) ++skip;
  if (skip == 0) return *this;
  *this = Mid(skip);
  return *this;
}

template <int N>
RStringT<N>& RStringT<N>::TrimRight() {
  int end = length_;
  while (end > 0 && (*this)[end - 1] <= 32) --end;
  if (end == length_) return *this;
  *this = Mid(0, end);
  return *this;
}

template <int N>
RStringT<N> RStringT<N>::Lowered() const {
  RStringT out;
  char16_t* dest = out.Reserve(length_);
  for (int i = 0; i < length_; ++i) dest[i] = LowerAscii((*this)[i]);
  out.SetLength(length_);
  return out;
}

template <int N>
RStringT<N> RStringT<N>::Folded() const {
  RStringT out;
  char16_t* dest = out.Reserve(length_);
  for (int i = 0; i < length_; ++i) dest[i] = FoldUnit((*this)[i]);
  out.SetLength(length_);
  return out;
}

template <int N>
template <int M>
int RStringT<N>::Compare(const RStringT<M>& other, int limit) const noexcept {
  return Visit([&](auto* a, int na) { return other.Visit([&](auto* b, int nb) { return CompareFolded(a, na, b, nb, limit); }); });
}

template <int N>
int RStringT<N>::Compare(const char* text, int limit) const noexcept {
  int nb = int(std::strlen(text));
  return Visit([&](auto* a, int na) { return CompareFolded(a, na, text, nb, limit); });
}

template <int N>
template <int M>
int RStringT<N>::CompareExact(const RStringT<M>& other) const noexcept {
  int n = std::min(length_, other.Length());
  for (int i = 0; i < n; ++i) {
    int d = int((*this)[i]) - int(other[i]);
    if (d) return d;
  }
  return length_ - other.Length();
}

template <int N>
int RStringT<N>::Find(char16_t unit, int start) const noexcept {
  int target = FoldUnit(unit);
  for (int i = std::max(start, 0); i < length_; ++i)
    if (FoldUnit((*this)[i]) == target) return i;
  return -1;
}

template <int N>
int RStringT<N>::Find(const RStringT& pattern, int start) const {
  if (start < 0) start = 0;
  int m = pattern.length_;
  if (m == 0) return start <= length_ ? start : -1;
  for (int i = start; i + m <= length_; ++i) {
    int d = Visit([&](auto* a, int) {
      return pattern.Visit([&](auto* b, int nb) { return CompareFolded(a + i, m, b, nb, m); });
    });
    if (d == 0) return i;
  }
  return -1;
}

template <int N>
RByteBuffer RStringT<N>::ToLatin1Buffer(bool terminator) const {
  RByteBuffer out(size_t(length_) + (terminator ? 1 : 0));
  for (int i = 0; i < length_; ++i) {
    char16_t u = (*this)[i];
    if (u > 255) u = FoldAccent(u);
    out.Data()[i] = char(u & 0xff);
  }
  if (terminator) out.Data()[length_] = 0;
  out.SetSize(size_t(length_));
  return out;
}

template <int N>
RByteBuffer RStringT<N>::ToUTF8Buffer() const {
  RByteBuffer out(size_t(length_) * 3 + 1);
  auto* d = reinterpret_cast<unsigned char*>(out.Data());
  size_t k = 0;
  for (int i = 0; i < length_; ++i) {
    uint32_t c = (*this)[i];
    if (c >= 0xD800 && c <= 0xDBFF) {
      char16_t next = i + 1 < length_ ? (*this)[i + 1] : 0;
      if (next < 0xDC00 || next > 0xDFFF) continue;  // unpaired high surrogate: dropped
      c = 0x10000 + ((c - 0xD800) << 10) + (next - 0xDC00);
      ++i;
    } else if (c >= 0xDC00 && c <= 0xDFFF) {
      continue;  // lone low surrogate: dropped
    }
    if (c < 0x80) {
      d[k++] = uint8_t(c);
    } else if (c < 0x800) {
      d[k++] = uint8_t(0xC0 | (c >> 6));
      d[k++] = uint8_t(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      d[k++] = uint8_t(0xE0 | (c >> 12));
      d[k++] = uint8_t(0x80 | ((c >> 6) & 0x3F));
      d[k++] = uint8_t(0x80 | (c & 0x3F));
    } else {
      d[k++] = uint8_t(0xF0 | (c >> 18));
      d[k++] = uint8_t(0x80 | ((c >> 12) & 0x3F));
      d[k++] = uint8_t(0x80 | ((c >> 6) & 0x3F));
      d[k++] = uint8_t(0x80 | (c & 0x3F));
    }
  }
  d[k] = 0;
  out.SetSize(k);
  return out;
}

template <int N>
std::string RStringT<N>::ToUTF8() const {
  if (kind_ == kLiteral) {
    bool ascii = true;
    for (int i = 0; i < length_ && ascii; ++i) ascii = uint8_t(storage_.literal[i]) < 0x80;
    if (ascii) return std::string(storage_.literal, size_t(length_));
  }
  RByteBuffer b = ToUTF8Buffer();
  return std::string(b.Data(), b.Size());
}

template <int N>
std::u16string RStringT<N>::ToU16() const {
  std::u16string out(size_t(length_), u'\0');
  for (int i = 0; i < length_; ++i) out[size_t(i)] = (*this)[i];
  return out;
}

template <int N>
RStringT<N> RStringT<N>::FromUTF8(const char* bytes, size_t size) {
  const auto* s = reinterpret_cast<const unsigned char*>(bytes);
  RStringT out;
  // UTF-16 never needs more units than UTF-8 has bytes.
  char16_t* d = out.Reserve(int(size));
  int k = 0;
  size_t i = 0;
  while (i < size) {
    uint32_t c = s[i];
    int extra = c >= 0xF0 && c < 0xF8 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    if (c >= 0xF8 || (c >= 0x80 && c < 0xC0)) extra = 0;
    bool ok = extra > 0;
    uint32_t cp = c & (0x3F >> extra);
    for (int j = 1; ok && j <= extra; ++j) {
      if (i + size_t(j) >= size || (s[i + size_t(j)] & 0xC0) != 0x80) ok = false;
      else cp = (cp << 6) | (s[i + size_t(j)] & 0x3F);
    }
    if (!ok) {
      d[k++] = char16_t(c);  // plain ASCII, or a stray byte taken as Latin-1
      ++i;
      continue;
    }
    i += size_t(extra) + 1;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      d[k++] = char16_t(0xD800 + (cp >> 10));
      d[k++] = char16_t(0xDC00 + (cp & 0x3FF));
    } else {
      d[k++] = char16_t(cp);
    }
  }
  out.SetLength(k);
  return out;
}

template class RStringT<60>;
template class RStringT<24>;
template RStringT<60>::RStringT(const RStringT<24>&);
template RStringT<24>::RStringT(const RStringT<60>&);
template int RStringT<60>::Compare(const RStringT<60>&, int) const noexcept;
template int RStringT<60>::Compare(const RStringT<24>&, int) const noexcept;
template int RStringT<24>::Compare(const RStringT<60>&, int) const noexcept;
template int RStringT<24>::Compare(const RStringT<24>&, int) const noexcept;
template int RStringT<60>::CompareExact(const RStringT<60>&) const noexcept;
template int RStringT<60>::CompareExact(const RStringT<24>&) const noexcept;
template int RStringT<24>::CompareExact(const RStringT<60>&) const noexcept;
template int RStringT<24>::CompareExact(const RStringT<24>&) const noexcept;

// ---------------------------------------------------------------------------------------
// RHashedString

template <typename Unit>
static uint32_t HashUnits(const Unit* text, int length) noexcept {
  uint32_t h = 0;
  for (int i = 0; i < length; ++i) {
    uint32_t c = std::make_unsigned_t<Unit>(text[i]);
    if (c >= 'A' && c <= 'Z') c += 32;
    h += c;
    h *= 1025;
    h ^= h >> 6;
  }
  h *= 9;
  h ^= h >> 11;
  h *= 32769;
  return length == 0 ? 0 : h;
}

uint32_t RHashedString::Hash(const char* text, int length) noexcept { return HashUnits(text, length); }
uint32_t RHashedString::Hash(const char16_t* text, int length) noexcept { return HashUnits(text, length); }

template <int N>
uint32_t RHashedString::Hash(const RStringT<N>& text) noexcept {
  return text.Visit([](auto* p, int n) { return HashUnits(p, n); });
}
template uint32_t RHashedString::Hash(const RStringT<60>&) noexcept;
template uint32_t RHashedString::Hash(const RStringT<24>&) noexcept;

int RHashedString::Compare(const RHashedString& other) const noexcept {
  if (hash_ != other.hash_) return hash_ < other.hash_ ? -1 : 1;
  return text_.Compare(other.text_);
}

// ---------------------------------------------------------------------------------------
// RStringSearch

RStringSearch::RStringSearch(const RString& pattern, bool caseSensitive) : caseSensitive_(caseSensitive) {
  RByteBuffer folded = pattern.ToLatin1Buffer(false);
  pattern_.resize(folded.Size());
  for (size_t i = 0; i < folded.Size(); ++i) {
    char16_t u = FoldAccent(char16_t(uint8_t(folded.Data()[i])));
    if (!caseSensitive_) u = LowerAscii(u);
    pattern_[i] = char(u & 0xff);
  }
  int m = int(pattern_.size());
  for (int& s : shift_) s = m + 1;
  for (int i = 0; i < m; ++i) shift_[uint8_t(pattern_[size_t(i)])] = m - i;
}

template <typename Unit>
int RStringSearch::FindIn(const Unit* text, int length, int start) const noexcept {
  int m = int(pattern_.size());
  if (start < 0) start = 0;
  if (m == 0) return start <= length ? start : -1;
  auto unit = [&](int i) -> uint32_t {
    uint32_t c = std::make_unsigned_t<Unit>(text[i]);
    if (!caseSensitive_ && c >= 'A' && c <= 'Z') c += 32;
    return c;
  };
  int pos = start;
  while (pos + m <= length) {
    int j = 0;
    while (j < m && unit(pos + j) == uint8_t(pattern_[size_t(j)])) ++j;
    if (j == m) return pos;
    if (pos + m >= length) break;
    pos += shift_[unit(pos + m) & 0xff];
  }
  return -1;
}

int RStringSearch::Find(const RString& text, int start) const noexcept {
  return text.Visit([&](auto* p, int n) { return FindIn(p, n, start); });
}

namespace rarray_detail {
void ThrowIndexOutOfRange() { throw RException("Index out of range."); }
} // namespace rarray_detail
