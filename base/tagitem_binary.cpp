// The binary mark-up of a tagged tree: magic 00 'R' 'T' 'G', then one command byte per step
// (X open, A attribute, V value, / close, ~ end), names and keys NUL-terminated, values behind
// a type byte. Little-endian, no alignment.
//
// The reader takes the whole stream into one memory image and walks it with an explicit
// current item instead of recursion, so that hostile nesting depth costs heap, not stack.
// Every read is bounded by the image.

#include <cstring>
#include <memory>

#include "base/exception.h"
#include "base/stream.h"
#include "base/tagitem.h"
#include "base/tagitem_forms.h"

namespace {

constexpr uint8_t kMagic[4] = {0, 'R', 'T', 'G'};

// --- writing

// Output goes through 1024 bytes gathered here, flushed when a value would not fit: a tree
// is thousands of tiny writes and a virtual Write per byte would dominate.
class RBinaryWriter {
public:
  explicit RBinaryWriter(RStream& stream) : stream_(stream) {}

  void Put(const void* bytes, size_t count) {
    if (count > sizeof(buffer_) - fill_) {
      Flush();
      if (count > sizeof(buffer_)) {
        stream_.Write(bytes, int64_t(count));
        return;
      }
    }
    std::memcpy(buffer_ + fill_, bytes, count);
    fill_ += count;
  }
  void PutByte(uint8_t byte) {
    if (fill_ == sizeof(buffer_)) Flush();
    buffer_[fill_++] = byte;
  }
  template <typename T>
  void PutScalar(uint8_t tag, T value) {
    uint8_t bytes[1 + sizeof(T)];
    bytes[0] = tag;
    std::memcpy(bytes + 1, &value, sizeof(T));  // the platform's order is little-endian
    Put(bytes, sizeof(bytes));
  }
  void Flush() {
    if (fill_) stream_.Write(buffer_, int64_t(fill_));
    fill_ = 0;
  }

  void PutName(const RString& name) {
    if (const char* narrow = name.Narrow()) {
      Put(narrow, size_t(name.Length()));
    } else {
      RByteBuffer utf8 = name.ToUTF8Buffer();
      Put(utf8.Data(), utf8.Size());
    }
    PutByte(0);
  }
  void PutKey(const RShortString& key) {
    RByteBuffer latin1 = key.ToLatin1Buffer(true);
    Put(latin1.Data(), latin1.Size() + 1);
  }
  void PutValue(const RVariant& value);

private:
  RStream& stream_;
  size_t fill_ = 0;
  uint8_t buffer_[1024];
};

// Integers are narrowed by sign extension, so the type read back is the smallest that holds
// the value.
void PutInteger(RBinaryWriter& out, int64_t v, RVariant::Type type) {
  if (type == RVariant::kInt64 && v != int64_t(int32_t(v))) return out.PutScalar<int64_t>('8', v);
  if (type <= RVariant::kInt32 && v != int64_t(int16_t(v))) return out.PutScalar<int32_t>('4', int32_t(v));
  if (type <= RVariant::kInt16 && v != int64_t(int8_t(v))) return out.PutScalar<int16_t>('2', int16_t(v));
  out.PutScalar<int8_t>('1', int8_t(v));
}

void PutText(RBinaryWriter& out, const RShortString& text) {
  const int n = text.Length();
  bool narrow = true;
  if (!text.Narrow()) {
    const char16_t* w = text.Wide();
    for (int i = 0; i < n && narrow; ++i) narrow = w[i] < 256;
  }
  if (narrow) {
    out.PutByte('s');
    if (const char* bytes = text.Narrow()) {
      out.Put(bytes, size_t(n));
    } else {
      RByteBuffer latin1 = text.ToLatin1Buffer(false);
      out.Put(latin1.Data(), latin1.Size());
    }
    out.PutByte(0);
    return;
  }
  RByteBuffer utf8 = text.ToUTF8Buffer();
  out.PutScalar<int32_t>('u', int32_t(utf8.Size()));
  out.Put(utf8.Data(), utf8.Size());
}

void PutBuffer(RBinaryWriter& out, const RVariant& value) {
  const RVariant::Buffer* buffer = value.GetBuffer();
  const int64_t size = buffer ? buffer->size : 0;
  const bool compressed = value.IsCompressed();
  if (size > 0x7FFFFFFF) out.PutScalar<int64_t>(compressed ? 'Z' : 'B', size);
  else out.PutScalar<int32_t>(compressed ? 'z' : 'b', int32_t(size));
  if (size > 0) out.Put(buffer->data, size_t(size));
}

void RBinaryWriter::PutValue(const RVariant& value) {
  switch (value.GetType()) {
    case RVariant::kInt64:
    case RVariant::kInt32:
    case RVariant::kInt16:
    case RVariant::kInt8: return PutInteger(*this, value.RawInt(), value.GetType());
    case RVariant::kFloat: return PutScalar<float>('f', value.RawFloat());
    case RVariant::kDouble: return PutScalar<double>('d', value.RawDouble());
    case RVariant::kText: return PutText(*this, value.RawText());
    case RVariant::kBuffer: return PutBuffer(*this, value);
  }
  PutByte('!');  // a type code out of range: the reader refuses it
}

void PutItemHead(RBinaryWriter& out, const RTagItem& item) {
  out.PutByte('X');
  out.PutName(item.GetName());
  for (const RTagAttribute* a = item.GetFirstAttribute(); a; a = a->next) {
    out.PutByte('A');
    out.PutKey(a->key.Text());
    out.PutValue(a->value);
  }
  if (!item.Value().IsEmpty()) {
    out.PutByte('V');
    out.PutValue(item.Value());
  }
}

// --- reading

[[noreturn]] void Fail(const RString& message) { throw RException(message); }

class RBinaryImage {
public:
  RBinaryImage(const uint8_t* bytes, int64_t size) : bytes_(bytes), size_(size) {}

  bool AtEnd() const noexcept { return pos_ >= size_; }
  // The image has no terminator of its own: a command that would sit behind the end reads
  // as 0, which is no command.
  uint8_t Command() noexcept { return pos_ < size_ ? bytes_[pos_++] : 0; }

  // Returns the start of a NUL-terminated string and its length; moves past the NUL.
  const char* String(int& length) {
    if (pos_ < 0 || pos_ >= size_) Fail("Invalid buffer GetStringLength call.");
    const void* nul = std::memchr(bytes_ + pos_, 0, size_t(size_ - pos_));
    if (!nul) Fail("Not a terminated string for GetStringLength.");
    const auto* start = reinterpret_cast<const char*>(bytes_ + pos_);
    const int64_t n = static_cast<const uint8_t*>(nul) - (bytes_ + pos_);
    if (n > 0x7FFFFFFF) Fail("Data range not available.");
    length = int(n);
    pos_ += n + 1;
    return start;
  }
  const uint8_t* Range(int64_t count) {
    if (count < 0 || count > size_ - pos_) Fail("Data range not available.");
    const uint8_t* p = bytes_ + pos_;
    pos_ += count;
    return p;
  }
  template <typename T>
  T Scalar() {
    T v;
    std::memcpy(&v, Range(sizeof(T)), sizeof(T));
    return v;
  }

  void ReadValue(RVariant& value);

private:
  const uint8_t* bytes_;
  int64_t size_;
  int64_t pos_ = 0;
};

void RBinaryImage::ReadValue(RVariant& value) {
  switch (Scalar<uint8_t>()) {
    case '1': value.SetInt8(Scalar<int8_t>()); return;
    case '2': value.SetInt16(Scalar<int16_t>()); return;
    case '4': value.SetInt32(Scalar<int32_t>()); return;
    case '8': value.SetInt64(Scalar<int64_t>()); return;
    case 'f': value.SetFloat(Scalar<float>()); return;
    case 'd': value.SetDouble(Scalar<double>()); return;
    case 's': {
      int n = 0;
      const char* text = String(n);
      value.SetText(RShortString(text, n));
      return;
    }
    case 'u': {
      const int32_t n = Scalar<int32_t>();
      const uint8_t* utf8 = Range(n);
      value.SetText(RShortString::FromUTF8(reinterpret_cast<const char*>(utf8), size_t(n)));
      return;
    }
    case 'b':
    case 'z': {
      const bool compressed = bytes_[pos_ - 1] == 'z';
      const int32_t n = Scalar<int32_t>();
      const uint8_t* data = Range(n);
      if (n > 0) value.SetRawBuffer(data, n, compressed);
      else value.Clear();
      return;
    }
    case 'B':
    case 'Z': {
      const bool compressed = bytes_[pos_ - 1] == 'Z';
      const int64_t n = Scalar<int64_t>();
      const uint8_t* data = Range(n);
      if (n > 0) value.SetRawBuffer(data, n, compressed);
      else value.Clear();
      return;
    }
    default: Fail("Unknown variant type.");
  }
}

// A key holding a blank loses every unit of 32 and below; the text form has no such rule.
RHashedString MakeKey(const char* text, int length) {
  if (!std::memchr(text, ' ', size_t(length))) return RHashedString(RShortString(text, length));
  std::unique_ptr<char[]> kept(new char[size_t(length)]);
  int n = 0;
  for (int i = 0; i < length; ++i)
    if (uint8_t(text[i]) > 32) kept[size_t(n++)] = text[i];
  return RHashedString(RShortString(kept.get(), n));
}

// The same few keys ("Name", "Value", ...) recur thousands of times in a tree; a small
// direct-mapped cache of finished keys saves widening and hashing each one again.
class RKeyCache {
public:
  const RHashedString& Get(const char* text, int length) {
    if (length >= kMaxBytes) {
      spare_ = MakeKey(text, length);
      return spare_;
    }
    uint32_t h = 2166136261u;
    for (int i = 0; i < length; ++i) h = (h ^ uint8_t(text[i])) * 16777619u;
    Slot& slot = slots_[(h ^ (h >> 16)) % kSlots];
    if (slot.length != length || std::memcmp(slot.bytes, text, size_t(length)) != 0) {
      slot.key = MakeKey(text, length);
      std::memcpy(slot.bytes, text, size_t(length));
      slot.length = length;
    }
    return slot.key;
  }

private:
  static constexpr int kMaxBytes = 24;
  static constexpr uint32_t kSlots = 64;
  struct Slot {
    int length = -1;
    char bytes[kMaxBytes];
    RHashedString key;
  };
  Slot slots_[kSlots];
  RHashedString spare_;
};

void RunCommands(RTagItem& root, const uint8_t* bytes, int64_t size) {
  RBinaryImage image(bytes, size);
  RTagItem* current = &root;
  bool rootOpen = false;
  std::unique_ptr<RKeyCache> keys(new RKeyCache);
  for (;;) {
    switch (image.Command()) {
      case 'X': {
        int n = 0;
        const char* name = image.String(n);
        if (!rootOpen) {
          root.SetName(RString(name, n));
          rootOpen = true;
        } else {
          current = current->AddSubItem(RString(name, n));
        }
        break;
      }
      case 'A': {
        int n = 0;
        const char* key = image.String(n);
        RVariant value;
        image.ReadValue(value);
        current->AppendAttribute(keys->Get(key, n), std::move(value));
        break;
      }
      case 'V': image.ReadValue(current->Value()); break;
      case '/':
        if (current == &root) Fail("Incorrect RTG ending.");
        current = current->GetParent();
        break;
      case '~':
        if (current != &root) Fail("Unexpected RTG end.");
        return;  // whatever follows is not looked at
      default: Fail("Incorrect RTG command identifier.");
    }
  }
}

} // namespace

void RTagItem::WriteBinary(RStream& stream) const {
  RBinaryWriter out(stream);
  out.Put(kMagic, sizeof(kMagic));
  // Depth first without recursion; the item written from is closed by '~' even when it has
  // a parent, so that a subtree stores as a tree of its own.
  const RTagItem* item = this;
  PutItemHead(out, *item);
  for (;;) {
    if (const RTagItem* first = item->GetFirstSubItem()) {
      item = first;
      PutItemHead(out, *item);
      continue;
    }
    for (;;) {
      if (item == this) {
        out.PutByte('~');
        out.Flush();
        return;
      }
      out.PutByte('/');
      if (const RTagItem* next = item->GetNext()) {
        item = next;
        PutItemHead(out, *item);
        break;
      }
      item = item->GetParent();
    }
  }
}

void RTagItem::ReadBinary(RStream& stream) {
  uint8_t magic[4];
  stream.ReadExactly(magic, 4);
  if (std::memcmp(magic, kMagic, 4) != 0) Fail("Not an RTG file.");
  tagitem_forms::RImage image = tagitem_forms::ReadWholeStream(stream);
  RunCommands(*this, image.data.get(), image.size);
}

void RTagItem::ReadBinary(const uint8_t* bytes, int64_t size) {
  if (size < 4 || std::memcmp(bytes, kMagic, 4) != 0) Fail("Not an RTG file.");
  RunCommands(*this, bytes + 4, size - 4);
}

tagitem_forms::RImage tagitem_forms::ReadWholeStream(RStream& stream) {
  constexpr int64_t kBlock = RStream::kCopyBlock;
  RImage image;
  int64_t capacity = 0;
  for (;;) {
    if (capacity - image.size < kBlock) {
      // Doubling keeps a 10 MB tree to a handful of copies.
      const int64_t grown = capacity < kBlock ? 4 * kBlock : 2 * capacity;
      std::unique_ptr<uint8_t[]> bigger(new uint8_t[size_t(grown)]);
      if (image.size) std::memcpy(bigger.get(), image.data.get(), size_t(image.size));
      image.data = std::move(bigger);
      capacity = grown;
    }
    const int64_t got = stream.Read(image.data.get() + image.size, kBlock);
    if (got <= 0) break;
    image.size += got;
    if (got < kBlock) break;
  }
  return image;
}
