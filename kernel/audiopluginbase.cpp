#include "kernel/audiopluginbase.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <type_traits>

#include "base/format.h"
#include "base/log.h"
#include "kernel/undo.h"

namespace {

// Both indexes use at least this many buckets: a few dozen names need no chains to speak of.
constexpr uint32_t kMinimumBuckets = 32;
// The table's first allocation; it then doubles, so registration reallocates rarely.
constexpr size_t kMinimumCapacity = 16;

// One unit as names compare: accents folded, then A-Z lowered by adding 32. Narrow text is
// Latin-1, so its bytes are read unsigned.
template <typename Unit>
char16_t FoldedUnit(Unit unit) noexcept {
  return rstring_detail::FoldUnit(char16_t(std::make_unsigned_t<Unit>(unit)));
}

template <typename Unit>
uint32_t HashUnits(const Unit* text, int length) noexcept {
  uint32_t h = 0;
  for (int i = 0; i < length; ++i) {
    h += uint32_t(FoldedUnit(text[i]));
    h *= 1025;
    h ^= h >> 6;
  }
  h *= 9;
  h ^= h >> 11;
  h *= 32769;
  return h;
}

uint32_t HashName(const char* name) noexcept { return HashUnits(name, int(std::char_traits<char>::length(name))); }

// A name against an interned one, without case and accents.
bool SameName(const RString& name, const char* interned) noexcept {
  return name.Visit([interned](auto* units, int length) {
    for (int i = 0; i < length; ++i)
      if (interned[i] == 0 || FoldedUnit(units[i]) != FoldedUnit(interned[i])) return false;
    return interned[length] == 0;
  });
}

uint32_t BucketCount(size_t entries) noexcept {
  return std::max(kMinimumBuckets, std::bit_ceil(uint32_t(entries)));
}

bool StartsWith(const RString& text, const RString& head) {
  return text.Length() >= head.Length() && text.Compare(head, head.Length()) == 0;
}

bool EndsWith(const RString& text, const RString& tail) {
  return text.Length() >= tail.Length() && text.Right(tail.Length()) == tail;
}

// Replaces every occurrence (compared as names are: without case and accents).
bool ReplaceAll(RString& text, const RString& from, const RString& to) {
  bool replaced = false;
  for (int at = text.Find(from); at >= 0; at = text.Find(from, at + to.Length())) {
    text = text.Left(at) + to + text.Mid(at + from.Length());
    replaced = true;
  }
  return replaced;
}

bool IsDigit(char16_t unit) noexcept { return unit >= '0' && unit <= '9'; }

// Old modulator and multi-parameter names used the bare word where a target now says which
// of its parameters it means.
bool MapTargetWord(RString& word) {
  if (word == "Value") word = RString("Parameter 1 Value");
  else if (word == "MaxValue") word = RString("Parameter 1 MaxValue");
  else if (word == "Range") word = RString("Parameter 1 Range");
  else return false;
  return true;
}

// The region selection moved into a "Legato" group.
bool InsertLegato(RString& name) {
  static const RString kRegion("Region selection - ");
  const int at = name.Find(kRegion);
  if (at < 0) return false;
  const int behind = at + kRegion.Length();
  name = name.Left(behind) + RString("Legato - ") + name.Mid(behind);
  return true;
}

// "Equalizer band" became "EQ"; a velocity range's upper end became its switch.
bool RenameEqualizerAndVelocity(RString& name) {
  bool changed = ReplaceAll(name, "Equalizer band", "EQ");
  if (EndsWith(name, " - Velocity max")) {
    name = name.Left(name.Length() - int(sizeof("Velocity max") - 1)) + RString("Enable");
    changed = true;
  }
  return changed;
}

// Drops the first "(...)" and the blank that separated it from the rest.
bool RemoveParenthesised(RString& name) {
  const int open = name.Find(u'(');
  if (open < 0) return false;
  const int close = name.Find(u')', open + 1);
  if (close < 0) return false;
  int from = open, to = close + 1;
  if (from > 0 && name[from - 1] == ' ') --from;
  else if (to < name.Length() && name[to] == ' ') ++to;
  name = name.Left(from) + name.Mid(to);
  name.Trim();
  return true;
}

// The controllers lost the repeated word of their group.
bool ShortenControllerNames(RString& name) {
  bool changed = ReplaceAll(name, "MIDI controllers - Controller ", "MIDI controllers - ");
  changed |= ReplaceAll(name, "MIDI note controllers - Note controller ", "MIDI note controllers - ");
  return changed;
}

// "MultiParameter 3" became "Param 3" in the group "MultiParameters".
bool RenameMultiParameters(RString& name) {
  if (!ReplaceAll(name, "MultiParameter ", "Param ")) return false;
  if (StartsWith(name, "Param ") && name.Length() > 9) name = RString("MultiParameters - ") + name;
  return true;
}

// "LFO 2 - Rate" and "Modulators - LFO 2 - Rate" became "Modulators - Mod 2 - Rate".
bool RenameModulators(RString& name) {
  int at;
  if (StartsWith(name, "LFO ")) at = int(sizeof("LFO ") - 1);
  else if (StartsWith(name, "Modulators - LFO ")) at = int(sizeof("Modulators - LFO ") - 1);
  else return false;
  int64_t number = 0;
  const int digits = at;
  for (; at < name.Length() && IsDigit(name[at]); ++at) number = number * 10 + (name[at] - '0');
  if (at == digits) return false;
  RString rest = name.Mid(at);
  if (StartsWith(rest, " - ")) rest = rest.Mid(3);
  else rest.TrimLeft();
  MapTargetWord(rest);
  name = RFormat("Modulators - Mod {0} - {1}") << number << rest;
  return true;
}

// "MultiParameters - Param 3 - Value" names the first target's value.
bool RenameMultiParameterWords(RString& name) {
  static const RString kHead("MultiParameters - Param ");
  const int head = name.Find(kHead);
  if (head < 0) return false;
  int at = head + kHead.Length();
  const int digits = at;
  while (at < name.Length() && IsDigit(name[at])) ++at;
  if (at == digits) return false;
  if (StartsWith(name.Mid(at), " - ")) at += 3;
  else if (at < name.Length() && name[at] == ' ') ++at;
  else return false;
  RString word = name.Mid(at);
  if (!MapTargetWord(word)) return false;
  name = name.Left(at) + word;
  return true;
}

} // namespace

// --- the indexes

struct RAudioPluginBase::NameIndex {
  uint32_t mask = 0;
  std::vector<int32_t> heads;  // first record of each bucket, -1 when empty
  std::vector<int32_t> next;   // the next record of the same bucket, in table order
};

struct RAudioPluginBase::AddressIndex {
  struct Entry {
    uintptr_t address;
    int32_t index;
    bool operator<(const Entry& o) const noexcept { return address != o.address ? address < o.address : index < o.index; }
  };
  uintptr_t mask = 0;
  std::vector<uint32_t> starts;  // bucket b holds entries[starts[b] .. starts[b + 1])
  std::vector<Entry> entries;    // sorted within each bucket

  uint32_t BucketOf(uintptr_t address) const noexcept { return uint32_t(((address >> 7) ^ address) & mask); }
};

// --- life

RAudioPluginBase::RAudioPluginBase(const RString& name) : name_(name), undo_(std::make_unique<RUndoList>(*this)) {}

RAudioPluginBase::~RAudioPluginBase() { DeleteRamps(); }

RAudioPluginBase& RAudioPluginBase::GetRoot() noexcept {
  RAudioPluginBase* plugin = this;
  while (plugin->parent_) plugin = plugin->parent_;
  return *plugin;
}

RString RAudioPluginBase::GetModulePath() const {
  if (!parent_) return name_;
  return parent_->GetModulePath() + RString(" - ") + name_;
}

// --- the table

void RAudioPluginBase::InitParameters() {
  for (RValue* value : ownValues_) RegisterParameter(value);
}

int32_t RAudioPluginBase::AppendRecord(const Parameter& record) {
  if (parameters_.size() == parameters_.capacity())
    parameters_.reserve(std::max(kMinimumCapacity, std::bit_ceil(parameters_.size() + 1)));
  const int32_t index = int32_t(parameters_.size());
  parameters_.push_back(record);
  parameters_.back().Index = index;
  DropIndexes();
  return index;
}

int32_t RAudioPluginBase::RegisterParameter(RValue* value, const RString& prefix) {
  assert(value && "a parameter needs a value");
  if (!value) return -1;
  Parameter record;
  record.Value = value;
  record.Owner = this;
  record.Name = names_.Add(prefix + value->GetDisplayName(true));
  if (!value->GetOwner()) value->SetOwner(this);
  const int32_t index = AppendRecord(record);
  if (value->GetOwner() == this) value->SetOwnerIndex(index);
  return index;
}

void RAudioPluginBase::MirrorParameters(RAudioPluginBase& child, const RString& prefix) {
  parameters_.reserve(std::bit_ceil(parameters_.size() + child.parameters_.size()));
  for (const Parameter& source : child.parameters_) {
    Parameter record = source;
    record.Owner = this;
    record.Name = names_.Add(prefix + RString::FromLatin1(source.Name));
    record.Mirrored = true;
    AppendRecord(record);
  }
}

void RAudioPluginBase::ClearParameters() {
  // Own values forget their place, so that nothing routes through a stale index.
  for (const Parameter& record : parameters_)
    if (!record.Mirrored && record.Value->GetOwner() == this) record.Value->SetOwnerIndex(-1);
  parameters_.clear();
  DropIndexes();
}

void RAudioPluginBase::DropIndexes() noexcept {
  nameIndex_.reset();
  addressIndex_.reset();
}

RAudioPluginBase::Parameter* RAudioPluginBase::GetParameter(int32_t index) noexcept {
  return index >= 0 && index < GetParameterCount() ? &parameters_[size_t(index)] : nullptr;
}

const RAudioPluginBase::Parameter* RAudioPluginBase::GetParameter(int32_t index) const noexcept {
  return index >= 0 && index < GetParameterCount() ? &parameters_[size_t(index)] : nullptr;
}

RValue* RAudioPluginBase::GetParameterValue(int32_t index) noexcept {
  Parameter* record = GetParameter(index);
  return record ? record->Value : nullptr;
}

uint32_t RAudioPluginBase::HashParameterName(const RString& name) noexcept {
  return name.Visit([](auto* units, int length) { return HashUnits(units, length); });
}

// --- look-up by name

int32_t RAudioPluginBase::FindParameter(const RString& name) {
  if (!nameIndex_) {
    auto index = std::make_unique<NameIndex>();
    const uint32_t buckets = BucketCount(parameters_.size());
    index->mask = buckets - 1;
    index->heads.assign(buckets, -1);
    index->next.assign(parameters_.size(), -1);
    // Built back to front so that each chain runs in table order: a repeated name finds its
    // first record.
    for (int32_t i = GetParameterCount() - 1; i >= 0; --i) {
      int32_t& head = index->heads[HashName(parameters_[size_t(i)].Name) & index->mask];
      index->next[size_t(i)] = head;
      head = i;
    }
    nameIndex_ = std::move(index);
  }
  for (int32_t i = nameIndex_->heads[HashParameterName(name) & nameIndex_->mask]; i >= 0;
       i = nameIndex_->next[size_t(i)])
    if (SameName(name, parameters_[size_t(i)].Name)) return i;
  return -1;
}

void RAudioPluginBase::ReportMissingParameter(const RString& name) const {
  RLog::Write(RFormat("Parameter doesn't exist! Module '{0}', parameter '{1}'") << GetModulePath() << name);
}

int32_t RAudioPluginBase::LookUpParameter(const RString& name, bool report, RString* matched) {
  int32_t index = FindParameter(name);
  if (index >= 0) {
    if (matched && matched != &name) *matched = name;
    return index;
  }
  RString translated = name;
  if (TranslateParameterName(translated) && (index = FindParameter(translated)) >= 0) {
    if (matched) *matched = translated;
    return index;
  }
  if (report) ReportMissingParameter(name);
  // Single-band modules became the first band of multi-band ones.
  RString banded = RString("Band 1 ") + name;
  index = FindParameter(banded);
  if (index >= 0 && matched) *matched = banded;
  return index;
}

int32_t RAudioPluginBase::GetParameterIndex(const RString& name) { return LookUpParameter(name, true); }

bool RAudioPluginBase::TranslateParameterName(RString&) { return false; }

// --- look-up by value

int32_t RAudioPluginBase::GetParameterIndexOf(const RValue* value) {
  if (!addressIndex_) {
    auto index = std::make_unique<AddressIndex>();
    // About eight entries a bucket: the binary search does the rest.
    const uint32_t buckets = BucketCount(parameters_.size() / 8);
    index->mask = buckets - 1;
    index->starts.assign(buckets + 1, 0);
    for (const Parameter& record : parameters_)
      ++index->starts[index->BucketOf(reinterpret_cast<uintptr_t>(record.Value)) + 1];
    for (uint32_t b = 0; b < buckets; ++b) index->starts[b + 1] += index->starts[b];
    index->entries.resize(parameters_.size());
    std::vector<uint32_t> fill(index->starts.begin(), index->starts.end() - 1);
    for (const Parameter& record : parameters_) {
      const uintptr_t address = reinterpret_cast<uintptr_t>(record.Value);
      index->entries[fill[index->BucketOf(address)]++] = {address, record.Index};
    }
    for (uint32_t b = 0; b < buckets; ++b)
      std::sort(index->entries.begin() + index->starts[b], index->entries.begin() + index->starts[b + 1]);
    addressIndex_ = std::move(index);
  }
  const uintptr_t address = reinterpret_cast<uintptr_t>(value);
  const uint32_t bucket = addressIndex_->BucketOf(address);
  const auto first = addressIndex_->entries.begin() + addressIndex_->starts[bucket];
  const auto last = addressIndex_->entries.begin() + addressIndex_->starts[bucket + 1];
  const auto found = std::lower_bound(first, last, AddressIndex::Entry{address, INT32_MIN});
  return found != last && found->address == address ? found->index : -1;
}

// --- names that older versions wrote

int32_t RAudioPluginBase::ResolveParameterName(RString& name) {
  // A name that a later stage resolves is a renamed parameter, not a missing one: the log
  // hears only of names that no stage finds.
  const RString original = name;
  int32_t index = LookUpParameter(name, false, &name);
  if (index >= 0) return index;
  RString translated = name;
  if (TranslateParameterName(translated) && (index = LookUpParameter(translated, false, &name)) >= 0) return index;

  using Stage = bool (*)(RString&);
  static constexpr Stage kStages[] = {
      InsertLegato,
      RenameEqualizerAndVelocity,
      RemoveParenthesised,
      ShortenControllerNames,
      RenameMultiParameters,
      RenameModulators,
      RenameMultiParameterWords,
  };
  for (Stage stage : kStages)
    if (stage(name) && (index = LookUpParameter(name, false, &name)) >= 0) return index;
  if ((index = LookUpParameter(RString("Band 1 - ") + name, false, &name)) >= 0) return index;
  ReportMissingParameter(original);
  return -1;
}
