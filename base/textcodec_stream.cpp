// The stream forms of RTextCodec and RTextReader, apart from the codecs themselves so that
// finding and decoding by name need nothing of the stream library.

#include <algorithm>
#include <string>
#include <vector>

#include "base/exception.h"
#include "base/stream.h"
#include "base/textcodec.h"

namespace {
constexpr int kDecodeBlock = 4096;  // bytes read from a stream at a time
constexpr uint8_t kMarker[2] = {255, 254};
}  // namespace

void RTextCodec::WriteMarker(RStream& stream) const {
  if (HasMarker()) stream.Write(kMarker, 2);
}

void RTextCodec::ReadMarker(RStream& stream) const {
  if (!HasMarker()) return;
  uint8_t marker[2] = {0, 0};
  // The message names UTF8 on a UTF-16 stream: it is the text users and logs already know.
  if (stream.Read(marker, 2) != 2 || marker[0] != kMarker[0] || marker[1] != kMarker[1]) {
    throw RException("Invalid UTF8 header.");
  }
}

void RTextCodec::Write(RStream& stream, const RString& text) const {
  const std::string bytes = Encode(text);
  if (!bytes.empty()) stream.Write(bytes.data(), int64_t(bytes.size()));
}

// Decodes block by block, carrying a character cut at a block's end over to the next block.
RString RTextCodec::ReadAll(RStream& stream) const {
  std::u16string out;
  std::vector<uint8_t> block(size_t(kDecodeBlock + MaxCharBytes()));
  int64_t kept = 0;
  char16_t units[2];
  for (;;) {
    const int64_t got = stream.Read(block.data() + kept, kDecodeBlock);
    const int64_t size = kept + got;
    // Only an empty read is taken as the end, so a stream that hands out less than asked
    // (a chain of decompressors) still reads whole.
    const bool end = got <= 0;
    // Stop short of the last few bytes unless at the end: they may start a character whose
    // remaining bytes are in the next block.
    const int64_t safe = end ? size : size - MaxCharBytes() + 1;
    int64_t i = 0;
    while (i < safe) {
      const int k = DecodeChar(block.data(), size, i, units);
      if (k == 0) break;
      out.append(units, size_t(k));
    }
    if (end) break;
    kept = size - i;
    std::copy(block.begin() + i, block.begin() + size, block.begin());
  }
  return RString(out.data(), int(out.size()));
}

int RTextReader::ReadChar(char16_t out[2]) {
  if (pendingLow_) {
    out[0] = pendingLow_;
    pendingLow_ = 0;
    return 1;
  }
  if (filled_ < kLookAhead) filled_ += int(stream_.Read(buffer_ + filled_, kLookAhead - filled_));
  int64_t used = 0;
  const int k = codec_->DecodeChar(buffer_, filled_, used, out);
  std::copy(buffer_ + used, buffer_ + filled_, buffer_);
  filled_ -= int(used);
  return k;
}

bool RTextReader::ReadChar(char16_t& unit) {
  char16_t units[2];
  const int k = ReadChar(units);
  if (k == 0) return false;
  unit = units[0];
  if (k == 2) pendingLow_ = units[1];
  return true;
}
