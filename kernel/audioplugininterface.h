#pragma once
// RAudioPluginInterface: the host-side object. Every host adapter (VST3, LV2, the command
// line's offline host) derives from it; it owns the plug-in for the plug-in's life and is
// what the plug-in tells about automation, gestures and latency.

#include <cstdint>
#include <memory>

#include "base/string.h"
#include "kernel/timeinfo.h"

class RAudioPlugin;
class RStream;

class RAudioPluginInterface {
public:
  // Takes ownership and links the plug-in back to this adapter.
  explicit RAudioPluginInterface(std::unique_ptr<RAudioPlugin> plugin);
  virtual ~RAudioPluginInterface();
  RAudioPluginInterface(const RAudioPluginInterface&) = delete;
  RAudioPluginInterface& operator=(const RAudioPluginInterface&) = delete;

  RAudioPlugin& GetPlugin() noexcept { return *plugin_; }

  // Sizes the shared silent and throw-away buffers for blocks of up to maxFrames; the
  // plug-in calls it when the host announces its format. Longer blocks are processed in
  // pieces of this size. Never during a process call. [host-thread]
  void PrepareBuffers(int32_t maxFrames);

  // One host block: denormals flushed, missing buffers filled with shared silent and
  // throw-away ones, runaway inputs silenced, the position pulled back by the latency, then
  // the plug-in's cycle. Runs in a guard: nothing is thrown out. [audio-thread]
  void ProcessAudio(float* const* inputs, float* const* outputs, int32_t frames,
                    const RHostTimeInfo* host = nullptr) noexcept;

  // The state chunk: the plug-in's tree in compressed binary mark-up. LoadState keeps the
  // previous state when the chunk can't be read, and reports "Error loading plugin settings
  // for {0}.\n\n{1}"; both return whether they succeeded.
  bool SaveState(RStream& chunk);
  bool LoadState(RStream& chunk);
  // The message of the last failed SaveState or LoadState.
  const RString& GetLastError() const noexcept { return lastError_; }

  // --- what the plug-in tells the host; an adapter overrides what its host can hear. The
  // base has no host to tell: the three below do nothing. [any-thread but audio]
  virtual void AutomationChanged(int32_t index, double normalised);
  virtual void BeginGesture(int32_t index);
  virtual void EndGesture(int32_t index);
  // Gesture ends that a host wants after the values they close (SendAllAutomation).
  virtual void FlushGestureEnds() {}
  virtual void TouchEvent(int32_t index, int32_t kind) { (void)index; (void)kind; }
  virtual void LatencyChanged(int32_t samples) { (void)samples; }
  bool IsLatencyChangePending() const noexcept { return latencyChangePending_; }
  void SetLatencyChangePending(bool pending) noexcept { latencyChangePending_ = pending; }

protected:
  std::unique_ptr<RAudioPlugin> plugin_;
  RString lastError_;
  bool latencyChangePending_ = false;

private:
  // Shared silent input and throw-away output buffers, grown outside the audio path.
  struct GapBuffers;
  std::unique_ptr<GapBuffers> gaps_;
};
