#include "base/file.h"

#include <algorithm>

#include "base/exception.h"
#include "base/format.h"
#include "base/log.h"
#include "base/platform/filesystem.h"

namespace {

// Days from 0001-01-01, where RDateTime counts, to 1970-01-01, where the platform counts.
constexpr int64_t kUnixEpochDays = 719162;
constexpr int64_t kUnixEpochMicroseconds = kUnixEpochDays * RDateTime::kMicrosecondsPerDay;

[[noreturn]] void Fail(const char* templateText, const RString& path) {
  throw RException(RFormat(RString::FromLatin1(templateText)) << path);
}

bool IsSeparator(char16_t unit) { return unit == '/'; }

RString Joined(const RString& directory, const RString& name) {
  if (directory.IsEmpty()) return name;
  RString joined = directory;
  if (!IsSeparator(directory[directory.Length() - 1])) joined += '/';
  return joined + name;
}

void SortNames(RArray<RString>& names) {
  std::sort(names.begin(), names.end(), [](const RString& a, const RString& b) { return a.CompareExact(b) < 0; });
}

RArray<RPlatform::RDirectoryEntry> Entries(const RString& directory) {
  RArray<RPlatform::RDirectoryEntry> entries;
  if (!RPlatform::ListDirectory(directory, entries)) Fail("Could not access path \"{0}\" to get file list.", directory);
  return entries;
}

void Walk(const RString& root, const RString& relative, int flags, RArray<RString>& names) {
  const RArray<RPlatform::RDirectoryEntry> entries = Entries(Joined(root, relative));
  for (const RPlatform::RDirectoryEntry& entry : entries) {
    const RString path = Joined(relative, entry.name);
    if (!entry.directory) {
      if (flags & RFile::kFiles) names.Add(path);
      continue;
    }
    if (flags & RFile::kDirectories) names.Add(path);
    // One unreadable branch costs its own names, not the whole walk.
    try {
      Walk(root, path, flags, names);
    } catch (const RException& failure) {
      RLog::Write(failure.GetMessage());
    }
  }
}

// "scheme:" in front: an address rather than a local path.
bool HasScheme(const RString& target) {
  const int colon = target.Find(':');
  if (colon < 2) return false;  // a drive letter is no scheme
  for (int i = 0; i < colon; ++i) {
    const char16_t u = target[i];
    const bool letter = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z');
    const bool other = (u >= '0' && u <= '9') || u == '+' || u == '-' || u == '.';
    if (!letter && !(i > 0 && other)) return false;
  }
  return true;
}

void Guarded(const RString& target) {
  try {
    RFile::Execute(target);
  } catch (const RException& failure) {
    RLog::Write(failure.GetMessage());
  }
}

} // namespace

RMappedFile& RMappedFile::operator=(RMappedFile&& other) noexcept {
  if (this != &other) {
    RPlatform::UnmapFile(data_, size_);
    data_ = other.data_;
    size_ = other.size_;
    other.data_ = nullptr;
    other.size_ = 0;
  }
  return *this;
}

RMappedFile::~RMappedFile() { RPlatform::UnmapFile(data_, size_); }

void RFile::Delete(const RString& path) {
  RPlatform::MakeWritable(path);
  if (!RPlatform::RemoveFile(path)) Fail("Could not delete file \"{0}\".", path);
}

void RFile::Rename(const RString& from, const RString& to) {
  if (!RPlatform::RenameFile(from, to))
    throw RException(RFormat("Could not rename file \"{0}\" to \"{1}\".") << from << to);
}

void RFile::CreatePath(const RString& path) {
  if (path.IsEmpty()) Fail("Could not create path \"{0}\".", path);
  // Each prefix that ends before a separator, then the whole path.
  for (int i = 1; i <= path.Length(); ++i) {
    if (i < path.Length() && !IsSeparator(path[i])) continue;
    if (IsSeparator(path[i - 1])) continue;  // a doubled or trailing separator
    const RString part = path.Left(i);
    if (RPlatform::IsDirectory(part)) continue;
    if (!RPlatform::MakeDirectory(part)) Fail("Could not create path \"{0}\".", path);
  }
}

void RFile::RemoveDirectory(const RString& path) {
  if (!RPlatform::DeleteDirectory(path)) Fail("Could not remove directory \"{0}\".", path);
}

RArray<RString> RFile::GetFileList(const RString& directory, int flags) {
  RArray<RString> names;
  for (const RPlatform::RDirectoryEntry& entry : Entries(directory))
    if (flags & (entry.directory ? kDirectories : kFiles)) names.Add(entry.name);
  SortNames(names);
  return names;
}

RArray<RString> RFile::GetFileListRecursed(const RString& directory, int flags) {
  RArray<RString> names;
  Walk(directory, RString(), flags, names);
  SortNames(names);
  return names;
}

void RFile::Execute(const RString& target) {
  if (target.IsEmpty() || (!HasScheme(target) && !RPlatform::Exists(target)) || !RPlatform::OpenWithDesktop(target))
    Fail("Could not execute file \"{0}\".", target);
}

void RFile::ExecuteWWW(const RString& address) { Guarded(address); }

void RFile::ExecuteMail(const RString& address) { Guarded(RString("mailto: ") + address); }

RMappedFile RFile::MapFile(const RString& path) {
  RPlatform::RFileMapping mapping = RPlatform::MapFile(path);
  const char* message = nullptr;
  switch (mapping.stage) {
    case RPlatform::RFileMapping::kMapped: return RMappedFile(mapping.data, mapping.size);
    case RPlatform::RFileMapping::kOpen: message = "Could not open file {0} for mapping. Error: {1}"; break;
    case RPlatform::RFileMapping::kSize: message = "Could not retrieve size of file {0} for mapping. Error: {1}"; break;
    case RPlatform::RFileMapping::kCreateMapping: message = "Could not create file mapping for {0}. Error: {1}"; break;
    case RPlatform::RFileMapping::kMapView: message = "Could not map file {0} to memory. Error: {1}"; break;
  }
  throw RException(RFormat(RString::FromLatin1(message)) << path << mapping.error);
}

RDateTime RFile::GetFileTime(const RString& path) {
  int64_t microseconds = 0;
  if (!RPlatform::GetModificationTime(path, microseconds)) Fail("Cannot retrieve file time of  \"{0}\".", path);
  const int64_t sinceOrigin = microseconds + kUnixEpochMicroseconds;
  RDateTime time = RDateTime::FromSeconds(sinceOrigin / 1000000);
  time.time.microseconds = uint32_t(sinceOrigin % 1000000);
  return time;
}

void RFile::SetFileTime(const RString& path, const RDateTime& time) {
  if (!RPlatform::SetModificationTime(path, time.ToMicroseconds() - kUnixEpochMicroseconds))
    Fail("Could not set system times to {0}.", path);
}
