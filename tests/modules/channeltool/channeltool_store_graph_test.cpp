// The channel tool's settings through its store, and the module at work inside a graph.
#include <gtest/gtest.h>

#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "tests/modules/channeltool/channeltoolrig.h"

using namespace channeltooltest;

TEST(ChannelToolStore, EverySettingAndTheExpressionSurviveARoundTrip) {
  RChannelToolRig original;
  const std::pair<const char*, double> settings[] = {
      {"Volume", 0.5},          {"Gain", 1.5},           {"panorama", -0.25},      {"panlaw2", 3.0},
      {"panoramaleft", -0.75},  {"VolumeRight", 1.25},   {"InvertLeft", 1.0},      {"SwapLeftRight", 1.0},
      {"DCBlocker", 1.0},       {"DCBlockerQuality", 0.75}, {"DCBlockerAttenuation", 3.0}, {"DelayEnabled", 1.0},
      {"DelaySamples", 100.0},  {"DelayMilliseconds", 0.002}, {"DelayReportLatency", 1.0}, {"Base", 3.0},
      {"MathEnabled", 1.0},     {"Exp", 0.25},           {"ExpressionEnabled", 1.0}, {"Param1", 0.75},
      {"Coder", 1.0},           {"CoderMode", 2.0},
  };
  for (const auto& [key, value] : settings) original.Set(key, value);
  ASSERT_TRUE(original.Tool().SetExpressionText(RString("x * p1")));
  RTagItem tree;
  original.Tool().SaveStateTree(tree);
  // Choices are stored by their text.
  EXPECT_EQ(tree.GetAttributeText(RHashedString("#DCBlockerAttenuation")).ToUTF8(), "-24dB / octave");
  EXPECT_EQ(tree.GetAttributeText(RHashedString("#CoderMode")).ToUTF8(), "Left+Right -> Mono");

  RChannelToolRig loaded;
  loaded.Tool().LoadStateTree(tree);
  const auto& a = original.Tool().GetOwnValues();
  const auto& b = loaded.Tool().GetOwnValues();
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) {
    EXPECT_DOUBLE_EQ(b[i]->GetNormalised(), a[i]->GetNormalised()) << a[i]->GetKey().ToUTF8();
  }
  EXPECT_EQ(loaded.Tool().GetExpressionText().ToUTF8(), "x * p1");
  EXPECT_TRUE(loaded.Tool().GetExpressionError().IsEmpty());
  EXPECT_EQ(loaded.Tool().GetLatency(), 196);

  // Once both have glided to their values and start from cleared filters, they sound the same.
  const RStereo in{Sine(220.0, 48000.0, 2048, 0.4, 0.1), Sine(330.0, 48000.0, 2048, 0.3)};
  original.Run(in);
  loaded.Run(in);
  original.Tool().ClearState();
  loaded.Tool().ClearState();
  const RStereo x = original.Run(in), y = loaded.Run(in);
  EXPECT_EQ(x.first, y.first);
  EXPECT_EQ(x.second, y.second);
}

TEST(ChannelToolStore, DefaultsWriteNothingAndABadExpressionLoadsWithItsMessage) {
  RChannelToolRig plain;
  RTagItem tree;
  plain.Tool().SaveStateTree(tree);
  EXPECT_TRUE(tree.GetAttributeText(RHashedString("ExpressionText")).IsEmpty());

  RChannelToolRig broken;
  broken.Set("ExpressionEnabled", 1.0);
  EXPECT_FALSE(broken.Tool().SetExpressionText(RString("max(x")));
  broken.Tool().SaveStateTree(tree);
  RChannelToolRig loaded;
  loaded.Tool().LoadStateTree(tree);
  EXPECT_EQ(loaded.Tool().GetExpressionText().ToUTF8(), "max(x");
  EXPECT_FALSE(loaded.Tool().GetExpressionError().IsEmpty());
  const RStereo in{Ramp(256, 0.1f, 0.001f), Ramp(256, -0.1f, 0.001f)};
  EXPECT_EQ(loaded.Run(in).first, in.first);
}

TEST(ChannelToolGraph, TheProductsInvertSlotAndADelayTheGraphLinesUp) {
  RegisterChannelTool();
  RAudioPlugin::Options options;
  options.sleep = false;
  // One lane: the module's output is the graph's, with no other lane mixed in.
  RAudioPluginModular graph(RString("Graph"), 1, false, options);
  const PluginDescriptor* row = graph.FindDescriptor(RString("ChannelTool"));
  ASSERT_NE(row, nullptr);
  RPluginSlot* slot = graph.CreateSlot(0, 0, *row, false);
  ASSERT_NE(slot, nullptr);
  graph.SetHostFormat(48000.0, 256, 2);
  RAudioPlugin& tool = slot->GetModule();
  ASSERT_NE(dynamic_cast<RChannelTool*>(&tool), nullptr);
  ValueOf(tool, "InvertLeft").SetValueNow(1.0);
  ValueOf(tool, "InvertRight").SetValueNow(1.0);

  auto run = [&](std::vector<float> left, std::vector<float> right) {
    RStereo out{std::vector<float>(left.size()), std::vector<float>(left.size())};
    float* inputs[2] = {left.data(), right.data()};
    float* outputs[2] = {out.first.data(), out.second.data()};
    graph.ProcessCycle(inputs, outputs, int32_t(left.size()), nullptr);
    return out;
  };
  const std::vector<float> left = Ramp(256, 0.2f, 0.001f), right = Ramp(256, -0.3f, 0.002f);
  const RStereo inverted = run(left, right);
  for (size_t i = 0; i < 256; ++i) {
    ASSERT_EQ(inverted.first[i], -left[i]) << i;
    ASSERT_EQ(inverted.second[i], -right[i]) << i;
  }

  // A reported delay reaches the graph's compile through the values' change events, which the
  // editor's timer delivers.
  for (const char* key : {"DelayEnabled", "DelaySamples", "DelayReportLatency"}) {
    RRangedValue& value = ValueOf(tool, key);
    value.SetValueNow(std::string(key) == "DelaySamples" ? 100.0 : 1.0);
  }
  for (const char* key : {"DelayEnabled", "DelaySamples", "DelayReportLatency"}) {
    while (ValueOf(tool, key).Changed.ExecutePendingEvent()) {
    }
  }
  EXPECT_EQ(graph.GetTotalLatency(), 100);
  std::vector<float> impulse(256, 0.0f);
  impulse[3] = 1.0f;
  const RStereo delayed = run(impulse, impulse);
  EXPECT_EQ(delayed.first[103], -1.0f);
  EXPECT_EQ(delayed.first[3], 0.0f);
}
