// RWordMangler: the parameter table, set-up, parameter changes, the state hooks and the
// registration. The processing is in wordmangler_process.cpp.
#include "modules/wordmangler/wordmangler.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "base/format.h"
#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"

namespace {

constexpr const char* kOperationNames[RWordMangler::kOperations] = {"XOR", "Replace", "AND", "OR"};

// The help of each operation's switch: what the operation does to the selected bits.
constexpr const char* kOperationHelp[RWordMangler::kOperations] = {
    "Inverts the selected bits of each word wherever the control signal has them set. If the control signal is "
    "NOT used, activating a bit simply inverts it in each sample.",
    "Replaces the selected bits of each word by the same bits of the control signal. Without a control signal and "
    "without shift the word stays as it is.",
    "Keeps the selected bits of each word only where the control signal has them set; the other bits stay. If the "
    "control signal is not used, the selected bits are kept and all others are cleared. Hence having all bits "
    "enabled produces no change, but if no bits are enabled, the output will be silent.",
    "Sets the selected bits of each word wherever the control signal has them set; without a control signal they "
    "are set in every sample. Please note that this usually produces a DC offset, so you might want to consider "
    "using a high-pass or DC filter.",
};

// The operations' shift defaults: OR starts shifted by two, the others unshifted.
constexpr int32_t kShiftDefaults[RWordMangler::kOperations] = {0, 0, 0, 2};

RString Label(const char* text) { return RString::FromUTF8(text); }

} // namespace

RWordMangler::RWordMangler(const Options& options)
    : RAudioPlugin(RString("WordMangler"), options),
      gainIn_(this, RString("Input gain"), -24.0, 24.0, 0.0, RString("{+0.2} dB"), RString("GainIn"),
              RString("Amplifies or attenuates the input before it is turned into words. A hotter input reaches "
                      "higher words; anything beyond full scale is clipped.")),
      gainOut_(this, RString("Output gain"), -24.0, 24.0, 0.0, RString("{+0.2} dB"), RString("GainOut"),
               RString("Amplifies or attenuates the processed signal.")),
      dryWet_(this, RString("Dry/Wet"), 0.0, 1.0, 1.0, RString("DryWet"),
              RString("Mixes the processed signal with the untouched input; at 100% only the processed signal is "
                      "heard.")),
      sideChain_(this, RString("Side-chain"), false, RString("SideChain"),
                 RString("Takes the control signal from the side-chain input. The control signal is different from "
                         "the input if the <reference>global delay</reference> is used, "
                         "<reference>side-chain</reference> is activated or <reference>shift</reference> (in each "
                         "operation) is nonzero.")),
      autoGain_(this, RString("AGC"), false, RString("AGC"),
                RString("Automatic gain compensation: keeps the processed signal about as loud as the input.")),
      dcBlocker_(this, RString("DC blocker"), true, RString("DCBlocker"),
                 RString("Switching this on activates the integrated DC blocker that should remove any signal offset "
                         "often caused by the bit-based processing.")),
      bits_(this, RString("Bits"), 1, 16, 8, RString("Bits"),
            RString("The width of the word each sample is turned into. Fewer bits give coarser steps.")),
      delay_(this, RString("Delay"), 0.0, 10.0, 0.0, RString(), RString("Delay"),
             RString("Delays the control signal against the input. When synchronization is on, half of the synced "
                     "note length is used instead.")),
      lowPass_(this, RString("Low-pass"), 20.0, 20000.0, 8000.0, RString("Off"), RString("LP"),
               RString("A low-pass filter on the processed signal only; the top position switches it off.")),
      tempoSync_(this, RTempoSync::kPhase | RTempoSync::kModify | RTempoSync::kCount) {
  gainIn_.SetAltName(RString("Input"));
  gainOut_.SetAltName(RString("Output"));
  // Each operation's values follow the globals, operation by operation: switch, shift,
  // rotation, then the mask from the top bit down.
  for (int32_t k = 0; k < kOperations; ++k) {
    Operation& op = operations_[k];
    const RString name = Label(kOperationNames[k]);
    op.Enable = std::make_unique<RBoolValue>(this, name, k == 0, RString(RFormat("Enable{0}") << k),
                                             Label(kOperationHelp[k]));
    op.Shift = std::make_unique<RIntegerValue>(
        this, RString("Shift"), -16, 16, kShiftDefaults[k], RString(RFormat("Shift{0}") << k),
        RString("Shifts the control word by this many bits before it is used; positive values move towards the low "
                "bits."));
    op.Rotate = std::make_unique<RBoolValue>(
        this, RString("Rotate"), true, RString(RFormat("Rotate{0}") << k),
        RString("Bits shifted out at one end of the word come back in at the other. When off, they are lost and "
                "zeros come in."));
    for (int32_t i = 1; i <= kMaskSwitches; ++i) {
      op.Mask[i - 1] = std::make_unique<RBoolValue>(
          this, RString(RFormat("{0} {1}") << name << i), false, RString(RFormat("Bit{0}X{1}") << i << k),
          RString(RFormat("Selects bit {0} of the word for {1}; bit 1 is the highest.") << i << name));
    }
  }
}

RWordMangler::~RWordMangler() { ReleaseState(); }

void RWordMangler::ReleaseState() noexcept {
  RWordManglerState::Destroy(state_);
  state_ = nullptr;
  stateMemory_.reset();
}

RWordManglerState* RWordMangler::ConstructState(void* memory, int32_t channels) {
  RWordManglerState* state = RWordManglerState::Construct(memory, channels);
  state->Setup(GetSampleRate());
  return state;
}

void RWordMangler::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  dcFilter_.Design(RBiquad::kHighPass, 0.0, kDCBlockerHertz, GetSampleRate(), kFilterQ);

  ReleaseState();
  const int32_t channels = std::max(GetProcessChannels(), 1);
  // operator new[] of std::byte gives memory aligned for any fundamental type.
  stateMemory_.reset(new std::byte[GetStateSize(channels)]);
  state_ = ConstructState(stateMemory_.get(), channels);
  // The first block's length needs no allocation on the audio thread.
  const int32_t delay = int32_t(std::lround(GetSampleRate() * delay_.GetValue()));
  for (int32_t c = 0; c < channels && delay > 0; ++c) state_->GetDelayLine(c).Reserve(delay);

  silence_.assign(size_t(std::max(maxHostBlock_, 1) * std::max(GetOversampling(), 1)), 0.0f);
  // The kernel's set-up ran Update before it synced the values: the filters follow them now.
  Update();
}

void RWordMangler::Update() {
  tempoSync_.Refresh();
  const double hertz = lowPass_.GetProcessing();
  // At the top the low-pass is off: a filter at 20 kHz would still dull the highest octave.
  lowPassOn_ = !RLog10FrequencyValue::IsAtTop(hertz, lowPass_.GetRange()->GetMax());
  if (lowPassOn_ && GetSampleRate() > 0.0) {
    // Below Nyquist whatever the rate; at 44.1 kHz and above the range never reaches it.
    lowPassFilter_.Design(RBiquad::kLowPass, 0.0, std::min(hertz, 0.499 * GetSampleRate()), GetSampleRate(),
                          kFilterQ);
  }
}

void RWordMangler::ClearState() {
  if (state_) state_->Clear();
}

void RegisterWordMangler() {
  RModuleRegistry::RegisterClass<RWordMangler>(RString("WordMangler"));
}
