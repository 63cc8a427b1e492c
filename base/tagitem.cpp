#include "base/tagitem.h"

#include "base/exception.h"
#include "base/format.h"
#include "base/pool.h"

namespace {

// Descendants and attribute records of every tree in the process. [any-thread]: each pool
// takes its own lock.
RPool& ItemPool() {
  static RPool pool(sizeof(RTagItem));
  return pool;
}

RPool& AttributePool() {
  static RPool pool(sizeof(RTagAttribute));
  return pool;
}

// The item after node in depth-first order (each item before its own subitems), staying
// inside top's subtree; null at the end. Walks never recurse: trees come from files, and a
// hostile one may be as deep as it is long.
template <typename Item>
Item* NextInSubtree(Item* node, const RTagItem* top) noexcept {
  if (node->GetFirstSubItem()) return node->GetFirstSubItem();
  while (node != top) {
    if (node->GetNext()) return node->GetNext();
    node = node->GetParent();
  }
  return nullptr;
}

template <typename T>
int Sign(T d) noexcept {
  return d < 0 ? -1 : (d > 0 ? 1 : 0);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Structure

RTagItem::~RTagItem() { Clear(); }

void RTagItem::LinkSubItem(RTagItem* item) noexcept {
  item->parent_ = this;
  item->previous_ = lastSub_;
  item->next_ = nullptr;
  if (lastSub_) lastSub_->next_ = item;
  else firstSub_ = item;
  lastSub_ = item;
  ++subCount_;
}

RTagItem* RTagItem::AddSubItem(const RString& name) {
  RTagItem* item = ItemPool().New<RTagItem>(name);
  LinkSubItem(item);
  return item;
}

// A recursive search may leave a cursor anywhere below its item, so every cursor from this
// item upwards that points into gone's subtree is dropped before the subtree is freed.
void RTagItem::DropCursorsInto(const RTagItem* gone, bool keepGone) noexcept {
  for (RTagItem* owner = this; owner; owner = owner->parent_) {
    const RTagItem* cursor = owner->subCursor_;
    if (!cursor || (keepGone && cursor == gone)) continue;
    for (const RTagItem* p = cursor; p && p != owner; p = p->parent_)
      if (p == gone) {
        owner->subCursor_ = nullptr;
        break;
      }
  }
}

void RTagItem::DeleteSubItem(RTagItem* item) noexcept {
  if (!item || item->parent_ != this) return;
  DropCursorsInto(item, false);
  if (item->previous_) item->previous_->next_ = item->next_;
  else firstSub_ = item->next_;
  if (item->next_) item->next_->previous_ = item->previous_;
  else lastSub_ = item->previous_;
  --subCount_;
  item->parent_ = item->previous_ = item->next_ = nullptr;
  ItemPool().Delete(item);
}

void RTagItem::Clear() noexcept {
  // The items below this one go; this one stays, and so may a cursor on it.
  DropCursorsInto(this, true);
  value_.Clear();
  attrCursor_ = nullptr;
  subCursor_ = nullptr;
  flags_ &= uint8_t(~3u);
  for (RTagAttribute* a = firstAttr_; a;) {
    RTagAttribute* next = a->next;
    AttributePool().Delete(a);
    a = next;
  }
  firstAttr_ = lastAttr_ = nullptr;
  attrCount_ = 0;
  // Subitems are freed from a work list, not by recursion: each item's own subitems are
  // spliced in front of the list before it is freed, so its destructor finds none.
  RTagItem* pending = firstSub_;
  firstSub_ = lastSub_ = nullptr;
  subCount_ = 0;
  while (pending) {
    RTagItem* item = pending;
    pending = item->next_;
    // Its parent may be freed already, and a destructor looks at the parents' cursors.
    item->parent_ = nullptr;
    if (item->firstSub_) {
      item->lastSub_->next_ = pending;
      pending = item->firstSub_;
      item->firstSub_ = item->lastSub_ = nullptr;
      item->subCount_ = 0;
    }
    ItemPool().Delete(item);
  }
}

// ---------------------------------------------------------------------------------------------
// Queries with cursors

bool RTagItem::HasAttribute(const RHashedString& key) {
  attrCursor_ = FindAttributeRecord(key);
  return attrCursor_ != nullptr;
}

const RVariant& RTagItem::GetAttribute() const {
  if (!attrCursor_)
    throw RException("There is no attribute in the cache. Previous call to HasAttribute probably did not succeed.");
  return attrCursor_->value;
}

bool RTagItem::HasSubItem(const RString& name, bool recursive) {
  subCursor_ = nullptr;
  if (!recursive) {
    subCursor_ = FindSubItem(name);
  } else {
    for (RTagItem* p = firstSub_; p; p = NextInSubtree(p, this))
      if (p->name_ == name) {
        subCursor_ = p;
        break;
      }
  }
  return subCursor_ != nullptr;
}

RTagItem* RTagItem::GetSubItem() const {
  if (!subCursor_)
    throw RException("There is no subitem in the cache. Previous call to HasSubItem probably did not succeed.");
  return subCursor_;
}

const RVariant& RTagItem::GetRequiredAttribute(const RHashedString& key) const {
  const RVariant* value = FindAttribute(key);
  if (!value) throw RException(RFormat("Could not find required attribute ({0}).") << RString(key.Text()));
  return *value;
}

RTagItem* RTagItem::GetRequiredSubItem(const RString& name) const {
  RTagItem* item = FindSubItem(name);
  if (!item) throw RException(RFormat("Could not find required subitem ({0}).") << name);
  return item;
}

RTagAttribute* RTagItem::FindAttributeRecord(const RHashedString& key) const noexcept {
  for (RTagAttribute* a = firstAttr_; a; a = a->next)
    if (a->key.GetHash() == key.GetHash() && a->key == key) return a;
  return nullptr;
}

const RVariant* RTagItem::FindAttribute(const RHashedString& key) const noexcept {
  const RTagAttribute* a = FindAttributeRecord(key);
  return a ? &a->value : nullptr;
}

RString RTagItem::GetAttributeText(const RHashedString& key, const RString& defaultText) const {
  const RVariant* value = FindAttribute(key);
  return value ? value->ToText() : defaultText;
}

namespace {

// One pattern for every typed reader: convert when present, leave the target otherwise.
template <typename T, typename Convert>
bool ReadInto(const RVariant* value, T& target, Convert convert) {
  if (!value) return false;
  target = convert(*value);
  return true;
}

} // namespace

bool RTagItem::ReadAttribute(const RHashedString& key, bool& target) const {
  return ReadInto(FindAttribute(key), target, [](const RVariant& v) { return v.ToBool(); });
}
bool RTagItem::ReadAttribute(const RHashedString& key, int8_t& target) const {
  return ReadInto(FindAttribute(key), target, [](const RVariant& v) { return v.ToInt8(); });
}
bool RTagItem::ReadAttribute(const RHashedString& key, int16_t& target) const {
  return ReadInto(FindAttribute(key), target, [](const RVariant& v) { return v.ToInt16(); });
}
bool RTagItem::ReadAttribute(const RHashedString& key, int32_t& target) const {
  return ReadInto(FindAttribute(key), target, [](const RVariant& v) { return v.ToInt32(); });
}
bool RTagItem::ReadAttribute(const RHashedString& key, int64_t& target) const {
  return ReadInto(FindAttribute(key), target, [](const RVariant& v) { return v.ToInt64(); });
}
bool RTagItem::ReadAttribute(const RHashedString& key, float& target) const {
  return ReadInto(FindAttribute(key), target, [](const RVariant& v) { return v.ToFloat(); });
}
bool RTagItem::ReadAttribute(const RHashedString& key, double& target) const {
  return ReadInto(FindAttribute(key), target, [](const RVariant& v) { return v.ToDouble(); });
}
bool RTagItem::ReadAttribute(const RHashedString& key, RString& target) const {
  return ReadInto(FindAttribute(key), target, [](const RVariant& v) { return v.ToText(); });
}

RTagItem* RTagItem::FindSubItem(const RString& name) const noexcept {
  for (RTagItem* p = firstSub_; p; p = p->next_)
    if (p->name_ == name) return p;
  return nullptr;
}

RTagItem* RTagItem::FindOrCreateSubItem(const RString& name) {
  RTagItem* item = FindSubItem(name);
  return item ? item : AddSubItem(name);
}

RTagItem* RTagItem::FindSubItem(const RString& name, const RHashedString& key, const RVariant& value) const {
  for (RTagItem* p = firstSub_; p; p = p->next_) {
    if (!(p->name_ == name)) continue;
    const RVariant* v = p->FindAttribute(key);
    if (v && v->Compare(value) == 0) return p;
  }
  return nullptr;
}

RTagItem* RTagItem::FindSubItemByText(const RString& name, const RHashedString& key, const RString& text) const {
  for (RTagItem* p = firstSub_; p; p = p->next_) {
    if (!(p->name_ == name)) continue;
    const RVariant* v = p->FindAttribute(key);
    if (v && v->ToText() == text) return p;
  }
  return nullptr;
}

int RTagItem::CountSubItems(const RString& name) const noexcept {
  int count = 0;
  for (const RTagItem* p = firstSub_; p; p = NextInSubtree(p, this))
    if (p->name_ == name) ++count;
  return count;
}

// ---------------------------------------------------------------------------------------------
// Changes

void RTagItem::SetAttribute(const RHashedString& key, const RVariant& value) {
  if (RTagAttribute* a = FindAttributeRecord(key)) {
    a->value = value;
    return;
  }
  AppendAttribute(key, RVariant(value));
}

// The typed setters change an existing record in place, so that a short value never passes
// through a temporary variant.
void RTagItem::SetAttribute(const RHashedString& key, int32_t value) {
  RTagAttribute* a = FindAttributeRecord(key);
  if (!a) a = AppendAttribute(key, RVariant());
  a->value.SetInt32(value);
}

void RTagItem::SetAttribute(const RHashedString& key, int64_t value) {
  RTagAttribute* a = FindAttributeRecord(key);
  if (!a) a = AppendAttribute(key, RVariant());
  a->value.SetInt64(value);
}

void RTagItem::SetAttribute(const RHashedString& key, double value) {
  RTagAttribute* a = FindAttributeRecord(key);
  if (!a) a = AppendAttribute(key, RVariant());
  a->value.SetDouble(value);
}

void RTagItem::SetAttribute(const RHashedString& key, float value) {
  RTagAttribute* a = FindAttributeRecord(key);
  if (!a) a = AppendAttribute(key, RVariant());
  a->value.SetFloat(value);
}

void RTagItem::SetAttribute(const RHashedString& key, bool value) {
  RTagAttribute* a = FindAttributeRecord(key);
  if (!a) a = AppendAttribute(key, RVariant());
  a->value.SetBool(value);
}

void RTagItem::SetAttribute(const RHashedString& key, const RString& value) {
  RTagAttribute* a = FindAttributeRecord(key);
  if (!a) a = AppendAttribute(key, RVariant());
  a->value.SetText(value);
}

RTagAttribute* RTagItem::AppendAttribute(const RHashedString& key, RVariant&& value) {
  RTagAttribute* a = AttributePool().New<RTagAttribute>();
  try {
    a->key = key;
  } catch (...) {
    AttributePool().Delete(a);
    throw;
  }
  a->value = std::move(value);
  a->previous = lastAttr_;
  if (lastAttr_) lastAttr_->next = a;
  else firstAttr_ = a;
  lastAttr_ = a;
  ++attrCount_;
  return a;
}

void RTagItem::RemoveAttribute(const RHashedString& key) noexcept {
  RTagAttribute* a = FindAttributeRecord(key);
  if (!a) return;
  if (attrCursor_ == a) attrCursor_ = nullptr;
  if (a->previous) a->previous->next = a->next;
  else firstAttr_ = a->next;
  if (a->next) a->next->previous = a->previous;
  else lastAttr_ = a->previous;
  --attrCount_;
  AttributePool().Delete(a);
}

void RTagItem::RemoveSubItems(const RString& name) noexcept {
  for (RTagItem* p = firstSub_; p;) {
    RTagItem* next = p->next_;
    if (p->name_ == name) DeleteSubItem(p);
    p = next;
  }
}

namespace {

// Copies name, value and attributes of one item into a fresh one: appended as they are, so
// that a copy of a tree read with repeated keys keeps them.
void CopyOwn(const RTagItem& from, RTagItem& to) {
  to.Value() = from.Value();
  for (const RTagAttribute* a = from.GetFirstAttribute(); a; a = a->next) to.AppendAttribute(a->key, RVariant(a->value));
}

} // namespace

void RTagItem::Copy(const RTagItem& other) {
  if (&other == this) return;
  // Copying an ancestor into its descendant would walk into its own copies: go through a
  // detached copy first.
  for (const RTagItem* p = parent_; p; p = p->parent_)
    if (p == &other) {
      RTagItem detached;
      detached.Copy(other);
      Copy(detached);
      return;
    }
  for (const RTagAttribute* a = other.firstAttr_; a; a = a->next) SetAttribute(a->key, a->value);
  // Depth first over other's subtree, mirroring each step in this one.
  RTagItem* target = this;  // the copy of source's parent
  for (const RTagItem* source = other.firstSub_; source;) {
    RTagItem* copy = target->AddSubItem(source->name_);
    CopyOwn(*source, *copy);
    if (source->firstSub_) {
      target = copy;
      source = source->firstSub_;
      continue;
    }
    while (source != &other && !source->next_) {
      source = source->parent_;
      if (source != &other) target = target->parent_;
    }
    source = source == &other ? nullptr : source->next_;
  }
}

int RTagItem::Compare(const RTagItem& other) const {
  // Both trees are walked depth first in step; as long as the counts agree, the walks meet
  // the same shape, so the first difference in that order is the result.
  const RTagItem* a = this;
  const RTagItem* b = &other;
  while (a && b) {
    if (a->attrCount_ != b->attrCount_) return Sign(a->attrCount_ - b->attrCount_);
    if (a->subCount_ != b->subCount_) return Sign(a->subCount_ - b->subCount_);
    if (int d = a->name_.Compare(b->name_)) return Sign(d);
    if (int d = a->value_.Compare(b->value_)) return d;
    for (const RTagAttribute *x = a->firstAttr_, *y = b->firstAttr_; x && y; x = x->next, y = y->next) {
      if (int d = x->key.Compare(y->key)) return Sign(d);
      if (int d = x->value.Compare(y->value)) return d;
    }
    a = NextInSubtree(a, this);
    b = NextInSubtree(b, &other);
  }
  return 0;
}
