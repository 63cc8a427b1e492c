#pragma once
// RBzip2Stream: the bzip2 format over another stream, with a work factor of 30. Compressing
// passes output on in blocks of 16384 bytes; expanding reads input in blocks of 4096 bytes.

#include <memory>

#include "base/compressedstream.h"

class RBzip2Stream : public RCompressedStream {
public:
  static constexpr int kOutputBlock = 16384;
  static constexpr int kInputBlock = 4096;
  static constexpr int kWorkFactor = 30;

  // Quality 1..100; the level is the block size in 100 kB, at least 1. With ownsStream the
  // wrapper deletes the wrapped stream, also when this constructor throws. Throws "Could not
  // initialize deflating." or "Could not initialize inflating.", code 257.
  RBzip2Stream(RStream* stream, int direction, int quality = 100, bool ownsStream = false);
  // Reports an unfinished compressing stream (see RCompressedStream) and gives the state back.
  ~RBzip2Stream() override;

  void Write(const void* bytes, int64_t count) override;
  int64_t Read(void* bytes, int64_t count) override;
  // An unfinished compressing stream throws "BZIP2 stream has not been terminated.", code 256,
  // after giving its state back.
  void Close() override;
  void Finish() override;
  void Abort() noexcept override;

private:
  struct State;  // the library's stream record, an unnamed struct that can't be declared ahead
  void End() noexcept;

  std::unique_ptr<State> state_;
  bool live_ = false;
  bool inputEnd_ = false;
  std::unique_ptr<char[]> buffer_;
};
