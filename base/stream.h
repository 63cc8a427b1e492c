#pragma once
// RStream: every byte of the system moves through this interface, so a tree, an image or a
// preset can be stored in memory, a file, a compressed stream or a chain of these without
// knowing which. The base gives every operation a default; those that throw do so because a
// concrete stream need offer only what makes sense for it.

#include <cstdint>

#include "base/string.h"

class RStream {
public:
  enum Origin { kBegin = 0, kCurrent = 1, kEnd = 2 };
  static constexpr int kCopyBlock = 65536;

  virtual ~RStream();
  virtual RStream* Substream();
  virtual void Write(const void* bytes, int64_t count);
  // Writes zero bytes through Write, at most 1024 in each call.
  virtual void WriteZeros(int64_t count);
  // Returns the count read; fewer than asked only at the end.
  virtual int64_t Read(void* bytes, int64_t count);
  // Byte by byte: CR dropped, LF or NUL ends the line, always terminated. Returns true when
  // the line ended by LF or NUL (complete), false when by the capacity or the stream's end.
  virtual bool ReadLine(char* bytes, int capacity);
  // A literal's bytes as they are, any other string as UTF-8.
  virtual void WriteText(const RString& text);
  virtual void WriteTextLine(const RString& text);
  // Base: forward only, by reading and dropping.
  virtual void Seek(int64_t offset, int origin = kBegin);
  virtual int64_t GetPosition();
  virtual void Flush();
  virtual bool IsEnd();
  virtual void Truncate();
  virtual int64_t GetSize();
  virtual void Close();

  // Throws "Could not read the required data from stream." on a short read.
  void ReadExactly(void* bytes, int64_t count);
  uint8_t ReadUInt8();
  uint16_t ReadUInt16();
  uint32_t ReadUInt32();
  uint64_t ReadUInt64();
  void WriteUInt8(uint8_t v) { Write(&v, 1); }
  void WriteUInt16(uint16_t v) { Write(&v, 2); }
  void WriteUInt32(uint32_t v) { Write(&v, 4); }
  void WriteUInt64(uint64_t v) { Write(&v, 8); }
  // One text line (UTF-8, CR LF or LF); an empty line is a line; the end of the stream
  // before any byte throws "Could not load a line from stream.".
  RString ReadTextLine();

protected:
  // Validates an origin ("Invalid seek origin.", code 2) and computes the absolute target.
  int64_t SeekTarget(int64_t offset, int origin);
};

// Copies blocks of 64 KiB from source to destination up to limit bytes, ending at the first
// short block. Returns the bytes copied.
int64_t CopyStream(RStream& source, RStream& destination, int64_t limit = 0x7FFFFFFFFFFFFFFFll);
