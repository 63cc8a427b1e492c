#pragma once
// A small plug-in for the ramp and automation tests: a few values, the protected state the
// cycle would set opened up, and a block runner that cuts a block into sub-blocks the way the
// scheduler does.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "kernel/audiopluginbase.h"

class RRampTestPlugin : public RAudioPluginBase {
public:
  explicit RRampTestPlugin(const char* name = "Ramps") : RAudioPluginBase(RString::FromUTF8(name)) {
    fine.SetFlag(RValue::kFineRamp, true);
  }

  RRealValue gain{this, RString("Gain"), 0.0, 1.0, 0.0};
  RRealValue fine{this, RString("Fine"), 0.0, 1.0, 0.0};
  RBoolValue power{this, RString("Power"), false};
  RRealValue internal{this, RString("Internal"), 0.0, 1.0, 0.0};

  // The table as the cycle leaves it after Setup: filled, synced, ramps reserved.
  void SetUp() {
    InitParameters();
    ResetParameters();
    firstBlock_ = false;
  }
  using RAudioPluginBase::ResetParameters;

  int32_t GetAutomatableCount() const override { return automatable_ < 0 ? GetParameterCount() : automatable_; }
  void SetAutomatableCount(int32_t count) { automatable_ = count; }

  void SetOversampling(int32_t factor, int32_t shift) {
    oversampling_ = factor;
    eventShift_ = shift;
  }
  void SetSampleAccurate(bool on) { sampleAccurateEvents_ = on; }
  void SetFirstBlock(bool on) { firstBlock_ = on; }
  void SetLastProcessTime(uint32_t time) { lastProcessTime_ = time; }
  void SetEditRamp(int32_t frames) { editRamp_ = frames; }
  void SetNoRamps() { noRamps_ = true; }
  int32_t GetRemainingFrames() const { return remainingFrames_; }

  int32_t CountActive() const { return Count(activeRamps_); }
  int32_t CountFree() const { return Count(freeRamps_); }

  struct Cut {
    int32_t start;
    int32_t length;
    double value;  // the watched value's processing value while the sub-block runs
  };
  struct Block {
    int32_t first = 0;          // what InterpolationPrepare returned
    int32_t limitAfterPrepare = 0;
    int32_t remainingAfterPrepare = 0;
    std::vector<Cut> cuts;
  };

  // One block as the scheduler runs it: each sub-block's interpolation is advanced to its end
  // before the sub-block is processed, so a sub-block sees the value at its end.
  Block RunBlock(int32_t frames, int32_t stepLimit, int32_t fineLimit, const RValue& watch) {
    Block block;
    int32_t limit = stepLimit;
    block.first = InterpolationPrepare(frames, limit, fineLimit);
    block.limitAfterPrepare = limit;
    block.remainingAfterPrepare = remainingFrames_;
    if (block.first >= frames) {
      InterpolationProcess(frames, frames);
      block.cuts.push_back({0, frames, watch.GetProcessingNormalised()});
    } else {
      int32_t next = block.first;
      for (int32_t done = 0; done < frames;) {
        const int32_t count = std::max(1, std::min(next, frames - done));
        next = InterpolationProcess(count, limit);
        block.cuts.push_back({done, count, watch.GetProcessingNormalised()});
        done += count;
      }
    }
    InterpolationFinish();
    return block;
  }

  // Recorded by the gesture hooks (which still call the base, so the adapter hears them).
  struct Gesture {
    bool begin;
    int32_t index;
    double normalised;
  };
  std::vector<Gesture> gestures;
  void BeginEdit(int32_t index, double normalised) override {
    gestures.push_back({true, index, normalised});
    RAudioPluginBase::BeginEdit(index, normalised);
  }
  void EndEdit(int32_t index, double normalised) override {
    gestures.push_back({false, index, normalised});
    RAudioPluginBase::EndEdit(index, normalised);
  }

private:
  static int32_t Count(const Ramp* ramp) {
    int32_t n = 0;
    for (; ramp; ramp = ramp->next) ++n;
    return n;
  }
  int32_t automatable_ = -1;
};
