// The word mangler as the graph runs it: created from the registry by its catalogue Id, its
// second input on the lane the host's side-chain arrives on.
#include <gtest/gtest.h>

#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "tests/modules/wordmangler/wordmanglertest.h"

using namespace wmtest;

TEST(WordManglerGraph, ASlotReplacesBitsOfTheMainInputByTheSideChain) {
  RegisterWordMangler();
  RAudioPlugin::Options options;
  options.sleep = false;
  RAudioPluginModular graph(RString("Graph"), 6, true, options);
  graph.InitParameters();
  const PluginDescriptor* row = graph.FindDescriptor(RString("WordMangler"));
  ASSERT_NE(row, nullptr);
  RPluginSlot* slot = graph.CreateSlot(0, 0, *row, true);
  ASSERT_NE(slot, nullptr);
  // Lane 3 carries the host's second bus.
  slot->InputIndex[1] = 3;
  auto* m = dynamic_cast<RWordMangler*>(&slot->GetModule());
  ASSERT_NE(m, nullptr);
  m->GetSideChain().SetValueNow(1.0);
  m->GetLowPass().SetValueNow(20000.0);
  m->GetDCBlocker().SetValueNow(0.0);
  m->GetOperation(RWordOperationKind::kXor).Enable->SetValueNow(0.0);
  m->GetBits().SetValueNow(16);
  // The product's slots: a growing set of low bits taken from B.
  SetMask(*m, RWordOperationKind::kReplace, {13, 14, 15, 16});
  graph.SetHostFormat(48000.0, 256, 2, 2, 1);

  const Signal a = Sine(1024, 220.0, 0.8), b = Sine(1024, 3000.0, 0.5);
  Signal l = a, r = a, sl = b, sr = b, outL(1024), outR(1024);
  for (int32_t at = 0; at < 1024; at += 256) {
    float* inputs[4] = {l.data() + at, r.data() + at, sl.data() + at, sr.data() + at};
    float* outputs[2] = {outL.data() + at, outR.data() + at};
    graph.ProcessCycle(inputs, outputs, 256, nullptr);
  }
  EXPECT_EQ(m->GetInputBusesInUse(), 2);
  for (size_t i = 0; i < a.size(); ++i) {
    const uint32_t word = (ReferenceWord(a[i], 16) & 0xFFF0u) | (ReferenceWord(b[i], 16) & 0x000Fu);
    ASSERT_EQ(outL[i], ReferenceSample(word, 16)) << i;
    ASSERT_EQ(outR[i], outL[i]);
  }
}
