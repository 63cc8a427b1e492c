#pragma once
// RSharedBlockData: one object per top-level plug-in, reached from every nested module:
// modulation block sizes, the offline flag, the phase synchronisation state, four scratch
// arenas for per-block data and the log of parameter names rewritten while reading a state.

#include <cstdint>
#include <memory>

#include "base/string.h"

struct RScratchArena {
  std::unique_ptr<uint8_t[]> memory;
  int64_t size = 0;
  int64_t position = 0;
  bool overflowed = false;

  // Aligned to 32 bytes; null (and the overflow mark set) when the arena is full. [audio-thread]
  void* Take(int64_t bytes) noexcept;
  // Position back to 0; the overflow mark stays so that Setup can grow the arena.
  void Reset() noexcept { position = 0; }
  // Room for at least `bytes` of takes, each counted with its alignment padding; twice the
  // old size when the arena overflowed since the last call. Position and overflow mark go
  // back to zero. May allocate: setup side only, with the audio lock held.
  void Prepare(int64_t bytes);
};

struct RSharedBlockData {
  static constexpr int32_t kDefaultMaxLFOBlockSize = 256;
  static constexpr int32_t kDefaultMaxLFOBlockSizeOffline = 2048;

  int32_t MaxLFOBlockSize = kDefaultMaxLFOBlockSize;
  int32_t MaxLFOBlockSizeOffline = kDefaultMaxLFOBlockSizeOffline;
  bool Offline = false;
  bool Sinc = false;
  bool SynchronizePhase = false;
  double PhaseReference = 0.0;
  RScratchArena Arenas[4];
  // Set by the first plug-in that reset the arenas in the present sub-block.
  const void* ArenasResetBy = nullptr;
  // Names rewritten while reading a state, one a line; cleared after each load.
  RString ReplacementLog;
};
