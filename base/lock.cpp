#include "base/lock.h"

#include <chrono>

#include "base/exception.h"

RLock::~RLock() = default;

bool RLock::Lock(Mode, int32_t waitMilliseconds) noexcept {
  try {
    if (waitMilliseconds == 0) return mutex_.try_lock();
    if (waitMilliseconds < 0) {
      mutex_.lock();
      return true;
    }
    return mutex_.try_lock_for(std::chrono::milliseconds(waitMilliseconds));
  } catch (...) {
    // The platform refused (a recursion limit, a dead lock detected): the same as a timeout.
    return false;
  }
}

void RLock::Unlock(Mode) noexcept { mutex_.unlock(); }

RLockGuard::RLockGuard(RLock& lock, RLock::Mode mode, int32_t waitMilliseconds) : lock_(&lock), mode_(mode) {
  if (!lock.Lock(mode, waitMilliseconds)) {
    lock_ = nullptr;
    throw RException("Could not acquire lock.");
  }
}
