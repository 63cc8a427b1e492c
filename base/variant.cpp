#include "base/variant.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "base/exception.h"
#include "base/format.h"
#include "base/memorystream.h"
#include "base/pool.h"
#include "base/stream.h"
#include "base/zlibstream.h"

namespace {

constexpr int kQuality = 100;
constexpr int64_t kCompressBlock = 4096;
constexpr int64_t kInflateBlock = 65536;
constexpr int kHexBlock = 4096;
constexpr int kBase64Block = 3072;

// Buffer records of every variant in the process. [any-thread]: the pool takes its own lock.
RPool& BufferPool() {
  static RPool pool(sizeof(RVariant::Buffer));
  return pool;
}

// '+' and '-' instead of '+' and '/': the text of a buffer lands in file names and XML
// attributes, where a slash is a nuisance.
constexpr char kBase64Digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-";

int Base64Value(char16_t c) noexcept {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '-') return 63;
  return -1;
}

int HexValue(char16_t c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Round to nearest, ties to even, saturating instead of overflowing; NaN gives 0.
int64_t RoundToInteger(double v) noexcept {
  if (std::isnan(v)) return 0;
  const double r = std::nearbyint(v);
  if (r >= 9223372036854775808.0) return std::numeric_limits<int64_t>::max();
  if (r < -9223372036854775808.0) return std::numeric_limits<int64_t>::min();
  return int64_t(r);
}

bool IsInteger(RVariant::Type t) noexcept { return t <= RVariant::kInt8; }
bool IsFloat(RVariant::Type t) noexcept { return t == RVariant::kFloat || t == RVariant::kDouble; }

// The widths of one kind compare as one: the binary form narrows integers, so a tree read
// back must still equal the one that was written.
int KindRank(RVariant::Type t) noexcept {
  if (IsInteger(t)) return 0;
  if (IsFloat(t)) return 1;
  return t == RVariant::kText ? 2 : 3;
}

template <typename T>
int Order(T a, T b) noexcept {
  return a < b ? -1 : (b < a ? 1 : 0);
}

// Writes into a caller's fixed block and never past its end.
class RBlockSink final : public RStream {
public:
  RBlockSink(void* block, int64_t size) : block_(static_cast<uint8_t*>(block)), size_(size) {}
  void Write(const void* bytes, int64_t count) override {
    const int64_t n = count < size_ - used_ ? count : size_ - used_;
    if (n > 0) std::memcpy(block_ + used_, bytes, size_t(n));
    used_ += n;
  }
  int64_t GetPosition() override { return used_; }

private:
  uint8_t* block_;
  int64_t size_;
  int64_t used_ = 0;
};

// Copies up to limit bytes from source to target in blocks; returns the count.
int64_t Pump(RStream& source, RStream& target, int64_t limit) {
  std::unique_ptr<uint8_t[]> block(new uint8_t[kInflateBlock]);
  int64_t done = 0;
  while (done < limit) {
    const int64_t want = limit - done < kInflateBlock ? limit - done : kInflateBlock;
    const int64_t got = source.Read(block.get(), want);
    if (got <= 0) break;
    target.Write(block.get(), got);
    done += got;
    if (got < want) break;
  }
  return done;
}

// Inflates a zlib stream held in memory into target, at most limit bytes.
int64_t Inflate(const uint8_t* bytes, int64_t size, RStream& target, int64_t limit) {
  RMemoryStream source(bytes, size);
  RZlibStream zlib(&source, RZlibStream::kExpand, kQuality);
  return Pump(zlib, target, limit);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Life cycle

RVariant::RVariant(const RVariant& other) : type_(other.type_), value_(other.value_), text_(other.text_) {
  if (other.buffer_) {
    // A foreign buffer stays foreign in the copy: whoever handed out those bytes promised
    // that they outlive every variant that refers to them (embedded blobs, mapped files),
    // and a copy of such a value should cost no more than the original did.
    Buffer* copy = BufferPool().New<Buffer>();
    copy->size = other.buffer_->size;
    copy->notOwned = other.buffer_->notOwned;
    if (copy->notOwned) {
      copy->data = other.buffer_->data;
    } else {
      try {
        copy->data = new uint8_t[size_t(copy->size)];
      } catch (...) {
        BufferPool().Delete(copy);
        throw;
      }
      std::memcpy(copy->data, other.buffer_->data, size_t(copy->size));
    }
    buffer_ = copy;
  }
}

RVariant::RVariant(RVariant&& other) noexcept
    : type_(other.type_), value_(other.value_), text_(std::move(other.text_)), buffer_(other.buffer_) {
  other.buffer_ = nullptr;
  other.type_ = kText;
  other.value_.i = 0;
  other.text_ = RShortString();
}

RVariant& RVariant::operator=(const RVariant& other) {
  if (this == &other) return *this;
  RVariant copy(other);
  return *this = std::move(copy);
}

RVariant& RVariant::operator=(RVariant&& other) noexcept {
  if (this == &other) return *this;
  ReleaseBuffer();
  type_ = other.type_;
  value_ = other.value_;
  text_ = std::move(other.text_);
  buffer_ = other.buffer_;
  other.buffer_ = nullptr;
  other.type_ = kText;
  other.value_.i = 0;
  other.text_ = RShortString();
  return *this;
}

RVariant::~RVariant() { ReleaseBuffer(); }

void RVariant::ReleaseBuffer() noexcept {
  if (!buffer_) return;
  if (!buffer_->notOwned) delete[] buffer_->data;
  BufferPool().Delete(buffer_);
  buffer_ = nullptr;
}

bool RVariant::IsEmpty() const noexcept {
  if (type_ == kText) return text_.IsEmpty();
  if (type_ == kBuffer) return !buffer_ || buffer_->size <= 0;
  return false;
}

// ---------------------------------------------------------------------------------------------
// Setters. Every numeric setter drops text and buffer, so that no stale heap block outlives
// the value that needed it.

void RVariant::SetInt64(int64_t v) noexcept {
  Clear();
  type_ = kInt64;
  value_.i = v;
}

void RVariant::SetInt32(int32_t v) noexcept {
  Clear();
  type_ = kInt32;
  value_.i = v;
}

void RVariant::SetInt16(int16_t v) noexcept {
  Clear();
  type_ = kInt16;
  value_.i = v;
}

void RVariant::SetInt8(int8_t v) noexcept {
  Clear();
  type_ = kInt8;
  value_.i = v;
}

void RVariant::SetFloat(float v) noexcept {
  Clear();
  type_ = kFloat;
  value_.f = v;
}

void RVariant::SetDouble(double v) noexcept {
  Clear();
  type_ = kDouble;
  value_.d = v;
}

void RVariant::SetText(const RShortString& v) {
  // Assigning first keeps the old value if the copy throws; a short text stays inline.
  text_ = v;
  ReleaseBuffer();
  type_ = kText;
  value_.i = 0;
}

void RVariant::Clear() noexcept {
  ReleaseBuffer();
  type_ = kText;
  value_.i = 0;
  text_ = RShortString();
}

void RVariant::SetRawBuffer(const void* bytes, int64_t size, bool compressed) {
  if (size <= 0) {
    Clear();
    return;
  }
  std::unique_ptr<uint8_t[]> data(new uint8_t[size_t(size)]);
  std::memcpy(data.get(), bytes, size_t(size));
  Buffer* record = BufferPool().New<Buffer>();
  record->data = data.release();
  record->size = size;
  record->notOwned = false;
  Clear();
  type_ = kBuffer;
  value_.bytes[0] = compressed ? 1 : 0;
  buffer_ = record;
}

void RVariant::SetForeignBuffer(const void* bytes, int64_t size, bool compressed) {
  if (size <= 0) {
    Clear();
    return;
  }
  Buffer* record = BufferPool().New<Buffer>();
  record->data = static_cast<uint8_t*>(const_cast<void*>(bytes));
  record->size = size;
  record->notOwned = true;
  Clear();
  type_ = kBuffer;
  value_.bytes[0] = compressed ? 1 : 0;
  buffer_ = record;
}

void RVariant::SetBuffer(const void* bytes, int64_t size, bool compress) {
  if (size <= 0) {
    Clear();
    return;
  }
  if (!compress) {
    SetRawBuffer(bytes, size, false);
    return;
  }
  RMemoryStream packed;
  {
    RZlibStream zlib(&packed, RZlibStream::kCompress, kQuality);
    try {
      const uint8_t* p = static_cast<const uint8_t*>(bytes);
      for (int64_t done = 0; done < size; done += kCompressBlock)
        zlib.Write(p + done, size - done < kCompressBlock ? size - done : kCompressBlock);
      zlib.Finish();
    } catch (...) {
      zlib.Abort();
      throw;
    }
  }
  SetRawBuffer(packed.GetData(), packed.GetSize(), true);
}

// ---------------------------------------------------------------------------------------------
// Conversions

bool RVariant::ToBool() const {
  if (IsInteger(type_)) return value_.i != 0;
  if (type_ == kFloat) return std::fabs(double(value_.f)) >= 1e-10;
  if (type_ == kDouble) return std::fabs(value_.d) >= 1e-10;
  if (type_ == kText) return (RNumberText::TextToInteger(RString(text_)) & 0xFF) != 0;
  return false;
}

int64_t RVariant::ToInt64() const {
  if (IsInteger(type_)) return value_.i;
  if (type_ == kFloat) return RoundToInteger(double(value_.f));
  if (type_ == kDouble) return RoundToInteger(value_.d);
  if (type_ == kText) return RNumberText::TextToInteger(RString(text_));
  return 0;
}

double RVariant::ToDouble() const {
  if (IsInteger(type_)) return double(value_.i);
  if (type_ == kFloat) return double(value_.f);
  if (type_ == kDouble) return value_.d;
  if (type_ == kText) return RNumberText::TextToDouble(RString(text_));
  return 0.0;
}

RString RVariant::ToText() const {
  if (IsInteger(type_)) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, value_.i).ptr;
    return RString(digits, int(end - digits));
  }
  if (type_ == kFloat) return RNumberText::DoubleToText(double(value_.f), 6);
  if (type_ == kDouble) return RNumberText::DoubleToText(value_.d, 12);
  if (type_ == kText) return RString(text_);
  if (!buffer_) return RString();
  return RString("$") + EncodeBase64(buffer_->data, buffer_->size);
}

// ---------------------------------------------------------------------------------------------
// Buffers read out

int64_t RVariant::ReadBuffer(RStream& target, bool allowHex, bool dataCompressed, int64_t limit) const {
  if (limit < 0) limit = std::numeric_limits<int64_t>::max();
  if (IsEmpty()) return 0;
  if (type_ < kText) throw RException("Not a buffer variant.");
  if (type_ == kBuffer) {
    if (IsCompressed()) return Inflate(buffer_->data, buffer_->size, target, limit);
    const int64_t n = buffer_->size < limit ? buffer_->size : limit;
    target.Write(buffer_->data, n);
    return n;
  }
  const RString text(text_);
  RMemoryStream decoded;
  if (allowHex && text[0] != '$') DecodeHex(text, decoded);
  else DecodeBase64(text, text[0] == '$' ? 1 : 0, decoded);
  if (dataCompressed) return Inflate(decoded.GetData(), decoded.GetSize(), target, limit);
  const int64_t n = decoded.GetSize() < limit ? decoded.GetSize() : limit;
  if (n > 0) target.Write(decoded.GetData(), n);
  return n;
}

// kZeroFillWhenEmpty is for fixed records that may be absent: an empty value reads as zeros,
// any other value must still fill the block.
int64_t RVariant::ReadBufferInto(void* block, int64_t size, BlockMode mode, bool allowHex, bool dataCompressed) const {
  if (mode == BlockMode::kZeroFillWhenEmpty && IsEmpty()) {
    if (size > 0) std::memset(block, 0, size_t(size));
    return 0;
  }
  RBlockSink sink(block, size);
  const int64_t n = ReadBuffer(sink, allowHex, dataCompressed, size);
  if (mode != BlockMode::kPartial && n < size) throw RException("Value doesn't have correct format.");
  return n;
}

// ---------------------------------------------------------------------------------------------
// Comparison

int RVariant::Compare(const RVariant& other) const {
  const int rank = KindRank(type_);
  const int otherRank = KindRank(other.type_);
  if (rank != otherRank) return Order(rank, otherRank);
  if (IsInteger(type_)) return Order(value_.i, other.value_.i);
  if (IsFloat(type_)) {
    const double a = type_ == kFloat ? double(value_.f) : value_.d;
    const double b = other.type_ == kFloat ? double(other.value_.f) : other.value_.d;
    return Order(a, b);
  }
  if (type_ == kText) {
    const int d = text_.Compare(other.text_);
    return Order(d, 0);
  }
  if (IsCompressed() != other.IsCompressed()) return IsCompressed() ? 1 : -1;
  const int64_t na = buffer_ ? buffer_->size : 0;
  const int64_t nb = other.buffer_ ? other.buffer_->size : 0;
  if (na != nb) return Order(na, nb);
  if (na == 0 || buffer_->data == other.buffer_->data) return 0;
  return Order(std::memcmp(buffer_->data, other.buffer_->data, size_t(na)), 0);
}

// ---------------------------------------------------------------------------------------------
// Text codings of bytes

RString RVariant::EncodeBase64(const void* bytes, int64_t size) {
  if (size <= 0) return RString();
  const int64_t units = (size + 2) / 3 * 4;
  if (units > std::numeric_limits<int32_t>::max() - 1) throw RException("Buffer too large for its text form.");
  RString text;
  char16_t* out = text.Reserve(int(units));
  const uint8_t* in = static_cast<const uint8_t*>(bytes);
  int64_t i = 0;
  int64_t o = 0;
  for (; i + 3 <= size; i += 3) {
    const uint32_t v = uint32_t(in[i]) << 16 | uint32_t(in[i + 1]) << 8 | in[i + 2];
    out[o++] = char16_t(kBase64Digits[v >> 18]);
    out[o++] = char16_t(kBase64Digits[(v >> 12) & 63]);
    out[o++] = char16_t(kBase64Digits[(v >> 6) & 63]);
    out[o++] = char16_t(kBase64Digits[v & 63]);
  }
  if (i < size) {
    const bool two = i + 1 < size;
    const uint32_t v = uint32_t(in[i]) << 16 | (two ? uint32_t(in[i + 1]) << 8 : 0u);
    out[o++] = char16_t(kBase64Digits[v >> 18]);
    out[o++] = char16_t(kBase64Digits[(v >> 12) & 63]);
    out[o++] = two ? char16_t(kBase64Digits[(v >> 6) & 63]) : u'=';
    out[o++] = u'=';
  }
  text.SetLength(int(o));
  return text;
}

int64_t RVariant::DecodeBase64(const RString& text, int start, RStream& target) {
  uint8_t block[kBase64Block];
  int fill = 0;
  int64_t total = 0;
  uint32_t bits = 0;
  int count = 0;
  for (int i = start < 0 ? 0 : start; i < text.Length(); ++i) {
    const char16_t c = text[i];
    if (c == '\n') continue;
    const int v = Base64Value(c);
    if (v < 0) break;  // '=' and any character outside the alphabet end the data
    bits = bits << 6 | uint32_t(v);
    if (++count < 4) continue;
    block[fill++] = uint8_t(bits >> 16);
    block[fill++] = uint8_t(bits >> 8);
    block[fill++] = uint8_t(bits);
    bits = 0;
    count = 0;
    if (fill == kBase64Block) {
      target.Write(block, fill);
      total += fill;
      fill = 0;
    }
  }
  // A partial group: two digits carry one byte, three carry two.
  if (count >= 2) block[fill++] = uint8_t(bits >> (count * 6 - 8));
  if (count == 3) block[fill++] = uint8_t(bits >> 2);
  if (fill) target.Write(block, fill);
  return total + fill;
}

// A lone last digit carries no whole byte and is dropped; it must still be a digit.
int64_t RVariant::DecodeHex(const RString& text, RStream& target) {
  uint8_t block[kHexBlock];
  int fill = 0;
  int64_t total = 0;
  const int n = text.Length();
  for (int i = 0; i < n; i += 2) {
    const int high = HexValue(text[i]);
    const int low = i + 1 < n ? HexValue(text[i + 1]) : 0;
    if (high < 0 || low < 0) throw RException("Invalid character to be converted to a number.");
    if (i + 1 >= n) break;
    block[fill++] = uint8_t(high << 4 | low);
    if (fill == kHexBlock) {
      target.Write(block, fill);
      total += fill;
      fill = 0;
    }
  }
  if (fill) target.Write(block, fill);
  return total + fill;
}
