#include "modules/wordmangler/wordmanglerstate.h"

#include <algorithm>
#include <new>

namespace {

constexpr size_t AlignUp(size_t offset, size_t alignment) noexcept {
  return (offset + alignment - 1) / alignment * alignment;
}

} // namespace

// Byte offsets of the parts behind the header, in their order.
struct RWordManglerState::Layout {
  size_t delayLines, lowPass, autoGain, dcBlocker, end;

  explicit Layout(int32_t channels) noexcept {
    const size_t n = size_t(std::max(channels, 1));
    delayLines = AlignUp(sizeof(RWordManglerState), alignof(RDelayLine));
    lowPass = AlignUp(delayLines + n * sizeof(RDelayLine), alignof(RBiquadState));
    autoGain = AlignUp(lowPass + n * sizeof(RBiquadState), alignof(RAutoGain));
    dcBlocker = AlignUp(autoGain + sizeof(RAutoGain), alignof(RBiquadState));
    end = dcBlocker + n * sizeof(RBiquadState);
  }
};

size_t RWordManglerState::GetSize(int32_t channels) noexcept { return Layout(channels).end; }

RWordManglerState* RWordManglerState::Construct(void* memory, int32_t channels) {
  channels = std::max(channels, 1);
  const Layout layout(channels);
  std::byte* base = static_cast<std::byte*>(memory);
  auto* state = new (base) RWordManglerState(channels);
  state->delayLines_ = reinterpret_cast<RDelayLine*>(base + layout.delayLines);
  state->lowPass_ = reinterpret_cast<RBiquadState*>(base + layout.lowPass);
  state->dcBlocker_ = reinterpret_cast<RBiquadState*>(base + layout.dcBlocker);
  for (int32_t c = 0; c < channels; ++c) {
    new (state->delayLines_ + c) RDelayLine();
    new (state->lowPass_ + c) RBiquadState();
    new (state->dcBlocker_ + c) RBiquadState();
  }
  state->autoGain_ = new (base + layout.autoGain) RAutoGain();
  return state;
}

void RWordManglerState::Destroy(RWordManglerState* state) noexcept {
  if (!state) return;
  state->autoGain_->~RAutoGain();
  for (int32_t c = 0; c < state->channels_; ++c) state->delayLines_[c].~RDelayLine();
  // The filter states are plain data.
  state->~RWordManglerState();
}

void RWordManglerState::Setup(double sampleRate) {
  for (int32_t c = 0; c < channels_; ++c) {
    // A fresh line holds no ring: the first length the module sets builds one.
    delayLines_[c].~RDelayLine();
    new (delayLines_ + c) RDelayLine();
    lowPass_[c].Clear();
    dcBlocker_[c].Clear();
  }
  autoGain_->Setup(channels_, sampleRate);
}

void RWordManglerState::Clear() noexcept {
  for (int32_t c = 0; c < channels_; ++c) {
    delayLines_[c].Clear();
    lowPass_[c].Clear();
    dcBlocker_[c].Clear();
  }
  autoGain_->Clear();
}
