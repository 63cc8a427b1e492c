// GrainCloud's stored state: parameters, the VoicePitch elements with steps and shapes, and the
// defaults that an absent key stands for.
#include <gtest/gtest.h>

#include "base/tagitem.h"
#include "tests/modules/graincloud/graincloudtestsupport.h"

namespace {

RShape RampShape(double top) {
  RShapePoint a, b, c;
  a.X = 0, a.Y = 0, b.X = 0.5, b.Y = top, c.X = 1, c.Y = 0.5;
  a.Flags = b.Flags = c.Flags = 140;
  RShape shape;
  shape.SetPoints({a, b, c});
  return shape;
}

} // namespace

TEST(GrainCloudStore, ParametersStepsAndShapesComeBackAsTheyWere) {
  RGrainCloud m;
  m.InitParameters();
  m.GetCrossFade().SetValueNow(0.25);
  m.GetRandomEveryTime().SetValueNow(1.0);
  RGrainCloud::VoiceValues& v = m.GetVoiceValues(2);
  v.Enable->SetValueNow(1.0);
  v.Copies->SetValueNow(2.5);
  v.Pitch->SetValueNow(-7.0);
  v.PitchMode->SetValueNow(5);
  v.SequencerCount->SetValueNow(6);
  v.SequencerGrainsPerItem->SetValueNow(3);
  v.Transformation->SetValueNow(9);
  m.SetStep(2, 0, RGrainSequencer::AddNote(RGrainSequencer::AddNote(0, -24), 12));
  m.SetStep(2, 15, RGrainSequencer::AddNote(0, 24));
  m.SetTransform(2, 9, RampShape(0.75));
  m.SetTransform(0, 0, RampShape(0.5));

  RTagItem tree;
  m.SaveStateTree(tree);

  RGrainCloud loaded;
  loaded.InitParameters();
  loaded.SetStep(1, 4, 77);  // anything not in the tree goes back to its default
  loaded.SetTransform(3, 1, RampShape(0.1));
  loaded.LoadStateTree(tree);

  EXPECT_DOUBLE_EQ(loaded.GetCrossFade().GetValue(), 0.25);
  EXPECT_TRUE(loaded.GetRandomEveryTime().IsOn());
  RGrainCloud::VoiceValues& w = loaded.GetVoiceValues(2);
  EXPECT_TRUE(w.Enable->IsOn());
  EXPECT_DOUBLE_EQ(w.Copies->GetValue(), 2.5);
  EXPECT_DOUBLE_EQ(w.Pitch->GetValue(), -7.0);
  EXPECT_EQ(w.PitchMode->GetIndex(), 5);
  EXPECT_EQ(w.SequencerCount->GetValue(), 6);
  EXPECT_EQ(w.SequencerGrainsPerItem->GetValue(), 3);
  EXPECT_EQ(w.Transformation->GetIndex(), 9);
  for (int32_t voice = 0; voice < 4; ++voice) {
    for (int32_t s = 0; s < 16; ++s) EXPECT_EQ(loaded.GetStep(voice, s), m.GetStep(voice, s)) << voice << " " << s;
  }
  for (auto [voice, index] : {std::pair{2, 9}, std::pair{0, 0}, std::pair{3, 1}, std::pair{1, 5}}) {
    const auto& a = m.GetTransform(voice, index).GetPoints();
    const auto& b = loaded.GetTransform(voice, index).GetPoints();
    ASSERT_EQ(a.size(), b.size()) << voice << " " << index;
    for (size_t i = 0; i < a.size(); ++i) {
      EXPECT_EQ(a[i].X, b[i].X);
      EXPECT_EQ(a[i].Y, b[i].Y);
      EXPECT_EQ(a[i].Flags, b[i].Flags);
    }
  }
  // The loaded shape is compiled: the audio side reads its segments.
  RShape& shape = const_cast<RShape&>(loaded.GetTransform(2, 9));
  EXPECT_NEAR(shape.Evaluate(0.25), 0.375, 1e-9);
}

TEST(GrainCloudStore, TheVoicePitchElementsHoldTheSequencerAndOnlyShapesThatAreDrawn) {
  RGrainCloud m;
  m.InitParameters();
  m.GetVoiceValues(1).SequencerCount->SetValueNow(4);
  m.GetVoiceValues(1).PitchMode->SetValueNow(2);
  m.SetStep(1, 3, RGrainSequencer::AddNote(0, 0));
  m.SetTransform(1, 7, RampShape(1.0));
  RTagItem tree;
  m.SaveStateTree(tree);

  const RTagItem* element = nullptr;
  // The module's keys sit at the tree's root or one level below, as the kernel writes them.
  for (const RTagItem* at : {&tree, tree.GetFirstSubItem()}) {
    if (at && !element) element = at->FindSubItem(RString("VoicePitch1"));
  }
  ASSERT_NE(element, nullptr);
  int32_t count = 0, mode = -1, perStep = 0;
  int64_t step = 0;
  EXPECT_TRUE(element->ReadAttribute("Count", count));
  EXPECT_TRUE(element->ReadAttribute("RandomMode", mode));
  EXPECT_TRUE(element->ReadAttribute("GrainsPerInc", perStep));
  EXPECT_TRUE(element->ReadAttribute("Step3", step));
  EXPECT_FALSE(element->ReadAttribute("Step2", step)) << "an empty step is the default";
  EXPECT_EQ(count, 4);
  EXPECT_EQ(mode, 2);
  EXPECT_EQ(perStep, 1);
  EXPECT_NE(element->FindSubItem(RString("Transform7")), nullptr);
  EXPECT_EQ(element->FindSubItem(RString("Transform6")), nullptr) << "a flat shape is the default";
}

TEST(GrainCloudStore, ALoadedStateSoundsLikeTheOneThatWasStored) {
  RGrainCloud m;
  m.InitParameters();
  m.GetVoiceValues(0).PitchMode->SetValueNow(4);
  m.GetVoiceValues(0).SequencerCount->SetValueNow(2);
  m.GetVoiceValues(0).Pan->SetValueNow(-0.4);
  m.SetStep(0, 0, RGrainSequencer::AddNote(0, 7));
  m.SetStep(0, 1, RGrainSequencer::AddNote(0, -5));
  m.SetTransform(0, 0, RampShape(0.9));
  RTagItem tree;
  m.SaveStateTree(tree);
  RGrainCloud loaded;
  loaded.InitParameters();
  loaded.LoadStateTree(tree);
  graintest::Prepare(m);
  graintest::Prepare(loaded);
  const std::vector<float> sine = graintest::Sine(400, 48000, 19200);
  const auto a = graintest::RunModule(m, sine, 512);
  const auto b = graintest::RunModule(loaded, sine, 512);
  EXPECT_EQ(a.left, b.left);
  EXPECT_EQ(a.right, b.right);
  double energy = 0;
  for (float x : a.left) energy += double(x) * x;
  EXPECT_GT(energy, 100.0);
}
