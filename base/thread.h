#pragma once
// RThread: a thread whose body is an REvent. Whoever wants work done on the thread subscribes
// to Body(); Start runs every subscriber once, in list order, on the new thread, with a
// payload that holds the RThread pointer (REvent::Payload::As<RThread*>()), so that a long
// body can poll StopRequested().
//
// The entry runs in the guard "RThreadProc". Its result is 0, or -1 when a subscriber failed.
// A stop requested before the thread got going leaves nothing to run: the entry returns at
// once with 0 and no subscriber is called.

#include <atomic>
#include <cstdint>
#include <thread>

#include "base/event.h"

class RThread {
public:
  enum State : int { kIdle, kStarting, kRunning, kFinished };

  RThread() = default;
  RThread(const RThread&) = delete;
  RThread& operator=(const RThread&) = delete;
  // Requests a stop and joins: a subscriber must not outlive the object it runs on.
  ~RThread();

  REvent& Body() noexcept { return body_; }

  // Starts a run. Returns false, starting nothing, while an earlier run has not been joined.
  // Throws RException when the platform can't make a thread. [any-thread]
  bool Start();
  // Waits for the run to end and returns its result; 0 when there was no run. [any-thread],
  // never from the thread itself.
  int32_t Join();

  // A body polls this to end early. [any-thread]
  void RequestStop() noexcept { stop_.store(true, std::memory_order_release); }
  bool StopRequested() const noexcept { return stop_.load(std::memory_order_acquire); }
  State GetState() const noexcept { return state_.load(std::memory_order_acquire); }

private:
  void Entry() noexcept;

  REvent body_;
  std::thread handle_;
  std::atomic<State> state_{kIdle};
  std::atomic<bool> stop_{false};
  int32_t result_ = 0;
};
