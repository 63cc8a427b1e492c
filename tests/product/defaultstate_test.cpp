// The product as a new instance is: the default state loaded through the engine, the host's
// view of it, and the operations around it (reset, chunk, ceiling, buses).

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <string>

#include "base/memorystream.h"
#include "base/tagitem.h"
#include "graph/nestedgraph.h"
#include "graph/product/quillon.h"
#include "kernel/audioplugininterface.h"
#include "modulation/multiparameter.h"
#include "tests/product/producttest.h"

namespace {

using product_test::ParameterName;

std::string Text(const RString& text) { return text.ToUTF8(); }

// Sets the host's format; the graph compiles.
void Prepare(RQuillon& product, int32_t inputBuses) { product.SetHostFormat(48000.0, 512, 2, inputBuses, 1); }

const RAudioPluginModular::Processor* ProcessorOf(const RQuillon& product, const char* fullName) {
  const RPluginSlot* slot = product.FindSlot(RString::FromLatin1(fullName));
  for (const auto& processor : product.GetProcessors())
    if (slot && processor->Slot == slot) return processor.get();
  return nullptr;
}

TEST(ProductDefaultStateTest, LoadsWithoutALogLineAndEveryTargetResolves) {
  product_test::LogCapture log;
  auto product = RQuillon::Create();
  const std::string lines = log.Text();
  EXPECT_EQ(lines.find("Module not found"), std::string::npos) << lines;
  EXPECT_EQ(lines.find("Parameter doesn't exist"), std::string::npos) << lines;
  EXPECT_EQ(lines.find("Modular with incorrect settings"), std::string::npos) << lines;

  int32_t targets = 0;
  for (int32_t i = 0; i < product->GetMultiParameterCount(); ++i) {
    RMultiParameter& multi = *product->GetMultiParameter(i);
    for (int32_t t = 0; t < multi.GetTargetCount(); ++t) {
      const RMultiParameterTarget& target = *multi.GetTarget(t);
      if (target.ParameterName.IsEmpty()) continue;
      ++targets;
      EXPECT_GE(target.GetIndex(), 0) << Text(multi.Name) << " -> " << Text(target.ParameterName);
      EXPECT_LT(target.GetIndex(), product->GetParameterCount());
    }
  }
  EXPECT_GT(targets, 52) << "every public multi-parameter drives something";
}

TEST(ProductDefaultStateTest, TheGraphHoldsItsSlotsAtTheirCells) {
  const struct {
    int32_t x, y;
    const char* module;
    const char* fullName;
  } kSlots[] = {{3, 0, "TwoWayBlend", "In"},          {5, 1, "TwoWayBlend", "Dry Blend"},
                {3, 2, "LevelPlacer", "Mute"},        {0, 3, "EchoTaps", "Delay A"},
                {3, 3, "EchoTaps", "Delay B"},        {0, 4, "Decimator", "Rate A"},
                {3, 4, "Decimator", "Rate B"},        {0, 5, "HertzSlider", "Shift A"},
                {3, 5, "HertzSlider", "Shift B"},     {0, 6, "GrainCloud", "Glitch A"},
                {3, 6, "GrainCloud", "Glitch B"},     {0, 7, "LevelPlacer", "Gain A"},
                {3, 7, "LevelPlacer", "Gain B"},      {3, 8, "ChannelTool", "Invert"},
                {0, 9, "WordMangler", "Bit Grid"},    {0, 10, "Nest32", "Bit Blend"},
                {0, 11, "SpanFilter", "BandPass 1"},  {0, 12, "SqueezeStage", "Press"},
                {0, 13, "WarmthStage", "Saturator 1"}, {0, 14, "TwoWayBlend", "Dry/Wet"},
                {0, 15, "TransferBender", "Clip"}};
  auto product = RQuillon::Create();
  EXPECT_EQ(product->GetSlots().size(), std::size(kSlots));
  for (const auto& expected : kSlots) {
    SCOPED_TRACE(expected.fullName);
    const RPluginSlot* slot = product->GetCell(expected.x, expected.y);
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(Text(slot->FullName), expected.fullName);
    EXPECT_EQ(Text(slot->Name), expected.module);
  }
}

TEST(ProductDefaultStateTest, BitGridRunsOnlyInGridModeAndBitBlendOtherwise) {
  auto product = RQuillon::Create();
  Prepare(*product, 2);
  EXPECT_FALSE(product->FindSlot(RString("Bit Grid"))->IsEnabled());
  EXPECT_EQ(ProcessorOf(*product, "Bit Grid"), nullptr);
  EXPECT_NE(ProcessorOf(*product, "Bit Blend"), nullptr);

  const int32_t mode = product->GetParameterIndex(RString("Mode"));
  ASSERT_GE(mode, 0);
  product->GetMultiParameter(mode)->LoadValue(1.0);
  EXPECT_EQ(Text(product->GetParameterValue(mode)->GetText()), "Grid");
  // A slot's Enabled recompiles when its change reaches the editor side.
  for (const char* name : {"Bit Grid", "Bit Blend"})
    while (product->FindSlot(RString::FromLatin1(name))->Enabled->Changed.ExecutePendingEvent()) {
    }
  EXPECT_NE(ProcessorOf(*product, "Bit Grid"), nullptr);
  EXPECT_EQ(ProcessorOf(*product, "Bit Blend"), nullptr);
}

TEST(ProductDefaultStateTest, TheSideChainSettingDecidesWhatLaneThreeHears) {
  auto product = RQuillon::Create();
  ASSERT_EQ(product->GetInputNames().size(), 2u);
  EXPECT_EQ(Text(product->GetInputNames()[1]), "Sidechain");
  EXPECT_EQ(product->GetInputLaneCount(), 2);
  Prepare(*product, int32_t(product->GetInputNames().size()));
  const auto* in = ProcessorOf(*product, "In");
  ASSERT_NE(in, nullptr);
  ASSERT_EQ(in->InputCount, 2);
  // Input 1 reads lane 3, which nothing above writes: the host's second bus.
  EXPECT_EQ(in->InputHostIndex[size_t(in->Stride)], in->Stride);
  EXPECT_EQ(in->InputHostIndex[0], 0);

  RTagItem plugin;
  product_test::ReadBuiltInDefinition(plugin);
  plugin.SetAttribute(RHashedString("sidechain"), 0);
  auto plain = RQuillon::Create(plugin);
  ASSERT_EQ(plain->GetInputNames().size(), 1u);
  EXPECT_EQ(plain->GetInputLaneCount(), 1);
  Prepare(*plain, int32_t(plain->GetInputNames().size()));
  const auto* plainIn = ProcessorOf(*plain, "In");
  ASSERT_NE(plainIn, nullptr);
  EXPECT_EQ(plainIn->InputHostIndex[size_t(plainIn->Stride)], 0) << "lane 3 reads the main input";
}

TEST(ProductHostViewTest, TheHostSeesThePublicMultiParametersUnderTheirNames) {
  auto product = RQuillon::Create();
  ASSERT_EQ(product->GetAutomatableCount(), 52);
  for (int32_t i = 0; i < 52; ++i)
    EXPECT_EQ(product->GetParameter(i)->Value, &product->GetMultiParameter(i)->GetValue()) << i;
  const std::pair<int32_t, const char*> kNames[] = {
      {0, "Morph"},   {1, "Bit Pattern"},  {2, "B Source"},       {3, "Mode"},       {4, "01"},
      {19, "16"},     {20, "SWAP Random"}, {21, "A Gain"},        {32, "B Gain"},    {43, "Dry/Wet"},
      {46, "Master HP"}, {23, "A HP"},     {34, "B HP"},          {51, "Master Random"}};
  for (const auto& [index, name] : kNames) EXPECT_EQ(ParameterName(*product, index), name);

  std::set<std::string> names;
  for (int32_t i = 0; i < 52; ++i) names.insert(ParameterName(*product, i));
  EXPECT_EQ(names.size(), 52u) << "a host tells its parameters apart by name";

  // Each multi-parameter's value has one record, public or not.
  for (int32_t m = 0; m < product->GetMultiParameterCount(); ++m) {
    const RValue* value = &product->GetMultiParameter(m)->GetValue();
    int32_t records = 0;
    for (int32_t i = 0; i < product->GetParameterCount(); ++i) records += product->GetParameter(i)->Value == value;
    EXPECT_EQ(records, 1) << "multi-parameter " << m;
  }
}

TEST(ProductHostViewTest, NamesFollowTheStateAndTheGeneralNameStillFindsThem) {
  auto product = RQuillon::Create();
  EXPECT_EQ(product->GetParameterIndex(RString("MultiParameters - Param 1 - Position")), 0);
  EXPECT_EQ(product->GetParameterIndex(RString("MultiParameters - Param 52 - Position")), 51);

  // A name that only a saved state carries: loading it must rename the host's record.
  product->GetMultiParameter(0)->Name = RString("Gain");
  RTagItem state;
  product->SaveStateTree(state);
  auto other = RQuillon::Create();
  other->LoadStateTree(state);
  EXPECT_EQ(ParameterName(*other, 0), "SWAP Gain") << "the name is now shared with A's and B's";
  EXPECT_EQ(ParameterName(*other, 21), "A Gain");
  EXPECT_EQ(other->GetParameterIndex(RString("SWAP Gain")), 0);
}

TEST(ProductHostViewTest, ValueTextsReadAsTheyAreShown) {
  auto product = RQuillon::Create();
  const int32_t morph = product->GetParameterIndex(RString("Morph"));
  ASSERT_EQ(morph, 0);
  double normalised = 0.0;
  ASSERT_TRUE(product->GetParameterValue(morph)->ParseToNormalised(RString("75%"), normalised));
  EXPECT_NEAR(normalised, 0.75, 1e-9);
}

TEST(ProductDefaultStateTest, AResetAfterAnotherStateGivesTheDefaultBack) {
  auto product = RQuillon::Create();
  RTagItem defaults;
  product->SaveStateTree(defaults);

  product->GetMultiParameter(0)->SetValueNow(0.9);
  RTagItem other(RString("Switchyardsettings"));
  RTagItem* slot = other.AddSubItem(RString("Plugins"))->AddSubItem(RString("Plugin"));
  slot->SetAttribute(RHashedString("X"), 1);
  slot->SetAttribute(RHashedString("Y"), 1);
  slot->SetAttribute(RHashedString("Name"), RString("LevelPlacer"));
  product->LoadStateTree(other);
  ASSERT_EQ(product->GetSlots().size(), 1u);
  EXPECT_EQ(product->GetCeilingIndex(), -1) << "this graph has no clipper";

  product->ResetToDefaults();
  RTagItem after;
  product->SaveStateTree(after);
  EXPECT_EQ(after.Compare(defaults), 0);
  EXPECT_EQ(product->GetSlots().size(), 21u);
  EXPECT_DOUBLE_EQ(product->GetMultiParameter(0)->GetValue().GetNormalised(), 0.5);
  EXPECT_EQ(ParameterName(*product, 0), "Morph");
  EXPECT_EQ(product->GetCeilingIndex(), product->GetParameterIndex(RString("Clip - Output gain")));
  EXPECT_FALSE(product->IsLoadingDefaults());
}

TEST(ProductDefaultStateTest, StateChunkStateIsTheSameState) {
  RAudioPluginInterface first(RQuillon::Create());
  auto& product = static_cast<RQuillon&>(first.GetPlugin());
  // Taken as stored values, so that no glide is left half-way for the chunk to catch.
  product.GetMultiParameter(0)->LoadValue(0.3);
  product.GetMultiParameter(1)->LoadValue(1.0);
  RTagItem before;
  product.SaveStateTree(before);

  RMemoryStream chunk;
  ASSERT_TRUE(first.SaveState(chunk));
  RAudioPluginInterface second(RQuillon::Create());
  chunk.Seek(0);
  ASSERT_TRUE(second.LoadState(chunk)) << Text(second.GetLastError());
  RTagItem after;
  second.GetPlugin().SaveStateTree(after);
  EXPECT_EQ(after.Compare(before), 0);
  EXPECT_DOUBLE_EQ(second.GetPlugin().GetMultiParameter(0)->GetValue().GetNormalised(), 0.3);
}

TEST(ProductDefaultStateTest, TheOutputCeilingFollowsTheClippersOutputGain) {
  auto product = RQuillon::Create();
  const int32_t index = product->GetParameterIndex(RString("Clip - Output gain"));
  ASSERT_GE(index, 0);
  EXPECT_EQ(product->GetCeilingIndex(), index);
  RValue* gain = product->GetParameterValue(index);
  for (const auto& [text, ceiling] : {std::pair{"-6 dB", std::pow(10.0, -6.0 / 20.0)}, std::pair{"0 dB", 1.0},
                                      std::pair{"+3 dB", std::pow(10.0, 3.0 / 20.0)}}) {
    double normalised = 0.0;
    ASSERT_TRUE(gain->ParseToNormalised(RString::FromLatin1(text), normalised)) << text;
    gain->SetNormalised(normalised);
    gain->SyncProcessing();
    EXPECT_NEAR(product->GetOutputCeiling(), ceiling, 1e-6) << text;
  }

  RTagItem plugin;
  product_test::ReadBuiltInDefinition(plugin);
  plugin.RemoveAttribute(RHashedString("CeilingParam"));
  EXPECT_LT(RQuillon::Create(plugin)->GetOutputCeiling(), 0.0);
}

} // namespace
