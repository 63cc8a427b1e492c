#include "kernel/choicerange.h"

#include <algorithm>
#include <cmath>

namespace {

RArray<RString> OffAndOn() {
  RArray<RString> items;
  items.Add(RString("Off"));
  items.Add(RString("On"));
  return items;
}

// The item under a normalised position; shared by the scalar and block forms.
template <typename T>
T IndexOfNormalised(T normalised, int32_t count) noexcept {
  if (count <= 1) return T(0);
  const T index = std::round(normalised * T(count) - T(0.5));
  if (!(index > T(0))) return T(0);  // also NaN
  return std::min(index, T(count - 1));
}

template <typename T>
T SwitchOfNormalised(T normalised) noexcept {
  return normalised >= T(0.5) ? T(1) : T(0);
}

} // namespace

// --- RChoiceRange

RChoiceRange::RChoiceRange(const RArray<RString>& items, int32_t defaultIndex)
    : RValueRange(0.0, 0.0, double(defaultIndex), 1.0, 1.0), items_(items) {
  FitToItems();
  value_ = default_;
}

void RChoiceRange::SetItems(const RArray<RString>& items) {
  items_ = items;
  FitToItems();
}

void RChoiceRange::FitToItems() {
  const int32_t count = items_.Count();
  min_ = 0.0;
  max_ = count > 1 ? double(count - 1) : 0.0;
  inc_ = 1.0;
  maxinc_ = 1.0;
  steps_ = count;
  default_ = std::clamp(std::round(default_), min_, max_);
  Clamp();
}

void RChoiceRange::Clamp() {
  value_ = std::round(value_);
  RValueRange::Clamp();
}

void RChoiceRange::ApplyAttributes(const Attributes& a) {
  Attributes only;
  only.defaultValue = a.defaultValue;
  only.value = a.value;
  RValueRange::ApplyAttributes(only);
  FitToItems();
}

RString RChoiceRange::FormatValue(double index) const {
  const double rounded = std::round(index);
  if (!(rounded >= 0.0 && rounded < double(items_.Count()))) return RString();  // also NaN
  return items_[int32_t(rounded)];
}

bool RChoiceRange::ParseText(const RString& text, double& index) const {
  index = 0.0;
  for (int32_t i = 0; i < items_.Count(); ++i) {
    if (items_[i].CompareExact(text) == 0) {
      index = double(i);
      break;
    }
  }
  return true;
}

bool RChoiceRange::Step(int32_t count, int32_t) { return SetValue(value_ + double(count)); }

bool RChoiceRange::StepFine(int32_t count) {
  if (count == 0) return false;
  const int32_t magnitude = std::max(1, std::abs(count) / 4);
  return SetValue(value_ + double(count > 0 ? magnitude : -magnitude));
}

double RChoiceRange::NormalisedToReal(double normalised) const { return IndexOfNormalised(normalised, items_.Count()); }

double RChoiceRange::RealToNormalised(double index) const {
  const int32_t count = items_.Count();
  if (count <= 1) return 0.0;
  return std::clamp(index / double(count - 1), 0.0, 1.0);
}

void RChoiceRange::NormalisedToReal(const double* in, double* out, int32_t count) const noexcept {
  const int32_t items = items_.Count();
  for (int32_t i = 0; i < count; ++i) out[i] = IndexOfNormalised(in[i], items);
}

void RChoiceRange::NormalisedToReal(const float* in, float* out, int32_t count) const noexcept {
  const int32_t items = items_.Count();
  for (int32_t i = 0; i < count; ++i) out[i] = IndexOfNormalised(in[i], items);
}

int32_t RChoiceRange::GetItemCount() const { return items_.Count(); }

RString RChoiceRange::GetItemText(int32_t index) const {
  if (index < 0 || index >= items_.Count()) return RString();
  return items_[index];
}

bool RChoiceRange::SetItem(int32_t index) {
  if (index < 0 || index >= items_.Count()) return false;
  return SetValue(double(index));
}

// --- RBoolRange

RBoolRange::RBoolRange(bool defaultValue) : RChoiceRange(OffAndOn(), defaultValue ? 1 : 0) {}

bool RBoolRange::ParseText(const RString& text, double& value) const {
  // "Off" reads as off as well, so that the text a switch shows reads back as shown.
  const bool off = text.CompareExact(RString("0")) == 0 || text == RString("Off");
  value = off ? 0.0 : 1.0;
  return true;
}

double RBoolRange::NormalisedToReal(double normalised) const { return SwitchOfNormalised(normalised); }

void RBoolRange::NormalisedToReal(const double* in, double* out, int32_t count) const noexcept {
  for (int32_t i = 0; i < count; ++i) out[i] = SwitchOfNormalised(in[i]);
}

void RBoolRange::NormalisedToReal(const float* in, float* out, int32_t count) const noexcept {
  for (int32_t i = 0; i < count; ++i) out[i] = SwitchOfNormalised(in[i]);
}
