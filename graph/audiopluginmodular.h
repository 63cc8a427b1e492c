#pragma once
// RAudioPluginModular: the plug-in that hosts other plug-ins. A grid of Rows × lanes cells,
// each occupied cell a slot holding one module (an RAudioPlugin of its own). Audio runs on
// numbered lanes, each a bus of channels running down the whole grid; a module reads lanes by
// its routing mask and writes the lanes of its own column.
//
// Two halves:
//   compile  RebuildProcessors turns grid and masks into a flat list of Processors with every
//            buffer pointer resolved, plus a short mix list. Dead modules, latency alignment
//            and direct writes into the host's buffers are settled here. May allocate.
//   audio    Process walks the two lists. Allocates nothing, decides nothing the compile
//            could have decided.
//
// Scenarios:
//   I.   A state loads while audio runs: the load holds the root's audio locks, deletes the
//        processors and slots, builds the new slots and compiles; a block arriving meanwhile
//        can't take the audio lock and goes dry.
//   II.  A slot is inserted during processing: CreateSlot takes the root's event lock and both
//        audio locks, so the walk sees the old list or the new one, never half of either.
//   III. A slot's Enabled parameter changes: its on-change event recompiles without resetting
//        the modules (no click in the modules that keep running).
//   IV.  A module's latency changes: the same recompile; the total latency event tells the host.
//   V.   A nested graph (a module that is itself a graph) compiles: it takes the outermost
//        graph's locks, reached through the parent chain.
//
// The level between RAudioPlugin and this class that some hosts of this kind have (a plug-in
// "with FX") would add only to the editor-side periodic update, which this system doesn't
// have; the class derives from RAudioPlugin directly.
//
// Threads: structure (slots, cells, compile, store) [editor-thread] [host-thread] with the
// root's locks held; Process [audio-thread] under the root's audio lock.

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/event.h"
#include "base/lock.h"
#include "base/string.h"
#include "graph/catalogue.h"
#include "graph/lanealigner.h"
#include "graph/miditrigger.h"
#include "graph/pluginslot.h"
#include "kernel/audioplugin.h"

class RStoreContext;
class RTagItem;

class RAudioPluginModular : public RAudioPlugin {
public:
  static constexpr int32_t kRows = 16;
  static constexpr int32_t kDefaultLanes = 6;
  // Routing masks are 64 bits wide.
  static constexpr int32_t kMaxLanes = 64;
  static constexpr int32_t kFeedbackChannels = 16;
  static constexpr int32_t kMinLaneFrames = 1024;
  // A wire's Y for the graph's input, above row 0.
  static constexpr int32_t kInputRow = -1;

  // One lane buffer added into the host's output at the end of the walk.
  struct MixEntry {
    int32_t Lane = 0;
    int32_t BufferSelect = 0;
    int32_t OutputLane = 0;
  };

  // A line the editor draws from a source cell (Y = -1: the graph's input) to a target cell;
  // positions are fractions along the cells' edges. Audio never reads it.
  struct WireEntry {
    int32_t SourceX = 0;
    int32_t SourceY = kInputRow;
    int32_t TargetX = 0;
    int32_t TargetY = 0;
    double SourcePosition = 0.5;
    double TargetPosition = 0.5;
    uint8_t InputIndex = 0;
  };

  // One channel group of the feedback table: a slot's output, scaled by its FeedbackGain, for a
  // module elsewhere in the graph to read. Sized at setup so that the walk never allocates.
  struct FeedbackEntry {
    std::vector<float> Samples;  // Channels × Frames, channel-major
    int32_t Channels = 0;
    int32_t Frames = 0;
  };

  // The compiled form of one slot.
  class Processor {
  public:
    Processor(RAudioPluginModular& graph, RPluginSlot& slot, int32_t inputs, int32_t outputs, int32_t stride);

    // One sub-block of the module: host pointers filled in, the module's cycle, mute, the
    // feedback send, the aligner. Failures are caught and reported; the walk goes on.
    // [audio-thread] noexcept, allocation-free.
    void Process(float* const* hostInputs, float* const* hostOutputs, int32_t frames,
                 const RHostTimeInfo& transport) noexcept;

    RAudioPluginModular* Graph;
    RPluginSlot* Slot;
    int32_t InputCount;   // inputs of the module (lanes)
    int32_t OutputCount;  // outputs of the module (lanes)
    int32_t Stride;
    // count × Stride each; entry i × Stride + channel.
    std::vector<float*> InputPointers;
    std::vector<float*> OutputPointers;
    // Per input or output: the lane × stride index and the buffer select; -1 where the host's
    // buffer takes the place of a lane.
    std::vector<int32_t> InputLane, InputSelect, OutputLane, OutputSelect;
    // Per (input or output, channel): -1 the lane buffer, else the host array's index.
    std::vector<int32_t> InputHostIndex, OutputHostIndex;
    // Runs after this processor: aligns the lanes of the row it ends.
    std::unique_ptr<RLaneAligner> Aligner;
    // Who reads what this processor writes, when nothing else does (no host output, no mix,
    // no feedback send, no aligner): each reader and its input. Empty: always runs.
    struct Reader {
      Processor* Module;
      int32_t Input;
    };
    std::vector<Reader> Readers;
    // Every reader ignores this processor's output in the coming block, so it may be left out.
    // [audio-thread]
    bool IsUnread() const noexcept;
  };

  // laneCount: 1..64. sideChain: two named inputs ("Input", "Side-chain") and two input lanes,
  // else one ("Input"). [host-thread] [editor-thread]
  explicit RAudioPluginModular(const RString& name, int32_t laneCount = kDefaultLanes, bool sideChain = false,
                               const Options& options = Options());
  ~RAudioPluginModular() override;

  // --- the grid
  int32_t GetLaneCount() const noexcept { return lanes_; }
  int32_t GetRowCount() const noexcept { return rows_; }
  // With two input buses 2, else 1 (0 when the host gives none).
  int32_t GetInputLaneCount() const noexcept { return inputBuses_; }
  int32_t GetOutputLaneCount() const noexcept { return outputBuses_; }
  const std::vector<RString>& GetInputNames() const noexcept { return inputNames_; }
  void SetInputNames(std::vector<RString> names) { inputNames_ = std::move(names); }
  // Null where the cell is empty or out of the grid.
  RPluginSlot* GetCell(int32_t x, int32_t y) const noexcept;
  // Every slot in creation order.
  const std::vector<std::unique_ptr<RPluginSlot>>& GetSlots() const noexcept { return slots_; }
  // Index of a slot in the slot list; -1 when it isn't this graph's.
  int32_t GetSlotIndex(const RPluginSlot* slot) const noexcept;
  RPluginSlot* FindSlot(const RString& fullName) const noexcept;
  // Puts a slot in its cell and at the end of the slot list; a slot that held the cell is
  // deleted first. The caller holds the locks and compiles afterwards.
  RPluginSlot& PlaceSlot(std::unique_ptr<RPluginSlot> slot);
  // Deletes the slot of a cell, if any. Locks held by the caller; compile and rebuild the
  // parameter table afterwards (the table is dropped, since it points into the slot).
  void RemoveSlot(int32_t x, int32_t y);
  // Processors and the parameter table first (they point into slots), then every slot.
  void DeleteAllSlots();
  bool GetOutputEnabled(int32_t lane) const noexcept { return outputEnabled_[size_t(lane)] != 0; }
  void SetOutputEnabled(int32_t lane, bool enabled) noexcept { outputEnabled_[size_t(lane)] = enabled ? 1 : 0; }

  // --- the catalogue of this graph
  RCatalogue& GetCatalogue() noexcept { return *catalogue_; }
  const RCatalogue& GetCatalogue() const noexcept { return *catalogue_; }
  const PluginDescriptor* FindDescriptor(const RString& name) const { return catalogue_->FindDescriptor(name); }

  // --- the compile
  // Brings MaskIn/MaskInSteal/MaskOut and the index lists of a slot into agreement; the
  // outputs always land on the column and the lanes right of it.
  void ResolveRouting(RPluginSlot& slot, int32_t column);
  // The compile itself. Leaves at once before the first setup and when re-entered; holds the
  // root's audio and automation locks. resetModules: reset each module that gets a processor.
  void RebuildProcessors(bool resetModules);
  // The compile as structure changes call it: fires LatencyChanged (and asks the host to be
  // told) when the total latency moved.
  void Recompile(bool resetModules);
  // Slot switches (Enabled) and bank switches take effect editor-side, never on the audio
  // thread: their changes wait in each value's queue. This runs what waits, here and in nested graphs; the editor's
  // timer does it while an editor is open, and a host without one calls it from its idle time
  // (the command line between blocks). [editor-thread] [host-thread]
  void DeliverSlotChanges();
  // The slot switches, then the kernel's own (a Setup for a new channel mode or factor).
  void DeliverPendingChanges() override;
  // Sizes the two buffers per (lane, channel): at least 2 channels and kMinLaneFrames, grown
  // by powers of two, never shrunk. [host-thread] under the locks.
  void PrepareLaneBuffers(int32_t channels, int32_t frames);
  bool HasLaneBuffers() const noexcept { return laneFrames_ > 0; }
  // The buffer of (lane, channel) at select 0 or 1.
  float* GetLaneBuffer(int32_t lane, int32_t channel, int32_t select) const noexcept {
    return laneBuffers_[size_t(select)][size_t(lane * channelStride_ + channel)];
  }
  // Lane buffer by lane × stride index, as processors and mix entries hold it.
  float* GetLaneBufferAt(int32_t laneIndex, int32_t select) const noexcept {
    return laneBuffers_[size_t(select)][size_t(laneIndex)];
  }

  // What the last compile left, for the walk, the editor, the dump and tests.
  const std::vector<std::unique_ptr<Processor>>& GetProcessors() const noexcept { return processors_; }
  const std::vector<MixEntry>& GetMixList() const noexcept { return mix_; }
  const std::vector<WireEntry>& GetWires() const noexcept { return wires_; }
  bool GetDirectCopy(int32_t lane) const noexcept { return directCopy_[size_t(lane)] != 0; }
  uint64_t GetNeededLanes(int32_t row) const noexcept { return neededLanes_[size_t(row)]; }
  uint64_t GetStolenLanes(int32_t row) const noexcept { return stolenLanes_[size_t(row)]; }
  uint64_t GetRowOutputs(int32_t row) const noexcept { return rowOutputs_[size_t(row)]; }
  int32_t GetTotalLatency() const noexcept { return totalLatency_; }
  bool IsClearOutputFirst() const noexcept { return clearOutputFirst_; }
  uint64_t GetClearedOutputs() const noexcept { return clearOutputs_; }
  int32_t GetGraphVersion() const noexcept { return graphVersion_.load(std::memory_order_acquire); }
  // The compiled list as text, one processor a line (row, column, FullName, inputs and
  // outputs as lane/buffer or host channel, latency, aligner), then the mix list and DirectCopy.
  RString DescribeProcessors() const;

  // --- events of structure changes, heard on the thread that made the change
  REvent BeforeLoad;
  REvent AfterLoad;
  REvent BeforeChange;
  REvent AfterChange;
  REvent LatencyChanged;  // payload: the new total latency (int32)

  // --- slots, names, store (with the graph's store)
  // Places a new slot of descriptor at (x, y), replacing an occupant. Outside batch mode it
  // takes the root's event lock and both audio locks, sends BeforeChange/AfterChange and
  // compiles with a module reset. Module constructors' exceptions go to the caller.
  RPluginSlot* CreateSlot(int32_t x, int32_t y, const PluginDescriptor& descriptor, bool isBatch);
  // "name" plus a blank and the first free number from 1.
  RString FindUniqueName(const RString& name) const;
  void Store(RStoreContext& context) override;
  // A preset of a single-effect plug-in opened as that module at (0, 1). Returns whether a
  // module was found for the root's name.
  bool ImportSingleModule(const RTagItem& element);

  // --- nesting: the outermost graph and its locks
  RAudioPluginModular& GetRootModular() noexcept;
  // Guards slot creation; the root's. Taken before the audio locks.
  RLock& GetEventLock() noexcept { return GetRootModular().eventLock_; }
  // The root's per-note tables for the slots' MIDI triggers.
  RMIDINoteTable& GetNoteTable() noexcept { return GetRootModular().noteTable_; }
  // The root's feedback table: kFeedbackChannels entries, cleared at setup.
  std::array<FeedbackEntry, kFeedbackChannels>& GetFeedbackTable() noexcept { return GetRootModular().feedback_; }

  // --- kernel operations this class overrides
  void Setup_Locked() override;
  void Process(float* const* inputs, float* const* outputs, int32_t frames) override;
  int32_t GetLatency() const override { return totalLatency_; }
  void ClearState() override;
  void Reset() override;
  void UpdateMaxBlockSize(int32_t maxBlock) override;

  // Flags of the framework; this system never changes them.
  bool SumAllLanes = false;
  bool CompensateLatency = true;

protected:
  // Hooks at the end of a compile: after the modules' reset, and always.
  virtual void PostReset() {}
  virtual void PostCompile() {}

private:
  // Fills each processor's Readers, after the compile has placed every buffer.
  void FindSoleReaders();
  // The backward liveness pass over the rows.
  void MarkNeededLanes(uint64_t finalMask);
  // The forward pass of a graph without input lanes: slots that would read a lane nothing
  // wrote lose Active.
  uint64_t DropUnfedSlots();
  // Gives a module the graph's rate, block size and channels and its own bus counts; its
  // Setup runs only when one of them changed.
  void SetUpModule(RPluginSlot& slot);
  // The host input bus a lane that nothing wrote reads.
  int32_t HostLaneOf(int32_t lane) const noexcept;
  void ClearCompiled();
  // Frees the lane buffers.
  void FreeLaneBuffers() noexcept;

  int32_t lanes_;
  int32_t rows_ = kRows;
  std::vector<RString> inputNames_;
  std::unique_ptr<RCatalogue> catalogue_;

  // Columns of rows_ cells each, entry x × rows_ + y; not owning.
  std::vector<RPluginSlot*> grid_;
  std::vector<std::unique_ptr<RPluginSlot>> slots_;
  std::vector<std::unique_ptr<Processor>> processors_;
  std::vector<MixEntry> mix_;
  std::vector<WireEntry> wires_;

  // Two pointer arrays (one per select) of lanes × max(2, channels) entries at stride spacing,
  // into one aligned block.
  std::array<std::vector<float*>, 2> laneBuffers_;
  float* laneStorage_ = nullptr;
  size_t laneStorageFloats_ = 0;
  int32_t laneFrames_ = 0;
  int32_t laneChannels_ = 0;

  std::vector<uint8_t> outputEnabled_;
  std::vector<uint8_t> directCopy_;
  std::vector<uint8_t> mixedOutputLanes_;  // drum-machine hosts only
  std::vector<uint64_t> neededLanes_;
  std::vector<uint64_t> stolenLanes_;
  std::vector<uint64_t> rowOutputs_;

  int32_t totalLatency_ = 0;
  bool clearOutputFirst_ = false;
  // Host output buses that nothing writes whole (no direct writer, no direct copy) but mix
  // entries add into: cleared before the processors run.
  uint64_t clearOutputs_ = 0;
  std::atomic<int32_t> graphVersion_{0};
  std::atomic<int32_t> compileGuard_{0};

  RLock eventLock_;
  RMIDINoteTable noteTable_;
  std::array<FeedbackEntry, kFeedbackChannels> feedback_;
};
