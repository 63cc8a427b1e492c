#pragma once
// RTextCodec: text encodings found by name. A name compares as strings compare (without case
// or accents): "utf8" and "utf-8" give UTF-8, "utf16" and "utf-16" give UTF-16 (little-endian,
// with the marker bytes 255, 254), and any other name is looked up among 28 single-byte code
// pages and their aliases (windows-1250 to 1258, iso-8859-1 to 10 and 13 to 16, koi8-r,
// koi8-u, ibm437, ibm850, macintosh), built on first use. An unknown name throws
// "No codec found for encoding {0}.".
//
// The empty name gives UTF-8: our own files are all UTF-8, RStream::WriteText writes UTF-8,
// and a file of plain ASCII, the usual case of text that names no encoding, reads the same
// under it.
//
// Codecs are process-wide, immutable and [any-thread]. Reading a stream one character at a
// time, with a codec that may change in mid-stream (an XML declaration naming its encoding),
// goes through RTextReader. The stream forms live in base/textcodec_stream.cpp, which joins the
// library with the stream classes; finding and decoding need nothing of them.

#include <cstdint>
#include <string>

#include "base/string.h"

class RStream;

class RTextCodec {
public:
  // Throws RException "No codec found for encoding {0}." for an unknown name.
  static const RTextCodec& Find(const RString& name);
  static const RTextCodec& Default() noexcept;

  RTextCodec(const RTextCodec&) = delete;
  RTextCodec& operator=(const RTextCodec&) = delete;

  // The canonical name ("utf-8", "windows-1252", ...).
  const char* Name() const noexcept { return name_; }
  virtual bool IsUTF8() const noexcept { return false; }
  // Longest byte sequence of one character.
  virtual int MaxCharBytes() const noexcept = 0;

  // Decodes the character at bytes[index], advancing index past it; returns the number of
  // units written to out (1, or 2 for a surrogate pair), 0 when index is at size. A malformed
  // or cut-off sequence never fails: its first byte is taken as the Latin-1 character of the
  // same value, as the string class does with UTF-8.
  virtual int DecodeChar(const uint8_t* bytes, int64_t size, int64_t& index, char16_t out[2]) const noexcept = 0;
  // Appends the encoding of units to out. A character a code page lacks becomes '?'.
  virtual void EncodeUnits(const char16_t* units, int count, std::string& out) const = 0;

  std::u16string Decode(const uint8_t* bytes, int64_t size) const;
  RString DecodeToString(const uint8_t* bytes, int64_t size) const;
  std::string Encode(const RString& text) const;

  // Stream forms. The marker is separate from the text: a file is WriteMarker then Write.
  // Only UTF-16 has a marker; ReadMarker throws "Invalid UTF8 header." when it is missing.
  virtual bool HasMarker() const noexcept { return false; }
  void WriteMarker(RStream& stream) const;
  void ReadMarker(RStream& stream) const;
  void Write(RStream& stream, const RString& text) const;
  // Everything from the stream's position to its end.
  RString ReadAll(RStream& stream) const;

protected:
  explicit RTextCodec(const char* name) noexcept : name_(name) {}
  ~RTextCodec() = default;

private:
  const char* name_;
};

// Reads characters from a stream one at a time (in base/textcodec_stream.cpp, with the other
// stream forms). It keeps up to MaxCharBytes() bytes of
// look-ahead, so the stream's own position runs that far ahead of the characters taken;
// a codec set in mid-stream decodes the look-ahead too.
class RTextReader {
public:
  RTextReader(RStream& stream, const RTextCodec& codec) noexcept : stream_(stream), codec_(&codec) {}

  void SetCodec(const RTextCodec& codec) noexcept { codec_ = &codec; }
  const RTextCodec& Codec() const noexcept { return *codec_; }

  // Units of the next character written to out (1 or 2); 0 at the end of the stream.
  int ReadChar(char16_t out[2]);
  // The next unit alone, a surrogate pair coming out in two calls; false at the end.
  bool ReadChar(char16_t& unit);

private:
  static constexpr int kLookAhead = 4;
  RStream& stream_;
  const RTextCodec* codec_;
  uint8_t buffer_[kLookAhead];
  int filled_ = 0;
  char16_t pendingLow_ = 0;  // second half of a pair, for the one-unit form
};
