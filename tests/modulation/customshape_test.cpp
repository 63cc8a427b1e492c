// The stored form of a modulator's wave source.
#include <gtest/gtest.h>

#include "base/tagitem.h"
#include "kernel/storecontext.h"
#include "modulation/customshape.h"

namespace {

RShapePoint P(double x, double y) {
  RShapePoint p;
  p.X = x;
  p.Y = y;
  return p;
}

TEST(RCustomShapeStore, ARoundTripKeepsKeysStepsAndTheEnvelope) {
  RCustomShape shape;
  shape.Value = 3;
  shape.Normalize = true;
  shape.InterpolateShapeChanges = true;
  shape.Harmonics = 0.25;
  shape.Smoothness = 0.5;
  shape.EnvelopeDepth = 0.75;
  shape.Envelope.SetPoints({P(0, 0.2), P(1, 0.9)});
  shape.Envelope.PresetName = RString("Rise");
  shape.Step.ItemCount = 3;
  shape.Step.Depth = 0.5;
  shape.Step.BaseLowest = true;
  shape.Step.Quantization = 12;
  shape.Step.PresetName = RString("Pattern");
  shape.Step.Items = {0.1, 0, 0.9};
  shape.Types = {0, 6, 12};

  RTagItem root(RString("Wave"));
  RStoreContext writer(root, RStoreContext::kWriting);
  shape.Store(writer);

  RCustomShape loaded;
  RStoreContext reader(root, 0);
  loaded.Store(reader);
  EXPECT_EQ(loaded.Value, 3);
  EXPECT_TRUE(loaded.Normalize);
  EXPECT_TRUE(loaded.InterpolateShapeChanges);
  EXPECT_EQ(loaded.Harmonics, 0.25);
  EXPECT_EQ(loaded.Smoothness, 0.5);
  EXPECT_EQ(loaded.EnvelopeDepth, 0.75);
  EXPECT_EQ(loaded.Envelope.PresetName, RString("Rise"));
  ASSERT_EQ(loaded.Envelope.GetPoints().size(), 2u);
  EXPECT_NEAR(loaded.Envelope.Evaluate(0.5), 0.55, 1e-12);
  EXPECT_EQ(loaded.Step.ItemCount, 3);
  EXPECT_EQ(loaded.Step.Depth, 0.5);
  EXPECT_TRUE(loaded.Step.BaseLowest);
  EXPECT_EQ(loaded.Step.Quantization, 12);
  EXPECT_EQ(loaded.Step.PresetName, RString("Pattern"));
  EXPECT_EQ(loaded.Step.Items, (std::vector<double>{0.1, 0, 0.9}));
  EXPECT_EQ(loaded.Types, (std::vector<int32_t>{0, 6, 12}));
}

TEST(RCustomShapeStore, DefaultsAreNotWrittenAndAbsentKeysReadAsDefaults) {
  RTagItem root(RString("Wave"));
  RCustomShape plain;
  RStoreContext writer(root, RStoreContext::kWriting);
  plain.Store(writer);
  EXPECT_EQ(root.GetAttributeCount(), 0);
  ASSERT_NE(root.FindSubItem(RString("Step")), nullptr);
  EXPECT_EQ(root.FindSubItem(RString("Step"))->GetAttributeCount(), 0);

  RCustomShape changed;
  changed.Value = 7;
  changed.Step.Items = {1};
  RStoreContext reader(root, 0);
  changed.Store(reader);
  EXPECT_EQ(changed.Value, 0);
  EXPECT_EQ(changed.Step.ItemCount, 16);
  EXPECT_TRUE(changed.Step.Items.empty());
}

TEST(RCustomShapeStore, TheLegacyInterpolationKeyReadsWhenTheNewOneIsAbsent) {
  RTagItem root(RString("Wave"));
  root.SetAttribute("Interpolate10", int32_t(1));
  RCustomShape shape;
  RStoreContext reader(root, 0);
  shape.Store(reader);
  EXPECT_TRUE(shape.InterpolateShapeChanges);
  root.SetAttribute("InterpolateShapeChanges", int32_t(0));
  shape.Store(reader);
  EXPECT_FALSE(shape.InterpolateShapeChanges);
}

TEST(RCustomShapeSources, TheMenuNamesItsSources) {
  EXPECT_EQ(RCustomShape::GetSourceName(RCustomShape::kSourceShape), RString("Shape"));
  EXPECT_EQ(RCustomShape::GetSourceName(RCustomShape::kSourceCustomMorph), RString("Custom morph"));
  EXPECT_EQ(RCustomShape::GetSourceName(RCustomShape::kSourceStepSequencer), RString("Step sequencer"));
  EXPECT_EQ(RCustomShape::GetSourceName(RCustomShape::kSourceSmoothness), RString("Smoothness"));
  EXPECT_EQ(RCustomShape::GetSourceName(4), RString());
}

} // namespace
