// POSIX implementation of the file system interface. Paths go to the system as UTF-8.

#include "base/platform/filesystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace RPlatform {

namespace {

std::string Native(const RString& path) { return path.ToUTF8(); }

// The home folder from HOME, else from the password database.
std::string HomeFolder() {
  if (const char* home = std::getenv("HOME"); home && *home) return home;
  char buffer[4096];
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found && found->pw_dir)
    return found->pw_dir;
  return {};
}

RString UserFolder(const char* variable, const char* fallbackBelowHome) {
  std::string folder;
  if (const char* set = std::getenv(variable); set && *set) {
    folder = set;
  } else {
    const std::string home = HomeFolder();
    if (home.empty()) return RString();
    folder = home + fallbackBelowHome;
  }
  if (folder.back() != '/') folder += '/';
  return RString::FromUTF8(folder + "VarnholtStudios/");
}

// The opener's full path, looked up before fork: the child of a threaded process may call
// only what is safe after fork, and a PATH search allocates.
std::string FindInPath(const char* program) {
  const char* path = std::getenv("PATH");
  if (!path) return {};
  const std::string_view list(path);
  const std::string_view name(program);
  size_t start = 0;
  while (start <= list.size()) {
    size_t end = list.find(':', start);
    if (end == std::string_view::npos) end = list.size();
    std::string_view folder = list.substr(start, end - start);
    if (folder.empty()) folder = ".";  // an empty entry means the working folder
    std::string candidate;
    candidate.reserve(folder.size() + 1 + name.size());
    candidate.append(folder).append(1, '/').append(name);
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
    start = end + 1;
  }
  return {};
}

} // namespace

RString LastErrorText() { return RString::FromUTF8(std::strerror(errno)); }

FILE* OpenFile(const RString& path, const char* mode) { return std::fopen(Native(path).c_str(), mode); }

bool SeekFile(FILE* file, int64_t offset, int origin) { return fseeko(file, off_t(offset), origin) == 0; }

int64_t TellFile(FILE* file) { return int64_t(ftello(file)); }

int64_t FileSize(FILE* file) {
  struct stat info;
  if (fstat(fileno(file), &info) != 0) return -1;
  return int64_t(info.st_size);
}

bool TruncateFile(FILE* file, int64_t size) {
  if (std::fflush(file) != 0) return false;
  return ftruncate(fileno(file), off_t(size)) == 0;
}

bool MakeWritable(const RString& path) {
  const std::string native = Native(path);
  struct stat info;
  if (stat(native.c_str(), &info) != 0) return false;
  if (info.st_mode & S_IWUSR) return true;
  return chmod(native.c_str(), (info.st_mode & 07777) | S_IWUSR) == 0;
}

bool RemoveFile(const RString& path) { return unlink(Native(path).c_str()) == 0; }

bool RenameFile(const RString& from, const RString& to) {
  return std::rename(Native(from).c_str(), Native(to).c_str()) == 0;
}

bool MakeDirectory(const RString& path) {
  const std::string native = Native(path);
  if (mkdir(native.c_str(), 0777) == 0) return true;
  if (errno != EEXIST) return false;
  struct stat info;
  if (stat(native.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return true;
  errno = ENOTDIR;
  return false;
}

bool DeleteDirectory(const RString& path) { return rmdir(Native(path).c_str()) == 0; }

bool IsDirectory(const RString& path) {
  struct stat info;
  return stat(Native(path).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool Exists(const RString& path) {
  struct stat info;
  return stat(Native(path).c_str(), &info) == 0;
}

bool ListDirectory(const RString& path, RArray<RDirectoryEntry>& entries) {
  const std::string native = Native(path);
  DIR* directory = opendir(native.c_str());
  if (!directory) return false;
  errno = 0;
  while (dirent* entry = readdir(directory)) {
    const char* name = entry->d_name;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    bool isDirectory = entry->d_type == DT_DIR;
    if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
      // Some file systems don't fill the type, and a link counts as what it points to.
      struct stat info;
      const std::string full = native + "/" + name;
      isDirectory = stat(full.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    }
    RDirectoryEntry& added = entries.Emplace();
    added.name = RString::FromUTF8(name);
    added.directory = isDirectory;
    errno = 0;
  }
  const int failure = errno;
  closedir(directory);
  errno = failure;
  return failure == 0;
}

bool GetModificationTime(const RString& path, int64_t& microseconds) {
  struct stat info;
  if (stat(Native(path).c_str(), &info) != 0) return false;
  microseconds = int64_t(info.st_mtim.tv_sec) * 1000000 + info.st_mtim.tv_nsec / 1000;
  return true;
}

bool SetModificationTime(const RString& path, int64_t microseconds) {
  int64_t seconds = microseconds / 1000000;
  int64_t rest = microseconds % 1000000;
  if (rest < 0) {
    rest += 1000000;
    --seconds;
  }
  timespec times[2];
  times[0].tv_sec = time_t(seconds);
  times[0].tv_nsec = long(rest * 1000);
  times[1] = times[0];
  return utimensat(AT_FDCWD, Native(path).c_str(), times, 0) == 0;
}

RFileMapping MapFile(const RString& path) {
  RFileMapping mapping;
  const int descriptor = open(Native(path).c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    mapping.stage = RFileMapping::kOpen;
    mapping.error = LastErrorText();
    return mapping;
  }
  struct stat info;
  if (fstat(descriptor, &info) != 0) {
    mapping.stage = RFileMapping::kSize;
    mapping.error = LastErrorText();
  } else if (!S_ISREG(info.st_mode)) {
    // Only regular files have a mapping; POSIX has no separate mapping object, so this is
    // where the stage of creating one can fail.
    errno = ENODEV;
    mapping.stage = RFileMapping::kCreateMapping;
    mapping.error = LastErrorText();
  } else if (info.st_size == 0) {
    mapping.stage = RFileMapping::kMapped;  // an empty view; mmap refuses zero lengths
  } else {
    void* view = mmap(nullptr, size_t(info.st_size), PROT_READ, MAP_SHARED, descriptor, 0);
    if (view == MAP_FAILED) {
      mapping.stage = RFileMapping::kMapView;
      mapping.error = LastErrorText();
    } else {
      mapping.stage = RFileMapping::kMapped;
      mapping.data = static_cast<const uint8_t*>(view);
      mapping.size = int64_t(info.st_size);
    }
  }
  close(descriptor);  // the view keeps the file
  return mapping;
}

void UnmapFile(const uint8_t* data, int64_t size) noexcept {
  if (data && size > 0) munmap(const_cast<uint8_t*>(data), size_t(size));
}

bool OpenWithDesktop(const RString& target) {
  const std::string opener = FindInPath("xdg-open");
  if (opener.empty()) {
    errno = ENOENT;
    return false;
  }
  const std::string argument = target.ToUTF8();
  char* const arguments[] = {const_cast<char*>(opener.c_str()), const_cast<char*>(argument.c_str()), nullptr};

  // The grandchild reports a failed exec through a close-on-exec pipe: end of file means the
  // opener runs. The middle child exits at once, so the caller never waits for the opener and
  // no zombie stays behind.
  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0) return false;
  const pid_t child = fork();
  if (child < 0) {
    const int failure = errno;
    close(report[0]);
    close(report[1]);
    errno = failure;
    return false;
  }
  if (child == 0) {
    close(report[0]);
    const pid_t grandchild = fork();
    if (grandchild < 0) {
      const int failure = errno;
      (void)!write(report[1], &failure, sizeof failure);
      _exit(1);
    }
    if (grandchild == 0) {
      setsid();
      execv(arguments[0], arguments);
      const int failure = errno;
      (void)!write(report[1], &failure, sizeof failure);
      _exit(127);
    }
    _exit(0);
  }
  close(report[1]);
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  int failure = 0;
  ssize_t got;
  do {
    got = read(report[0], &failure, sizeof failure);
  } while (got < 0 && errno == EINTR);
  close(report[0]);
  if (got == ssize_t(sizeof failure)) {
    errno = failure;
    return false;
  }
  return true;
}

RString GetDataFolder() { return UserFolder("XDG_DATA_HOME", "/.local/share"); }

RString GetSettingsFolder() { return UserFolder("XDG_CONFIG_HOME", "/.config"); }

} // namespace RPlatform
