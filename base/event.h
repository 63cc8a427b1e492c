#pragma once
// REvent: a multicast notification. Receivers subscribe with a callback; a payload of 16
// bytes is either delivered at once on the caller's thread (ExecuteImmediately) or queued
// (Post) and delivered later by whoever drains the queue, usually the editor's timer
// (ExecutePendingEvent). Changes from the audio side and from host callbacks reach the
// editor this way.
//
// Each subscriber's call runs in a guard of its own under the operation's name, so one that
// throws doesn't keep the others from hearing the event.
//
// Scenarios:
//   I.   The audio thread notes a change: TryPost, which never waits and never allocates
//        (the queue's room is reserved beforehand with Reserve).
//   II.  A host thread notes a change: Post, which waits for the lock and may grow the queue.
//   III. The editor's timer drains: while (e.ExecutePendingEvent()) {}
//   IV.  A subscriber unsubscribes itself or another from inside its callback: the record is
//        blanked and dropped once no delivery is running; a subscriber added during a
//        delivery first hears the next payload.

#include <cstdint>
#include <cstring>
#include <mutex>
#include <type_traits>
#include <vector>

#include "base/lock.h"

// The 16 plain bytes an event carries, copied in and out by value.
struct REventPayload {
  alignas(8) unsigned char bytes[16] = {};

  // Any trivially copyable value of up to 16 bytes travels as a payload.
  template <typename T>
  static REventPayload Of(const T& value) noexcept {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= 16, "a payload holds 16 plain bytes");
    REventPayload p;
    std::memcpy(p.bytes, &value, sizeof(T));
    return p;
  }
  template <typename T>
  T As() const noexcept {
    static_assert(std::is_trivially_copyable_v<T> && sizeof(T) <= 16, "a payload holds 16 plain bytes");
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
  }
};

class REvent {
public:
  using Payload = REventPayload;

  using Callback = void (*)(void* receiver, void* cookie, int32_t identifier, const Payload& payload);

  REvent() = default;
  REvent(const REvent&) = delete;
  REvent& operator=(const REvent&) = delete;

  // [any-thread]
  void Subscribe(void* receiver, void* cookie, int32_t identifier, Callback callback);
  // Removes the receiver's subscriptions, only those with that callback when one is given.
  // Returns how many were removed. [any-thread]
  int Unsubscribe(void* receiver, Callback callback = nullptr);
  int SubscriberCount() const;

  // Queues a payload. [any-thread] but not the audio thread: it waits and may allocate.
  void Post(const Payload& payload);
  // Queues without waiting and without growing the queue; returns false when the lock was
  // busy or the reserved room is full. [audio-thread]
  bool TryPost(const Payload& payload) noexcept;
  // Makes room for count pending payloads, so that TryPost needs no allocation.
  void Reserve(int count);
  int PendingCount() const;

  // Delivers the oldest pending payload to every subscriber in list order. Returns false when
  // the queue was empty. [editor-thread]
  bool ExecutePendingEvent();
  // Delivers a payload at once on the caller's thread. Returns true when no subscriber threw.
  bool ExecuteImmediately(const Payload& payload = Payload());

private:
  struct Subscriber {
    void* receiver;
    void* cookie;
    int32_t identifier;
    Callback callback;  // nullptr: removed during a delivery, dropped afterwards
  };

  bool Deliver(const Payload& payload, const char* operationName);
  void DropRemoved();  // holds subscribersLock_

  // The queue: a ring of payloads, head_ the oldest.
  mutable RLock queueLock_;
  std::vector<Payload> ring_;
  int head_ = 0;
  int count_ = 0;

  mutable std::mutex subscribersLock_;
  std::vector<Subscriber> subscribers_;
  int delivering_ = 0;  // deliveries running, on any thread
  bool removed_ = false;
};
