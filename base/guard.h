#pragma once
// The guard: every entry from outside (a host call, a window procedure, a thread start, the
// destructor of a process-wide object) runs its body in one, so that no exception crosses
// into code that can't take it.
//
//   bool ok = RGuarded("RAudioPlugin::ProcessPitchBend", [&] { ... });
//   int32_t r = RGuardedValue("RThreadProc", -1, [&] { return Run(); });
//
// An RException is reported to the log with its message; anything else is reported as
// "SYSTEM EXCEPTION! <name>" — the qualified name is the only trace kept, so each entry
// passes its own. The caller then returns its failure value; nothing is rolled back.
// On success the guard costs a try block and allocates nothing.

#include <type_traits>

#include "base/exception.h"

// Sees every report before it goes to the log (tests; a host adapter that shows failures).
// systemException: the failure was not an RException. [any-thread]: called on the thread
// that failed.
using RGuardObserver = void (*)(const char* qualifiedName, const RString& text, bool systemException);

// Installs an observer (nullptr: none) and returns the one it replaces.
RGuardObserver RSetGuardObserver(RGuardObserver observer) noexcept;

namespace rguard_detail {
void ReportException(const char* qualifiedName, const RException& failure) noexcept;
void ReportSystemException(const char* qualifiedName) noexcept;
}  // namespace rguard_detail

// Runs body(); returns false when it threw.
template <class F>
bool RGuarded(const char* qualifiedName, F&& body) noexcept {
  try {
    static_cast<F&&>(body)();
    return true;
  } catch (const RException& failure) {
    rguard_detail::ReportException(qualifiedName, failure);
  } catch (...) {
    rguard_detail::ReportSystemException(qualifiedName);
  }
  return false;
}

// Runs body() and returns its value, or failureValue when it threw.
template <class R, class F>
R RGuardedValue(const char* qualifiedName, R failureValue, F&& body) noexcept {
  static_assert(std::is_nothrow_move_constructible_v<R>, "a guarded result must move without throwing");
  try {
    return static_cast<F&&>(body)();
  } catch (const RException& failure) {
    rguard_detail::ReportException(qualifiedName, failure);
  } catch (...) {
    rguard_detail::ReportSystemException(qualifiedName);
  }
  return failureValue;
}
