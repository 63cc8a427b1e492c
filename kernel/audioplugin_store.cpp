// The stored state of the RAudioPlugin level: one Store body serves writing and reading, so a
// key can't be written under one name and read under another. Keys equal to their defaults
// are not written; a key missing on reading takes its default, so states of older versions
// load, and a state holds only what differs.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>
#include <optional>

#include "base/exception.h"
#include "base/guard.h"
#include "base/lock.h"
#include "base/tagitem.h"
#include "kernel/audioplugin.h"
#include "kernel/channelmodes.h"
#include "kernel/oversamplingchoice.h"
#include "kernel/replacementlog.h"
#include "kernel/storecontext.h"
#include "kernel/undo.h"
#include "modulation/multiparameter.h"

namespace {

// MIDI controller numbers of the sixteen controller slots; 135 is no controller.
constexpr int32_t kControllerDefaults[16] = {1, 2, 11, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135, 135};

// Runs one section of a store on a child element: made when writing and dropped again when
// the section wrote nothing, skipped when reading a tree that lacks it.
template <class F>
void InElement(RStoreContext& context, const char* name, F&& section) {
  RStoreContext child = context;
  if (!context.Enter(name, child)) return;
  section(child);
  if (context.IsWriting()) {
    RTagItem& element = child.GetElement();
    if (element.GetAttributeCount() == 0 && element.GetSubItemCount() == 0) context.GetElement().DeleteSubItem(&element);
  }
}

// Older versions keyed values "parameterKey" where the present one writes "#Key".
bool HasOldKeys(const RTagItem& root) {
  bool old = false;
  for (const RTagAttribute* a = root.GetFirstAttribute(); a; a = a->next) {
    const RShortString& key = a->key.Text();
    if (key.Length() > 0 && key[0] == u'#') return false;
    if (key.Compare("parameter", 9) == 0) old = true;
  }
  return old;
}

} // namespace

void RAudioPlugin::Store(RStoreContext& context) {
  // Changes made by a read are not the user's: they must not become undo steps.
  std::optional<RNoUndoScope> quiet;
  if (context.IsReading()) quiet.emplace(&GetUndo());

  RGuarded("RAudioPlugin::StoreGlobal", [&] { StoreGlobal(context); });
  RGuarded("RAudioPlugin::StoreMultiParameters settings", [&] {
    InElement(context, "MultiParameters", [&](RStoreContext& c) { StoreMultiParameters(c); });
  });
  RGuarded("RAudioPlugin::StoreLFO settings", [&] {
    InElement(context, "LFOs", [&](RStoreContext& c) { StoreLFO(c); });
  });
  RGuarded("RAudioPlugin::StoreParamLock", [&] { StoreParamLock(context); });
  RGuarded("RAudioPlugin::StoreArp", [&] { StoreArp(context); });
  RGuarded("RAudioPlugin::StoreControllers", [&] { StoreControllers(context); });
  if (context.IsReading()) MarkSetupPending();
}

void RAudioPlugin::StoreSurround(RStoreContext& context) {
  const bool writing = context.IsWriting();
  SurroundSettings settings = writing ? surround_ : SurroundSettings();
  // One character a channel, '0' for off, up to the last channel that is off.
  RString mask;
  if (writing) {
    std::string text;
    for (int32_t c = 0; c < kMaxSurroundChannels; ++c) text += ((settings.enabled >> c) & 1u) ? '1' : '0';
    const std::string::size_type last = text.find_last_of('0');
    mask = RString::FromUTF8(last == std::string::npos ? std::string("1") : text.substr(0, last + 1));
  }
  context.Text("SurroundChannelsEnable", mask, RString());
  if (!writing) {
    const std::string text = mask.ToUTF8();
    for (size_t c = 0; c < text.size() && c < size_t(kMaxSurroundChannels); ++c) {
      if (text[c] == '0') settings.enabled &= ~(uint64_t(1) << c);
    }
  }
  context.Int("AmbisonicsOrder", settings.ambisonicsOrder, 0);
  context.Int("AmbisonicsCustomChannels", settings.ambisonicsCustomChannels,
              RChannelModes::kDefaultAmbisonicCustomChannels);
  settings.ambisonicsOrder = std::clamp(settings.ambisonicsOrder, 0, RChannelModes::kAmbisonicOrders);
  settings.ambisonicsCustomChannels = std::clamp(settings.ambisonicsCustomChannels, 1, int32_t(kMaxSurroundChannels));
  InElement(context, "SurroundVolume", [&](RStoreContext& c) {
    for (int32_t channel = 0; channel < kMaxSurroundChannels; ++channel) {
      const std::string key = "Channel" + std::to_string(channel + 1);
      double volume = settings.volume[channel];
      c.Double(key.c_str(), volume, 1.0);
      // A volume is a gain: nothing undefined or negative comes in from a file.
      settings.volume[channel] = std::isfinite(volume) ? float(std::clamp(volume, 0.0, 16.0)) : 1.0f;
    }
  });
  if (!writing) surround_ = settings;
}

void RAudioPlugin::StoreGlobal(RStoreContext& context) {
  RTagItem& element = context.GetElement();
  const bool writing = context.IsWriting();

  if (writing) element.SetAttribute(RHashedString("Version"), kWriterVersion);

  // The mode is stored by its text; "EnableSurroundProcessing" is the key of older versions.
  if (writing) {
    if (channelMode_ != RChannelModes::kLeftRight) {
      element.SetAttribute(RHashedString("ChannelMode"), RChannelModes::GetText(channelMode_));
    }
  } else {
    RString text;
    int32_t surround = 0;
    if (element.ReadAttribute(RHashedString("ChannelMode"), text)) {
      channelMode_ = RChannelModes::FindText(text);
    } else if (element.ReadAttribute(RHashedString("EnableSurroundProcessing"), surround)) {
      channelMode_ = surround != 0 ? RChannelModes::kSurround : RChannelModes::kLeftRight;
    } else {
      channelMode_ = RChannelModes::kLeftRight;
    }
    if (channelMode_ > RChannelModes::kLastStereoMode && hostChannels_ < 3) channelMode_ = RChannelModes::kLeftRight;
  }
  if (channelMode_ > RChannelModes::kLastStereoMode) StoreSurround(context);

  if (options_.bypass) {
    // The Bypass value is kept out of the table's own storage (key "~") and written here.
    bool bypass = bypassValue_ && bypassValue_->IsOn();
    context.Bool("Bypass", bypass, false);
    if (!writing && bypassValue_) bypassValue_->SetValueNow(bypass ? 1.0 : 0.0);
    context.Bool("SmartBypass", smartBypass_, true);
  }

  context.Int("MaxLFOBlockSizeOffline", shared_->MaxLFOBlockSizeOffline, RSharedBlockData::kDefaultMaxLFOBlockSizeOffline);
  // A preset carries no block size of the host's session.
  if (writing || !context.IsPresetOnly()) {
    context.Int("MaxLFOBlockSize", shared_->MaxLFOBlockSize, RSharedBlockData::kDefaultMaxLFOBlockSize);
  }
  context.Bool("RandomizerCompensation", randomizerCompensation_, true);
  if (options_.agc) context.Bool("AGC", agc_, false);
  if (options_.limiter) context.Bool("Limiter", limiter_, false);
  if (options_.auditionDifference) context.Bool("AuditionDifference", auditionDifference_, false);
  context.Bool("EnableLatencyReporting", enableLatencyReporting_, true);
  context.Bool("SleepOnSilence", sleepOnSilence_, true);
  // The choices are stored as their factors; a factor between two items finds the one above.
  for (auto [key, choice] : {std::pair{"Upsampling", oversamplingNormal_.get()},
                             std::pair{"UpsamplingOffline", oversamplingOffline_.get()}}) {
    int32_t factor = ROversamplingChoice::GetFactor(choice->GetIndex());
    context.Int(key, factor, 1);
    if (!writing) choice->SetValueNow(double(ROversamplingChoice::GetIndex(factor)));
  }
  bool hq = hqOversampling_->IsOn();
  context.Bool("HQUpsampling", hq, true);
  if (!writing) hqOversampling_->SetValueNow(hq ? 1.0 : 0.0);
  if (options_.parallelization) context.Bool("Parallelization", parallelization_, false);
  context.Bool("SampleAccurateEvents", sampleAccurateEvents_, true);
  if (inputBuses_ == 0 || options_.midiThru) context.Bool("MIDIThru", midiThru_, false);
  if (options_.sinc) context.Bool("Sinc", shared_->Sinc, false);
  if (options_.synchronizePhase) context.Bool("SynchronizePhase", shared_->SynchronizePhase, false);

  for (int32_t i = 0; i < 16; ++i) {
    char key[8];
    std::snprintf(key, sizeof key, "MC%d", int(i + 1));
    context.Int(key, midiControllers_[i], kControllerDefaults[i]);
  }
  context.Int("MCmpe", midiControllerMPE_, 0);

  // This level's values; mirrored records belong to nested plug-ins, which store themselves.
  for (const Parameter& p : parameters_) {
    if (!p.Mirrored && p.Value && p.Value->GetOwner() == this) p.Value->Store(context);
  }

  if (!writing) PostLoad();
}

// Two forms under "MultiParameters": a preset (the root marked preset-only) holds the values
// alone, one attribute each keyed by the number from 1; a definition or a full state holds an
// element per multi-parameter, "MultiParameter0" on, with its settings and targets. Reading
// takes whichever the tree holds.
void RAudioPlugin::StoreMultiParameters(RStoreContext& context) {
  if (multiParameters_.empty()) return;
  RTagItem& element = context.GetElement();
  const bool compact = context.IsWriting() ? context.IsPresetOnly() : element.GetSubItemCount() == 0;
  if (compact) {
    RGuarded("RAudioPlugin::StoreMultiParameters parameters", [&] { StoreMultiParameterValues(context); });
    return;
  }
  for (int32_t i = 0; i < GetMultiParameterCount(); ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "MultiParameter%d", int(i));
    // One that fails to load leaves the others to load.
    RGuarded("RAudioPlugin::StoreMultiParameters settings", [&] {
      RStoreContext child = context;
      if (context.Enter(name, child)) multiParameters_[size_t(i)]->Store(child);
    });
  }
}

void RAudioPlugin::StoreMultiParameterValues(RStoreContext& context) {
  RTagItem& element = context.GetElement();
  for (int32_t i = 0; i < GetMultiParameterCount(); ++i) {
    RMultiParameter& multi = *multiParameters_[size_t(i)];
    if (!multi.StorableInPresets) continue;
    char key[16];
    std::snprintf(key, sizeof key, "%d", int(i + 1));
    const RHashedString hashed{RShortString::FromLatin1(key)};
    if (context.IsWriting()) {
      if (!multi.IsValueDefault()) element.SetAttribute(hashed, multi.GetCompactText());
    } else {
      RString text;
      // Absent: the default value.
      element.ReadAttribute(hashed, text);
      multi.SetCompactText(text);
    }
  }
}

// The seams below are filled by the levels that own modulators, a parameter lock, an
// arpeggiator and MIDI controllers; this level has none of them.
void RAudioPlugin::StoreLFO(RStoreContext&) {}
void RAudioPlugin::StoreParamLock(RStoreContext&) {}
void RAudioPlugin::StoreArp(RStoreContext&) {}
void RAudioPlugin::StoreControllers(RStoreContext&) {}

void RAudioPlugin::SaveStateTree(RTagItem& root) {
  RLockGuard parameters(GetParameterLock());
  root.Clear();
  if (root.GetName().IsEmpty()) root.SetName(name_ + RString("settings"));
  RStoreContext context(root, RStoreContext::kWriting | RStoreContext::kNewKeys);
  Store(context);
}

void RAudioPlugin::LoadStateTree(const RTagItem& root) {
  if (root.GetName().IsEmpty()) throw RException(RString("The data hold no stored settings."));
  // The tree is read from a copy: the reader moves cursors, and the caller's tree stays as
  // it was. The present state is kept to come back to when the read fails halfway.
  RTagItem tree(root.GetName());
  tree.Copy(root);
  RTagItem previous;
  SaveStateTree(previous);
  const uint8_t flags = HasOldKeys(root) ? 0 : RStoreContext::kNewKeys;

  {
    RNoUndoScope quiet(&GetUndo());
    RLockGuard parameters(GetParameterLock());
    RLockGuard audio(GetAudioLock());
    RLockGuard automation(GetAutomationLock());
    try {
      RStoreContext context(tree, flags);
      Store(context);
    } catch (...) {
      RGuarded("RAudioPlugin::LoadStateTree", [&] {
        RStoreContext back(previous, RStoreContext::kNewKeys);
        Store(back);
      });
      RReplacementLog::Finish(*this, false);
      throw;
    }
  }
  RReplacementLog::Finish(*this, false);
  // Channels and oversampling are settled by Setup alone.
  if (NeedsSetupForChoices()) Setup();
}
