#pragma once
// RTagItem: the tagged tree in which all persistent data live (settings, presets, the product
// definition, the default state). An item has a name, a value, attributes in insertion order
// and subitems. Two interchangeable stored forms: the binary mark-up (what the system writes
// unless told otherwise) and XML text. Load tells all forms apart by trying them in a fixed
// order, so callers never say what they are reading.
//
// Descendants, attribute records and buffer records come from process-wide pools; the root is
// usually a plain local object. Names and keys compare as strings do: without case or accents.

#include <cstdint>

#include "base/string.h"
#include "base/variant.h"

class RStream;

struct RTagAttribute {
  RTagAttribute* previous = nullptr;
  RTagAttribute* next = nullptr;
  RHashedString key;
  RVariant value;
};

class RTagItem {
public:
  RTagItem() = default;
  explicit RTagItem(const RString& name) : name_(name) {}
  RTagItem(const RTagItem&) = delete;
  RTagItem& operator=(const RTagItem&) = delete;
  ~RTagItem();

  // --- structure
  const RString& GetName() const noexcept { return name_; }
  void SetName(const RString& name) { name_ = name; }
  RVariant& Value() noexcept { return value_; }
  const RVariant& Value() const noexcept { return value_; }
  RTagItem* GetParent() const noexcept { return parent_; }
  RTagItem* GetFirstSubItem() const noexcept { return firstSub_; }
  RTagItem* GetLastSubItem() const noexcept { return lastSub_; }
  RTagItem* GetNext() const noexcept { return next_; }
  RTagItem* GetPrevious() const noexcept { return previous_; }
  int GetSubItemCount() const noexcept { return subCount_; }
  RTagAttribute* GetFirstAttribute() const noexcept { return firstAttr_; }
  int GetAttributeCount() const noexcept { return attrCount_; }
  uint8_t GetFlags() const noexcept { return flags_; }
  void SetFlags(uint8_t flags) noexcept { flags_ = flags; }

  // Appends a new pooled subitem.
  RTagItem* AddSubItem(const RString& name);
  // Unlinks and frees one subitem of this item.
  void DeleteSubItem(RTagItem* item) noexcept;

  // --- queries with cursors
  // Sets the attribute cursor (or clears it) and says whether the key is there.
  bool HasAttribute(const RHashedString& key);
  // The value at the attribute cursor; throws "There is no attribute in the cache. ..." without one.
  const RVariant& GetAttribute() const;
  // Direct subitems, or depth first (each item before its own subitems) when recursive.
  bool HasSubItem(const RString& name, bool recursive = false);
  // The item at the subitem cursor; throws "There is no subitem in the cache. ..." without one.
  RTagItem* GetSubItem() const;

  // Throw "Could not find required attribute ({0})." / "Could not find required subitem ({0}).".
  const RVariant& GetRequiredAttribute(const RHashedString& key) const;
  RTagItem* GetRequiredSubItem(const RString& name) const;

  const RVariant* FindAttribute(const RHashedString& key) const noexcept;
  RString GetAttributeText(const RHashedString& key, const RString& defaultText = RString()) const;
  // Typed readers: the target keeps its value when the key is absent. Return whether found.
  bool ReadAttribute(const RHashedString& key, bool& target) const;
  bool ReadAttribute(const RHashedString& key, int8_t& target) const;
  bool ReadAttribute(const RHashedString& key, int16_t& target) const;
  bool ReadAttribute(const RHashedString& key, int32_t& target) const;
  bool ReadAttribute(const RHashedString& key, int64_t& target) const;
  bool ReadAttribute(const RHashedString& key, float& target) const;
  bool ReadAttribute(const RHashedString& key, double& target) const;
  bool ReadAttribute(const RHashedString& key, RString& target) const;

  RTagItem* FindSubItem(const RString& name) const noexcept;
  RTagItem* FindOrCreateSubItem(const RString& name);
  // A subitem of that name whose attribute equals value (variant comparison).
  RTagItem* FindSubItem(const RString& name, const RHashedString& key, const RVariant& value) const;
  RTagItem* FindSubItemByText(const RString& name, const RHashedString& key, const RString& text) const;
  // Counts items of that name at all levels below this one.
  int CountSubItems(const RString& name) const noexcept;

  // --- changes
  // Replaces the value of an existing key, else appends a record.
  void SetAttribute(const RHashedString& key, const RVariant& value);
  void SetAttribute(const RHashedString& key, int32_t value);
  void SetAttribute(const RHashedString& key, int64_t value);
  void SetAttribute(const RHashedString& key, double value);
  void SetAttribute(const RHashedString& key, float value);
  void SetAttribute(const RHashedString& key, bool value);
  void SetAttribute(const RHashedString& key, const RString& value);
  template <size_t N>
  void SetAttribute(const RHashedString& key, const char (&literal)[N]) { SetAttribute(key, RString(literal)); }
  // Appends without a uniqueness test: what the readers do.
  RTagAttribute* AppendAttribute(const RHashedString& key, RVariant&& value);
  void RemoveAttribute(const RHashedString& key) noexcept;
  void RemoveSubItems(const RString& name) noexcept;
  // Value, attributes, subitems, cursors and the low two flag bits.
  void Clear() noexcept;
  // Copies each attribute of other through SetAttribute, then its subitems (deeply).
  void Copy(const RTagItem& other);
  // Counts of attributes and subitems, then names, values, attributes and subitems in order;
  // the first difference is the result.
  int Compare(const RTagItem& other) const;

  // --- stored forms
  // Binary unless DisableRTG; compress wraps it in zlib at quality 100.
  void Save(RStream& stream, bool compress = false) const;
  // Through memory first, so a failure in composing leaves an old file untouched.
  void Save(const RString& path, bool compress = false) const;
  // Binary behind zlib, binary, XML behind zlib, XML, then a '$' line of base-64. A stream
  // matching nothing leaves an empty tree (empty root name); only an empty stream throws.
  void Load(RStream& stream);
  void Load(const RString& path);

  void WriteBinary(RStream& stream) const;
  void ReadBinary(RStream& stream);
  void ReadBinary(const uint8_t* bytes, int64_t size);
  // compact: no tabs, no wrapping (the form under compression).
  void WriteXML(RStream& stream, bool compact = false) const;
  void ReadXML(RStream& stream);

  // The global setting that makes Save write XML text (for inspection).
  static bool GetDisableRTG() noexcept;
  static void SetDisableRTG(bool disable) noexcept;

private:
  void LinkSubItem(RTagItem* item) noexcept;
  RTagAttribute* FindAttributeRecord(const RHashedString& key) const noexcept;
  // Drops the subitem cursors of this item and its ancestors that point into gone's subtree.
  void DropCursorsInto(const RTagItem* gone, bool keepGone) noexcept;

  RTagItem* previous_ = nullptr;
  RTagItem* next_ = nullptr;
  RTagItem* parent_ = nullptr;
  RTagItem* firstSub_ = nullptr;
  RTagItem* lastSub_ = nullptr;
  int32_t subCount_ = 0;
  RString name_;
  RVariant value_;
  RTagAttribute* firstAttr_ = nullptr;
  RTagAttribute* lastAttr_ = nullptr;
  int32_t attrCount_ = 0;
  RTagAttribute* attrCursor_ = nullptr;
  RTagItem* subCursor_ = nullptr;
  uint8_t flags_ = 0;
};
