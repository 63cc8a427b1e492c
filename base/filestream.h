#pragma once
// RFileStream: a stream over a file through buffered standard handles.

#include <cstdint>
#include <cstdio>

#include "base/stream.h"

class RFileStream : public RStream {
public:
  // Mode bits of Open. Whole content that is replaced is written with kWrite | kReplace.
  enum Mode { kRead = 1, kWrite = 2, kReplace = 4 };

  RFileStream() = default;
  RFileStream(const RString& path, int mode) { Open(path, mode); }
  RFileStream(const RFileStream&) = delete;
  RFileStream& operator=(const RFileStream&) = delete;
  // Closes quietly; call Close to learn whether buffered data reached the file.
  ~RFileStream() override;

  // Without kWrite: reading (kRead). kWrite | kReplace: a new file, an old one deleted first,
  // even a write-protected one. kWrite alone: an existing file, read and written in place.
  void Open(const RString& path, int mode);
  bool IsOpen() const noexcept { return read_ || write_; }
  const RString& GetPath() const noexcept { return path_; }

  void Write(const void* bytes, int64_t count) override;
  int64_t Read(void* bytes, int64_t count) override;
  void Seek(int64_t offset, int origin = kBegin) override;
  int64_t GetPosition() override;
  void Flush() override;
  bool IsEnd() override;
  // Cuts the file at the position.
  void Truncate() override;
  int64_t GetSize() override;
  // Throws when buffered data could not be written.
  void Close() override;

private:
  FILE* Handle();
  // A handle open for both directions needs a positioning call between a read and a write.
  void SwitchTo(bool writing);
  [[noreturn]] void ThrowError(const char* templateText);

  RString path_;
  FILE* read_ = nullptr;
  FILE* write_ = nullptr;
  int lastDirection_ = 0;  // 0 none, 1 read, 2 write
};
