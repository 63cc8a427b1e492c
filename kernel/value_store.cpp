// How values write themselves into a stored tree and read themselves back.
#include "base/format.h"
#include "base/tagitem.h"
#include "kernel/storecontext.h"
#include "kernel/value.h"

namespace {

// An index as an older state or an XML text form holds it: optional '-', then digits only.
bool IsIndexText(const RString& text) {
  const int length = text.Length();
  int start = (length > 0 && text[0] == u'-') ? 1 : 0;
  if (start >= length) return false;
  for (int i = start; i < length; ++i)
    if (text[i] < u'0' || text[i] > u'9') return false;
  return true;
}

} // namespace

void RRangedValue::Store(RStoreContext& context, bool force) {
  if (!HasFlag(kStored)) return;
  if (!HasFlag(kGlobal) && context.IsPresetOnly()) return;
  const RHashedString key(context.ValueKey(key_));
  RTagItem& element = context.GetElement();
  if (context.IsWriting()) {
    // A tree that is written again must not keep a stale difference.
    if (!force && range_->IsDefault())
      element.RemoveAttribute(key);
    else
      WriteStored(element, key);
    return;
  }
  const RVariant* stored = element.FindAttribute(key);
  SetValueNow(stored ? ReadStored(*stored) : range_->GetDefault());
}

void RRangedValue::WriteStored(RTagItem& element, const RHashedString& key) const {
  element.SetAttribute(key, ToStored(range_->GetValue()));
}

double RRangedValue::ReadStored(const RVariant& stored) const { return FromStored(stored.ToDouble()); }

void RBoolValue::WriteStored(RTagItem& element, const RHashedString& key) const { element.SetAttribute(key, IsOn()); }

double RBoolValue::ReadStored(const RVariant& stored) const { return stored.ToBool() ? 1.0 : 0.0; }

void RChoiceValue::WriteStored(RTagItem& element, const RHashedString& key) const {
  if (HasFlag(kStoreByName))
    element.SetAttribute(key, range_->GetItemText(GetIndex()));
  else
    element.SetAttribute(key, GetIndex());
}

// Reading takes either form whatever the flag says, so that a value that began to store by
// name still loads the indexes of older states. A text that names no item and is no index
// leaves the default.
double RChoiceValue::ReadStored(const RVariant& stored) const {
  if (stored.GetType() != RVariant::kText) return double(stored.ToInt32());
  const RString text = stored.ToText();
  const int32_t count = range_->GetItemCount();
  for (int32_t i = 0; i < count; ++i)
    if (range_->GetItemText(i).CompareExact(text) == 0) return double(i);
  for (int32_t i = 0; i < count; ++i)
    if (range_->GetItemText(i) == text) return double(i);
  if (IsIndexText(text)) return double(RNumberText::TextToInteger(text));
  return range_->GetDefault();
}
