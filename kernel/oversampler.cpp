#include "kernel/oversampler.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstring>

#include "kernel/firkernels.h"
#include "kernel/oversamplingfilter.h"

namespace {

// Up-sampling runs in pieces of this many host frames, so that the phases' results wait in a
// scratch area of factor * kChunk floats (8 KiB at 8x) before they are interleaved.
constexpr int32_t kChunk = 256;

bool AllZero(const float* x, int32_t count) noexcept {
  uint32_t bits = 0;
  for (int32_t i = 0; i < count; ++i) bits |= std::bit_cast<uint32_t>(x[i]) & 0x7fffffffu;
  return bits == 0;
}

} // namespace

void ROversampler::Setup(double hostSampleRate, int32_t factor, bool hq, int32_t upChannels, int32_t downChannels,
                         int32_t maxHostBlock) {
  const int32_t newFactor = std::clamp(factor, int32_t(1), kMaxFactor);
  const int32_t ups = std::max(upChannels, int32_t(0));
  const int32_t downs = std::max(downChannels, int32_t(0));
  const int32_t block = std::max(maxHostBlock, int32_t(0));
  const ROversamplingFilter::Quality& quality = hq ? ROversamplingFilter::HQ() : ROversamplingFilter::Standard();
  const int32_t taps = newFactor > 1 ? quality.tapsPerPhase : 0;

  std::vector<Phase> upPhases, downPhases;
  std::vector<float> upTaps, downTaps;
  if (newFactor > 1) {
    const std::vector<double> h = ROversamplingFilter::DesignPrototype(newFactor, taps, quality.kaiserBeta);
    const int64_t last = int64_t(taps) * newFactor;
    // The up phase p produces output n * L + p from input n - t with the point t * L + p;
    // the down phase r takes down-buffer sample (m - t) * L + r into output m with the point
    // t * L - r. Zero points at either end are left out.
    auto addPhase = [&](std::vector<Phase>& phases, std::vector<float>& out, int32_t phase, bool up) {
      Phase result;
      const double scale = up ? 1.0 : 1.0 / double(newFactor);
      int32_t first = -1;
      int32_t end = 0;
      for (int32_t t = 0; t <= taps; ++t) {
        const int64_t k = up ? int64_t(t) * newFactor + phase : int64_t(t) * newFactor - phase;
        if (k < 0 || k > last || h[size_t(k)] == 0.0) continue;
        if (first < 0) first = t;
        end = t + 1;
      }
      result.first = std::max(first, int32_t(0));
      result.count = first < 0 ? 0 : end - first;
      result.offset = int32_t(out.size());
      for (int32_t t = result.first; t < result.first + result.count; ++t) {
        const int64_t k = up ? int64_t(t) * newFactor + phase : int64_t(t) * newFactor - phase;
        out.push_back(k < 0 || k > last ? 0.0f : float(h[size_t(k)] * scale));
      }
      phases.push_back(result);
    };
    for (int32_t p = 0; p < newFactor; ++p) addPhase(upPhases, upTaps, p, true);
    for (int32_t r = 0; r < newFactor; ++r) addPhase(downPhases, downTaps, r, false);
  }

  const size_t bufferStride = size_t(block) * size_t(newFactor);
  const size_t historyStride = size_t(taps) + size_t(block);
  std::vector<float> upBuffers(bufferStride * size_t(ups));
  std::vector<float> downBuffers(bufferStride * size_t(downs));
  std::vector<float> upHistories(newFactor > 1 ? historyStride * size_t(ups) : 0);
  std::vector<float> downHistories(newFactor > 1 ? historyStride * size_t(newFactor) * size_t(downs) : 0);
  std::vector<uint8_t> upQuiet(size_t(ups), 1);
  std::vector<float> scratch(newFactor > 1 ? size_t(kChunk) * size_t(newFactor) : 0);
  std::vector<const float*> upPhaseData(static_cast<size_t>(newFactor));
  std::vector<float*> downPhaseData(static_cast<size_t>(newFactor));

  // Nothing below throws: the object changes all at once or not at all.
  hostSampleRate_ = hostSampleRate;
  factor_ = newFactor;
  hq_ = hq;
  tapsPerPhase_ = taps;
  upChannels_ = ups;
  downChannels_ = downs;
  maxHostBlock_ = block;
  bufferStride_ = bufferStride;
  historyStride_ = historyStride;
  upPhases_.swap(upPhases);
  downPhases_.swap(downPhases);
  upTaps_.swap(upTaps);
  downTaps_.swap(downTaps);
  upBuffers_.swap(upBuffers);
  downBuffers_.swap(downBuffers);
  upHistories_.swap(upHistories);
  downHistories_.swap(downHistories);
  upQuiet_.swap(upQuiet);
  scratch_.swap(scratch);
  upPhaseData_.swap(upPhaseData);
  downPhaseData_.swap(downPhaseData);
}

float* ROversampler::GetUpBuffer(int32_t channel) noexcept {
  if (channel < 0 || channel >= upChannels_) return nullptr;
  return upBuffers_.data() + size_t(channel) * bufferStride_;
}

float* ROversampler::GetDownBuffer(int32_t channel) noexcept {
  if (channel < 0 || channel >= downChannels_) return nullptr;
  return downBuffers_.data() + size_t(channel) * bufferStride_;
}

float* ROversampler::UpHistory(int32_t channel) noexcept {
  return upHistories_.data() + size_t(channel) * historyStride_;
}

float* ROversampler::DownHistory(int32_t channel, int32_t phase) noexcept {
  return downHistories_.data() + (size_t(channel) * size_t(factor_) + size_t(phase)) * historyStride_;
}

void ROversampler::Upsample(int32_t channel, const float* input, int32_t frames) noexcept {
  if (channel < 0 || channel >= upChannels_) return;
  frames = std::clamp(frames, int32_t(0), maxHostBlock_);
  if (frames == 0) return;
  if (input == nullptr) {
    Advance(channel, frames);
    return;
  }
  float* destination = factor_ == 1 ? GetUpBuffer(channel) : UpHistory(channel) + tapsPerPhase_;
  RFirKernels::DeinterleaveFinite(input, 1, frames, &destination);
  if (factor_ == 1) return;
  UpsampleFromHistory(channel, frames);
}

void ROversampler::Advance(int32_t channel, int32_t frames) noexcept {
  if (channel < 0 || channel >= upChannels_) return;
  frames = std::clamp(frames, int32_t(0), maxHostBlock_);
  if (frames == 0) return;
  float* up = GetUpBuffer(channel);
  if (factor_ == 1 || upQuiet_[size_t(channel)]) {
    // A zero history stays zero and filters to zeros.
    std::memset(up, 0, size_t(frames) * size_t(factor_) * sizeof(float));
    return;
  }
  std::memset(UpHistory(channel) + tapsPerPhase_, 0, size_t(frames) * sizeof(float));
  UpsampleFromHistory(channel, frames);
}

// The channel's history holds T samples of past and then the block's input.
void ROversampler::UpsampleFromHistory(int32_t channel, int32_t frames) noexcept {
  float* history = UpHistory(channel);
  const float* now = history + tapsPerPhase_;
  float* up = GetUpBuffer(channel);
  float* scratch = scratch_.data();
  const int32_t factor = factor_;
  const float** phaseData = upPhaseData_.data();
  for (int32_t start = 0; start < frames; start += kChunk) {
    const int32_t count = std::min(kChunk, frames - start);
    for (int32_t p = 0; p < factor; ++p) {
      const Phase& phase = upPhases_[size_t(p)];
      const float* x = now + start - phase.first;
      if (phase.count == 1 && upTaps_[size_t(phase.offset)] == 1.0f) {
        // The centre phase passes the input through, delayed.
        phaseData[p] = x;
        continue;
      }
      float* out = scratch + ptrdiff_t(p) * kChunk;
      RFirKernels::Convolve(x, upTaps_.data() + phase.offset, phase.count, out, count, false);
      phaseData[p] = out;
    }
    RFirKernels::Interleave(phaseData, factor, count, up + ptrdiff_t(start) * factor);
  }
  // Keep the last T samples as the next block's past.
  std::memmove(history, history + frames, size_t(tapsPerPhase_) * sizeof(float));
  upQuiet_[size_t(channel)] = AllZero(history, tapsPerPhase_);
}

void ROversampler::Downsample(int32_t channel, float* output, int32_t frames) noexcept {
  if (channel < 0 || channel >= downChannels_ || output == nullptr) return;
  frames = std::clamp(frames, int32_t(0), maxHostBlock_);
  if (frames == 0) return;
  const float* down = GetDownBuffer(channel);
  if (factor_ == 1) {
    RFirKernels::DeinterleaveFinite(down, 1, frames, &output);
    return;
  }
  const int32_t factor = factor_;
  const int32_t taps = tapsPerPhase_;
  float** phaseData = downPhaseData_.data();
  for (int32_t r = 0; r < factor; ++r) phaseData[r] = DownHistory(channel, r) + taps;
  RFirKernels::DeinterleaveFinite(down, factor, frames, phaseData);
  bool first = true;
  for (int32_t r = 0; r < factor; ++r) {
    float* history = DownHistory(channel, r);
    const Phase& phase = downPhases_[size_t(r)];
    if (phase.count > 0) {
      RFirKernels::Convolve(history + taps - phase.first, downTaps_.data() + phase.offset, phase.count, output, frames,
                            !first);
      first = false;
    }
    std::memmove(history, history + frames, size_t(taps) * sizeof(float));
  }
  if (first) std::memset(output, 0, size_t(frames) * sizeof(float));
}

void ROversampler::Reset() noexcept {
  // Only the T samples of past count: the rest of a history is written by each block before
  // it is read, and clearing it all would take milliseconds at the highest factors.
  const size_t past = size_t(tapsPerPhase_) * sizeof(float);
  if (past == 0) return;
  for (int32_t channel = 0; channel < upChannels_; ++channel) std::memset(UpHistory(channel), 0, past);
  for (int32_t channel = 0; channel < downChannels_; ++channel) {
    for (int32_t phase = 0; phase < factor_; ++phase) std::memset(DownHistory(channel, phase), 0, past);
  }
  std::fill(upQuiet_.begin(), upQuiet_.end(), uint8_t(1));
}
