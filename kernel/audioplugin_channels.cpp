// Channel modes of RAudioPlugin: which of the host's channels the plug-in processes and how
// they come back (swaps, mid and side, zeroed or dry signals, surround packing), and the dry
// paths that keep every unprocessed channel in time with the processed ones.
#include <algorithm>
#include <cstring>
#include <utility>

#include "kernel/audioplugin.h"
#include "kernel/channelmodes.h"

namespace {

void Negate(float* x, int32_t frames) noexcept {
  for (int32_t i = 0; i < frames; ++i) x[i] = -x[i];
}

void Copy(const float* from, float* to, int32_t frames) noexcept {
  if (from == to || frames <= 0) return;
  if (from) {
    std::memmove(to, from, size_t(frames) * sizeof(float));
  } else {
    std::memset(to, 0, size_t(frames) * sizeof(float));
  }
}

bool SameSurround(const RAudioPlugin::SurroundSettings& a, const RAudioPlugin::SurroundSettings& b) noexcept {
  return a.enabled == b.enabled && a.ambisonicsOrder == b.ambisonicsOrder &&
         a.ambisonicsCustomChannels == b.ambisonicsCustomChannels &&
         std::equal(std::begin(a.volume), std::end(a.volume), std::begin(b.volume));
}

} // namespace

void RAudioPlugin::SetChannelMode(int32_t mode) {
  channelMode_ = (mode >= 0 && mode < RChannelModes::kCount) ? mode : RChannelModes::kLeftRight;
  if (NeedsSetupForChoices()) Setup();
}

void RAudioPlugin::SetSurroundSettings(const SurroundSettings& settings) {
  surround_ = settings;
  if (NeedsSetupForChoices()) Setup();
}

bool RAudioPlugin::NeedsSetupForChoices() const {
  if (hostSampleRate_ < 1.0) return false;
  return channelMode_ != setupChannelMode_ || !SameSurround(surround_, setupSurround_) ||
         std::max(ResolveOversampling(), 1) != oversampling_ || hqOversampling_->IsOn() != activeHQ_;
}

void RAudioPlugin::DeliverPendingChanges() {
  if (NeedsSetupForChoices()) Setup();
}

void RAudioPlugin::ResolveChannels() {
  setupChannelMode_ = channelMode_;
  setupSurround_ = surround_;
  packsChannels_ = false;

  // A nested plug-in processes every channel its graph hands it: the mode is the top level's.
  int32_t mode = parent_ ? RChannelModes::kLeftRight : channelMode_;
  if (mode > RChannelModes::kLastStereoMode && hostChannels_ < 3) mode = RChannelModes::kLeftRight;
  activeChannelMode_ = mode;

  int32_t limit = parent_ ? hostChannels_ : RChannelModes::GetChannelLimit(mode);
  if (mode == RChannelModes::kAmbisonics) {
    limit = RChannelModes::GetAmbisonicChannels(surround_.ambisonicsOrder, surround_.ambisonicsCustomChannels);
  }
  processChannels_ = std::min({limit, hostChannels_, int32_t(kMaxSurroundChannels)});
  channels_ = parent_ ? processChannels_ : std::min(RChannelModes::GetProcessedChannels(mode), processChannels_);

  if (mode >= RChannelModes::kSurround) {
    // The enabled channels, packed to the front of what the plug-in sees; one at least.
    int32_t count = 0;
    for (int32_t c = 0; c < processChannels_; ++c) {
      if ((surround_.enabled >> c) & 1u) packedChannels_[count++] = c;
    }
    if (count == 0) packedChannels_[count++] = 0;
    channels_ = count;
    packsChannels_ = true;
  }
  // Which host channel each of the plug-in's channels reads and writes: the second of the pair
  // for the modes that process it alone.
  for (int32_t k = 0; k < channels_; ++k) {
    sourceChannels_[k] = packsChannels_ ? packedChannels_[k] : (RChannelModes::SwapsPair(mode) ? 1 - k : k);
  }
  // The plug-in's own arrays hold its channels only.
  channelStride_ = channels_;
}

void RAudioPlugin::PushDry(float* const* inputs, const float** dry, int32_t frames) noexcept {
  const bool hasInput = inputs && inputBuses_ > 0;
  for (int32_t c = 0; c < hostChannels_; ++c) dry[c] = dryDelay_.Push(c, hasInput ? inputs[c] : nullptr, frames);
}

void RAudioPlugin::PassExtraChannels(float* const* inputs, const float* const* dry, float* const* outputs,
                                     int32_t frames) noexcept {
  for (int32_t b = 0; b < outputBuses_; ++b) {
    for (int32_t c = processChannels_; c < hostChannels_; ++c) {
      float* y = outputs[b * hostChannels_ + c];
      if (!y) continue;
      const float* x = b == 0 ? dry[c] : (inputs && b < inputBuses_ ? inputs[b * hostChannels_ + c] : nullptr);
      Copy(x, y, frames);
    }
  }
}

// From the host's arrays (inputs pointing at the cycle's own copy, whose buffers may change
// here) to the plug-in's: mid and side, a negated right, then each of the plug-in's channels
// taken from its source channel.
void RAudioPlugin::ApplyChannelMode(float* const* inputs, float* const* outputs, float** pluginInputs,
                                    float** pluginOutputs, int32_t frames) noexcept {
  using namespace RChannelModes;
  const int32_t mode = activeChannelMode_;
  const int32_t stride = hostChannels_;
  if (!packsChannels_ && processChannels_ >= 2 && ChangesInput(mode)) {
    for (int32_t b = 0; inputs && b < inputBuses_; ++b) {
      float* first = inputs[b * stride];
      float* second = inputs[b * stride + 1];
      // A bus that is another bus's very buffers was changed with it.
      if (!first || !second || FindSameBuffer(inputs, b * stride) >= 0) continue;
      if (IsMidSide(mode)) EncodeMidSide(first, second, frames);
      if (mode == kLeftRightNegated) Negate(second, frames);
    }
  }
  for (int32_t b = 0; inputs && b < inputBuses_; ++b) {
    for (int32_t k = 0; k < channels_; ++k) pluginInputs[b * channels_ + k] = inputs[b * stride + sourceChannels_[k]];
  }
  for (int32_t b = 0; b < outputBuses_; ++b) {
    for (int32_t k = 0; k < channels_; ++k) pluginOutputs[b * channels_ + k] = outputs[b * stride + sourceChannels_[k]];
  }
}

void RAudioPlugin::UndoChannelMode(const float* const* dry, float* const* outputs, int32_t frames) noexcept {
  using namespace RChannelModes;
  // outputs are the host's own array: whatever the mode swapped or packed, its channels are
  // in their places again here.
  const int32_t mode = activeChannelMode_;
  if (packsChannels_) {
    uint64_t processed = 0;
    for (int32_t k = 0; k < channels_; ++k) processed |= uint64_t(1) << packedChannels_[k];
    for (int32_t b = 0; b < outputBuses_; ++b) {
      for (int32_t c = 0; c < processChannels_; ++c) {
        float* y = outputs[b * hostChannels_ + c];
        if (!y) continue;
        // A channel switched off passes dry.
        if (!((processed >> c) & 1u)) Copy(b == 0 ? dry[c] : nullptr, y, frames);
        if (surround_.volume[c] != 1.0f) {
          for (int32_t i = 0; i < frames; ++i) y[i] *= surround_.volume[c];
        }
      }
    }
    return;
  }
  if (mode == kLeftRight || processChannels_ < 2) return;
  for (int32_t b = 0; b < outputBuses_; ++b) {
    // Left (or mid) in the first buffer, right (or side) in the second, whichever one the
    // plug-in processed.
    float* first = outputs[b * hostChannels_];
    float* second = outputs[b * hostChannels_ + 1];
    if (!first || !second) continue;
    if (ProcessesOneOfPair(mode)) {
      // The signal the plug-in didn't see comes back dry, in the mode's own terms.
      float* unprocessed = SwapsPair(mode) ? first : second;
      if (ZeroesUnprocessed(mode) || b > 0 || !dry[0] || !dry[1]) {
        std::memset(unprocessed, 0, size_t(frames) * sizeof(float));
      } else if (mode == kLeft) {
        Copy(dry[1], unprocessed, frames);
      } else if (mode == kRight) {
        Copy(dry[0], unprocessed, frames);
      } else {
        // Mono keeps the dry side, Stereo the dry mid.
        const float sign = mode == kMono ? -1.0f : 1.0f;
        for (int32_t i = 0; i < frames; ++i) unprocessed[i] = (dry[0][i] + sign * dry[1][i]) * 0.5f;
      }
      ProcessUnprocessedChannel(unprocessed, frames);
    }
    if (IsMidSide(mode)) DecodeMidSide(first, second, frames);
  }
}
