#include "graph/product/productdefinition.h"

namespace {

RHashedString Key(const char* key) { return RHashedString(RShortString::FromLatin1(key)); }

} // namespace

void RProductDefinition::Read(const RTagItem& plugin) {
  tree_.Clear();
  tree_.SetName(plugin.GetName());
  tree_.Copy(plugin);
  sharedOptions_.Read(tree_);
  storeModules_.clear();
  for (const RTagItem* item = tree_.GetFirstSubItem(); item; item = item->GetNext()) {
    if (!(item->GetName() == "storemodule")) continue;
    StoreModule entry;
    // The slot's name is an attribute, or the element's own text.
    if (!item->ReadAttribute(Key("name"), entry.Name)) entry.Name = item->Value().ToText();
    item->ReadAttribute(Key("presets"), entry.Presets);
    storeModules_.push_back(std::move(entry));
  }
}

bool RProductDefinition::Has(const char* key) const { return tree_.FindAttribute(Key(key)) != nullptr; }

RString RProductDefinition::GetText(const char* key, const RString& defaultText) const {
  return tree_.GetAttributeText(Key(key), defaultText);
}

int32_t RProductDefinition::GetInt(const char* key, int32_t defaultValue) const {
  tree_.ReadAttribute(Key(key), defaultValue);
  return defaultValue;
}

double RProductDefinition::GetDouble(const char* key, double defaultValue) const {
  tree_.ReadAttribute(Key(key), defaultValue);
  return defaultValue;
}
