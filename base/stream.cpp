#include "base/stream.h"

#include <cstring>
#include <memory>
#include <string>

#include "base/exception.h"

namespace {

[[noreturn]] void NotImplemented(const RString& message) { throw RException(message); }

} // namespace

RStream::~RStream() = default;

RStream* RStream::Substream() { NotImplemented("Service \"return substream\" is not implemented."); }

void RStream::Write(const void*, int64_t) { NotImplemented("Service \"write to stream\" is not implemented."); }

void RStream::WriteZeros(int64_t count) {
  static constexpr int kZeroBlock = 1024;
  static const uint8_t zeros[kZeroBlock] = {};
  while (count > 0) {
    const int64_t step = count < kZeroBlock ? count : kZeroBlock;
    Write(zeros, step);
    count -= step;
  }
}

int64_t RStream::Read(void*, int64_t) { NotImplemented("Service \"read from stream\" is not implemented."); }

bool RStream::ReadLine(char* bytes, int capacity) {
  if (capacity < 1) return false;
  int length = 0;
  bool complete = false;
  while (length < capacity - 1) {
    char c;
    if (Read(&c, 1) != 1) break;
    if (c == '\r') continue;
    if (c == '\n' || c == '\0') {
      complete = true;
      break;
    }
    bytes[length++] = c;
  }
  bytes[length] = '\0';
  return complete;
}

void RStream::WriteText(const RString& text) {
  if (const char* narrow = text.Narrow()) {
    if (text.Length() > 0) Write(narrow, text.Length());
    return;
  }
  const RByteBuffer utf8 = text.ToUTF8Buffer();
  if (utf8.Size() > 0) Write(utf8.Data(), int64_t(utf8.Size()));
}

void RStream::WriteTextLine(const RString& text) {
  WriteText(text);
  Write("\r\n", 2);
}

void RStream::Seek(int64_t offset, int origin) {
  const int64_t distance = SeekTarget(offset, origin) - GetPosition();
  if (distance < 0) throw RException("Service \"backward seek in a stream\" is not implemented.");
  if (distance == 0) return;
  const int64_t block = distance < kCopyBlock ? distance : kCopyBlock;
  std::unique_ptr<uint8_t[]> dropped(new uint8_t[size_t(block)]);
  for (int64_t left = distance; left > 0;) {
    const int64_t want = left < block ? left : block;
    const int64_t got = Read(dropped.get(), want);
    if (got < want) return;  // the end came first: the seek stops there
    left -= got;
  }
}

int64_t RStream::GetPosition() { NotImplemented("Service \"get stream position\" is not implemented."); }

void RStream::Flush() { NotImplemented("Service \"flush stream\" is not implemented."); }

bool RStream::IsEnd() { NotImplemented("Service \"end of stream test\" is not implemented."); }

void RStream::Truncate() { NotImplemented("Service \"truncate stream\" is not implemented."); }

int64_t RStream::GetSize() { NotImplemented("Service \"stream size detection\" is not implemented."); }

void RStream::Close() {}

int64_t RStream::SeekTarget(int64_t offset, int origin) {
  switch (origin) {
    case kBegin: return offset;
    case kCurrent: return GetPosition() + offset;
    case kEnd: return GetSize() + offset;
    default: throw RException("Invalid seek origin.", 2);
  }
}

void RStream::ReadExactly(void* bytes, int64_t count) {
  if (Read(bytes, count) != count) throw RException("Could not read the required data from stream.");
}

// The stored byte order is little-endian, which is how every supported platform holds values.
uint8_t RStream::ReadUInt8() {
  uint8_t v;
  ReadExactly(&v, 1);
  return v;
}

uint16_t RStream::ReadUInt16() {
  uint16_t v;
  ReadExactly(&v, 2);
  return v;
}

uint32_t RStream::ReadUInt32() {
  uint32_t v;
  ReadExactly(&v, 4);
  return v;
}

uint64_t RStream::ReadUInt64() {
  uint64_t v;
  ReadExactly(&v, 8);
  return v;
}

RString RStream::ReadTextLine() {
  std::string line;
  char c;
  if (Read(&c, 1) != 1) throw RException("Could not load a line from stream.");
  do {
    if (c == '\n' || c == '\0') break;
    if (c != '\r') line += c;
  } while (Read(&c, 1) == 1);
  return RString::FromUTF8(line);
}

int64_t CopyStream(RStream& source, RStream& destination, int64_t limit) {
  std::unique_ptr<uint8_t[]> block(new uint8_t[RStream::kCopyBlock]);
  int64_t copied = 0;
  while (copied < limit) {
    const int64_t want = limit - copied < RStream::kCopyBlock ? limit - copied : RStream::kCopyBlock;
    const int64_t got = source.Read(block.get(), want);
    if (got > 0) destination.Write(block.get(), got);
    copied += got > 0 ? got : 0;
    if (got < want) break;
  }
  return copied;
}
