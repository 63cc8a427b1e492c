#pragma once
// RPluginSlot: one occupied cell of a graph. It owns the module (an RAudioPlugin of its own)
// and everything the graph needs to route it: the lanes it reads (MaskIn, InputIndex), the
// lanes it ends (MaskInSteal, InputSteal), the lanes it writes (MaskOut, OutputIndex), its
// banks of stored module states, its feedback send and (as a trigger sink) its MIDI triggers.
//
// The slot's base level (module, Name, FullName, Enabled, Renamed) is part of this class: no
// other kind of slot exists in this system, and a separate base would only split one record.
//
// Threads: attributes change on the editor or host thread with the graph's locks held; the
// compile reads them under those locks; the audio thread reads only what the compile
// settled (Active, the MIDI gate, Mute, DWB, the feedback send).

#include <cstdint>
#include <memory>
#include <vector>

#include "base/string.h"
#include "graph/miditrigger.h"
#include "kernel/audioplugin.h"

class RAudioPluginModular;
class RStoreContext;
class RTagItem;
struct PluginDescriptor;

class RPluginSlot : public RMIDITriggerSink {
public:
  static constexpr int32_t kMaxBanks = 64;
  // BankUpdateRoot of old files: "up to the root".
  static constexpr int32_t kBankUpdateToRoot = 2147483647;

  // Builds the slot of a cell around a fresh module; index lists are sized to the graph's
  // lanes and start at -1 / 0. [editor-thread] [host-thread], under the graph's locks.
  RPluginSlot(RAudioPluginModular& graph, const PluginDescriptor& descriptor, std::unique_ptr<RAudioPlugin> module,
              int32_t x, int32_t y, const RString& fullName);
  ~RPluginSlot() override;
  RPluginSlot(const RPluginSlot&) = delete;
  RPluginSlot& operator=(const RPluginSlot&) = delete;

  RAudioPluginModular& GetGraph() const noexcept { return *graph_; }
  const PluginDescriptor& GetDescriptor() const noexcept { return *descriptor_; }
  RAudioPlugin& GetModule() const noexcept { return *module_; }
  int32_t GetX() const noexcept { return x_; }
  int32_t GetY() const noexcept { return y_; }
  void SetPosition(int32_t x, int32_t y) noexcept {
    x_ = x;
    y_ = y;
  }
  // Whether the Enabled parameter is on now (Active is what the last compile saw).
  bool IsEnabled() const noexcept { return Enabled && Enabled->IsOn(); }
  // The catalogue's fixed counts, or the slot's own where the catalogue says "variable".
  int32_t GetDescriptorInputCount() const noexcept;
  int32_t GetDescriptorOutputCount() const noexcept;
  int32_t GetEffectiveOutputCount() const noexcept;

  // --- stored state: every attribute in its order, defaults never written; implemented with
  // the graph's store. [editor-thread] [host-thread]
  void Store(RStoreContext& context);
  // The module's state into and out of a "Bank" element.
  void StoreBank(int32_t bank, bool writing);

  // --- banks: the Bank parameter's change event. [any-thread that sets the parameter]
  void BankChanged(int32_t bank);
  // Pushes the BankUpdateMP multi-parameters of the graph BankUpdateLevel parents up to
  // their targets again.
  void UpdateBankMultiParameters();

  // --- persistent attributes, in store order
  RString Name;       // catalogue key of the module
  RString FullName;   // unique display name in the graph
  bool Renamed = false;
  std::unique_ptr<RBoolValue> Enabled;  // a parameter of the host; off leaves the slot out of the compile
  bool Mute = false;                    // runs, output cleared afterwards
  bool DWB = false;                     // with the module's bypass on, no call at all
  int32_t BankCount = 1;
  int32_t CurrentBank = 0;
  RString BankUpdateMP;                 // "1,4,7": 1-based multi-parameter numbers
  int32_t BankUpdateLevel = 0;
  std::unique_ptr<RRealValue> Bank;     // selector 0..max(2, BankCount)-1, step 1
  std::vector<std::unique_ptr<RTagItem>> Banks;  // one stored module state per bank
  int32_t InputCount = 2;               // only where the catalogue's count is variable
  uint64_t MaskIn = 1;
  uint64_t MaskInSteal = 0;
  std::vector<int32_t> InputIndex;      // lane per input; -1: the column
  std::vector<uint8_t> InputSteal;
  int32_t OutputCount = 2;              // only where the catalogue's count is variable
  uint64_t MaskOut = 1;
  std::vector<int32_t> OutputIndex;     // always column + n after routing
  int32_t FeedbackChannel = -1;
  double FeedbackGain = 1.0;
  // EnableMIDIInput, MIDIChannel, NoteMin, NoteMax and the T group are the trigger sink's.
  int32_t SynchronizePhaseIndex = -1;
  RString Notes;

  // --- settled by the compile
  bool Active = false;
  int32_t InputCountUsed = 0;
  int32_t OutputCountUsed = 0;
  int32_t LatencyUsed = 0;
  // The MIDI gate of the module: which channels and notes reach it.
  struct MIDIGate {
    bool Enabled = false;
    uint16_t ChannelMask = 0xffff;
    int32_t NoteMin = 0;
    int32_t NoteMax = 127;
  };
  MIDIGate Gate;

private:
  RAudioPluginModular* graph_;
  const PluginDescriptor* descriptor_;
  std::unique_ptr<RAudioPlugin> module_;
  int32_t x_;
  int32_t y_;
};
