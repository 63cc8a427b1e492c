#include "modules/dsp/temposync.h"

#include <algorithm>
#include <cmath>

#include "base/array.h"
#include "base/format.h"

namespace {

// Triplets fit three in the time of two, dotted notes are half as long again, tuplets five in four.
constexpr double kTypeFactors[] = {1.0, 1.5, 1.3333333333333333, 1.25};

RArray<RString> LengthItems() {
  RArray<RString> items;
  for (int32_t i = 0; i < RTempoSync::kLengthCount; ++i) {
    const double divisor = RTempoSync::LengthDivisor(i);
    if (divisor >= 1.0) items.Add(RString(RFormat("1 / {0}") << int32_t(divisor)));
    else items.Add(RString(RFormat("{0} / 1") << int32_t(std::lround(1.0 / divisor))));
  }
  return items;
}

RArray<RString> TypeItems() {
  RArray<RString> items;
  for (const char* text : {"Straight", "Triplets", "Dotted", "Tuplets"}) items.Add(RString::FromUTF8(text));
  return items;
}

} // namespace

RTempoSync::RTempoSync(RAudioPluginBase* owner, uint32_t flags)
    : sync_(std::make_unique<RBoolValue>(owner, "Sync", false, "sync", "Synchronization")),
      length_(std::make_unique<RChoiceValue>(owner, "Length", LengthItems(), kDefaultLength, "synclength__")),
      type_(std::make_unique<RChoiceValue>(owner, "Type", TypeItems(), 0, "synctype")) {
  length_->SetFlag(RValue::kStoreByName, true);
  type_->SetFlag(RValue::kStoreByName, true);
  if (flags & kPhase) {
    phase_ = std::make_unique<RRealValue>(owner, "Phase", 0.0, 360.0, 0.0, RString::FromUTF8("{0}\u00b0"), "syncphase");
  }
  if (flags & kModify) {
    // The divisor is divided by it: 2 doubles the synced time, 0.5 halves it.
    modify_ = std::make_unique<RRealValue>(owner, "Modify", 0.5, 2.0, 1.0, "x{0.2}", "syncmodify");
  }
  if (flags & kCount) {
    count_ = std::make_unique<RRealValue>(owner, "Count", 1.0, 64.0, 1.0, "{0}", "synccount");
    count_->GetRange()->SetSteps(64);
  }
  Refresh();
}

RTempoSync::~RTempoSync() = default;

double RTempoSync::LengthDivisor(int32_t index) noexcept {
  return std::ldexp(1.0, std::clamp(index, 0, kLengthCount - 1) - 7);
}

void RTempoSync::Refresh() noexcept {
  const int32_t type = std::clamp(type_->GetProcessingIndex(), 0, 3);
  double divisor = LengthDivisor(length_->GetProcessingIndex()) * kTypeFactors[type];
  if (count_) divisor /= std::max(1.0, std::round(count_->GetProcessing()));
  if (modify_ && modify_->GetProcessing() > 0.0) divisor /= modify_->GetProcessing();
  divisor_ = divisor;
}

int64_t RTempoSync::Samples(double tempo, double sampleRate) const noexcept {
  if (!IsOn() || !(tempo > 0.0)) return 0;
  return int64_t(sampleRate * 240.0 / (tempo * divisor_));
}

double RTempoSync::GetPhase() const noexcept { return phase_ ? phase_->GetProcessing() / 360.0 : 0.0; }
