#include "kernel/value.h"

#include <algorithm>
#include <cmath>

#include "kernel/audiopluginbase.h"

namespace {

// Room for pending Changed payloads, so that a change noted while the editor is busy seldom
// needs the queue to grow.
constexpr int kChangedQueueRoom = 4;

double ClampUnit(double normalised) noexcept {
  if (!(normalised > 0.0)) return 0.0;  // also NaN
  return normalised < 1.0 ? normalised : 1.0;
}

} // namespace

// --- RValue

RValue::RValue(RAudioPluginBase* owner, const RString& name, const RString& key, const RString& description)
    : owner_(owner), name_(name), key_(key), description_(description) {
  if (key_.CompareExact(RString("~")) == 0) {
    key_ = name_;
    flags_ &= ~uint32_t(kStored);
  } else if (key_.IsEmpty()) {
    key_ = name_;
  }
  Changed.Reserve(kChangedQueueRoom);
  if (owner_) owner_->AddOwnValue(this);
}

RValue::~RValue() = default;

void RValue::SetAltName(const RString& altName) {
  altName_ = altName;
  SetFlag(kUsesAltName, !altName_.IsEmpty());
}

RString RValue::GetDisplayName(bool shortForm) const {
  if (shortForm && HasFlag(kUsesAltName) && !altName_.IsEmpty()) return altName_;
  return name_;
}

void RValue::Store(RStoreContext&, bool) {}

bool RValue::GetRamp(int32_t, double& start, double& increment) const {
  start = 0.0;
  increment = 0.0;
  return false;
}

void RValue::NotifyChanged() {
  // Nobody would hear it, and without a listener nobody drains the queue either.
  if (Changed.SubscriberCount() == 0) return;
  const REventPayload payload = REventPayload::Of(GetNormalised());
  // A host may set values from its audio thread: the reserved room takes the payload there
  // without waiting; only a full or busy queue falls back to the waiting form.
  if (!Changed.TryPost(payload)) Changed.Post(payload);
}

void RValue::ProcessingWritten() {
  flags_ |= kDirty;
  if (owner_ && HasFlag(kNeedsSetup)) owner_->MarkSetupPending();
  ProcessingChanged.ExecuteImmediately(REventPayload::Of(GetProcessingNormalised()));
}

// --- RRangedValue

RRangedValue::RRangedValue(RAudioPluginBase* owner, std::unique_ptr<RValueRange> range, const RString& name,
                           const RString& key, const RString& description)
    : RValue(owner, name, key, description), range_(std::move(range)) {
  processing_ = range_->GetValue();
  processingNormalised_ = range_->GetNormalised();
  lastValue_ = processing_;
}

void RRangedValue::SetProcessing(double normalised) {
  processingNormalised_ = ClampUnit(normalised);
  processing_ = range_->NormalisedToReal(processingNormalised_);
  ProcessingWritten();
}

bool RRangedValue::SetNormalised(double normalised) {
  if (!ApplyNormalised(normalised)) return false;
  NotifyChanged();
  return true;
}

bool RRangedValue::ApplyNormalised(double normalised) { return range_->SetNormalised(normalised); }

// Setup runs this on every value and calls Update itself, so it raises no setup-pending bit
// and fires nothing; the dirty bit still tells the DSP to look.
void RRangedValue::SyncProcessing() {
  processing_ = range_->GetValue();
  processingNormalised_ = range_->GetNormalised();
  lastValue_ = processing_;
  flags_ |= kDirty;
}

bool RRangedValue::GetRamp(int32_t frames, double& start, double& increment) const {
  start = lastValue_;
  const double difference = processing_ - lastValue_;
  if (frames <= 0 || !(std::fabs(difference) >= RValueRange::kSameValue)) {
    increment = 0.0;
    return false;
  }
  increment = difference / double(frames);
  return true;
}

// LastValue stays: a stage still glides from where the audio stood to the new value.
void RRangedValue::SetValueNow(double real) {
  const bool changed = range_->SetValue(real);
  const double user = range_->GetValue();
  const bool processingMoved = user != processing_;
  processing_ = user;
  processingNormalised_ = range_->GetNormalised();
  if (processingMoved) ProcessingWritten();
  if (changed) NotifyChanged();
}

// --- the kinds

RRealValue::RRealValue(RAudioPluginBase* owner, const RString& name, double min, double max, double defaultValue,
                       const RString& format, const RString& key, const RString& description)
    : RRangedValue(owner, std::make_unique<RValueRange>(min, max, defaultValue, 0.0, 0.0, 0, format), name, key,
                   description) {}

RTimeValue::RTimeValue(RAudioPluginBase* owner, const RString& name, double min, double max, double defaultValue,
                       const RString& minimumText, const RString& key, const RString& description)
    : RRangedValue(owner, std::make_unique<RTimeRange>(min, max, defaultValue), name, key, description) {
  GetTimeRange().SetMinimumText(minimumText);
}

RFrequencyValue::RFrequencyValue(RAudioPluginBase* owner, const RString& name, double min, double max,
                                 double defaultValue, const RString& minimumText, const RString& key,
                                 const RString& description)
    : RRangedValue(owner, std::make_unique<RFrequencyRange>(min, max, defaultValue), name, key, description) {
  GetFrequencyRange().SetMinimumText(minimumText);
}

RChoiceValue::RChoiceValue(RAudioPluginBase* owner, const RString& name, const RArray<RString>& items,
                           int32_t defaultIndex, const RString& key, const RString& description)
    : RRangedValue(owner, std::make_unique<RChoiceRange>(items, defaultIndex), name, key, description) {
  flags_ |= kNoRamp;
}

bool RChoiceValue::ApplyNormalised(double normalised) {
  return range_->SetValue(range_->NormalisedToReal(ClampUnit(normalised)));
}

RBoolValue::RBoolValue(RAudioPluginBase* owner, const RString& name, bool defaultValue, const RString& key,
                       const RString& description)
    : RRangedValue(owner, std::make_unique<RBoolRange>(defaultValue), name, key, description) {
  flags_ |= kNoRamp;
}

bool RBoolValue::ParseToNormalised(const RString& text, double& normalised) const {
  RString trimmed = text;
  trimmed.Trim();
  // "0" is off and any other text on; the switch's own "Off" reads back as off too, so that a
  // host or a command line typing the shown text gets the state it saw.
  const bool off = trimmed.CompareExact(RString("0")) == 0 || trimmed.Compare(RString("Off")) == 0;
  normalised = off ? 0.0 : 1.0;
  return true;
}
