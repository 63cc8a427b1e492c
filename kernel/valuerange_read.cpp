// Reading a range from a definition item. Kept apart from valuerange.cpp so that the tagged
// tree is linked only into what reads definitions.
#include "base/tagitem.h"
#include "kernel/valuerange.h"

namespace {

void ReadNumber(const RTagItem& item, const RHashedString& key, std::optional<double>& target) {
  if (const RVariant* v = item.FindAttribute(key)) target = v->ToDouble();
}

} // namespace

void RValueRange::ReadAttributes(const RTagItem& item) {
  Attributes a;
  ReadNumber(item, "min", a.min);
  ReadNumber(item, "max", a.max);
  ReadNumber(item, "default", a.defaultValue);
  ReadNumber(item, "value", a.value);
  ReadNumber(item, "inc", a.inc);
  ReadNumber(item, "maxinc", a.maxinc);
  if (const RVariant* v = item.FindAttribute("format")) a.format = v->ToText();
  ApplyAttributes(a);
}
