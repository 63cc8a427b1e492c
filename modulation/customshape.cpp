#include "modulation/customshape.h"

#include <cmath>

#include "base/format.h"
#include "base/tagitem.h"
#include "kernel/storecontext.h"

namespace {

const char* const kSourceNames[RCustomShape::kSourceCount] = {"Shape", "Custom morph", "Step sequencer",
                                                               "Smoothness"};

void Number(RTagItem& e, bool writing, const RHashedString& key, double& field, double defaultValue) {
  if (!writing) e.ReadAttribute(key, field);
  else if (std::fabs(field - defaultValue) >= RShapePoint::kStoreThreshold) e.SetAttribute(key, field);
}

void Integer(RTagItem& e, bool writing, const RHashedString& key, int32_t& field, int32_t defaultValue) {
  if (!writing) e.ReadAttribute(key, field);
  else if (field != defaultValue) e.SetAttribute(key, field);
}

void Flag(RTagItem& e, bool writing, const RHashedString& key, bool& field) {
  if (!writing) e.ReadAttribute(key, field);
  else if (field) e.SetAttribute(key, true);
}

RString JoinKinds(const std::vector<int32_t>& kinds) {
  RString text;
  for (size_t i = 0; i < kinds.size(); ++i) {
    if (i > 0) text += ",";
    text += RString(RFormat("{0}") << kinds[i]);
  }
  return text;
}

std::vector<int32_t> SplitKinds(const RString& text) {
  std::vector<int32_t> kinds;
  int start = 0;
  while (start < text.Length()) {
    int comma = text.Find(u',', start);
    if (comma < 0) comma = text.Length();
    RString field = text.Mid(start, comma - start);
    if (!field.Trim().IsEmpty()) kinds.push_back(int32_t(RNumberText::TextToInteger(field)));
    start = comma + 1;
  }
  return kinds;
}

void StoreSteps(RStoreContext& context, RCustomShape::Steps& steps) {
  RTagItem& e = context.GetElement();
  const bool writing = context.IsWriting();
  Integer(e, writing, "StepItemCount", steps.ItemCount, 16);
  Number(e, writing, "StepDepth", steps.Depth, 1.0);
  Flag(e, writing, "StepBaseLowest", steps.BaseLowest);
  Integer(e, writing, "StepQuantization", steps.Quantization, 0);
  if (!writing) e.ReadAttribute("STEPPRESET", steps.PresetName);
  else if (!steps.PresetName.IsEmpty()) e.SetAttribute("STEPPRESET", steps.PresetName);
  if (writing) {
    e.RemoveSubItems("Item");
    for (double value : steps.Items) {
      RTagItem* item = e.AddSubItem("Item");
      if (std::fabs(value) >= RShapePoint::kStoreThreshold) item->SetAttribute("Value", value);
    }
    return;
  }
  steps.Items.clear();
  for (RTagItem* item = e.GetFirstSubItem(); item; item = item->GetNext()) {
    if (!(item->GetName() == "Item")) continue;
    double value = 0;
    item->ReadAttribute("Value", value);
    steps.Items.push_back(value);
  }
}

} // namespace

RString RCustomShape::GetSourceName(int32_t source) {
  if (source < 0 || source >= kSourceCount) return RString();
  return RString::FromUTF8(kSourceNames[source]);
}

void RCustomShape::Store(RStoreContext& context) {
  RTagItem& e = context.GetElement();
  const bool writing = context.IsWriting();
  // An absent key means its default, whatever this object held before.
  if (!writing) *this = RCustomShape();
  Integer(e, writing, "value", Value, 0);
  Flag(e, writing, "Normalize", Normalize);
  if (writing) {
    Flag(e, writing, "InterpolateShapeChanges", InterpolateShapeChanges);
  } else if (!e.ReadAttribute("InterpolateShapeChanges", InterpolateShapeChanges)) {
    e.ReadAttribute("Interpolate10", InterpolateShapeChanges);
  }
  Flag(e, writing, "Assignable", Assignable);
  Number(e, writing, "Harmonics", Harmonics, 0);
  Number(e, writing, "Smoothness", Smoothness, 0);
  Number(e, writing, "EnvelopeDepth", EnvelopeDepth, 1.0);
  if (writing) {
    if (!Types.empty()) e.SetAttribute("Types", JoinKinds(Types));
  } else {
    RString types;
    Types = e.ReadAttribute("Types", types) ? SplitKinds(types) : std::vector<int32_t>();
  }

  if (writing) {
    e.RemoveSubItems("Envelope");
    e.RemoveSubItems("Step");
    RStoreContext envelope(*e.AddSubItem("Envelope"), context.GetFlags());
    Envelope.Store(envelope);
    RStoreContext step(*e.AddSubItem("Step"), context.GetFlags());
    StoreSteps(step, Step);
    return;
  }
  if (RTagItem* item = e.FindSubItem("Envelope")) {
    RStoreContext envelope(*item, context.GetFlags());
    Envelope.Store(envelope);
  }
  if (RTagItem* item = e.FindSubItem("Step")) {
    RStoreContext step(*item, context.GetFlags());
    StoreSteps(step, Step);
  }
}
