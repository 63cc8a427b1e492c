#pragma once
// RAudioPluginBase: what every plug-in and every module nested in a graph shares below the
// processing cycle: the parameter table, the ramps that carry parameter changes to the audio
// thread sample-accurately, automation to and from the host, undo, and the transport as the
// DSP sees it.
//
// The table gives each value a stable index, a full name (prefixes included) and a place in
// host automation. Indexes never move after construction: hosts and stored automation rely
// on them. A plug-in holding nested plug-ins mirrors their records into its own table.
//
// A change reaches the DSP by one of two roads:
//   at once        SetProcessing before the block (offset 0, no sample-accurate events,
//                  asleep, or a NoRamp value);
//   by a ramp      SetParameterEdited plans points (time, normalised value); the cycle's
//                  InterpolationPrepare/Process/Finish walk them and cut the block into
//                  sub-blocks that end at every point.
// Ramps come from a free list, so steady automation allocates nothing; only a parameter's
// first ramp ever may allocate one record.
//
// Locks, always taken in this order: parameter (structure, host reads and edits), audio (the
// block; the audio thread only tries it), automation (the ramp lists). A nested plug-in uses
// its root's locks.

#include <cstdint>
#include <memory>
#include <vector>

#include "base/lock.h"
#include "base/string.h"
#include "base/stringset.h"
#include "kernel/timeinfo.h"
#include "kernel/value.h"

class RAudioPluginInterface;
class RUndoList;

class RAudioPluginBase {
public:
  // The sample offset of a change that belongs at the end of the block (a host without
  // offsets); resolved to the block's length when the block is scheduled.
  static constexpr int32_t kEndOfBlock = 0x7fffffff;
  // Changes smaller than this are no change.
  static constexpr double kSameNormalised = 1e-8;
  static constexpr int32_t kMaxRampPoints = 64;

  struct Parameter {
    RValue* Value = nullptr;               // not owned
    RAudioPluginBase* Owner = nullptr;     // the plug-in whose table this is
    const char* Name = nullptr;            // full name, interned in the owner's string set
    double LastAutomation = 0.0;           // last normalised value told to the host
    int32_t Index = -1;
    bool Mirrored = false;                 // copied in from a nested plug-in
  };

  struct RampPoint {
    int32_t time;   // samples from the start of the present sub-block
    double value;   // normalised
  };
  struct Ramp {
    Ramp* previous = nullptr;
    Ramp* next = nullptr;
    int32_t index = -1;
    int8_t count = 0;
    bool fine = false;
    RampPoint points[kMaxRampPoints];
  };

  explicit RAudioPluginBase(const RString& name);
  virtual ~RAudioPluginBase();
  RAudioPluginBase(const RAudioPluginBase&) = delete;
  RAudioPluginBase& operator=(const RAudioPluginBase&) = delete;

  const RString& GetName() const noexcept { return name_; }
  // Parent chain of nested plug-ins; the root has none.
  RAudioPluginBase* GetParent() const noexcept { return parent_; }
  void SetParent(RAudioPluginBase* parent) noexcept { parent_ = parent; }
  RAudioPluginBase& GetRoot() noexcept;
  // "parent path - name", the root's path being its name: for log lines.
  RString GetModulePath() const;
  RAudioPluginInterface* GetInterface() const noexcept { return interface_; }
  void SetInterface(RAudioPluginInterface* adapter) noexcept { interface_ = adapter; }

  // --- the table [editor-thread] [host-thread], under the parameter lock. The look-ups build
  // their indexes on first use (and after any change of the table), so they may allocate:
  // never call them from the audio thread.
  // Fills the table once, after construction: own values in their order of construction,
  // then what the derived levels add. Derived classes call the base first.
  virtual void InitParameters();
  // Values that a plug-in holds register themselves here at construction (RValue does it),
  // in order; InitParameters enters them into the table.
  void AddOwnValue(RValue* value) { ownValues_.push_back(value); }
  const std::vector<RValue*>& GetOwnValues() const noexcept { return ownValues_; }
  // Appends a record named prefix + GetDisplayName(short). Returns its index.
  int32_t RegisterParameter(RValue* value, const RString& prefix = RString());
  // Copies every record of a nested plug-in's table, names prefixed, as mirrors.
  void MirrorParameters(RAudioPluginBase& child, const RString& prefix);
  void ClearParameters();
  int32_t GetParameterCount() const noexcept { return int32_t(parameters_.size()); }
  // How many leading records the host sees; the rest are internal.
  virtual int32_t GetAutomatableCount() const { return GetParameterCount(); }
  // Null out of range.
  Parameter* GetParameter(int32_t index) noexcept;
  const Parameter* GetParameter(int32_t index) const noexcept;
  RValue* GetParameterValue(int32_t index) noexcept;
  // Name to index, case and accents folded; -1 and a log line when it can't be resolved.
  int32_t GetParameterIndex(const RString& name);
  // Value object to index in this table, mirrors included; -1 when absent.
  int32_t GetParameterIndexOf(const RValue* value);
  // The wider search for names that older versions wrote; rewrites name as it goes.
  int32_t ResolveParameterName(RString& name);
  // Rewrites a name an old settings file uses; returns whether it rewrote.
  virtual bool TranslateParameterName(RString& name);
  // The name index's hash: one-at-a-time over the units, case and accents folded, so that
  // names which compare equal share a bucket.
  static uint32_t HashParameterName(const RString& name) noexcept;

  // --- changes towards the audio thread
  void SetParameterEdited(int32_t sampleOffset, int32_t index, double normalised);
  // The host's entry for automation: tries the parameter and audio locks, never waits.
  void ScheduleAutomationEvent(int32_t sampleOffset, int32_t index, double normalised);
  // A control moved (the value's Changed path): glides over the edit ramp while audio runs,
  // applies at once when the cycle hasn't run for over 1024 ms.
  void ParameterEditedByUser(int32_t index, double normalised);
  // Cancels a planned ramp of a parameter.
  void CancelRamp(int32_t index);

  // --- the ramps, run by the cycle under the automation lock [audio-thread]
  // Plans the block; returns the first sub-block length (at least 1). limit may be lowered
  // to fineLimit for the rest of the block when a fine ramp is active.
  int32_t InterpolationPrepare(int32_t frames, int32_t& limit, int32_t fineLimit);
  // Advances every ramp by count samples; returns the next sub-block limit.
  int32_t InterpolationProcess(int32_t count, int32_t limit);
  void InterpolationFinish();
  // Drops every planned ramp: each parameter takes its last planned value at once.
  void FlushRamps();
  bool HasActiveRamps() const noexcept { return activeRamps_ != nullptr; }
  // The ramps with a point ahead: the nearest such time, or kEndOfBlock when none.
  int32_t NearestRampTime() const noexcept;

  // --- automation towards the host
  void SendAutomation(int32_t index, double normalised);
  void SendAllAutomation();
  void TouchAutomation(int32_t index, RValue::MouseEvent& event);
  // Gesture hooks; the adapter hears them.
  virtual void BeginEdit(int32_t index, double normalised);
  virtual void EndEdit(int32_t index, double normalised);
  int32_t GetSuppressCount() const noexcept { return suppressAutomation_; }
  void RaiseSuppress() noexcept { ++suppressAutomation_; }
  void LowerSuppress() noexcept {
    if (suppressAutomation_ > 0) --suppressAutomation_;
  }

  // --- undo (kernel/undo.h)
  RUndoList& GetUndo() noexcept { return *undo_; }

  // --- state the processing cycle shares with the scheduling above
  void MarkSetupPending() noexcept { setupPending_ = true; }
  bool IsSetupPending() const noexcept { return setupPending_; }
  void ClearSetupPending() noexcept { setupPending_ = false; }
  RTimeInfo& GetTimeInfo() noexcept { return time_; }
  const RTimeInfo& GetTimeInfo() const noexcept { return time_; }
  int32_t GetOversampling() const noexcept { return oversampling_; }
  bool IsFirstBlock() const noexcept { return firstBlock_; }
  // The milliseconds clock at the start of the last block; 0 before the first.
  uint32_t GetLastProcessTime() const noexcept { return lastProcessTime_; }

  // --- locks (the root's for nested plug-ins)
  RLock& GetParameterLock() noexcept { return GetRoot().parameterLock_; }
  RLock& GetAudioLock() noexcept { return GetRoot().audioLock_; }
  RLock& GetAutomationLock() noexcept { return GetRoot().automationLock_; }

protected:
  // Every record gets SyncProcessing, every own value ResetRamp; all ramps are dropped.
  virtual void ResetParameters();
  // Whether a change applies at once rather than by a ramp (asleep, no sample-accurate
  // events); the cycle's level answers.
  virtual bool AppliesChangesAtOnce() const { return !sampleAccurateEvents_; }

  RString name_;
  RAudioPluginBase* parent_ = nullptr;
  RAudioPluginInterface* interface_ = nullptr;

  std::vector<RValue*> ownValues_;
  std::vector<Parameter> parameters_;
  RStringSet names_;
  // Built at the first look-up, dropped by ClearParameters.
  struct NameIndex;
  struct AddressIndex;
  std::unique_ptr<NameIndex> nameIndex_;
  std::unique_ptr<AddressIndex> addressIndex_;

  // Ramps: the active list (newest first) and the free list.
  Ramp* activeRamps_ = nullptr;
  Ramp* freeRamps_ = nullptr;
  bool endOfBlockPending_ = false;
  bool noRamps_ = false;
  int32_t remainingFrames_ = 0;
  int32_t editRamp_ = 0;  // samples an edit glides over: 20 ms at the effective rate

  int32_t suppressAutomation_ = 0;
  std::unique_ptr<RUndoList> undo_;

  RTimeInfo time_;
  int32_t oversampling_ = 1;
  int32_t eventShift_ = 0;  // half the oversampling filter's delay, in oversampled samples
  bool sampleAccurateEvents_ = true;
  bool setupPending_ = false;
  bool firstBlock_ = true;
  uint32_t lastProcessTime_ = 0;

  RLock parameterLock_;
  RLock audioLock_;
  RLock automationLock_;

private:
  // Appends a record, growing the table to the next power of two when it is full.
  int32_t AppendRecord(const Parameter& record);
  // The name index alone: -1 when absent. Builds the index on first use.
  int32_t FindParameter(const RString& name);
  // GetParameterIndex's steps; report says whether a miss is written to the log. matched,
  // when given, receives the name that was found.
  int32_t LookUpParameter(const RString& name, bool report, RString* matched = nullptr);
  void ReportMissingParameter(const RString& name) const;
  void DropIndexes() noexcept;

  void DeleteRamps() noexcept;
  std::vector<Ramp*> allRamps_;  // every ramp record ever made, for deletion
};
