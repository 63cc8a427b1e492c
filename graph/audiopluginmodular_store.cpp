// The stored state of a graph and of its slots. A graph writes its outputs' switches and one
// "Plugin" element per occupied cell, in row-major order; reading rebuilds the slots through
// the catalogue, skips the modules this build doesn't know (the rest of the graph still loads
// and its lanes pass through), and makes display names unique again. A tree that isn't a
// graph's is tried as a preset of a single module.

#include <algorithm>
#include <cstdio>
#include <string>

#include "base/exception.h"
#include "base/format.h"
#include "base/guard.h"
#include "base/log.h"
#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/banks.h"
#include "graph/nestedgraph.h"
#include "graph/pluginslot.h"
#include "kernel/storecontext.h"

namespace {

// A numbered key such as "InputIndex3".
struct NumberedKey {
  char text[32];
  NumberedKey(const char* stem, int32_t n) { std::snprintf(text, sizeof text, "%s%d", stem, int(n)); }
};

RHashedString Key(const char* key) { return RHashedString(RShortString::FromLatin1(key)); }

void StoreMask(RStoreContext& context, const char* key, uint64_t& mask, uint64_t defaultMask) {
  RTagItem& element = context.GetElement();
  if (context.IsWriting()) {
    if (mask != defaultMask)
      element.SetAttribute(Key(key), int64_t(mask));
    else
      element.RemoveAttribute(Key(key));
    return;
  }
  int64_t stored = int64_t(defaultMask);
  element.ReadAttribute(Key(key), stored);
  mask = uint64_t(stored);
}

void StoreByte(RStoreContext& context, const char* key, uint8_t& field) {
  bool on = field != 0;
  context.Bool(key, on, false);
  field = on ? 1 : 0;
}

// Module states are read from a tree whose key form the tree itself tells.
uint8_t ReadFlags(const RStoreContext& context) { return context.GetFlags() & RStoreContext::kNewKeys; }

RString OutputName(int32_t lane) { return RString("Output") + RString::FromLatin1(std::to_string(lane)); }

} // namespace

// --- the slot

void RPluginSlot::Store(RStoreContext& context) {
  RTagItem& element = context.GetElement();
  const bool writing = context.IsWriting();
  RAudioPlugin& module = GetModule();

  context.Text("Name", Name, RString());
  // A file without a display name keeps the numbered one the slot was created with.
  if (writing)
    element.SetAttribute(Key("FullName"), FullName);
  else
    element.ReadAttribute(Key("FullName"), FullName);

  bool enabled = IsEnabled();
  context.Bool("Enabled", enabled, true);
  if (!writing && Enabled) Enabled->SetValueNow(enabled ? 1.0 : 0.0);
  context.Bool("Mute", Mute, false);
  context.Bool("DWB", DWB, false);

  context.Int("BankCount", BankCount, 1);
  context.Int("CurrentBank", CurrentBank, 0);
  if (!writing) RBanks::Settle(*this);
  context.Text("BankUpdateMP", BankUpdateMP, RString());
  if (writing) {
    context.Int("BankUpdateLevel", BankUpdateLevel, 0);
  } else if (!element.ReadAttribute(Key("BankUpdateLevel"), BankUpdateLevel)) {
    // Older files said only whether the multi-parameters live at the root.
    bool toRoot = false;
    element.ReadAttribute(Key("BankUpdateRoot"), toRoot);
    BankUpdateLevel = toRoot ? kBankUpdateToRoot : 0;
  }

  int32_t bank = Bank ? int32_t(Bank->GetValue() + 0.5) : 0;
  context.Int("Bank", bank, 0);
  if (!writing && Bank) Bank->SetValueNow(double(bank));

  // The bank store: the present module state goes into its bank first, so that what is saved
  // is what is heard.
  if (writing && BankCount > 1) StoreBank(CurrentBank, true);
  for (int32_t b = 0; b < BankCount && BankCount > 1; ++b) {
    const RString name = RBanks::ElementName(b);
    if (writing) {
      element.RemoveSubItems(name);
      RTagItem* stored = element.AddSubItem(name);
      stored->Copy(*Banks[size_t(b)]);
    } else {
      Banks[size_t(b)]->Clear();
      if (const RTagItem* stored = element.FindSubItem(name)) Banks[size_t(b)]->Copy(*stored);
    }
  }

  const PluginDescriptor& descriptor = GetDescriptor();
  if (descriptor.HasVariableInputs()) context.Int("InputCount", InputCount, 2);
  StoreMask(context, "MaskIn", MaskIn, 1);
  StoreMask(context, "MaskInSteal", MaskInSteal, 0);
  const int32_t declared = descriptor.HasVariableInputs() ? InputCount : descriptor.InputCount;
  const int32_t inputs = std::clamp(declared, 0, int32_t(InputIndex.size()));
  for (int32_t i = 0; i < inputs; ++i) context.Int(NumberedKey("InputIndex", i).text, InputIndex[size_t(i)], -1);
  for (int32_t i = 0; i < inputs; ++i) StoreByte(context, NumberedKey("InputSteal", i).text, InputSteal[size_t(i)]);
  if (descriptor.HasVariableOutputs()) context.Int("OutputCount", OutputCount, 2);
  StoreMask(context, "MaskOut", MaskOut, 1);
  // Runs to the input count on purpose: states written so carry that many output keys, and
  // the routing rewrites every output from the column anyway.
  const int32_t outputs = std::min(inputs, int32_t(OutputIndex.size()));
  for (int32_t i = 0; i < outputs; ++i) context.Int(NumberedKey("OutputIndex", i).text, OutputIndex[size_t(i)], -1);

  context.Int("FeedbackChannel", FeedbackChannel, -1);
  if (!writing) FeedbackChannel = std::clamp(FeedbackChannel, -1, RAudioPluginModular::kFeedbackChannels - 1);
  context.Double("FeedbackGain", FeedbackGain, 1.0);

  context.Bool("EnableMIDIInput", EnableMIDIInput, GetDescriptor().EnableMIDIInputDefault != 0);
  context.Int("MIDIChannel", MIDIChannel, 0);
  context.Int("NoteMin", NoteMin, 0);
  context.Int("NoteMax", NoteMax, 127);
  context.Int("SynchronizePhaseIndex", SynchronizePhaseIndex, -1);
  context.Text("Notes", Notes, RString());
  StoreTriggers(context, false);

  if (!writing) {
    // A slot's own bypass key of older files belongs to the module.
    bool bypass = false;
    if (element.ReadAttribute(Key("Bypass"), bypass) && module.GetBypassValue())
      module.GetBypassValue()->SetValueNow(bypass ? 1.0 : 0.0);
  }

  RStoreContext settings = context;
  if (writing) {
    element.RemoveSubItems(RString("PluginSettings"));
    RTagItem* child = element.AddSubItem(RString("PluginSettings"));
    RStoreContext inner(*child, context.GetFlags());
    inner.Bool("Renamed", Renamed, false);
    module.Store(inner);
  } else if (context.Enter("PluginSettings", settings)) {
    settings.Bool("Renamed", Renamed, false);
    RStoreContext inner(settings.GetElement(), ReadFlags(context));
    module.Store(inner);
  } else {
    Renamed = false;
  }
}

// --- the graph

void RAudioPluginModular::Store(RStoreContext& context) {
  RTagItem& element = context.GetElement();

  // The kernel's part comes first when writing and last when reading: multi-parameter
  // targets name slot parameters, which exist only once the slots are built.
  if (context.IsWriting()) {
    RAudioPlugin::Store(context);
    for (int32_t n = 0; n < lanes_; ++n) {
      const RString name = OutputName(n);
      element.RemoveSubItems(name);
      if (outputEnabled_[size_t(n)]) continue;
      element.AddSubItem(name)->SetAttribute(Key("Enabled"), false);
    }
    element.RemoveSubItems(RString("Plugins"));
    RTagItem* plugins = element.AddSubItem(RString("Plugins"));
    for (int32_t y = 0; y < rows_; ++y) {
      for (int32_t x = 0; x < lanes_; ++x) {
        RPluginSlot* slot = GetCell(x, y);
        if (!slot) continue;
        RTagItem* item = plugins->AddSubItem(RString("Plugin"));
        item->SetAttribute(Key("X"), x);
        item->SetAttribute(Key("Y"), y);
        RStoreContext slotContext(*item, context.GetFlags());
        slot->Store(slotContext);
      }
    }
    return;
  }

  RTagItem* plugins = element.FindSubItem(RString("Plugins"));
  RTagItem* source = &element;
  if (!plugins && element.FindSubItem(RString("band0"))) {
    // Multi-band files of older versions kept the graph in their first child.
    RTagItem* first = element.GetFirstSubItem();
    if (first && first->FindSubItem(RString("Plugins"))) {
      source = first;
      plugins = first->FindSubItem(RString("Plugins"));
    }
  }

  BeforeLoad.ExecuteImmediately();
  // The tables name the old slots' values: they go before the slots do.
  ReleaseParameterTables(*this);
  DeleteAllSlots();

  if (!plugins) {
    RLog::Write("Modular with incorrect settings.");
    std::fill(outputEnabled_.begin(), outputEnabled_.end(), uint8_t(1));
    ImportSingleModule(element);
  } else {
    for (int32_t n = 0; n < lanes_; ++n) {
      const RString name = OutputName(n);
      bool enabled = true;
      if (const RTagItem* output = source->FindSubItem(name)) output->ReadAttribute(Key("Enabled"), enabled);
      outputEnabled_[size_t(n)] = enabled ? 1 : 0;
    }
    for (RTagItem* item = plugins->GetFirstSubItem(); item; item = item->GetNext()) {
      if (!(item->GetName() == "Plugin")) continue;
      int32_t x = 0, y = 0;
      RString name;
      item->ReadAttribute(Key("X"), x);
      item->ReadAttribute(Key("Y"), y);
      item->ReadAttribute(Key("Name"), name);
      const PluginDescriptor* descriptor = FindDescriptor(name);
      if (!descriptor) {
        RLog::Write(RString("Module not found: ") + name);
        continue;
      }
      if (x < 0 || x >= lanes_ || y < 0 || y >= rows_) {
        RLog::Write(RFormat("Module {0} lies outside the grid at {1}, {2}.") << name << x << y);
        continue;
      }
      // One module that fails to build or read costs only its own slot.
      RGuarded("RAudioPluginModular::Store plugin", [&] {
        RPluginSlot* slot = CreateSlot(x, y, *descriptor, true);
        RStoreContext slotContext(*item, ReadFlags(context));
        slot->Store(slotContext);
      });
    }
  }

  // Display names are what multi-parameter targets address: two slots must never share one.
  for (size_t j = 1; j < slots_.size(); ++j) {
    for (size_t i = 0; i < j; ++i) {
      if (slots_[j]->FullName == slots_[i]->FullName) {
        slots_[j]->FullName = FindUniqueName(slots_[j]->FullName);
        break;
      }
    }
  }

  AfterLoad.ExecuteImmediately();
  Recompile(true);
  RefreshParameterTables(*this);
  RAudioPlugin::Store(context);
}

bool RAudioPluginModular::ImportSingleModule(const RTagItem& element) {
  const RTagItem* root = &element;
  while (root->GetParent()) root = root->GetParent();
  RString rootName = root->GetName();
  if (rootName.Length() > 0 && rootName[0] == u'M') rootName = rootName.Mid(1);
  const RString ownName = GetName().Length() > 0 ? GetName().Mid(1) : GetName();
  if (rootName == ownName) return false;

  for (const char* word : {"MultiBand", "settings"}) {
    const RString pattern = RString::FromLatin1(word);
    for (int at = rootName.Find(pattern); at >= 0; at = rootName.Find(pattern)) {
      rootName = rootName.Left(at) + rootName.Mid(at + pattern.Length());
    }
  }
  if (rootName.Length() >= 2 && rootName.Right(2) == "MB") rootName = rootName.Left(rootName.Length() - 2);

  const PluginDescriptor* descriptor = GetCatalogue().FindImportDescriptor(rootName);
  if (!descriptor) return false;
  RPluginSlot* slot = CreateSlot(0, 1, *descriptor, true);
  RTagItem copy(element.GetName());
  copy.Copy(element);
  RStoreContext context(copy, RStoreContext::kNewKeys);
  slot->GetModule().Store(context);
  if (descriptor->InputCount == 2 && slot->InputIndex.size() > 1) slot->InputIndex[1] = lanes_ - 1;
  return true;
}
