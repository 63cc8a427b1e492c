#pragma once
// RLog: the process-wide log. Guards report failures here and later subsystems note what a
// user's support request needs (a state that failed to load, a host that misbehaved). Each
// line is a UTC time stamp and the text; lines go to "Quillon.log" in the user's data folder
// and, when asked, to standard error (the setting below, or QUILLON_LOG_STDERR=1).
//
// [any-thread] but never the audio thread in normal operation: a write takes a lock by
// waiting and does file I/O. The audio path reports nothing while audio runs; a guard around
// a block only writes when something has already gone wrong.

#include <string>

#include "base/string.h"

class RLog {
public:
  static constexpr const char* kFileName = "Quillon.log";

  // Appends one line. Never throws: a log that can't be written loses the line.
  static void Write(const RString& text) noexcept;
  static void Write(const char* text) noexcept;

  // Also echo every line to standard error. Starts as QUILLON_LOG_STDERR=1 says.
  static void SetEchoToStandardError(bool echo) noexcept;
  static bool EchoesToStandardError() noexcept;

  // The file written to; empty puts it back to the data folder's "Quillon.log". Tests point
  // this at a temporary file. The file is opened on the next write.
  static void SetPath(const std::string& path) noexcept;
  static std::string GetPath();
};
