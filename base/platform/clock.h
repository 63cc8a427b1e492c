#pragma once
// The system's milliseconds clock: it tells whether the host still runs the audio cycle (an
// edit glides only while it does) and times undo steps. It wraps after about 49 days, so
// compare times by their difference, never by order.

#include <cstdint>

namespace RPlatform {

// Milliseconds from an arbitrary start, monotonic. [any-thread], allocation-free.
uint32_t GetMilliseconds() noexcept;

// Replaces the clock for tests (nullptr: the system clock). Not for production code.
using RClockSource = uint32_t (*)();
void SetClockSourceForTests(RClockSource source) noexcept;

} // namespace RPlatform
