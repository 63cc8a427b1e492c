#include "modules/spanfilter/spanfilter.h"

#include "base/format.h"
#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "kernel/blockstages.h"
#include "modules/dsp/gainstages.h"

namespace {

constexpr double kButterworthQ = 0.70710678;
constexpr int32_t kSlopeCount = 12;
// A new filter reacts to its corner knobs at once, at the classic second-order slope where
// the Q means something; at the default corners, 20 Hz and 20 kHz, it only touches the edges
// of the audible band (-3 dB there). The product sets its own slopes through multi-parameters.
constexpr int32_t kDefaultSlope = 2;

RArray<RString> SlopeItems(const char* prefix) {
  RArray<RString> items;
  items.Add(RString("Off"));
  for (int32_t i = 1; i < kSlopeCount; ++i) {
    // Six decibels per octave for each order.
    items.Add(RFormat("{0} {1}") << RString::FromUTF8(prefix) << 6 * RSpanFilter::SlopeOrder(i));
  }
  return items;
}

} // namespace

RSpanFilter::RSpanFilter()
    : RAudioPlugin(RString("SpanFilter")),
      depth_(this, RString("Dry/Wet"), 0.0, 1.0, 1.0, RString("depth")),
      gain_(this, RString("Gain"), -24.0, 24.0, 0.0, RString(), RString("gain")),
      hpEnable_(this, RString("High-pass filter"), true, RString("HPEnable")),
      hpFrequency_(this, RString("Frequency"), 20.0, 20000.0, 20.0, RString(), RString("HPF"),
                   RString("<name>High-pass</name> controls the high-pass filter frequency. Specify 20Hz to disable it.")),
      hpQ_(this, RString("Q"), 0.05, 100.0, kButterworthQ, RString(), RString("HPQ")),
      hpSlope_(this, RString("Slope"), SlopeItems("HP"), kDefaultSlope, RString("HPSlope")),
      lpEnable_(this, RString("Low-pass filter"), true, RString("LPEnable")),
      lpFrequency_(this, RString("Frequency"), 20.0, 20000.0, 20000.0, RString(), RString("LPF"),
                   RString("<name>Low-pass</name> controls the low-pass filter frequency. Specify 20kHz to disable it.")),
      lpQ_(this, RString("Q"), 0.05, 100.0, kButterworthQ, RString(), RString("LPQ")),
      lpSlope_(this, RString("Slope"), SlopeItems("LP"), kDefaultSlope, RString("LPSlope")) {
  gain_.SetAltName(RString("Output"));
  // Both sides share their labels; the short names keep the table's names apart.
  hpFrequency_.SetAltName(RString("High-pass"));
  hpQ_.SetAltName(RString("High-pass Q"));
  hpSlope_.SetAltName(RString("High-pass slope"));
  lpFrequency_.SetAltName(RString("Low-pass"));
  lpQ_.SetAltName(RString("Low-pass Q"));
  lpSlope_.SetAltName(RString("Low-pass slope"));
  for (RRangedValue* value : {static_cast<RRangedValue*>(&hpFrequency_), static_cast<RRangedValue*>(&hpQ_),
                              static_cast<RRangedValue*>(&lpFrequency_), static_cast<RRangedValue*>(&lpQ_)}) {
    value->SetFlag(RValue::kFineRamp, true);
  }
}

int32_t RSpanFilter::SlopeOrder(int32_t slopeIndex) noexcept {
  if (slopeIndex <= 0) return 0;
  if (slopeIndex == 1) return 1;
  return 2 * (std::min(slopeIndex, kSlopeCount - 1) - 1);
}

void RSpanFilter::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  chain_.Setup(processChannels_);
  // The base ran Update before the values took their processing form; design from them now.
  RefreshDesign();
}

void RSpanFilter::ClearState() { chain_.Clear(); }

void RSpanFilter::RefreshDesign() noexcept {
  const auto side = [&](RButterworthKind kind, const RBoolValue& enable, const RLog10FrequencyValue& frequency,
                        const RRealValue& q, const RModuleChoiceValue& slope) {
    const int32_t order = enable.IsProcessingOn() ? SlopeOrder(slope.GetProcessingIndex()) : 0;
    chain_.Design(kind, order, frequency.GetProcessing(), sampleRate_, q.GetProcessing());
  };
  side(RButterworthKind::kHighPass, hpEnable_, hpFrequency_, hpQ_, hpSlope_);
  side(RButterworthKind::kLowPass, lpEnable_, lpFrequency_, lpQ_, lpSlope_);
}

void RSpanFilter::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  RefreshDesign();
  const int32_t channels = processChannels_;
  chain_.Process(inputs, outputs, channels, frames);
  ApplyGain(gain_, outputs, channels, frames);

  double start = 0.0, step = 0.0;
  if (!depth_.GetRamp(frames, start, step)) {
    start = depth_.GetProcessing();
    step = 0.0;
  }
  for (int32_t c = 0; c < channels; ++c) {
    float* out = outputs[c];
    if (!out) continue;
    const float* dry = inputs ? inputs[c] : nullptr;
    // A missing input is silence: the dry part adds nothing and the wet part is scaled.
    if (dry) {
      DryWetStage(dry, out, out, frames, start, step, RDryWetLaw::kLinear);
    } else {
      GainStage(out, out, frames, start, step);
    }
  }
  depth_.MarkRampDone();
}

void RegisterSpanFilter() {
  RModuleRegistry::RegisterClass<RSpanFilter>(RString("SpanFilter"));
}
