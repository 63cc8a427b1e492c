#include "kernel/storecontext.h"

#include <cmath>

#include "base/tagitem.h"
#include "kernel/valuerange.h"

namespace {

const RTagItem& RootOf(const RTagItem& element) noexcept {
  const RTagItem* item = &element;
  while (item->GetParent()) item = item->GetParent();
  return *item;
}

} // namespace

bool RStoreContext::IsPresetOnly() const {
  bool presetOnly = false;
  RootOf(*element_).ReadAttribute(RShortString::FromLatin1(kPresetOnlyAttribute), presetOnly);
  return presetOnly;
}

void RStoreContext::SetPresetOnly(bool presetOnly) {
  RTagItem& root = const_cast<RTagItem&>(RootOf(*element_));
  const RHashedString key(RShortString::FromLatin1(kPresetOnlyAttribute));
  if (presetOnly)
    root.SetAttribute(key, true);
  else
    root.RemoveAttribute(key);
}

RString RStoreContext::ValueKey(const RString& key) const {
  // Only files of older versions carry the long form; everything is written in the new one.
  RString stored = IsReading() && !HasNewKeys() ? RString("parameter") : RString("#");
  stored += key;
  return stored;
}

// Each key: the attribute or the default on reading; on writing, the attribute only when the
// field differs, and a stale one is dropped from a tree that is written again.

void RStoreContext::Bool(const char* key, bool& field, bool defaultValue) {
  const RHashedString hashed{RShortString::FromLatin1(key)};
  if (IsWriting()) {
    if (field != defaultValue)
      element_->SetAttribute(hashed, field);
    else
      element_->RemoveAttribute(hashed);
  } else if (!element_->ReadAttribute(hashed, field)) {
    field = defaultValue;
  }
}

void RStoreContext::Int(const char* key, int32_t& field, int32_t defaultValue) {
  const RHashedString hashed{RShortString::FromLatin1(key)};
  if (IsWriting()) {
    if (field != defaultValue)
      element_->SetAttribute(hashed, field);
    else
      element_->RemoveAttribute(hashed);
  } else if (!element_->ReadAttribute(hashed, field)) {
    field = defaultValue;
  }
}

void RStoreContext::Double(const char* key, double& field, double defaultValue) {
  const RHashedString hashed{RShortString::FromLatin1(key)};
  if (IsWriting()) {
    if (!(std::fabs(field - defaultValue) < RValueRange::kSameValue))
      element_->SetAttribute(hashed, field);
    else
      element_->RemoveAttribute(hashed);
  } else if (!element_->ReadAttribute(hashed, field)) {
    field = defaultValue;
  }
}

void RStoreContext::Text(const char* key, RString& field, const RString& defaultValue) {
  const RHashedString hashed{RShortString::FromLatin1(key)};
  if (IsWriting()) {
    // Exact: a text that differs only in case is a change worth keeping.
    if (field.CompareExact(defaultValue) != 0)
      element_->SetAttribute(hashed, field);
    else
      element_->RemoveAttribute(hashed);
  } else if (!element_->ReadAttribute(hashed, field)) {
    field = defaultValue;
  }
}

bool RStoreContext::Enter(const char* name, RStoreContext& child) const {
  const RString itemName = RString::FromLatin1(name);
  RTagItem* item = IsWriting() ? element_->FindOrCreateSubItem(itemName) : element_->FindSubItem(itemName);
  if (!item) return false;
  child = RStoreContext(*item, flags_);
  return true;
}
