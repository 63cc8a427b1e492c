#pragma once
// RTempoSync: the group of values by which a module ties a time to the host's tempo: a switch
// ("Sync"), a note length, straight or triplet/dotted/tuplet feel, and, where the module has
// them, a phase offset, a modifier of the synced time and a count of notes.
//
// The values belong to the owner's table in this order: sync, length, type, then phase,
// modify and count as the flags ask. Construction runs with the owner's other values; Refresh
// runs wherever the owner takes a parameter change in (its Update, any thread that holds the
// owner's audio lock); Samples is [audio-thread], allocation-free and noexcept.

#include <cstdint>
#include <memory>

#include "kernel/value.h"

class RAudioPluginBase;

class RTempoSync {
public:
  enum Flags : uint32_t {
    kPhase = 1u << 0,
    kModify = 1u << 1,
    kCount = 1u << 2,
  };
  static constexpr int32_t kLengthCount = 15;
  static constexpr int32_t kDefaultLength = 9;  // "1 / 4"

  RTempoSync(RAudioPluginBase* owner, uint32_t flags = 0);
  ~RTempoSync();

  // Recomputes the divisor from the processing values after a parameter change.
  void Refresh() noexcept;
  // The note length in samples, trunc(sampleRate * 240 / (tempo * divisor)); 0 when the
  // group is off or the tempo isn't above 0. 240 s / bpm is a whole note: four beats.
  int64_t Samples(double tempo, double sampleRate) const noexcept;
  bool IsOn() const noexcept { return sync_->IsProcessingOn(); }
  // Notes per whole note: 4 is a quarter note, 1.5 times that a quarter triplet.
  double GetDivisor() const noexcept { return divisor_; }
  // The phase offset as a share of the note length, 0..1 (0 without the phase value).
  double GetPhase() const noexcept;

  RBoolValue& GetSync() noexcept { return *sync_; }
  RChoiceValue& GetLength() noexcept { return *length_; }
  RChoiceValue& GetType() noexcept { return *type_; }
  RRealValue* GetPhaseValue() noexcept { return phase_.get(); }
  RRealValue* GetModify() noexcept { return modify_.get(); }
  RRealValue* GetCount() noexcept { return count_.get(); }

  // The note length of a length index, in notes per whole note: 1/128 .. 128.
  static double LengthDivisor(int32_t index) noexcept;

private:
  std::unique_ptr<RBoolValue> sync_;
  std::unique_ptr<RChoiceValue> length_;
  std::unique_ptr<RChoiceValue> type_;
  std::unique_ptr<RRealValue> phase_;
  std::unique_ptr<RRealValue> modify_;
  std::unique_ptr<RRealValue> count_;
  double divisor_ = 4.0;
};
