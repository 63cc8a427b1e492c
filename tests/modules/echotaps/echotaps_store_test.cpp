// The echo module's table, its stored state (round trip, the second tap's sync group, older
// switches) and the module at work inside a graph.
#include <gtest/gtest.h>

#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "kernel/storecontext.h"
#include "tests/modules/echotaps/echorig.h"

using namespace echotest;

namespace {

RString Text(const char* text) { return RString::FromUTF8(text); }

const RVariant* Find(const RTagItem& item, const char* key) { return item.FindAttribute(RHashedString(Text(key))); }

} // namespace

TEST(EchoTapsTable, NamesKeysAndDefaultsOfBothTaps) {
  REchoTaps m;
  m.InitParameters();
  // The second tap's records carry their panel, so no two names are the same.
  for (const char* name : {"Dry", "Delay mode", "Filter mode", "Min", "Max", "Resonance", "Saturation", "Tap 1",
                           "Feedback", "Gain", "Delay", "Left", "Right", "Algorithm", "Mode", "Freeze", "Silence",
                           "Shuffle", "Sync", "Tap 2", "Tap 2 - Feedback", "Tap 2 - Delay", "Tap 2 - Sync"}) {
    EXPECT_GE(m.GetParameterIndex(Text(name)), 0) << name;
  }
  EXPECT_EQ(m.Tap(1).Feedback().GetKey().ToUTF8(), "feedback1");
  EXPECT_EQ(m.Tap(1).Mode().GetKey().ToUTF8(), "mode1");
  EXPECT_TRUE(m.Tap(0).Tap().IsOn());
  EXPECT_FALSE(m.Tap(1).Tap().IsOn());
  EXPECT_DOUBLE_EQ(m.Tap(0).Gain().GetValue(), 0.707106781186);
  EXPECT_EQ(m.Tap(0).Mode().GetText().ToUTF8(), "Classic");
  EXPECT_EQ(m.Tap(1).AlgorithmValue().GetText().ToUTF8(), "Tape");
  EXPECT_EQ(m.FilterModeValue().GetText().ToUTF8(), "Input filter");
  EXPECT_DOUBLE_EQ(m.Tap(0).Delay().GetValue(), 0.1);
  EXPECT_FALSE(m.IsFilterActive());
}

TEST(EchoTapsStore, SettingsSurviveAStoreAndLoad) {
  REchoTaps m;
  m.InitParameters();
  m.Dry().SetValueNow(0.0);
  m.FilterModeValue().SetValueNow(REchoTaps::kFeedbackFilter);
  m.MinFrequency().SetValueNow(300.0);
  m.Tap(0).Delay().SetValueNow(0.375);
  m.Tap(0).Mode().SetValueNow(2);
  m.Tap(1).Tap().SetValueNow(1.0);
  m.Tap(1).Shuffle().SetValueNow(-1.25);
  m.Tap(1).AlgorithmValue().SetValueNow(REchoTap::kModern);
  m.Tap(1).Sync().GetSync().SetValueNow(1.0);
  m.Tap(1).Sync().GetLength().SetValueNow(7);
  RTagItem tree;
  m.SaveStateTree(tree);
  // Choices by their text; the second tap's sync group under its own keys.
  EXPECT_EQ(Find(tree, "#FilterMode")->ToText().ToUTF8(), "Feedback filter");
  EXPECT_EQ(Find(tree, "#Algorithm1")->ToText().ToUTF8(), "Modern");
  EXPECT_TRUE(Find(tree, "#sync1")->ToBool());
  EXPECT_EQ(Find(tree, "#synclength__1")->ToText().ToUTF8(), "1 / 1");
  EXPECT_EQ(Find(tree, "#sync"), nullptr);

  REchoTaps copy;
  copy.InitParameters();
  copy.LoadStateTree(tree);
  ASSERT_EQ(copy.GetParameterCount(), m.GetParameterCount());
  for (int32_t i = 0; i < m.GetParameterCount(); ++i) {
    EXPECT_DOUBLE_EQ(copy.GetParameterValue(i)->GetNormalised(), m.GetParameterValue(i)->GetNormalised())
        << m.GetParameter(i)->Name;
  }
  EXPECT_FALSE(copy.Tap(0).Sync().GetSync().IsOn());
}

TEST(EchoTapsStore, OlderSwitchesLoadIntoTheModeLists) {
  REchoTaps m;
  m.InitParameters();
  RTagItem element;
  element.SetAttribute(RHashedString(Text("parameterclassicmode")), 0);
  element.SetAttribute(RHashedString(Text("parameterclassicmode1")), 1);
  element.SetAttribute(RHashedString(Text("parameterserialmode")), 1);
  element.SetAttribute(RHashedString(Text("parameterfeedback")), 0.25);
  RStoreContext reading(element, 0);
  m.Store(reading);
  EXPECT_EQ(m.Tap(0).Mode().GetText().ToUTF8(), "Default");
  EXPECT_EQ(m.Tap(1).Mode().GetText().ToUTF8(), "Classic");
  EXPECT_EQ(m.DelayModeValue().GetText().ToUTF8(), "Serial");
  EXPECT_DOUBLE_EQ(m.Tap(0).Feedback().GetValue(), 0.25);

  // A state that has the list already keeps it.
  RTagItem both;
  both.SetAttribute(RHashedString(Text("parameterclassicmode")), 0);
  both.SetAttribute(RHashedString(Text("parametermode")), 2);
  RStoreContext again(both, 0);
  m.Store(again);
  EXPECT_EQ(m.Tap(0).Mode().GetText().ToUTF8(), "PingPong");
}

TEST(EchoTapsGraph, EchoesInsideAGraphSlot) {
  RegisterEchoTaps();
  RAudioPlugin::Options options;
  options.sleep = false;
  RAudioPluginModular graph(RString("Graph"), 6, false, options);
  graph.SetHostFormat(48000.0, 256, 2);
  const PluginDescriptor* row = graph.FindDescriptor(RString("EchoTaps"));
  ASSERT_NE(row, nullptr);
  std::unique_ptr<RAudioPlugin> module = row->Creator(graph);
  auto* echo = dynamic_cast<REchoTaps*>(module.get());
  ASSERT_NE(echo, nullptr);
  graph.PlaceSlot(std::make_unique<RPluginSlot>(graph, *row, std::move(module), 0, 0, RString("Delay A")));
  PlainTap(*echo, 0.005, 0.5, 0.5);
  graph.Setup();
  graph.RebuildProcessors(true);

  std::vector<std::vector<float>> in(2, Impulse(1024)), out(2, std::vector<float>(1024, -1.0f));
  for (int32_t start = 0; start < 1024; start += 256) {
    float* inputs[2] = {in[0].data() + start, in[1].data() + start};
    float* outputs[2] = {out[0].data() + start, out[1].data() + start};
    graph.ProcessCycle(inputs, outputs, 256, nullptr);
  }
  EXPECT_EQ(Peaks(out[0]), (std::vector<int32_t>{240, 480, 720, 960}));
  EXPECT_FLOAT_EQ(out[0][480], 0.25f);
}
