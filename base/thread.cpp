#include "base/thread.h"

#include <system_error>

#include "base/exception.h"
#include "base/guard.h"

RThread::~RThread() {
  RGuarded("RThread::~RThread", [&] {
    RequestStop();
    Join();
  });
}

bool RThread::Start() {
  if (handle_.joinable()) return false;
  stop_.store(false, std::memory_order_release);
  result_ = 0;
  state_.store(kStarting, std::memory_order_release);
  try {
    handle_ = std::thread([this] { Entry(); });
  } catch (const std::system_error& e) {
    state_.store(kIdle, std::memory_order_release);
    throw RException(RString::FromUTF8(e.what()));
  }
  return true;
}

int32_t RThread::Join() {
  if (!handle_.joinable()) return 0;
  handle_.join();
  // The thread wrote result_ before it ended; join orders that write before this read.
  return result_;
}

// [own thread]
void RThread::Entry() noexcept {
  result_ = RGuardedValue("RThreadProc", int32_t(-1), [&]() -> int32_t {
    State expected = kStarting;
    if (StopRequested() || !state_.compare_exchange_strong(expected, kRunning, std::memory_order_acq_rel)) return 0;
    return body_.ExecuteImmediately(REvent::Payload::Of(this)) ? 0 : -1;
  });
  state_.store(kFinished, std::memory_order_release);
}
