#pragma once
// RZlibStream: zlib's own format (with its header) over another stream. Compressing: Write
// hands each block to zlib and passes its output on in blocks of 4096 bytes; Finish ends the
// data. Expanding: Read fills zlib's input from the wrapped stream in blocks of 4096 bytes and
// stops at the count asked for or at the end of the compressed data.

#include <memory>

#include "base/compressedstream.h"

struct z_stream_s;

class RZlibStream : public RCompressedStream {
public:
  static constexpr int kBlock = 4096;

  // Quality 1..100 (level 9 at 100). With ownsStream the wrapper deletes the wrapped stream,
  // also when this constructor throws. Throws "Could not initialize deflating." or
  // "Could not initialize inflating.", code 257.
  RZlibStream(RStream* stream, int direction, int quality = 100, bool ownsStream = false);
  // Reports an unfinished compressing stream (see RCompressedStream) and gives the state back.
  ~RZlibStream() override;

  void Write(const void* bytes, int64_t count) override;
  int64_t Read(void* bytes, int64_t count) override;
  // An unfinished compressing stream throws "ZLIB stream has not been terminated.", code 256,
  // after giving its state back.
  void Close() override;
  void Finish() override;
  void Abort() noexcept override;

private:
  void End() noexcept;

  std::unique_ptr<z_stream_s> state_;
  bool live_ = false;  // the library's state is initialised and not yet given back
  bool inputEnd_ = false;
  std::unique_ptr<uint8_t[]> buffer_;  // output block when compressing, input block when expanding
};
