#include "resources/product/defaultstate/builder.h"

#include <cstdio>
#include <string>

#include "base/exception.h"
#include "base/format.h"
#include "base/tagitem.h"
#include "kernel/audiopluginbase.h"
#include "kernel/value.h"

namespace defaultstate {

namespace {

RHashedString Key(const std::string& key) { return RHashedString(RShortString::FromLatin1(key.c_str())); }

RValue& FindValue(RAudioPluginBase& plugin, const RString& name) {
  const int32_t index = plugin.GetParameterIndex(name);
  RValue* value = index >= 0 ? plugin.GetParameterValue(index) : nullptr;
  if (!value) throw RException(RString("no parameter named '") + name + RString("'"));
  return *value;
}

} // namespace

void AddSlots(RTagItem& graph, const std::vector<SlotPlan>& slots) {
  RTagItem* plugins = graph.AddSubItem(RString("Plugins"));
  for (const SlotPlan& plan : slots) {
    RTagItem* item = plugins->AddSubItem(RString("Plugin"));
    item->SetAttribute(Key("X"), plan.x);
    item->SetAttribute(Key("Y"), plan.y);
    item->SetAttribute(Key("Name"), RString::FromLatin1(plan.name));
    item->SetAttribute(Key("FullName"), RString::FromUTF8(plan.fullName.c_str()));
    if (!plan.enabled) item->SetAttribute(Key("Enabled"), false);
    if (plan.inputCount > 0) item->SetAttribute(Key("InputCount"), plan.inputCount);
    if (plan.outputCount > 0) item->SetAttribute(Key("OutputCount"), plan.outputCount);
    if (plan.maskIn) item->SetAttribute(Key("MaskIn"), int64_t(plan.maskIn));
    uint64_t steal = 0;
    for (const InputPlan& input : plan.inputs) {
      item->SetAttribute(Key("InputIndex" + std::to_string(input.input)), input.lane);
      if (!input.steal) continue;
      item->SetAttribute(Key("InputSteal" + std::to_string(input.input)), true);
      steal |= uint64_t(1) << input.lane;
    }
    if (steal) item->SetAttribute(Key("MaskInSteal"), int64_t(steal));
    if (plan.x > 0) item->SetAttribute(Key("MaskOut"), int64_t(uint64_t(1) << plan.x));
  }
}

double NormalisedOf(RAudioPluginBase& plugin, const RString& name, const RString& text) {
  double normalised = 0.0;
  if (!FindValue(plugin, name).ParseToNormalised(text, normalised)) {
    throw RException(RString("'") + name + RString("' refuses the text '") + text + RString("'"));
  }
  return normalised;
}

void SetByText(RAudioPluginBase& plugin, const RString& name, const RString& text) {
  RValue& value = FindValue(plugin, name);
  value.SetNormalised(NormalisedOf(plugin, name, text));
  value.SyncProcessing();
}

void SetAll(RAudioPluginBase& plugin, const char* slot,
            std::initializer_list<std::pair<const char*, const char*>> settings) {
  for (const auto& [name, text] : settings) {
    SetByText(plugin, Joined(slot, RString::FromUTF8(name)), RString::FromUTF8(text));
  }
}

RString TwoDigits(int32_t n) {
  char text[16];
  std::snprintf(text, sizeof text, "%02d", int(n));
  return RString::FromLatin1(text);
}

RString Joined(const char* a, const RString& b) { return RString::FromUTF8(a) + RString(" - ") + b; }

} // namespace defaultstate
