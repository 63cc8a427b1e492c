#pragma once
// RVariant: the value of a tagged-tree item or attribute. One of eight types:
//   0 int64, 1 int32, 2 int16, 3 int8, 4 float, 5 double  (in the 8-byte value field)
//   6 text (RShortString, so short values stay out of the heap)
//   7 byte buffer (a pooled record; the value field's first byte is 1 when the bytes are
//     zlib-compressed)
// A new variant is empty text. Conversions follow one table for all typed readers; a buffer
// reads as text in base-64 behind a '$' ('+' and '-' as digits 62 and 63).

#include <cstdint>

#include "base/string.h"

class RStream;

class RVariant {
public:
  enum Type : int32_t { kInt64 = 0, kInt32 = 1, kInt16 = 2, kInt8 = 3, kFloat = 4, kDouble = 5, kText = 6, kBuffer = 7 };

  // A pooled buffer record. notOwned: the data belong to someone else.
  struct Buffer {
    uint8_t* data = nullptr;
    int64_t size = 0;
    bool notOwned = false;
  };

  RVariant() noexcept = default;
  RVariant(const RVariant& other);
  RVariant(RVariant&& other) noexcept;
  RVariant& operator=(const RVariant& other);
  RVariant& operator=(RVariant&& other) noexcept;
  ~RVariant();

  // Typed construction.
  static RVariant FromInt64(int64_t v) { RVariant r; r.SetInt64(v); return r; }
  static RVariant FromInt32(int32_t v) { RVariant r; r.SetInt32(v); return r; }
  static RVariant FromDouble(double v) { RVariant r; r.SetDouble(v); return r; }
  static RVariant FromFloat(float v) { RVariant r; r.SetFloat(v); return r; }
  static RVariant FromText(const RShortString& v) { RVariant r; r.SetText(v); return r; }

  Type GetType() const noexcept { return type_; }
  bool IsEmptyText() const noexcept { return type_ == kText && text_.IsEmpty(); }
  // Empty text, or a buffer of no bytes: what the writers leave out.
  bool IsEmpty() const noexcept;

  void SetInt64(int64_t v) noexcept;
  void SetInt32(int32_t v) noexcept;
  void SetInt16(int16_t v) noexcept;
  void SetInt8(int8_t v) noexcept;
  void SetFloat(float v) noexcept;
  void SetDouble(double v) noexcept;
  void SetBool(bool v) noexcept { SetInt32(v ? 1 : 0); }
  void SetText(const RShortString& v);
  void SetText(const RString& v) { SetText(RShortString(v)); }
  // Copies the bytes into a new pooled buffer (compressed through zlib at quality 100 when
  // asked). An empty input leaves the value as empty text.
  void SetBuffer(const void* bytes, int64_t size, bool compress = false);
  // Takes bytes as they are (already compressed when compressed is true), copying them.
  void SetRawBuffer(const void* bytes, int64_t size, bool compressed);
  // Refers to bytes owned by the caller, without copying.
  void SetForeignBuffer(const void* bytes, int64_t size, bool compressed);
  void Clear() noexcept;  // back to empty text

  // Conversions (the one table of the typed readers).
  bool ToBool() const;
  int8_t ToInt8() const { return int8_t(ToInt64()); }
  int16_t ToInt16() const { return int16_t(ToInt64()); }
  int32_t ToInt32() const { return int32_t(ToInt64()); }
  int64_t ToInt64() const;
  float ToFloat() const { return float(ToDouble()); }
  double ToDouble() const;
  RString ToText() const;
  const RShortString& RawText() const noexcept { return text_; }
  // Raw access.
  int64_t RawInt() const noexcept { return value_.i; }
  double RawDouble() const noexcept { return value_.d; }
  float RawFloat() const noexcept { return value_.f; }
  const Buffer* GetBuffer() const noexcept { return buffer_; }
  bool IsCompressed() const noexcept { return type_ == kBuffer && value_.bytes[0] == 1; }

  // Writes the buffer's plain bytes to target (inflating a compressed one). Empty text or an
  // empty buffer writes nothing; a number throws "Not a buffer variant.". Text is decoded:
  // hexadecimal pairs when allowHex and it does not start with '$', else base-64 behind '$';
  // dataCompressed says that the decoded bytes are a zlib stream to inflate. At most limit
  // bytes are written (limit < 0: all). Returns the bytes written.
  int64_t ReadBuffer(RStream& target, bool allowHex = false, bool dataCompressed = false, int64_t limit = -1) const;
  enum class BlockMode { kRequireFull, kZeroFillWhenEmpty, kPartial };
  // Reads into a fixed block; kRequireFull throws "Value doesn't have correct format." when
  // fewer bytes arrive. Returns the bytes read.
  int64_t ReadBufferInto(void* block, int64_t size, BlockMode mode, bool allowHex = false, bool dataCompressed = false) const;

  // Ordering by type, then value; text compares as strings do (case and accents ignored).
  int Compare(const RVariant& other) const;
  bool operator==(const RVariant& other) const { return Compare(other) == 0; }

  // Base-64 text of bytes ('+' 62, '-' 63, '=' padding), and back (line feeds skipped, '='
  // ends, an illegal character stops). Hexadecimal pairs, high digit first.
  static RString EncodeBase64(const void* bytes, int64_t size);
  static int64_t DecodeBase64(const RString& text, int start, RStream& target);
  static int64_t DecodeHex(const RString& text, RStream& target);

private:
  void ReleaseBuffer() noexcept;
  Type type_ = kText;
  union {
    int64_t i;
    double d;
    float f;
    uint8_t bytes[8];
  } value_{0};
  RShortString text_;
  Buffer* buffer_ = nullptr;
};
