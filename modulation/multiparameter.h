#pragma once
// RMultiParameter: one knob or switch of the product's editor. Its value (0..1) drives any
// number of target parameters of the plug-in's table through each target's range, curve and
// expression (modulation/multiparametertarget.h). On top of that it is a small state machine:
//   "Normal"   the value drives the targets; with Speed above 0 a glide follows the value at
//              most a full scale per Speed seconds;
//   "Switch"   a toggle whose position travels over SwitchTime seconds;
//   "Trigger"  a position that rises to the top over SwitchTime and falls back by itself;
//              with Randomizer, each rising edge gives every target a new random value;
//   "Banks"    targets take stored values per bank, in a row or on the XY pad that this and
//              the next multi-parameter span (modulation/multiparameter_banks.cpp);
//   "Meter"    reversed: the first target's value is read back into this one.
//
// Its values enter the owner's table as "MultiParameters - Param N - Position", "... - Enabled"
// and "... - Visible", N counted from 1. "Value" is not one of the words: older states used
// "MultiParameters - Param N - Value" for the first target's base value.
//
// Scenarios:
//   I.   A host automates the value: the ramps set its processing value on the audio thread;
//        without a glide or travel the targets follow at once (Apply), else the stages move.
//   II.  A glide is under way: UpdateSecondStage moves the position each sub-block and applies.
//   III. The user turns the knob: Apply(true) from the editor thread, waiting for the locks.
//   IV.  A meter: UpdateFirstStage reads the first target and shows it as this value.
//   V.   A target names this multi-parameter itself: Apply meets its own guard and stops.
//
// Threads: settings, targets and Store are [editor-thread] under the owner's parameter lock;
// Setup is [host-thread]; Apply runs on the editor thread at a knob move (it waits for the
// locks) and on the audio thread in the stages and from the value's processing changes (it
// only tries the locks, and retries in the next stage when it couldn't have them). The
// stages are [audio-thread] and allocate nothing.
// Locks, in order: the owner's automation lock, this multi-parameter's lock, a target's section.

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/lock.h"
#include "base/string.h"
#include "base/tagitem.h"
#include "kernel/value.h"
#include "modulation/expression.h"
#include "modulation/multiparametertarget.h"

class RAudioPlugin;
class RMultiParameter;
class RStoreContext;

// The multi-parameter's own value: a plain 0..1 real whose texts follow the ValueMode.
class RMultiParameterValue : public RRealValue {
public:
  RMultiParameterValue(RMultiParameter& owner, const RString& name);
  RString GetText() const override;
  RString GetTextOfNormalised(double normalised) const override;
  bool ParseToNormalised(const RString& text, double& normalised) const override;

private:
  RMultiParameter& multi_;
};

class RMultiParameter {
public:
  enum Mode : int32_t { kNormal = 0, kSwitch, kTrigger, kBanks, kMeter, kModeCount };
  enum ValueMode : int32_t {
    kPercents = 0,
    kPercentsBipolar,
    kByFirstParameter,
    kByBankName,
    kByBankNamesWithPercents,
    kByBankNameInterpolated,
    kByBankNameInterpolatedLog,
    kByBankNumber,
    kByBankNumberAndName,
    kExpression,
    kValueModeCount
  };
  static const char* const kModeNames[kModeCount];
  static const char* const kValueModeNames[kValueModeCount];
  static constexpr const char* kPrefix = "MultiParameters - Param ";
  // Closer than this is the same position.
  static constexpr double kSamePosition = 1e-10;
  static constexpr int32_t kDefaultBankCount = 4;

  // index counts from 0; the names count from 1.
  RMultiParameter(RAudioPlugin& plugin, int32_t index);
  ~RMultiParameter();
  RMultiParameter(const RMultiParameter&) = delete;
  RMultiParameter& operator=(const RMultiParameter&) = delete;

  RAudioPlugin& GetPlugin() noexcept { return plugin_; }
  int32_t GetIndex() const noexcept { return index_; }
  // "MultiParameters - Param N - ".
  RString GetPrefix() const;
  // Enters Position, Enabled and Visible into the owner's table. [editor-thread]
  void RegisterValues();

  // --- stored settings (the element keys)
  RString Name;
  RString Group;
  RString Info;
  int32_t Mode = kNormal;
  bool Randomizer = false;
  bool ActLikeRandomizer = false;
  bool XYPad4Banks = false;
  double BankValuePower = 1.0;
  double XYRatioPower = 3.0;
  int32_t ValueMode = kPercents;
  bool MinIsOff = false;
  bool MaxIsOff = false;
  bool OriginIsOff = false;
  RString VMExpressionToValue;
  double SwitchTime = 0.0;  // seconds
  int32_t StepCount = 0;
  double Speed = 0.0;       // seconds for a full-scale glide
  double DefaultValue = 0.5;
  double Origin = 0.0;
  bool Storable = true;
  bool StorableInPresets = true;
  bool ControlsMPs = false;
  bool GenerateDoc = true;
  int32_t BankCount = kDefaultBankCount;
  bool ParameterRangesEnabled = false;
  bool CyclicMode = false;
  RString BankName;  // the banks' names, separated by '|'
  bool BankNameCheck = false;
  bool GUIFuncDisabled = false;  // drives its targets even while Enabled is off
  // Not stored: whether StepCount steps the value (a definition may turn it off).
  bool Stepped = true;

  // The expression of the "Expression" value mode (value to shown number).
  void SetValueExpression(const RString& text);
  const RString& GetValueExpressionText() const noexcept { return valueExpression_.GetText(); }

  // --- values
  RMultiParameterValue& GetValue() noexcept { return value_; }
  const RMultiParameterValue& GetValue() const noexcept { return value_; }
  RBoolValue& GetEnabled() noexcept { return enabled_; }
  RBoolValue& GetVisible() noexcept { return visible_; }

  // --- targets [editor-thread]
  int32_t GetTargetCount() const noexcept { return int32_t(targets_.size()); }
  RMultiParameterTarget* GetTarget(int32_t i) noexcept;
  // Appends a target of that parameter name, resolved at once.
  RMultiParameterTarget& AddTarget(const RString& parameterName);
  void RemoveTargets();
  // Looks every target's name up in the owner's table; rewritten names are noted in the
  // replacement log when its switch is on.
  void ResolveTargets();
  RLock& GetLock() noexcept { return lock_; }

  // --- the cycle
  // The rate, the targets resolved, the glide and the switch at rest on the value. [host-thread]
  void Setup(double sampleRate);
  // Drives every target from the present position. fromUser: the editor thread, which waits
  // for the locks; otherwise they are only tried. force: a randomiser draws as on a rising
  // edge. Returns whether the targets were driven. [any-thread]
  bool Apply(bool fromUser, bool force);
  // Meters read back; an Apply that couldn't have its locks is retried. [audio-thread]
  void UpdateFirstStage(int32_t frames) noexcept;
  // The glide, the switch and the trigger move by frames. [audio-thread]
  void UpdateSecondStage(int32_t frames) noexcept;
  // In use for the cycle: Enabled with an enabled target, and moving or of a mode that moves
  // by itself.
  bool IsActive() const noexcept;
  // Needs stage one: a meter, or an Apply waiting for its locks.
  bool IsPending() const noexcept { return Mode == kMeter || pending_.load(std::memory_order_relaxed); }
  bool IsGliding() const noexcept;
  bool IsSwitchRunning() const noexcept { return running_; }
  double GetGlidePosition() const noexcept { return glide_; }
  double GetSwitchPosition() const noexcept { return switchPosition_; }

  // The value as the mode reads it, and stepped by StepCount.
  double GetInput() const noexcept;
  // The first target's normalised value for an input, without setting it; -1 without one.
  double MapFirstTarget(double x) noexcept;
  // The weights of the banks for an input x (and the pad's y). Returns the bank count used.
  int32_t GetBankWeights(double x, double* weights) const noexcept;
  RString GetBankName(int32_t bank) const;
  // Where bank sits on the pad of count banks, both axes 0..1.
  static void GetPadPosition(int32_t bank, int32_t count, double& x, double& y) noexcept;
  // The weights of count banks at the pad position (x, y); they sum to 1.
  static void ComputePadWeights(double x, double y, int32_t count, double power, double* weights) noexcept;

  // --- texts
  // The text of a normalised value as ValueMode says.
  RString ValueText(double normalised);
  // Reads a text typed in the ValueMode's form; false when it can't be read.
  bool ParseValueText(const RString& text, double& normalised) const;

  // --- stored form
  // The full element form: keys, values and the "Parameter" children. [editor-thread]
  void Store(RStoreContext& context);
  // The compact form's text: the value with 10 decimals, stepped when StepCount says so.
  RString GetCompactText() const;
  // Sets the value from a compact text, or to DefaultValue when text is empty.
  void SetCompactText(const RString& text);
  // Takes a stored value as it is, without glide or travel, and drives the targets.
  void LoadValue(double normalised);
  // Whether the value differs from DefaultValue.
  bool IsValueDefault() const noexcept;
  // Sets user and processing value together and applies.
  void SetValueNow(double normalised);

private:
  static void OnProcessingChanged(void* receiver, void* cookie, int32_t identifier, const REventPayload& payload);
  void ProcessingMoved(double normalised) noexcept;
  // Which multi-parameter drives the pad this one is the second axis of; null when none.
  RMultiParameter* PadOwner() noexcept;
  bool IsPad() const noexcept;
  void RefreshVariables(RMultiParameterTarget& target) noexcept;
  void ApplyTargets(double x, bool force, bool wait) noexcept;
  void ApplyBanks(double x, bool wait) noexcept;
  // Sets a target's parameter (SetNormalised, then SetProcessing when it moved).
  void SetTarget(int32_t index, double y) noexcept;
  // Writes the value itself from inside (a trigger's fall, a meter), unheard by its own handler.
  void WriteOwnValue(double normalised) noexcept;
  void StartMoving() noexcept;

  RAudioPlugin& plugin_;
  int32_t index_;
  RMultiParameterValue value_;
  RBoolValue enabled_;
  RBoolValue visible_;
  std::vector<std::unique_ptr<RMultiParameterTarget>> targets_;
  RExpression valueExpression_;
  // Attributes the editor keeps here ("GUI..."), carried through stores unchanged.
  RTagItem guiKeys_;
  RLock lock_;

  double sampleRate_ = 0.0;
  double glide_ = 0.5;
  double switchPosition_ = 0.0;
  int32_t direction_ = 0;
  bool running_ = false;
  double lastInput_ = 0.0;
  int32_t guard_ = 0;            // re-entry count; protected by lock_
  bool writingOwnValue_ = false;
  std::atomic<bool> pending_{false};
};
