#pragma once
// RValue: one knob, switch or menu of a plug-in. Hosts, controls, modulation and stored state
// see it as a normalised number 0..1; the DSP reads its processing value in real units.
//
// Every value holds two numbers:
//   the user value        what the editor, the store and the host see (kept in the range);
//   the processing value  what the DSP reads, written only through SetProcessing, which the
//                         ramps of the owner's scheduler follow sample-accurately.
// Continuous kinds also keep LastValue, the processing value at the end of the previous
// block, from which gain and panorama stages draw their per-block ramps (GetRamp).
//
// Kinds: RBoolValue, RChoiceValue, RRealValue, RTimeValue and RFrequencyValue; each owns a
// range of the matching kind (kernel/valuerange.h and its kinds) that maps, shows and parses.
//
// Threads: SetNormalised and the text operations run on editor or host threads under the
// owner's parameter lock; SetProcessing, GetProcessing* and GetRamp run on the audio thread
// (or wherever the owner's scheduler applies a change) and never allocate.

#include <cstdint>
#include <memory>

#include "base/event.h"
#include "base/string.h"
#include "kernel/choicerange.h"
#include "kernel/frequencyrange.h"
#include "kernel/timerange.h"
#include "kernel/valuerange.h"

class RAudioPluginBase;
class RStoreContext;
class RTagItem;
class RVariant;

class RValue {
public:
  enum Flags : uint32_t {
    kFineRamp = 1u << 0,      // a ramp of this value makes the cycle use the small sub-block limit
    kNoRamp = 1u << 1,        // a change applies at once, never ramped (every bool and choice)
    kNeedsSetup = 1u << 2,    // a processing change raises the owner's setup-pending bit
    kStored = 1u << 3,        // Store writes and reads it
    kGlobal = 1u << 4,        // stored also under a preset-only root
    kSendsAll = 1u << 5,      // SendAllAutomation includes it
    kHasModulator = 1u << 6,  // a per-parameter modulator is attached
    kUsesAltName = 1u << 7,   // the short display name is AltName
    kDirty = 1u << 8,         // the processing value moved since the DSP last looked
    kStoreByName = 1u << 9,   // a choice stores its item's text instead of its index
  };
  static constexpr uint32_t kDefaultFlags = kNeedsSetup | kStored | kGlobal | kSendsAll;

  // What a control reports through the Mouse event and TouchAutomation takes.
  enum MouseEventKind : int32_t { kMouseNone = -1, kMousePress = 0, kMouseRelease = 3, kMouseContext = 4 };
  struct MouseEvent {
    int32_t kind = kMouseNone;
    uint32_t modifiers = 0;  // three modifier bits: shift, control, alt
  };

  // A key of exactly "~" means: the key is the name, and the value is never stored as a
  // parameter of its own (its owner writes it by hand). An empty key is the name.
  RValue(RAudioPluginBase* owner, const RString& name, const RString& key = RString(),
         const RString& description = RString());
  virtual ~RValue();
  RValue(const RValue&) = delete;
  RValue& operator=(const RValue&) = delete;

  // --- identity
  const RString& GetName() const noexcept { return name_; }
  const RString& GetAltName() const noexcept { return altName_; }
  void SetAltName(const RString& altName);  // also sets kUsesAltName when not empty
  const RString& GetKey() const noexcept { return key_; }
  RAudioPluginBase* GetOwner() const noexcept { return owner_; }
  void SetOwner(RAudioPluginBase* owner) noexcept { owner_ = owner; }
  int32_t GetOwnerIndex() const noexcept { return ownerIndex_; }
  void SetOwnerIndex(int32_t index) noexcept { ownerIndex_ = index; }
  void* GetControl() const noexcept { return control_; }

  uint32_t GetFlags() const noexcept { return flags_; }
  bool HasFlag(uint32_t flag) const noexcept { return (flags_ & flag) != 0; }
  void SetFlag(uint32_t flag, bool on) noexcept { flags_ = on ? (flags_ | flag) : (flags_ & ~flag); }

  // --- events
  REvent Changed;            // deferred: delivered editor-side after the user value changed
  REvent ProcessingChanged;  // immediate, on the thread that set the processing value
  REvent Touched;
  REvent Update;
  REvent AutomationRefresh;  // SendAllAutomation without a host adapter
  REvent Mouse;              // control events on their way to TouchAutomation

  // --- the virtual operations, in the order every kind shares
  virtual bool IsEditable() const { return true; }
  virtual RValueRange* GetRange() { return nullptr; }
  const RValueRange* GetRange() const { return const_cast<RValue*>(this)->GetRange(); }
  virtual RString GetDescription() const { return description_; }
  // Writes the processing value, marks it dirty, raises the owner's setup-pending bit when
  // kNeedsSetup, fires ProcessingChanged. [audio-thread] allocation-free.
  virtual void SetProcessing(double normalised) = 0;
  // Writes the user value (clamped, quantised); fires Changed. Returns whether it changed.
  virtual bool SetNormalised(double normalised) = 0;
  virtual double GetProcessingNormalised() const = 0;
  virtual double GetNormalised() const = 0;
  // The user value becomes the processing value and LastValue. Setup's copy: it marks the
  // value dirty but raises no setup-pending bit and fires nothing.
  virtual void SyncProcessing() = 0;
  // The user value becomes LastValue alone.
  virtual void ResetRamp() {}
  virtual double GetDefaultNormalised() const { return 0.5; }
  virtual void Clamp() {}
  virtual RString GetDisplayName(bool shortForm) const;
  virtual RString GetText() const = 0;
  virtual RString GetTextOfNormalised(double normalised) const = 0;
  // False, value untouched, when the text can't be read.
  virtual bool ParseToNormalised(const RString& text, double& normalised) const = 0;
  virtual RString GetUnits() const { return RString(); }
  // Writes or reads "#Key" (old files: "parameterKey"); see kernel/storecontext.h.
  virtual void Store(RStoreContext& context, bool force = false);
  // True when the processing value moves within a block of frames: start is LastValue and
  // increment the step per sample towards the processing value. [audio-thread]
  virtual bool GetRamp(int32_t frames, double& start, double& increment) const;
  // Conversions between the user value and what a store holds; identity in every kernel kind.
  virtual double ToStored(double real) const { return real; }
  virtual double FromStored(double stored) const { return stored; }

  // --- binding of an editor control; the control never holds a value of its own
  void BindControl(void* control) noexcept { control_ = control; }
  void UnbindControl(void* control) noexcept {
    if (control_ == control) control_ = nullptr;
  }

  // Fires Changed by posting, so that the editor side hears it on its own thread.
  void NotifyChanged();

protected:
  // The shared part of SetProcessing: dirty bit, setup-pending bit, ProcessingChanged.
  void ProcessingWritten();

  RAudioPluginBase* owner_;
  RString name_;
  RString altName_;
  RString key_;
  RString description_;
  int32_t ownerIndex_ = -1;
  uint32_t flags_ = kDefaultFlags;
  void* control_ = nullptr;
};

// A value with a range: the real kinds, choices and switches. The range holds the user
// value; the processing value and LastValue live here, in real units, next to the
// processing value's normalised form.
class RRangedValue : public RValue {
public:
  RValueRange* GetRange() override { return range_.get(); }
  void SetProcessing(double normalised) override;
  bool SetNormalised(double normalised) override;
  double GetProcessingNormalised() const override { return processingNormalised_; }
  double GetNormalised() const override { return range_->GetNormalised(); }
  void SyncProcessing() override;
  void ResetRamp() override { lastValue_ = range_->GetValue(); }
  double GetDefaultNormalised() const override { return range_->GetDefaultNormalised(); }
  void Clamp() override { range_->Clamp(); }
  RString GetText() const override { return range_->GetText(); }
  RString GetTextOfNormalised(double normalised) const override { return range_->TextOfNormalised(normalised); }
  bool ParseToNormalised(const RString& text, double& normalised) const override {
    return range_->ParseToNormalised(text, normalised);
  }
  void Store(RStoreContext& context, bool force = false) override;
  bool GetRamp(int32_t frames, double& start, double& increment) const override;

  // Real units.
  double GetValue() const noexcept { return range_->GetValue(); }
  double GetProcessing() const noexcept { return processing_; }
  const double* GetProcessingPointer() const noexcept { return &processing_; }
  double GetLastValue() const noexcept { return lastValue_; }
  // Called by a stage that consumed the block's ramp: the block's end value becomes the next
  // block's start. [audio-thread]
  void MarkRampDone() noexcept { lastValue_ = processing_; }
  // Sets user and processing value together, in real units (clamped): stores, hand-written
  // state. Fires ProcessingChanged and posts Changed when each moved; LastValue stays, so a
  // stage still glides to the new value.
  void SetValueNow(double real);

protected:
  RRangedValue(RAudioPluginBase* owner, std::unique_ptr<RValueRange> range, const RString& name,
               const RString& key, const RString& description);

  // Moves the user value to a normalised position (clamped to 0..1); whether it changed.
  // Continuous kinds quantise through the range's steps.
  virtual bool ApplyNormalised(double normalised);
  // The stored form of the user value, and the real value a stored form stands for.
  virtual void WriteStored(RTagItem& element, const RHashedString& key) const;
  virtual double ReadStored(const RVariant& stored) const;

  std::unique_ptr<RValueRange> range_;
  double processing_ = 0.0;
  double processingNormalised_ = 0.0;
  double lastValue_ = 0.0;
};

class RRealValue : public RRangedValue {
public:
  RRealValue(RAudioPluginBase* owner, const RString& name, double min, double max, double defaultValue,
             const RString& format = RString(), const RString& key = RString(),
             const RString& description = RString());
};

class RTimeValue : public RRangedValue {
public:
  // Seconds. minimumText is shown at the bottom of the range ("Off"), empty for none.
  RTimeValue(RAudioPluginBase* owner, const RString& name, double min, double max, double defaultValue,
             const RString& minimumText = RString(), const RString& key = RString(),
             const RString& description = RString());
  RTimeRange& GetTimeRange() noexcept { return static_cast<RTimeRange&>(*range_); }
};

class RFrequencyValue : public RRangedValue {
public:
  // Hertz. minimumText is shown at the bottom of the range, empty for none.
  RFrequencyValue(RAudioPluginBase* owner, const RString& name, double min, double max, double defaultValue,
                  const RString& minimumText = RString(), const RString& key = RString(),
                  const RString& description = RString());
  RFrequencyRange& GetFrequencyRange() noexcept { return static_cast<RFrequencyRange&>(*range_); }
};

class RChoiceValue : public RRangedValue {
public:
  RChoiceValue(RAudioPluginBase* owner, const RString& name, const RArray<RString>& items, int32_t defaultIndex = 0,
               const RString& key = RString(), const RString& description = RString());
  RChoiceRange& GetChoiceRange() noexcept { return static_cast<RChoiceRange&>(*range_); }
  int32_t GetIndex() const noexcept { return int32_t(range_->GetValue()); }
  int32_t GetProcessingIndex() const noexcept { return int32_t(processing_); }

protected:
  // Each item owns an equal share of the travel, round(n * count - 0.5), as hosts expect of a
  // stepped parameter; snapping to the item positions first would move the borders.
  bool ApplyNormalised(double normalised) override;
  void WriteStored(RTagItem& element, const RHashedString& key) const override;
  double ReadStored(const RVariant& stored) const override;
};

class RBoolValue : public RRangedValue {
public:
  RBoolValue(RAudioPluginBase* owner, const RString& name, bool defaultValue = false, const RString& key = RString(),
             const RString& description = RString());
  // A switch has no range to show a control: it is on or off.
  RValueRange* GetRange() override { return nullptr; }
  bool IsOn() const noexcept { return range_->GetValue() >= 0.5; }
  bool IsProcessingOn() const noexcept { return processing_ >= 0.5; }
  // A host's or a user's flag text: "0" is off and any other text is on, "Off" included.
  bool ParseToNormalised(const RString& text, double& normalised) const override;

protected:
  void WriteStored(RTagItem& element, const RHashedString& key) const override;
  double ReadStored(const RVariant& stored) const override;
};
