#include "base/guard.h"

#include <atomic>

#include "base/format.h"
#include "base/log.h"

namespace {

std::atomic<RGuardObserver> gObserver{nullptr};

void Report(const char* qualifiedName, const RString& text, bool systemException) noexcept {
  if (RGuardObserver observer = gObserver.load(std::memory_order_acquire)) {
    try {
      observer(qualifiedName, text, systemException);
    } catch (...) {
      // An observer is not allowed to break the guard it watches.
    }
  }
  RLog::Write(text);
}

}  // namespace

RGuardObserver RSetGuardObserver(RGuardObserver observer) noexcept {
  return gObserver.exchange(observer, std::memory_order_acq_rel);
}

namespace rguard_detail {

// "<name>: <title>: <message>", the title only where a throw site gave one.
void ReportException(const char* qualifiedName, const RException& failure) noexcept {
  try {
    RString text = RString::FromLatin1(qualifiedName ? qualifiedName : "");
    text += ": ";
    if (!failure.GetTitle().IsEmpty()) {
      text += failure.GetTitle();
      text += ": ";
    }
    text += failure.GetMessage();
    Report(qualifiedName, text, false);
  } catch (...) {
    ReportSystemException(qualifiedName);
  }
}

void ReportSystemException(const char* qualifiedName) noexcept {
  try {
    const RString text = RFormat("SYSTEM EXCEPTION! {0}") << RString::FromLatin1(qualifiedName ? qualifiedName : "");
    Report(qualifiedName, text, true);
  } catch (...) {
    // Out of memory while composing: the name alone still reaches the log.
    RLog::Write(qualifiedName);
  }
}

}  // namespace rguard_detail
