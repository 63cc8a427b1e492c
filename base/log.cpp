#include "base/log.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "base/platform/filesystem.h"

namespace {

// The data folder's "Quillon.log"; empty when there is no home folder.
std::string DefaultLogPath() {
  const RString folder = RPlatform::GetDataFolder();
  return folder.IsEmpty() ? std::string() : folder.ToUTF8() + RLog::kFileName;
}

bool EchoRequestedByEnvironment() {
  const char* v = std::getenv("QUILLON_LOG_STDERR");
  return v && std::strcmp(v, "1") == 0;
}

// "2026-11-22 23:18:45.123" in UTC, from the standard clock so that no platform call is needed.
void FormatTimeStamp(char* out, size_t size) {
  using namespace std::chrono;
  const auto now = floor<milliseconds>(system_clock::now());
  const auto day = floor<days>(now);
  const year_month_day date{day};
  const hh_mm_ss<milliseconds> time{now - day};
  std::snprintf(out, size, "%04d-%02u-%02u %02d:%02d:%02d.%03d", int(date.year()), unsigned(date.month()),
                unsigned(date.day()), int(time.hours().count()), int(time.minutes().count()),
                int(time.seconds().count()), int(time.subseconds().count()));
}

struct LogState {
  std::mutex lock;
  std::string path;          // empty: the default path
  std::FILE* file = nullptr;
  bool openFailed = false;   // don't retry a failing open on every line
  std::atomic<bool> echo{EchoRequestedByEnvironment()};
};

// Never destroyed: destructors of other process-wide objects run in guards that may still
// report here during exit.
LogState& State() {
  static LogState* state = new LogState;
  return *state;
}

// Holds the lock.
std::FILE* OpenFile(LogState& s) {
  if (s.file || s.openFailed) return s.file;
  const std::string path = s.path.empty() ? DefaultLogPath() : s.path;
  if (!path.empty()) {
    std::error_code ignored;
    // The path is UTF-8 on every system; a u8string says so to the path class.
    const std::filesystem::path native(std::u8string(path.begin(), path.end()));
    std::filesystem::create_directories(native.parent_path(), ignored);
    s.file = RPlatform::OpenFile(RString::FromUTF8(path), "a");
  }
  s.openFailed = s.file == nullptr;
  return s.file;
}

void WriteLine(const char* text, size_t length) noexcept {
  char stamp[48];
  FormatTimeStamp(stamp, sizeof stamp);
  LogState& s = State();
  try {
    std::lock_guard<std::mutex> hold(s.lock);
    if (std::FILE* f = OpenFile(s)) {
      std::fprintf(f, "%s %.*s\n", stamp, int(length), text);
      // Flushed line by line: the log matters most when the process is about to die.
      std::fflush(f);
    }
    if (s.echo.load(std::memory_order_relaxed)) std::fprintf(stderr, "%s %.*s\n", stamp, int(length), text);
  } catch (...) {
    // A lock that can't be taken or a path that can't be built loses the line.
  }
}

}  // namespace

void RLog::Write(const RString& text) noexcept {
  try {
    const std::string utf8 = text.ToUTF8();
    WriteLine(utf8.data(), utf8.size());
  } catch (...) {
    RLog::Write("(a log line was lost: out of memory)");
  }
}

void RLog::Write(const char* text) noexcept {
  if (!text) text = "";
  WriteLine(text, std::strlen(text));
}

void RLog::SetEchoToStandardError(bool echo) noexcept { State().echo.store(echo); }

bool RLog::EchoesToStandardError() noexcept { return State().echo.load(); }

void RLog::SetPath(const std::string& path) noexcept {
  LogState& s = State();
  try {
    std::lock_guard<std::mutex> hold(s.lock);
    if (s.file) std::fclose(s.file);
    s.file = nullptr;
    s.openFailed = false;
    s.path = path;
  } catch (...) {
  }
}

std::string RLog::GetPath() {
  LogState& s = State();
  std::lock_guard<std::mutex> hold(s.lock);
  return s.path.empty() ? DefaultLogPath() : s.path;
}
