#include "base/filestream.h"

#include "base/exception.h"
#include "base/format.h"
#include "base/platform/filesystem.h"

RFileStream::~RFileStream() {
  if (read_ && read_ != write_) std::fclose(read_);
  if (write_) std::fclose(write_);
}

void RFileStream::Open(const RString& path, int mode) {
  if (path.IsEmpty()) throw RException("Empty filename cannot be created. This is an internal error.");
  Close();
  path_ = path;
  FILE* file = nullptr;
  if (!(mode & kWrite)) {
    if (mode & kRead) file = RPlatform::OpenFile(path, "rb");
  } else if (mode & kReplace) {
    // Deleting first lets a write-protected file be replaced; a failure shows up at the open.
    RPlatform::MakeWritable(path);
    RPlatform::RemoveFile(path);
    file = RPlatform::OpenFile(path, "w+b");
  } else {
    file = RPlatform::OpenFile(path, "r+b");
  }
  if (!file) {
    const RString error = RPlatform::LastErrorText();
    if (mode & kWrite)
      throw RException(RFormat("File \"{0}\" could not be created. Make sure there is no write-protected file "
                               "already existing.\nError: \"{1}\".")
                       << path << error);
    throw RException(RFormat("File \"{0}\" could not be opened. Make sure that it exists.\nError: \"{1}\".")
                     << path << error);
  }
  read_ = file;
  if (mode & kWrite) write_ = file;
  lastDirection_ = 0;
}

FILE* RFileStream::Handle() {
  if (!read_ && !write_) throw RException("File stream is not initialized.");
  return read_ ? read_ : write_;
}

void RFileStream::ThrowError(const char* templateText) {
  const RString error = RPlatform::LastErrorText();  // before anything else can change it
  throw RException(RFormat(RString::FromLatin1(templateText)) << path_ << error);
}

void RFileStream::SwitchTo(bool writing) {
  const int direction = writing ? 2 : 1;
  if (read_ == write_ && lastDirection_ != 0 && lastDirection_ != direction) RPlatform::SeekFile(read_, 0, SEEK_CUR);
  lastDirection_ = direction;
}

void RFileStream::Write(const void* bytes, int64_t count) {
  Handle();
  if (!write_) throw RException("File stream is not initialized.");
  SwitchTo(true);
  const char* p = static_cast<const char*>(bytes);
  while (count > 0) {
    const size_t written = std::fwrite(p, 1, size_t(count), write_);
    if (written < 1) ThrowError("Error writing to file \"{0}\", error \"{1}\".");
    p += written;
    count -= int64_t(written);
  }
}

int64_t RFileStream::Read(void* bytes, int64_t count) {
  FILE* file = Handle();
  if (count <= 0) return 0;
  SwitchTo(false);
  const size_t got = std::fread(bytes, 1, size_t(count), file);
  if (got < size_t(count) && std::ferror(file)) ThrowError("Error reading from file \"{0}\", error \"{1}\".");
  return int64_t(got);
}

void RFileStream::Seek(int64_t offset, int origin) {
  FILE* file = Handle();
  const int64_t target = SeekTarget(offset, origin);
  if (!RPlatform::SeekFile(file, target, SEEK_SET)) ThrowError("Error performing seek \"{0}\", error \"{1}\".");
  lastDirection_ = 0;
}

int64_t RFileStream::GetPosition() {
  const int64_t position = RPlatform::TellFile(Handle());
  if (position < 0) ThrowError("Error performing seek \"{0}\", error \"{1}\".");
  return position;
}

void RFileStream::Flush() {
  Handle();
  if (write_ && std::fflush(write_) != 0) ThrowError("Error writing to file \"{0}\", error \"{1}\".");
}

bool RFileStream::IsEnd() { return GetPosition() >= GetSize(); }

void RFileStream::Truncate() {
  Handle();
  if (!write_) throw RException("File stream is not initialized.");
  if (!RPlatform::TruncateFile(write_, GetPosition())) ThrowError("Error writing to file \"{0}\", error \"{1}\".");
}

int64_t RFileStream::GetSize() {
  FILE* file = Handle();
  if (write_ && std::fflush(write_) != 0) ThrowError("Error writing to file \"{0}\", error \"{1}\".");
  const int64_t size = RPlatform::FileSize(file);
  if (size < 0) ThrowError("Error performing seek \"{0}\", error \"{1}\".");
  return size;
}

void RFileStream::Close() {
  FILE* read = read_;
  FILE* write = write_;
  read_ = write_ = nullptr;
  lastDirection_ = 0;
  if (read && read != write) std::fclose(read);
  if (write && std::fclose(write) != 0) ThrowError("Error writing to file \"{0}\", error \"{1}\".");
}
