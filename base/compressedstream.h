#pragma once
// RCompressedStream: what the zlib and bzip2 wrappers share. A wrapper either compresses what
// is written to it into the wrapped stream, or expands what it reads from there; it keeps a
// running total of the uncompressed bytes and a flag for the end of the compressed data.
// Seeking is the base forward seek: a stream can be expanded and skipped, never rewound.
//
// A compressing stream must be finished (Finish) or given up (Abort) before it goes away.
// A destructor cannot throw without terminating the process (and a base with a non-throwing
// destructor forbids it outright), so forgetting both is reported instead: the destructor
// passes the "... has not been terminated." failure (code 256) to the report hook, which
// writes it to the log unless a test or a host sets another, and gives the library's state
// back. Close on an unfinished compressing stream throws that failure, for callers that
// want it as an exception.

#include <cstdint>

#include "base/exception.h"
#include "base/stream.h"

class RCompressedStream : public RStream {
public:
  enum Direction { kExpand = 0, kCompress = 1 };
  using UnterminatedReport = void (*)(const RException& failure);

  RCompressedStream(const RCompressedStream&) = delete;
  RCompressedStream& operator=(const RCompressedStream&) = delete;
  // Deletes the wrapped stream when it was handed over.
  ~RCompressedStream() override;

  // Writes the rest of the compressed data and gives the library's state back.
  virtual void Finish() = 0;
  // Gives the library's state back without finishing and without throwing: the clean-up of
  // a write that failed halfway. Harmless when already finished or aborted.
  virtual void Abort() noexcept = 0;

  // The running total of uncompressed bytes passed.
  int64_t GetPosition() override { return total_; }
  bool IsEnd() override { return end_; }

  int GetDirection() const noexcept { return direction_; }
  RStream* GetStream() const noexcept { return stream_; }

  // Library level for a quality of 1..100: min((q - 1) / 10, 9), at least 0.
  static int LevelForQuality(int quality) noexcept;

  // Where destructors report an unfinished compressing stream. Null restores the log.
  static void SetUnterminatedReport(UnterminatedReport report) noexcept;

protected:
  RCompressedStream(RStream* stream, int direction, bool ownsStream)
      : direction_(direction), stream_(stream), ownsStream_(ownsStream) {}

  // The library reads the wrapped stream in blocks and may hold bytes behind the end of the
  // compressed data; they go back where the wrapped stream can seek, so that what follows
  // stays readable. Where it cannot, they are lost.
  void GiveBack(int64_t unused) noexcept;
  static void ReportUnterminated(const RString& message) noexcept;

  int direction_;
  RStream* stream_;
  bool ownsStream_;
  int64_t total_ = 0;
  bool end_ = false;
};
