#pragma once
// RString: the value string every class of the system holds.
//
// Three storage kinds:
//   0 literal  - pointer to constant 8-bit (Latin-1) text; nothing copied, nothing freed
//   1 inline   - up to InlineUnits-1 UTF-16 units and a terminator inside the object
//   2 heap     - UTF-16 text in a shared block: [int32 block size][int32 atomic count][text]
// A run-time string of InlineUnits units or more is always kind 2, and one with fewer is
// always kind 1: copy, Mid and Reserve all keep that invariant, which is what keeps the
// thousands of short names and values of a tagged tree off the heap.
//
// Comparison and equality ignore case and accents (the default of the whole system);
// CompareExact is the binary form.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class RStringSearch;

namespace rstring_detail {
// Folding of one code unit: accent fold (units >= 192 through the table), then A-Z lowered.
char16_t FoldUnit(char16_t unit) noexcept;
// Accent fold only (no case change).
char16_t FoldAccent(char16_t unit) noexcept;
inline char16_t LowerAscii(char16_t u) noexcept { return (u >= 'A' && u <= 'Z') ? char16_t(u + 32) : u; }
// The four width forms of comparison: limit < 0 means no limit.
int CompareFolded(const char* a, int na, const char* b, int nb, int limit) noexcept;
int CompareFolded(const char* a, int na, const char16_t* b, int nb, int limit) noexcept;
int CompareFolded(const char16_t* a, int na, const char* b, int nb, int limit) noexcept;
int CompareFolded(const char16_t* a, int na, const char16_t* b, int nb, int limit) noexcept;
// Heap blocks: 2n + 10 bytes rounded up to a power of two, header in front of the text.
char16_t* AllocateBlock(int units) ;
void ReleaseBlock(char16_t* text) noexcept;
void RetainBlock(char16_t* text) noexcept;
int32_t BlockSize(const char16_t* text) noexcept;
int32_t BlockCount(const char16_t* text) noexcept;
int32_t BlockBytesFor(int units) noexcept;
extern const char kEmptyText[1];
} // namespace rstring_detail

// An owned byte buffer, as returned by the 8-bit and UTF-8 conversions.
class RByteBuffer {
public:
  RByteBuffer() = default;
  explicit RByteBuffer(size_t size);
  RByteBuffer(const RByteBuffer&) = delete;
  RByteBuffer& operator=(const RByteBuffer&) = delete;
  RByteBuffer(RByteBuffer&& o) noexcept : data_(o.data_), size_(o.size_) { o.data_ = nullptr; o.size_ = 0; }
  RByteBuffer& operator=(RByteBuffer&& o) noexcept;
  ~RByteBuffer();
  char* Data() noexcept { return data_; }
  const char* Data() const noexcept { return data_; }
  size_t Size() const noexcept { return size_; }
  void SetSize(size_t size) noexcept { size_ = size; }
private:
  char* data_ = nullptr;
  size_t size_ = 0;
};

template <int InlineUnits>
class RStringT {
public:
  static constexpr int kInlineUnits = InlineUnits;
  enum Kind : uint32_t { kLiteral = 0, kInline = 1, kHeap = 2 };

  // The empty literal.
  RStringT() noexcept : length_(0), kind_(kLiteral) { storage_.literal = rstring_detail::kEmptyText; }
  // A literal: kept by pointer, never copied. Only for text that lives as long as the process.
  template <size_t N>
  RStringT(const char (&literal)[N]) noexcept : length_(int32_t(N - 1)), kind_(kLiteral) { storage_.literal = literal; }
  // A literal of known length (a pointer into constant storage).
  static RStringT Literal(const char* text, int length) noexcept;
  // Copies of 8-bit (Latin-1) and UTF-16 text.
  RStringT(const char* text, int length);
  RStringT(const char16_t* text, int length);
  explicit RStringT(std::u16string_view text) : RStringT(text.data(), int(text.size())) {}
  // Decodes UTF-8; malformed sequences are taken byte by byte as Latin-1.
  static RStringT FromUTF8(const char* bytes, size_t size);
  static RStringT FromUTF8(std::string_view text) { return FromUTF8(text.data(), text.size()); }
  // Copies an 8-bit text of unknown lifetime (not a literal).
  static RStringT FromLatin1(std::string_view text) { return RStringT(text.data(), int(text.size())); }

  // Between the two inline sizes.
  template <int M>
  explicit RStringT(const RStringT<M>& other);

  RStringT(const RStringT& other);
  RStringT(RStringT&& other) noexcept;
  RStringT& operator=(const RStringT& other);
  RStringT& operator=(RStringT&& other) noexcept;
  ~RStringT() { Release(); }

  int Length() const noexcept { return length_; }
  bool IsEmpty() const noexcept { return length_ == 0; }
  uint32_t GetKind() const noexcept { return kind_; }
  bool IsWide() const noexcept { return kind_ != kLiteral; }
  // The code unit at an index (no range check: callers stay inside Length()).
  char16_t operator[](int index) const noexcept {
    return kind_ == kLiteral ? char16_t(uint8_t(storage_.literal[index])) : WideData()[index];
  }
  // The raw text: 8-bit for literals, 16-bit otherwise.
  const char* Narrow() const noexcept { return kind_ == kLiteral ? storage_.literal : nullptr; }
  const char16_t* Wide() const noexcept { return kind_ == kLiteral ? nullptr : WideData(); }
  // Heap block bookkeeping, for tests and diagnostics.
  int32_t HeapBlockSize() const noexcept { return kind_ == kHeap ? rstring_detail::BlockSize(storage_.heap) : 0; }
  int32_t ShareCount() const noexcept { return kind_ == kHeap ? rstring_detail::BlockCount(storage_.heap) : 0; }
  bool SharesBlockWith(const RStringT& o) const noexcept { return kind_ == kHeap && o.kind_ == kHeap && storage_.heap == o.storage_.heap; }

  // Makes the text private and writable with room for n units (plus terminator). The length
  // is left to the caller: use SetLength afterwards.
  char16_t* Reserve(int n);
  // Sets the length after writing through Reserve; writes the terminator.
  void SetLength(int n) noexcept;

  RStringT Mid(int start, int count = 0x7fffffff) const;
  RStringT Left(int count) const { return Mid(0, count); }
  RStringT Right(int count) const { return Mid(length_ - count, count); }

  RStringT& Append(const RStringT& other);
  RStringT& Append(const char* text, int length);
  RStringT& Append(const char16_t* text, int length);
  RStringT& Append(char16_t unit) { return Append(&unit, 1); }
  RStringT& operator+=(const RStringT& other) { return Append(other); }
  RStringT& operator+=(char16_t unit) { return Append(unit); }
  template <size_t N>
  RStringT& operator+=(const char (&lit)[N]) { return Append(lit, int(N - 1)); }
  friend RStringT operator+(RStringT a, const RStringT& b) { a.Append(b); return a; }

  // Drop units of 32 and below at either end.
  RStringT& TrimLeft();
  RStringT& TrimRight();
  RStringT& Trim() { TrimRight(); return TrimLeft(); }
  // Lower-cased (A-Z only) and accent-folded copies.
  RStringT Lowered() const;
  RStringT Folded() const;

  // Case- and accent-insensitive comparison; limit < 0 compares the whole strings.
  template <int M>
  int Compare(const RStringT<M>& other, int limit = -1) const noexcept;
  int Compare(const char* text, int limit = -1) const noexcept;
  // Binary comparison of code units.
  template <int M>
  int CompareExact(const RStringT<M>& other) const noexcept;

  template <int M>
  bool operator==(const RStringT<M>& o) const noexcept { return Compare(o) == 0; }
  bool operator==(const char* o) const noexcept { return Compare(o) == 0; }
  template <int M>
  bool operator<(const RStringT<M>& o) const noexcept { return Compare(o) < 0; }

  // First index of a unit or substring at or after start, case- and accent-insensitive; -1 if none.
  int Find(char16_t unit, int start = 0) const noexcept;
  int Find(const RStringT& pattern, int start = 0) const;

  // 8-bit text: units above 255 are folded, then the low 8 bits kept (silent loss).
  RByteBuffer ToLatin1Buffer(bool terminator = true) const;
  // UTF-8 (buffer sized 3n + 1); unpaired surrogates dropped. Terminated; Size() excludes it.
  RByteBuffer ToUTF8Buffer() const;
  std::string ToUTF8() const;
  std::u16string ToU16() const;

  // Visits the text as 8-bit or 16-bit units, whichever it holds.
  template <typename F>
  decltype(auto) Visit(F&& f) const {
    if (kind_ == kLiteral) return f(storage_.literal, length_);
    return f(static_cast<const char16_t*>(WideData()), length_);
  }

private:
  template <int> friend class RStringT;
  const char16_t* WideData() const noexcept { return kind_ == kInline ? storage_.inl : storage_.heap; }
  char16_t* WideData() noexcept { return kind_ == kInline ? storage_.inl : storage_.heap; }
  void Release() noexcept;
  void CopyFrom(const RStringT& other);
  template <typename Unit>
  void AssignUnits(const Unit* text, int length);

  int32_t length_;
  uint32_t kind_;
  union Storage {
    const char* literal;
    char16_t inl[InlineUnits];
    char16_t* heap;
  } storage_;
};

using RString = RStringT<60>;
using RShortString = RStringT<24>;

static_assert(sizeof(RString) == 128, "RString keeps 120 bytes of storage behind length and kind");

// A 32-bit hash in front of a short string: keys of tagged-tree attributes. Hash equality is
// tested first; the hash lowers A-Z but does not fold accents, so "É" and "e" compare equal
// as strings yet are different keys.
class RHashedString {
public:
  RHashedString() = default;
  RHashedString(const RShortString& text) : text_(text), hash_(Hash(text_)) {}
  template <size_t N>
  RHashedString(const char (&literal)[N]) : text_(literal), hash_(Hash(text_)) {}
  explicit RHashedString(const RString& text) : text_(text), hash_(Hash(text_)) {}

  uint32_t GetHash() const noexcept { return hash_; }
  const RShortString& Text() const noexcept { return text_; }
  int Compare(const RHashedString& other) const noexcept;
  bool operator==(const RHashedString& o) const noexcept { return Compare(o) == 0; }

  template <int N>
  static uint32_t Hash(const RStringT<N>& text) noexcept;
  static uint32_t Hash(const char* text, int length) noexcept;
  static uint32_t Hash(const char16_t* text, int length) noexcept;

private:
  RShortString text_;
  uint32_t hash_ = 0;
};

// Sunday quick search (a Boyer-Moore variant). The pattern is compiled once: accent-folded,
// lowered unless the search is case-sensitive, kept as 8-bit text with a 256-entry shift
// table. The searched text is lowered for A-Z only, never accent-folded.
class RStringSearch {
public:
  explicit RStringSearch(const RString& pattern, bool caseSensitive = false);
  // First match at or after start, or -1; an empty pattern matches at start.
  int Find(const RString& text, int start = 0) const noexcept;

private:
  template <typename Unit>
  int FindIn(const Unit* text, int length, int start) const noexcept;
  std::string pattern_;
  bool caseSensitive_;
  int shift_[256];
};

// Both widths are instantiated once, in string.cpp.
extern template class RStringT<60>;
extern template class RStringT<24>;
