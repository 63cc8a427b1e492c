#pragma once
// ROversampler: the filters that run a plug-in's inner cycle at a multiple of the host rate.
// The cycle up-samples each input channel into an up buffer, the plug-in reads the up buffers
// and writes the down buffers at factor times the rate, and each down buffer is filtered and
// decimated back into a host output.
//
// Why linear phase: the product mixes wet and dry copies inside its graph, and the host mixes
// our output with its own latency-compensated dry tracks. A linear-phase pair whose delays add
// up to a whole number of host samples is a pure delay in the passband, so nothing combs
// against a dry copy; a minimum-phase pair would be shorter but would turn the phase near
// 20 kHz and comb against every dry copy.
//
// The filters: polyphase FIR interpolation by L and decimation by L, both from one
// Kaiser-windowed sinc prototype of N = T * L + 1 points (T taps per phase, see
// kernel/oversamplingfilter.h for the figures of each quality). Each of the two is delayed by
// (N - 1) / 2 = T * L / 2 oversampled samples, the round trip by exactly T host samples:
// GetDelay() = T (40 for HQ, 20 for standard). The up filter has a gain of L (each phase sums
// to 1), the down filter a gain of 1, so the round trip is unity in the passband. The edges
// are fractions of the host rate, so the same design serves 44.1 to 192 kHz (at 44.1 kHz HQ
// is flat to 18.4 kHz; at 96 kHz and above the audio band is far inside the passband).
//
// Cost: one stage for every factor. Per host sample and channel, up-sampling and
// down-sampling each take about T * L multiply-adds (less one phase: the cut-off sits at the
// host's Nyquist frequency, so the centre phase is a pure delay), so the cost grows with the
// factor. That is fine for the 2x to 8x the product offers; 16x and above work the same way,
// only slower. The inner loops run over a block per tap (kernel/firkernels.h); the histories
// are linear buffers whose last T samples move to the front after each block. A stereo pair
// up and down costs about 5, 13 and 35 ns per host frame at 2x, 4x and 8x HQ (3, 7 and 19
// standard) on an AVX-512 machine, small beside the plug-in's own work at that rate.
//
// Non-finite samples never enter a history: they are taken as 0 when copied in, so the
// output is finite whatever the input, and the filters carry nothing over once the input is
// finite again.
//
// Threads: Setup is [host-thread], called inside the plug-in's Setup under its locks, and
// allocates. Upsample, Advance, Downsample and Reset are [audio-thread]: allocation-free,
// lock-free and noexcept. Channels outside the ranges given to Setup are ignored, and frames
// are held within 0..maxHostBlock.

#include <cstddef>
#include <cstdint>
#include <vector>

class ROversampler {
public:
  // Factors offered: 1..8, 16, 32, 64, 128, 256, 512, 1024 (the filters work for any factor
  // in between as well).
  static constexpr int32_t kMaxFactor = 1024;

  // Designs the filters for this host rate, factor (held within 1..kMaxFactor; at 1 the
  // buffers are plain copies and the delay is 0) and quality, with state for upChannels
  // channels going up and downChannels channels coming down, and buffers for blocks of up to
  // maxHostBlock host frames. Clears all state. On failure (out of memory) the object keeps
  // its former setup. [host-thread]
  void Setup(double hostSampleRate, int32_t factor, bool hq, int32_t upChannels, int32_t downChannels,
             int32_t maxHostBlock);

  int32_t GetFactor() const noexcept { return factor_; }
  bool IsHQ() const noexcept { return hq_; }
  // The round trip's delay in host samples (T): up-sampling and down-sampling together.
  int32_t GetDelay() const noexcept { return tapsPerPhase_; }
  double GetHostSampleRate() const noexcept { return hostSampleRate_; }
  int32_t GetMaxHostBlock() const noexcept { return maxHostBlock_; }

  // The oversampled buffers of a channel, maxHostBlock * factor floats each; null for a
  // channel out of range.
  float* GetUpBuffer(int32_t channel) noexcept;
  float* GetDownBuffer(int32_t channel) noexcept;

  // Interpolates frames host samples of input into frames * factor samples of the channel's
  // up buffer. A null input counts as silence. [audio-thread]
  void Upsample(int32_t channel, const float* input, int32_t frames) noexcept;
  // Upsample of silence, for a channel without input: the up buffer receives the filter's
  // ring-out, then zeros; once the history is all zero it only clears the buffer.
  // [audio-thread]
  void Advance(int32_t channel, int32_t frames) noexcept;
  // Filters frames * factor samples of the channel's down buffer and writes every factor-th
  // result, frames host samples, to output. [audio-thread]
  void Downsample(int32_t channel, float* output, int32_t frames) noexcept;
  // Clears every history, as a Setup would, without allocating. The buffers keep their
  // contents: each block writes them before they are read. [audio-thread]
  void Reset() noexcept;

private:
  // The taps of one polyphase component that are not zero: taps[0] applies to the sample
  // `first` host samples back.
  struct Phase {
    int32_t first = 0;
    int32_t count = 0;
    int32_t offset = 0;  // into the quality's tap array
  };

  void UpsampleFromHistory(int32_t channel, int32_t frames) noexcept;
  float* UpHistory(int32_t channel) noexcept;
  float* DownHistory(int32_t channel, int32_t phase) noexcept;

  double hostSampleRate_ = 0.0;
  int32_t factor_ = 1;
  bool hq_ = false;
  int32_t tapsPerPhase_ = 0;
  int32_t upChannels_ = 0;
  int32_t downChannels_ = 0;
  int32_t maxHostBlock_ = 0;
  size_t bufferStride_ = 0;   // maxHostBlock * factor
  size_t historyStride_ = 0;  // T + maxHostBlock: T samples of past, then the block

  std::vector<Phase> upPhases_, downPhases_;
  std::vector<float> upTaps_, downTaps_;
  std::vector<float> upBuffers_, downBuffers_;
  // Up: one history per channel. Down: one per channel and phase, each holding every
  // factor-th sample of the down buffer, so that each phase runs over contiguous samples.
  std::vector<float> upHistories_, downHistories_;
  // Per up channel: its history is all zeros, so Advance has nothing to ring out.
  std::vector<uint8_t> upQuiet_;
  // The up phases' results for a piece of a block before they are interleaved.
  std::vector<float> scratch_;
  // Where each phase's samples are for the moves into and out of the oversampled buffers.
  std::vector<const float*> upPhaseData_;
  std::vector<float*> downPhaseData_;
};
