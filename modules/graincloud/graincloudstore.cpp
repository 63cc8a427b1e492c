// The stored state of RGrainCloud beyond its parameters: per voice a VoicePitch element with
// the sequencer's count, grains per step and mode, the packed steps and the transformation
// shapes. Steps that are empty and shapes that are flat are left out; absent means that.
#include <algorithm>

#include "base/format.h"
#include "base/tagitem.h"
#include "kernel/storecontext.h"
#include "modules/graincloud/graincloud.h"

namespace {

RHashedString NumberedKey(const char* key, int32_t number) { return RHashedString(RFormat("{0}{1}") << RString::FromUTF8(key) << number); }
RString NumberedName(const char* key, int32_t number) { return RFormat("{0}{1}") << RString::FromUTF8(key) << number; }

} // namespace

void RGrainCloud::Store(RStoreContext& context) {
  RAudioPlugin::Store(context);
  for (int32_t v = 0; v < kVoices; ++v) StoreVoicePitch(context, v);
}

void RGrainCloud::StoreVoicePitch(RStoreContext& context, int32_t voice) {
  VoiceValues& w = voices_[voice];
  RGrainEngine::Voice& data = engine_->GetVoice(voice);
  const RString name = NumberedName("VoicePitch", voice);
  RTagItem& parent = context.GetElement();

  if (context.IsWriting()) {
    parent.RemoveSubItems(name);
    RTagItem& element = *parent.AddSubItem(name);
    element.SetAttribute("Count", int32_t(w.SequencerCount->GetValue()));
    element.SetAttribute("GrainsPerInc", int32_t(w.SequencerGrainsPerItem->GetValue()));
    element.SetAttribute("RandomMode", w.PitchMode->GetIndex());
    for (int32_t s = 0; s < RGrainSequencer::kMaxSteps; ++s) {
      if (data.Steps[s] != 0) element.SetAttribute(NumberedKey("Step", s), int64_t(data.Steps[s]));
    }
    for (int32_t t = 0; t < RGrainEngine::kTransforms; ++t) {
      if (RGrainEngine::IsDefaultTransform(data.Transforms[t])) continue;
      RStoreContext child(*element.AddSubItem(NumberedName("Transform", t)), context.GetFlags());
      data.Transforms[t].Store(child);
    }
    return;
  }

  std::fill(std::begin(data.Steps), std::end(data.Steps), uint64_t(0));
  const std::vector<RShapePoint> flat = RGrainEngine::DefaultTransformPoints();
  for (RShape& shape : data.Transforms) {
    shape = RShape();
    shape.SetPoints(flat);
  }
  const RTagItem* element = parent.FindSubItem(name);
  if (!element) return;
  int32_t number = 0;
  if (element->ReadAttribute("Count", number)) w.SequencerCount->SetValueNow(number);
  if (element->ReadAttribute("GrainsPerInc", number)) w.SequencerGrainsPerItem->SetValueNow(number);
  if (element->ReadAttribute("RandomMode", number)) {
    w.PitchMode->SetValueNow(std::clamp(number, 0, int32_t(RGrainSequencer::kModeCount) - 1));
  }
  for (int32_t s = 0; s < RGrainSequencer::kMaxSteps; ++s) {
    int64_t packed = 0;
    if (element->ReadAttribute(NumberedKey("Step", s), packed)) data.Steps[s] = uint64_t(packed) & RGrainSequencer::kNoteMask;
  }
  for (int32_t t = 0; t < RGrainEngine::kTransforms; ++t) {
    RTagItem* item = element->FindSubItem(NumberedName("Transform", t));
    if (!item) continue;
    RStoreContext child(*item, context.GetFlags());
    data.Transforms[t].Store(child);
  }
}
