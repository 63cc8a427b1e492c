#pragma once
// RStoreContext: what one Store body needs to serve both directions: whether it writes or
// reads, the key form, and the tree element it stands at. The pattern for a key:
//   reading: take the attribute if present, else the field's default;
//   writing: write the attribute only when the field differs from its default.
// So a stored state holds only differences, and keys added later load as their defaults.
//
//   void RFoo::Store(RStoreContext& c) {
//     RAudioPlugin::Store(c);
//     c.Bool("Freeze", freeze_, false);
//     c.Int("Taps", taps_, 2);
//   }

#include <cstdint>

#include "base/string.h"

class RTagItem;

class RStoreContext {
public:
  enum Flags : uint8_t {
    kWriting = 1,   // clear: reading
    kNewKeys = 2,   // value keys are "#Key"; clear: the old "parameterKey"
  };
  // The root's mark: values without the Global flag are skipped under it.
  static constexpr const char* kPresetOnlyAttribute = "PresetOnly";

  RStoreContext(RTagItem& element, uint8_t flags) noexcept : element_(&element), flags_(flags) {}

  bool IsWriting() const noexcept { return (flags_ & kWriting) != 0; }
  bool IsReading() const noexcept { return !IsWriting(); }
  bool HasNewKeys() const noexcept { return (flags_ & kNewKeys) != 0; }
  uint8_t GetFlags() const noexcept { return flags_; }
  RTagItem& GetElement() const noexcept { return *element_; }
  // Whether the tree's root says that it holds preset data only.
  bool IsPresetOnly() const;
  void SetPresetOnly(bool presetOnly);

  // The key of a value as this context writes or reads it: "#Key" or "parameterKey".
  RString ValueKey(const RString& key) const;

  // One key each, both directions; defaults are never written.
  void Bool(const char* key, bool& field, bool defaultValue);
  void Int(const char* key, int32_t& field, int32_t defaultValue);
  void Double(const char* key, double& field, double defaultValue);
  void Text(const char* key, RString& field, const RString& defaultValue);

  // A child context on a sub-element, found or created when writing; false, child untouched,
  // when reading and the element is absent. The element lives in the tree; child points at it.
  bool Enter(const char* name, RStoreContext& child) const;

private:
  RTagItem* element_;
  uint8_t flags_;
};
