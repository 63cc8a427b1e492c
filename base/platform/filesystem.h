#pragma once
// The file system as the base library needs it, behind one small interface so that the rest
// of the library never calls an operating system directly. Paths are RString; each
// implementation converts them to what its system takes (UTF-8 on POSIX, UTF-16 on Windows).
//
// Names keep clear of the Win32 macros (DeleteFile, MoveFile, ...).
//
// Functions that return a flag leave the reason for LastErrorText(), which must be asked on
// the same thread before any other platform call.

#include <cstdint>
#include <cstdio>

#include "base/array.h"
#include "base/string.h"

namespace RPlatform {

// The system's text for the last failure of a platform call on this thread.
RString LastErrorText();

// Buffered standard file handles. Mode is an fopen mode ("rb", "r+b", "w+b").
FILE* OpenFile(const RString& path, const char* mode);
// 64-bit positioning of a standard handle; origin is SEEK_SET, SEEK_CUR or SEEK_END.
bool SeekFile(FILE* file, int64_t offset, int origin);
int64_t TellFile(FILE* file);
// Size of the open file as the system sees it (flush buffered writes first); -1 on failure.
int64_t FileSize(FILE* file);
// Cuts or extends the open file to size bytes.
bool TruncateFile(FILE* file, int64_t size);

// Removes write protection from a file (the user's write bit on POSIX).
bool MakeWritable(const RString& path);
bool RemoveFile(const RString& path);
bool RenameFile(const RString& from, const RString& to);
// One directory; an existing directory counts as success.
bool MakeDirectory(const RString& path);
bool DeleteDirectory(const RString& path);
bool IsDirectory(const RString& path);
bool Exists(const RString& path);
// Entries of one directory without "." and "..", in no particular order.
struct RDirectoryEntry {
  RString name;
  bool directory = false;
};
bool ListDirectory(const RString& path, RArray<RDirectoryEntry>& entries);

// Modification time in microseconds since 1970-01-01 UTC.
bool GetModificationTime(const RString& path, int64_t& microseconds);
// Sets the access and modification times.
bool SetModificationTime(const RString& path, int64_t microseconds);

// A whole file mapped read-only. The stage tells where a failure happened, since each stage
// has its own message for the user.
struct RFileMapping {
  enum Stage { kMapped = 0, kOpen, kSize, kCreateMapping, kMapView };
  Stage stage = kOpen;
  const uint8_t* data = nullptr;
  int64_t size = 0;
  RString error;
};
RFileMapping MapFile(const RString& path);
void UnmapFile(const uint8_t* data, int64_t size) noexcept;

// Hands a file or an address to the desktop's opener with the meaning of "open", without
// waiting for it. Fails when the opener cannot be started.
bool OpenWithDesktop(const RString& target);

// The user's folders, each ending with a separator:
//   data     ${XDG_DATA_HOME:-~/.local/share}/VarnholtStudios/  (presets, logs)
//   settings ${XDG_CONFIG_HOME:-~/.config}/VarnholtStudios/     (global settings)
// Empty when no home folder can be found.
RString GetDataFolder();
RString GetSettingsFolder();

} // namespace RPlatform
