#include "base/event.h"

#include <algorithm>

#include "base/guard.h"

namespace {
constexpr int kInitialQueueRoom = 16;
}

void REvent::Subscribe(void* receiver, void* cookie, int32_t identifier, Callback callback) {
  std::lock_guard<std::mutex> hold(subscribersLock_);
  subscribers_.push_back({receiver, cookie, identifier, callback});
}

int REvent::Unsubscribe(void* receiver, Callback callback) {
  std::lock_guard<std::mutex> hold(subscribersLock_);
  int removed = 0;
  for (Subscriber& s : subscribers_) {
    if (s.callback && s.receiver == receiver && (!callback || s.callback == callback)) {
      s.callback = nullptr;
      ++removed;
    }
  }
  if (removed) {
    removed_ = true;
    if (delivering_ == 0) DropRemoved();
  }
  return removed;
}

int REvent::SubscriberCount() const {
  std::lock_guard<std::mutex> hold(subscribersLock_);
  return int(std::count_if(subscribers_.begin(), subscribers_.end(), [](const Subscriber& s) { return s.callback; }));
}

void REvent::DropRemoved() {
  std::erase_if(subscribers_, [](const Subscriber& s) { return !s.callback; });
  removed_ = false;
}

void REvent::Reserve(int count) {
  RLockGuard hold(queueLock_);
  if (count <= int(ring_.size())) return;
  // Unroll the ring into the new storage, oldest first.
  std::vector<Payload> grown(static_cast<size_t>(count));
  for (int i = 0; i < count_; ++i) grown[size_t(i)] = ring_[size_t((head_ + i) % int(ring_.size()))];
  ring_.swap(grown);
  head_ = 0;
}

void REvent::Post(const Payload& payload) {
  RLockGuard hold(queueLock_);
  if (count_ == int(ring_.size())) {
    hold.Release();
    Reserve(std::max(kInitialQueueRoom, count_ * 2));
    Post(payload);
    return;
  }
  ring_[size_t((head_ + count_) % int(ring_.size()))] = payload;
  ++count_;
}

bool REvent::TryPost(const Payload& payload) noexcept {
  RTryLockGuard hold(queueLock_);
  if (!hold.Owns() || count_ == int(ring_.size())) return false;
  ring_[size_t((head_ + count_) % int(ring_.size()))] = payload;
  ++count_;
  return true;
}

int REvent::PendingCount() const {
  RLockGuard hold(queueLock_);
  return count_;
}

bool REvent::ExecutePendingEvent() {
  Payload payload;
  {
    RLockGuard hold(queueLock_);
    if (count_ == 0) return false;
    payload = ring_[size_t(head_)];
    head_ = (head_ + 1) % int(ring_.size());
    --count_;
  }
  Deliver(payload, "REvent::ExecutePendingEvent");
  return true;
}

bool REvent::ExecuteImmediately(const Payload& payload) { return Deliver(payload, "REvent::ExecuteImmediately"); }

// The list lock is held only to read one record at a time, never across a call, so a callback
// may subscribe and unsubscribe freely. Removed records stay as blanks until the last running
// delivery ends, which keeps the indices of every running delivery valid.
bool REvent::Deliver(const Payload& payload, const char* operationName) {
  size_t count;
  {
    std::lock_guard<std::mutex> hold(subscribersLock_);
    ++delivering_;
    count = subscribers_.size();
  }
  bool allSucceeded = true;
  for (size_t i = 0; i < count; ++i) {
    Subscriber s;
    {
      std::lock_guard<std::mutex> hold(subscribersLock_);
      s = subscribers_[i];
    }
    if (!s.callback) continue;
    allSucceeded &= RGuarded(operationName, [&] { s.callback(s.receiver, s.cookie, s.identifier, payload); });
  }
  std::lock_guard<std::mutex> hold(subscribersLock_);
  if (--delivering_ == 0 && removed_) DropRemoved();
  return allSucceeded;
}
