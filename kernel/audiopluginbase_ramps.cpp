// The ramps of RAudioPluginBase: planning parameter changes as points in time
// (SetParameterEdited) and walking them as the cycle cuts a block into sub-blocks
// (InterpolationPrepare, InterpolationProcess, InterpolationFinish).
//
// A ramp holds the points of one parameter, times in samples from the start of the present
// sub-block. Point 0 is where the glide started (at or before now), point 1 the next target.
// The cycle ends a sub-block at every point, so between points the processing value moves in
// straight steps of one sub-block each.
#include "kernel/audiopluginbase.h"

#include <algorithm>
#include <cmath>

namespace {

using Ramp = RAudioPluginBase::Ramp;

// Beyond one automatable parameter each, a plug-in with thousands of mirrored records would
// hold megabytes of ramps it never uses; past this many the rare allocation is acceptable.
constexpr size_t kMaxReservedRamps = 512;

// The value of a ramp at time 0 of the present sub-block.
double ValueNow(const Ramp& ramp) noexcept {
  const RAudioPluginBase::RampPoint& a = ramp.points[0];
  if (a.time > 0) return a.value;
  const RAudioPluginBase::RampPoint& b = ramp.points[1];
  const int64_t span = int64_t(b.time) - int64_t(a.time);
  // Two points at one time are a jump: the later one holds from that sample on.
  if (span <= 0) return std::clamp(b.value, 0.0, 1.0);
  const int64_t pos = std::min(-int64_t(a.time), span);
  return std::clamp(a.value + double(pos) * (b.value - a.value) / double(span), 0.0, 1.0);
}

// The next time at which the ramp wants a sub-block to end.
int32_t NextTime(const Ramp& ramp) noexcept {
  return ramp.points[0].time > 0 ? ramp.points[0].time : ramp.points[1].time;
}

} // namespace

// --- list work; callers hold the automation lock

namespace {

void Unlink(Ramp*& active, Ramp* ramp) noexcept {
  if (ramp->previous)
    ramp->previous->next = ramp->next;
  else
    active = ramp->next;
  if (ramp->next) ramp->next->previous = ramp->previous;
  ramp->previous = ramp->next = nullptr;
}

void PushFree(Ramp*& free, Ramp* ramp) noexcept {
  ramp->index = -1;
  ramp->count = 0;
  ramp->previous = nullptr;
  ramp->next = free;
  free = ramp;
}

void Retire(Ramp*& active, Ramp*& free, Ramp* ramp) noexcept {
  Unlink(active, ramp);
  PushFree(free, ramp);
}

Ramp* FindRamp(Ramp* active, int32_t index) noexcept {
  for (Ramp* r = active; r; r = r->next)
    if (r->index == index) return r;
  return nullptr;
}

// Each ramp's parameter jumps to its last planned value; every ramp goes to the free list.
void JumpToLastPoints(RAudioPluginBase& plugin, Ramp*& active, Ramp*& free) noexcept {
  while (Ramp* r = active) {
    if (RValue* value = plugin.GetParameterValue(r->index))
      value->SetProcessing(std::clamp(r->points[r->count - 1].value, 0.0, 1.0));
    Retire(active, free, r);
  }
}

} // namespace

void RAudioPluginBase::SetParameterEdited(int32_t sampleOffset, int32_t index, double normalised) {
  RLockGuard lock(GetAutomationLock());
  RValue* value = GetParameterValue(index);
  if (!value) return;

  if (sampleOffset < 1 || AppliesChangesAtOnce()) {
    if (std::fabs(value->GetProcessingNormalised() - normalised) >= kSameNormalised) value->SetProcessing(normalised);
    return;
  }

  int32_t offset = sampleOffset;
  if (sampleOffset == kEndOfBlock) {
    endOfBlockPending_ = true;
  } else {
    // Kept below the end-of-block mark so that a far offset is never taken for it.
    const int64_t scaled = int64_t(sampleOffset) * oversampling_ + eventShift_;
    offset = int32_t(std::clamp<int64_t>(scaled, 1, kEndOfBlock - 1));
  }

  const double processing = value->GetProcessingNormalised();
  Ramp* ramp = FindRamp(activeRamps_, index);

  if (!ramp) {
    if (std::fabs(normalised - processing) < kSameNormalised) return;
    if (freeRamps_) {
      ramp = freeRamps_;
      freeRamps_ = ramp->next;
    } else {
      // Only a parameter's first ramp after Setup can land here; ResetParameters reserves
      // one per automatable parameter.
      allRamps_.reserve(allRamps_.size() + 1);
      ramp = new Ramp;
      allRamps_.push_back(ramp);
    }
    ramp->index = index;
    ramp->fine = value->HasFlag(RValue::kFineRamp);
    ramp->points[0] = {0, processing};
    ramp->points[1] = {offset, normalised};
    ramp->count = 2;
    ramp->previous = nullptr;
    ramp->next = activeRamps_;
    if (activeRamps_) activeRamps_->previous = ramp;
    activeRamps_ = ramp;
    return;
  }

  if (offset == kEndOfBlock) {
    ramp->points[1] = {offset, normalised};
    return;
  }

  if (ramp->count >= kMaxRampPoints) {
    ramp->points[kMaxRampPoints - 1] = {offset, normalised};
    return;
  }
  // Hosts send events in time order, so a new point replaces whatever was planned after it.
  int32_t slot = 0;
  while (slot < ramp->count && ramp->points[slot].time < offset) ++slot;
  // A second point at the same time goes behind the first: a jump at that sample.
  if (slot < ramp->count && ramp->points[slot].time == offset) ++slot;
  slot = std::max(slot, 1);  // point 0 is where the glide started
  ramp->points[slot] = {offset, normalised};
  ramp->count = int8_t(slot + 1);
}

void RAudioPluginBase::CancelRamp(int32_t index) {
  RLockGuard lock(GetAutomationLock());
  if (Ramp* ramp = FindRamp(activeRamps_, index)) Retire(activeRamps_, freeRamps_, ramp);
}

void RAudioPluginBase::FlushRamps() {
  RLockGuard lock(GetAutomationLock());
  JumpToLastPoints(*this, activeRamps_, freeRamps_);
  endOfBlockPending_ = false;
}

int32_t RAudioPluginBase::NearestRampTime() const noexcept {
  int32_t nearest = kEndOfBlock;
  for (const Ramp* r = activeRamps_; r; r = r->next) {
    const int32_t t = NextTime(*r);
    if (t > 0) nearest = std::min(nearest, t);
  }
  return nearest;
}

int32_t RAudioPluginBase::InterpolationPrepare(int32_t frames, int32_t& limit, int32_t fineLimit) {
  int32_t n = std::max(1, std::min(frames, limit));

  if (noRamps_ || !activeRamps_) {
    noRamps_ = false;
    JumpToLastPoints(*this, activeRamps_, freeRamps_);
    return n;
  }

  const bool endOfBlock = endOfBlockPending_;
  endOfBlockPending_ = false;
  if (endOfBlock) {
    for (Ramp* r = activeRamps_; r; r = r->next)
      if (r->points[1].time == kEndOfBlock) r->points[1].time = frames;
  }

  bool fine = false;
  for (Ramp* r = activeRamps_; r; r = r->next) {
    n = std::min(n, NextTime(*r));
    fine = fine || r->fine;
  }
  if (fine) {
    limit = fineLimit;
    n = std::min(n, fineLimit);
  }

  for (Ramp* r = activeRamps_; r; r = r->next)
    if (RValue* value = GetParameterValue(r->index)) value->SetProcessing(ValueNow(*r));

  n = std::max(n, 1);
  remainingFrames_ = n < frames ? frames : 0;
  return n;
}

int32_t RAudioPluginBase::InterpolationProcess(int32_t count, int32_t limit) {
  Ramp* r = activeRamps_;
  while (r) {
    Ramp* next = r->next;
    for (int32_t i = 0; i < r->count; ++i) r->points[i].time -= count;
    RValue* value = GetParameterValue(r->index);
    if (value) value->SetProcessing(ValueNow(*r));

    bool arrived = false;
    while (r->points[1].time <= 0) {
      if (r->count < 3) {
        if (value) value->SetProcessing(ValueNow(*r));
        Retire(activeRamps_, freeRamps_, r);
        arrived = true;
        break;
      }
      std::copy(r->points + 1, r->points + r->count, r->points);
      --r->count;
    }
    if (!arrived) limit = std::min(limit, NextTime(*r));
    r = next;
  }
  remainingFrames_ -= count;
  return limit;
}

void RAudioPluginBase::InterpolationFinish() {
  Ramp* r = activeRamps_;
  while (r) {
    Ramp* next = r->next;
    if (RValue* value = GetParameterValue(r->index)) value->SetProcessing(ValueNow(*r));
    if (r->count < 3 && r->points[1].time <= 0) Retire(activeRamps_, freeRamps_, r);
    r = next;
  }
  remainingFrames_ = 0;
}

void RAudioPluginBase::ResetParameters() {
  RLockGuard lock(GetAutomationLock());
  for (Parameter& p : parameters_)
    if (p.Value) p.Value->SyncProcessing();
  for (RValue* value : ownValues_) value->ResetRamp();

  while (Ramp* r = activeRamps_) Retire(activeRamps_, freeRamps_, r);
  endOfBlockPending_ = false;
  noRamps_ = false;
  remainingFrames_ = 0;

  // One record per automatable parameter, so that automation never allocates on the audio
  // thread after Setup. Every record is on the free list now, so allRamps_ counts them.
  const size_t wanted = std::min(size_t(std::max(0, GetAutomatableCount())), kMaxReservedRamps);
  if (allRamps_.size() < wanted) {
    allRamps_.reserve(wanted);
    while (allRamps_.size() < wanted) {
      Ramp* ramp = new Ramp;
      allRamps_.push_back(ramp);
      PushFree(freeRamps_, ramp);
    }
  }
}

void RAudioPluginBase::DeleteRamps() noexcept {
  for (Ramp* ramp : allRamps_) delete ramp;
  allRamps_.clear();
  activeRamps_ = nullptr;
  freeRamps_ = nullptr;
}
