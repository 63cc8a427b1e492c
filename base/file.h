#pragma once
// RFile: operations on the file system itself. Every failure throws RException with the
// path in its message; the platform calls live in base/platform/filesystem.h.

#include <cstdint>

#include "base/array.h"
#include "base/datetime.h"
#include "base/string.h"

// A whole file mapped read-only into memory; unmapped when the object goes.
class RMappedFile {
public:
  RMappedFile() = default;
  RMappedFile(RMappedFile&& other) noexcept : data_(other.data_), size_(other.size_) {
    other.data_ = nullptr;
    other.size_ = 0;
  }
  RMappedFile& operator=(RMappedFile&& other) noexcept;
  RMappedFile(const RMappedFile&) = delete;
  RMappedFile& operator=(const RMappedFile&) = delete;
  ~RMappedFile();

  // Null for an empty file.
  const uint8_t* GetData() const noexcept { return data_; }
  int64_t GetSize() const noexcept { return size_; }

private:
  friend class RFile;
  RMappedFile(const uint8_t* data, int64_t size) noexcept : data_(data), size_(size) {}
  const uint8_t* data_ = nullptr;
  int64_t size_ = 0;
};

class RFile {
public:
  // What GetFileList gathers.
  enum ListFlags { kDirectories = 1, kFiles = 2 };

  // Write protection is cleared first, so a protected file goes as well.
  static void Delete(const RString& path);
  static void Rename(const RString& from, const RString& to);
  // Creates each missing directory of the path (all of it is taken as directories).
  static void CreatePath(const RString& path);
  // Removes an empty directory.
  static void RemoveDirectory(const RString& path);
  // Names in one directory (no "." or ".."), sorted; directories and files as flags choose.
  static RArray<RString> GetFileList(const RString& directory, int flags = kFiles);
  // The same through every subdirectory, as paths relative to directory with "/" between
  // the parts. A subdirectory that cannot be read is reported to the log and skipped.
  static RArray<RString> GetFileListRecursed(const RString& directory, int flags = kFiles);

  // Opens a file or an address with the desktop's handler ("open"), without waiting for it.
  // A local path that doesn't exist, or an opener that cannot be started, throws.
  static void Execute(const RString& target);
  // Execute on an address or "mailto: " and an address; failures go to the log.
  static void ExecuteWWW(const RString& address);
  static void ExecuteMail(const RString& address);

  static RMappedFile MapFile(const RString& path);

  // The file's last modification, in UTC.
  static RDateTime GetFileTime(const RString& path);
  // Sets the last modification (and access) of a file.
  static void SetFileTime(const RString& path, const RDateTime& time);
};
