#pragma once
// RChoiceRange: one of a list of item texts, its value the item's index. A host sees the
// index spread evenly over 0..1; a typed text selects the item whose text it is exactly.
//
// A choice of one item has no span: its normalised value would be 0 / 0. The range answers 0
// instead, so no NaN can reach a host or a stored state; such a value should still not be made
// automatable, since it can't move.
//
// RBoolRange: a switch, a two-item choice "Off" and "On" that reads 0.5 and above as on.

#include "base/array.h"
#include "kernel/valuerange.h"

class RChoiceRange : public RValueRange {
public:
  explicit RChoiceRange(const RArray<RString>& items, int32_t defaultIndex = 0);

  // Replaces the items; the index is kept if it is still valid, else clamped.
  void SetItems(const RArray<RString>& items);
  int32_t GetIndex() const noexcept { return int32_t(value_); }

  // Rounds to a whole index, then clamps to the items.
  void Clamp() override;
  // Only the default and the value apply: the items fix the limits and the steps.
  void ApplyAttributes(const Attributes& attributes) override;

  // The item's text; empty for an index without an item.
  RString FormatValue(double index) const override;
  // The index of the item whose text equals text exactly (case included); 0 when none does.
  bool ParseText(const RString& text, double& index) const override;

  // Moves the index by count items.
  bool Step(int32_t count, int32_t shift) override;
  // Moves the index by a quarter of count items, at least one: sign(count) * max(1, |count| / 4).
  bool StepFine(int32_t count) override;

  // round(n * count - 0.5), clamped to the items.
  double NormalisedToReal(double normalised) const override;
  // index / (count - 1); 0 for fewer than two items.
  double RealToNormalised(double index) const override;
  void NormalisedToReal(const double* in, double* out, int32_t count) const noexcept override;
  void NormalisedToReal(const float* in, float* out, int32_t count) const noexcept override;

  int32_t GetItemCount() const override;
  RString GetItemText(int32_t index) const override;
  bool SetItem(int32_t index) override;

private:
  void FitToItems();

  RArray<RString> items_;
};

class RBoolRange : public RChoiceRange {
public:
  explicit RBoolRange(bool defaultValue = false);

  bool IsOn() const noexcept { return value_ >= 0.5; }

  // "0" and "Off" are off; any other text is on.
  bool ParseText(const RString& text, double& value) const override;
  // On from 0.5 up.
  double NormalisedToReal(double normalised) const override;
  void NormalisedToReal(const double* in, double* out, int32_t count) const noexcept override;
  void NormalisedToReal(const float* in, float* out, int32_t count) const noexcept override;
};
