#pragma once
// The system's locks. An RLock is a recursive lock built on the platform's mutex; the thread
// that holds it may take it again (a nested graph reaches its root's locks through its parent
// chain, and setup code calls helpers that lock for themselves).
//
// Waiting: Lock takes a wait in milliseconds. kWaitForever blocks; 0 asks not to wait at all,
// which is the only form the audio thread uses (TryLock): a block that can't get its lock
// passes audio through rather than stall the host. A bounded wait that runs out refuses.
//
// Modes: kExclusive gives the holder sole ownership. The mode travels from Lock to Unlock and
// through RLockGuard so that a derived lock can offer further modes (such as a shared one);
// the base lock treats every mode as exclusive.
//
// Order, where more than one is taken: parameter lock, then audio lock, then automation lock.

#include <cstdint>
#include <mutex>

class RLock {
public:
  enum Mode : uint8_t { kExclusive = 0 };
  static constexpr int32_t kWaitForever = -1;

  RLock() = default;
  RLock(const RLock&) = delete;
  RLock& operator=(const RLock&) = delete;
  virtual ~RLock();

  // Returns true when the lock was taken within waitMilliseconds. [any-thread]; with a wait of
  // 0 it never blocks and is [audio-thread] safe.
  virtual bool Lock(Mode mode = kExclusive, int32_t waitMilliseconds = kWaitForever) noexcept;
  // Releases one Lock of the calling thread in that mode.
  virtual void Unlock(Mode mode = kExclusive) noexcept;

  // The no-wait form. [audio-thread]
  bool TryLock(Mode mode = kExclusive) noexcept { return Lock(mode, 0); }

private:
  std::recursive_timed_mutex mutex_;
};

// Holds a lock for a scope, released by the destructor. Throws RException "Could not acquire
// lock." when the lock is refused within the wait. Never on the audio thread: use
// RTryLockGuard there.
class RLockGuard {
public:
  explicit RLockGuard(RLock& lock, RLock::Mode mode = RLock::kExclusive,
                      int32_t waitMilliseconds = RLock::kWaitForever);
  RLockGuard(const RLockGuard&) = delete;
  RLockGuard& operator=(const RLockGuard&) = delete;
  ~RLockGuard() { Release(); }

  // Gives the lock back early; the destructor then does nothing.
  void Release() noexcept {
    if (lock_) lock_->Unlock(mode_);
    lock_ = nullptr;
  }

private:
  RLock* lock_;
  RLock::Mode mode_;
};

// The audio path's scoped form: tries once, never waits, never throws; Owns() tells whether
// the lock was taken. [audio-thread]
class RTryLockGuard {
public:
  explicit RTryLockGuard(RLock& lock, RLock::Mode mode = RLock::kExclusive) noexcept
      : lock_(lock.TryLock(mode) ? &lock : nullptr), mode_(mode) {}
  RTryLockGuard(const RTryLockGuard&) = delete;
  RTryLockGuard& operator=(const RTryLockGuard&) = delete;
  ~RTryLockGuard() {
    if (lock_) lock_->Unlock(mode_);
  }
  bool Owns() const noexcept { return lock_ != nullptr; }

private:
  RLock* lock_;
  RLock::Mode mode_;
};
