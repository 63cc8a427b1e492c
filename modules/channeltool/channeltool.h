#pragma once
// RChannelTool: the utility strip of the grid. One block passes, in this order:
//
//   1. panoramaleft / panoramaright place each input channel in the output pair (-1 left,
//      1 right; the defaults -1 and 1 leave the pair as it is). Each channel is spread as the
//      panorama stage spreads, (1 - p) / 2 to the left and (1 + p) / 2 to the right, so the
//      sum of the two outputs is always the sum of the inputs.
//   2. Volume, Gain, VolumeLeft on channel 0, VolumeRight on channel 1 (ramped).
//   3. panorama with its law panlaw2 (6 dB: plain; more: louder towards the sides).
//   4. The delay: DelaySamples plus DelayMilliseconds, gliding on a change; reported to the
//      host as latency when DelayReportLatency is on.
//   5. InvertLeft, InvertRight, SwapLeftRight.
//   6. The DC blocker (modules/channeltool/dcblocker.h).
//   7. RMS and envelope: the signal becomes its level (modules/channeltool/followers.h).
//   8. Math (modules/channeltool/channelmath.h), then the expression: a formula of x (the
//      sample), p1 and p2 (Param1, Param2) in the language of modulation/expression.h.
//   9. The coder (modules/channeltool/channelcoder.h).
//  10. The silence switches: silence for the block while playback runs or stands, or while
//      the host renders in real time or offline.
// Stages 3, 5 (swap) and 9 need a pair; with one channel they pass.
//
// Panels: each panel's switch (DCBlocker, DelayEnabled, RMSEnabled, EnvelopeEnabled,
// MathEnabled, ExpressionEnabled, Coder) turns its stage on; the basic values are always on.
//
// Scenarios:
//   I.   The delay grows while audio runs: while the delay is on, the lines keep room for the
//        whole DelaySamples range and DelayMilliseconds as set, made at setup, at a load and
//        by the delay values' Changed hook (editor side, under the audio lock). Only a
//        milliseconds change that reaches the audio thread before its hook (host automation)
//        grows a ring there, the delay line's one allowed allocation. A change of the reported latency is passed
//        to the host through the kernel's latency report, and inside a graph the hook
//        recompiles the graph so that the rows line up again.
//   II.  The user types an expression: SetExpressionText compiles it on the editor thread and
//        swaps it in under the audio lock. A text that doesn't compile keeps its message for
//        the editor and the stage passes audio through. The text is stored with the settings.
//
// Threads: construction, Setup, SetExpressionText and Store on the editor or host thread;
// Update and Process on the audio thread, allocation-free apart from the delay growth above.

#include <memory>
#include <vector>

#include "kernel/audioplugin.h"
#include "modulation/expression.h"
#include "modules/channeltool/channelcoder.h"
#include "modules/channeltool/channelmath.h"
#include "modules/channeltool/dcblocker.h"
#include "modules/channeltool/followers.h"
#include "modules/common/modulevalues.h"
#include "modules/dsp/delayline.h"

class RChannelTool : public RAudioPlugin {
public:
  static constexpr int32_t kMaxDelaySamples = 10000;
  static constexpr double kMaxDelaySeconds = 10.0;
  static constexpr double kMaxRMSSeconds = 1.0;

  RChannelTool();
  ~RChannelTool() override;

  void Setup_Locked() override;
  void Update() override;
  void ClearState() override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;
  // The delay in samples while DelayEnabled and DelayReportLatency are both on, else 0; from
  // the values as set, so that a report made before the next block already holds the new one.
  int32_t GetLatency() const override;
  void Store(RStoreContext& context) override;

  // The delay the audio runs now, in samples.
  int32_t GetActiveDelay() const noexcept { return activeDelay_; }

  // Compiles and installs the expression; false (and the message in GetExpressionError) when
  // it doesn't compile. [editor-thread]
  bool SetExpressionText(const RString& text);
  const RString& GetExpressionText() const noexcept { return expressionText_; }
  // Empty when the present text compiled.
  const RString& GetExpressionError() const noexcept { return expressionError_; }

private:
  // Samples of DelaySamples plus DelayMilliseconds, from the values as set or as processed.
  int32_t DelayOfSettings(bool processing) const noexcept;
  // Samples of room the delay lines keep while the delay is on: every DelaySamples, and
  // DelayMilliseconds as set.
  int32_t DelayRoom() const noexcept;
  // Makes that room in every delay line. Takes the audio lock. [editor-thread]
  void ReserveDelay();
  static void DelaySettingChanged(void* receiver, void* cookie, int32_t identifier, const REventPayload& payload);

  // The stages of Process that are more than a call.
  void PlaceInputs(float* const* inputs, float* const* outputs, int32_t frames) noexcept;
  void RunExpression(float* const* outputs, int32_t channels, int32_t frames) noexcept;
  bool SilenceHolds() const noexcept;

  // --- "Basic"
  std::unique_ptr<RVolumeValue> volume_;
  std::unique_ptr<RGainValue> gain_;
  std::unique_ptr<RPanValue> panorama_;
  std::unique_ptr<RGainValue> panoramaLaw_;
  std::unique_ptr<RPanValue> panoramaLeft_;
  std::unique_ptr<RPanValue> panoramaRight_;
  std::unique_ptr<RVolumeValue> volumeLeft_;
  std::unique_ptr<RVolumeValue> volumeRight_;
  std::unique_ptr<RBoolValue> invertLeft_;
  std::unique_ptr<RBoolValue> invertRight_;
  std::unique_ptr<RBoolValue> swapLeftRight_;
  std::unique_ptr<RBoolValue> silencePlaybackOn_;
  std::unique_ptr<RBoolValue> silencePlaybackOff_;
  std::unique_ptr<RBoolValue> silenceOnline_;
  std::unique_ptr<RBoolValue> silenceOffline_;
  // --- DC blocker
  std::unique_ptr<RBoolValue> dcBlocker_;
  std::unique_ptr<RPercentValue> dcQuality_;
  std::unique_ptr<RModuleChoiceValue> dcAttenuation_;
  // --- delay
  std::unique_ptr<RBoolValue> delayEnabled_;
  std::unique_ptr<RIntegerValue> delaySamples_;
  std::unique_ptr<RTimeValue> delayMilliseconds_;
  std::unique_ptr<RBoolValue> delayReportLatency_;
  // --- RMS
  std::unique_ptr<RBoolValue> rmsEnabled_;
  std::unique_ptr<RTimeValue> rmsLength_;
  std::unique_ptr<RTimeValue> rmsHold_;
  // --- envelope
  std::unique_ptr<RBoolValue> envelopeEnabled_;
  std::unique_ptr<RTimeValue> attack_;
  std::unique_ptr<RTimeValue> release_;
  // --- math
  std::unique_ptr<RBoolValue> mathEnabled_;
  std::unique_ptr<RRealValue> mathAdd_;
  std::unique_ptr<RPercentValue> mathExp_;
  std::unique_ptr<RPercentValue> mathLog_;
  std::unique_ptr<RModuleChoiceValue> mathBase_;
  // --- expression
  std::unique_ptr<RBoolValue> expressionEnabled_;
  std::unique_ptr<RRealValue> param1_;
  std::unique_ptr<RRealValue> param2_;
  // --- coder
  std::unique_ptr<RBoolValue> coder_;
  std::unique_ptr<RModuleChoiceValue> coderMode_;

  // --- audio state, sized by Setup_Locked per processed channel
  std::vector<RDelayLine> delayLines_;
  std::vector<RRMSFollower> rmsFollowers_;
  std::vector<REnvelopeFollower> envelopes_;
  RDCBlocker dcBlockerFilter_;
  RChannelMath math_;
  int32_t activeDelay_ = 0;
  int32_t dcOrder_ = 0;
  double dcQualityDesigned_ = -1.0;
  // The latency last passed on: to the host's report and to the graph's compile.
  int32_t announcedLatency_ = 0;
  int32_t graphLatency_ = 0;

  // --- expression: the program the audio thread runs, swapped under the audio lock
  std::unique_ptr<RExpression> expression_;
  int32_t param1Slot_ = -1;
  int32_t param2Slot_ = -1;
  RString expressionText_;
  RString expressionError_;
};

// Enters "ChannelTool" into the module registry. [host-thread], at start.
void RegisterChannelTool();
