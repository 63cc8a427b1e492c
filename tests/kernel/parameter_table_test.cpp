// The parameter table: registration order and names, growth, mirrors of nested plug-ins, the
// name and address look-ups, the names older versions wrote, and the log of missing names.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "base/log.h"
#include "kernel/audiopluginbase.h"
#include "kernel/value.h"

namespace fs = std::filesystem;

namespace {

std::string Text(const RString& s) { return s.ToUTF8(); }
RString Utf8(const std::string& s) { return RString::FromUTF8(s); }

class Plugin : public RAudioPluginBase {
public:
  explicit Plugin(const std::string& name) : RAudioPluginBase(Utf8(name)) {}
  RRealValue& Add(const std::string& name) {
    values_.push_back(std::make_unique<RRealValue>(this, Utf8(name), 0.0, 1.0, 0.5));
    return *values_.back();
  }
  std::vector<std::unique_ptr<RRealValue>> values_;
};

// A module renamed "Old gain" to "Gain" and says so.
class RenamingPlugin : public Plugin {
public:
  using Plugin::Plugin;
  bool TranslateParameterName(RString& name) override {
    if (name != "Old gain") return false;
    name = RString("Gain");
    return true;
  }
};

// Points the log at a file of the test's own, so that each test sees only its own lines.
class ParameterTable : public ::testing::Test {
protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    logPath_ = fs::temp_directory_path() / "quillon-parameter-table-test" / (std::string(info->name()) + ".log");
    fs::create_directories(logPath_.parent_path());
    fs::remove(logPath_);
    RLog::SetPath(logPath_.string());
  }
  void TearDown() override {
    RLog::SetPath("");
    fs::remove(logPath_);
  }
  std::vector<std::string> LogLines() const {
    std::vector<std::string> lines;
    std::ifstream in(logPath_);
    for (std::string line; std::getline(in, line);)
      if (!line.empty()) lines.push_back(line);
    return lines;
  }
  static bool EndsWith(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
  }

  fs::path logPath_;
};

TEST_F(ParameterTable, OwnValuesEnterInTheirOrderOfConstructionWithTheirShortNames) {
  Plugin plugin("Delay");
  plugin.Add("Time");
  plugin.Add("Feedback").SetAltName(Utf8("Fdbk"));
  plugin.Add("Mix");
  plugin.InitParameters();

  ASSERT_EQ(plugin.GetParameterCount(), 3);
  const char* expected[] = {"Time", "Fdbk", "Mix"};
  for (int32_t i = 0; i < 3; ++i) {
    const RAudioPluginBase::Parameter* record = plugin.GetParameter(i);
    ASSERT_NE(record, nullptr);
    EXPECT_STREQ(record->Name, expected[i]);
    EXPECT_EQ(record->Index, i);
    EXPECT_EQ(record->Value, plugin.values_[size_t(i)].get());
    EXPECT_EQ(record->Owner, &plugin);
    EXPECT_FALSE(record->Mirrored);
    EXPECT_EQ(record->LastAutomation, 0.0);
    EXPECT_EQ(record->Value->GetOwnerIndex(), i);
  }
  EXPECT_EQ(plugin.GetParameter(-1), nullptr);
  EXPECT_EQ(plugin.GetParameter(3), nullptr);
  EXPECT_EQ(plugin.GetParameterValue(3), nullptr);
  EXPECT_EQ(plugin.GetParameterValue(1), plugin.values_[1].get());
}

TEST_F(ParameterTable, APrefixLeadsTheNameAndOnlyTheValuesOwnerTakesTheIndex) {
  Plugin plugin("Host");
  Plugin other("Other");
  RRealValue& borrowed = other.Add("Depth");
  other.InitParameters();
  RRealValue orphan(nullptr, RString("Rate"), 0.0, 10.0, 1.0);

  plugin.Add("Level");
  plugin.InitParameters();
  EXPECT_EQ(plugin.RegisterParameter(&orphan, RString("LFO 1 - ")), 1);
  EXPECT_EQ(plugin.RegisterParameter(&borrowed, RString("Side - ")), 2);

  EXPECT_STREQ(plugin.GetParameter(1)->Name, "LFO 1 - Rate");
  EXPECT_STREQ(plugin.GetParameter(2)->Name, "Side - Depth");
  // A value without an owner is adopted; one with an owner keeps it and its place there.
  EXPECT_EQ(orphan.GetOwner(), &plugin);
  EXPECT_EQ(orphan.GetOwnerIndex(), 1);
  EXPECT_EQ(borrowed.GetOwner(), &other);
  EXPECT_EQ(borrowed.GetOwnerIndex(), 0);
  EXPECT_EQ(plugin.GetParameter(2)->Owner, &plugin);
  EXPECT_EQ(plugin.GetParameterIndex(RString("lfo 1 - rate")), 1);
}

TEST_F(ParameterTable, GrowingTheTableKeepsEveryRecordReachableByIndexNameAndValue) {
  Plugin plugin("Big");
  plugin.Add("Value 0");
  plugin.InitParameters();
  // Look-ups before growth build indexes that the later registrations must not leave stale.
  EXPECT_EQ(plugin.GetParameterIndex(RString("Value 0")), 0);
  EXPECT_EQ(plugin.GetParameterIndexOf(plugin.values_[0].get()), 0);

  const int32_t count = 1500;  // crosses several powers of two and the 32-bucket minimum
  for (int32_t i = 1; i < count; ++i)
    EXPECT_EQ(plugin.RegisterParameter(&plugin.Add("Value " + std::to_string(i))), i);
  ASSERT_EQ(plugin.GetParameterCount(), count);
  for (int32_t i = 0; i < count; ++i) {
    const std::string name = "Value " + std::to_string(i);
    ASSERT_STREQ(plugin.GetParameter(i)->Name, name.c_str());
    EXPECT_EQ(plugin.GetParameterValue(i), plugin.values_[size_t(i)].get());
    EXPECT_EQ(plugin.GetParameterIndex(Utf8("VALUE " + std::to_string(i))), i);
    EXPECT_EQ(plugin.GetParameterIndexOf(plugin.values_[size_t(i)].get()), i);
  }
  RRealValue stranger(nullptr, RString("Stranger"), 0.0, 1.0, 0.0);
  EXPECT_EQ(plugin.GetParameterIndexOf(&stranger), -1);
  EXPECT_EQ(plugin.GetParameterIndexOf(nullptr), -1);
  EXPECT_TRUE(LogLines().empty());
}

TEST_F(ParameterTable, MirrorsOfNestedPluginsKeepTheirValuesAndAnswerByAddress) {
  Plugin root("Switchyard");
  Plugin slot("Slot 2");
  Plugin inner("Decimator");
  slot.SetParent(&root);
  inner.SetParent(&slot);

  root.Add("Output");
  root.InitParameters();
  inner.Add("Rate");
  inner.Add("Bits");
  inner.InitParameters();
  slot.Add("Enabled");
  slot.InitParameters();
  slot.MirrorParameters(inner, RString("Decimator - "));
  root.MirrorParameters(slot, RString("Slot 2 - "));

  ASSERT_EQ(slot.GetParameterCount(), 3);
  ASSERT_EQ(root.GetParameterCount(), 4);
  const char* names[] = {"Output", "Slot 2 - Enabled", "Slot 2 - Decimator - Rate", "Slot 2 - Decimator - Bits"};
  for (int32_t i = 0; i < 4; ++i) {
    EXPECT_STREQ(root.GetParameter(i)->Name, names[i]);
    EXPECT_EQ(root.GetParameter(i)->Index, i);
    EXPECT_EQ(root.GetParameter(i)->Owner, &root);
    EXPECT_EQ(root.GetParameter(i)->Mirrored, i > 0);
  }
  RRealValue* bits = inner.values_[1].get();
  EXPECT_EQ(root.GetParameterValue(3), bits);
  // The value stays its own plug-in's: a change goes to it through its own index.
  EXPECT_EQ(bits->GetOwner(), &inner);
  EXPECT_EQ(bits->GetOwnerIndex(), 1);
  EXPECT_EQ(slot.values_[0]->GetOwnerIndex(), 0);
  EXPECT_EQ(root.GetParameterIndexOf(bits), 3);
  EXPECT_EQ(slot.GetParameterIndexOf(bits), 2);
  EXPECT_EQ(inner.GetParameterIndexOf(bits), 1);
  EXPECT_EQ(inner.GetParameterIndexOf(root.values_[0].get()), -1);
  EXPECT_EQ(root.GetParameterIndex(RString("slot 2 - decimator - bits")), 3);

  EXPECT_EQ(&inner.GetRoot(), &root);
  EXPECT_EQ(&root.GetRoot(), &root);
  EXPECT_EQ(Text(inner.GetModulePath()), "Switchyard - Slot 2 - Decimator");
  EXPECT_EQ(Text(root.GetModulePath()), "Switchyard");
}

TEST_F(ParameterTable, NamesAreFoundWhateverTheirCaseAndAccents) {
  Plugin plugin("Shifter");
  plugin.Add("Fréquence");
  plugin.Add("Cutoff");
  plugin.Add("cutoff");  // a repeated name finds its first record
  plugin.InitParameters();

  EXPECT_EQ(plugin.GetParameterIndex(RString("CUTOFF")), 1);
  EXPECT_EQ(plugin.GetParameterIndex(RString("cutoff")), 1);
  EXPECT_EQ(plugin.GetParameterIndex(Utf8("Fréquence")), 0);
  EXPECT_EQ(plugin.GetParameterIndex(Utf8("FRÉQUENCE")), 0);
  EXPECT_EQ(plugin.GetParameterIndex(RString("frequence")), 0);
  EXPECT_EQ(plugin.GetParameterIndex(RString("Cutof")), -1);
  EXPECT_EQ(plugin.GetParameterIndex(RString("Cutoff ")), -1);
}

TEST_F(ParameterTable, TheHashIsOneAtATimeOverLoweredUnits) {
  // "Gain" folds to "gain"; each step adds the unit, multiplies by 1025 and mixes in h >> 6.
  uint32_t h = 0;
  for (uint32_t c : {uint32_t('g'), uint32_t('a'), uint32_t('i'), uint32_t('n')}) {
    h += c;
    h += h << 10;
    h ^= h >> 6;
  }
  h += h << 3;
  h ^= h >> 11;
  h += h << 15;
  EXPECT_EQ(RAudioPluginBase::HashParameterName(RString("Gain")), h);
  EXPECT_EQ(RAudioPluginBase::HashParameterName(RString("GAIN")), h);
  EXPECT_EQ(RAudioPluginBase::HashParameterName(Utf8("GÄIN")), h);
  EXPECT_EQ(RAudioPluginBase::HashParameterName(RString("")), 0u);
  // Only A to Z move: the unit after "Z" and before "a" stays as it is.
  EXPECT_NE(RAudioPluginBase::HashParameterName(RString("[")), RAudioPluginBase::HashParameterName(RString("{")));
}

TEST_F(ParameterTable, AnUnknownNameIsLoggedWithItsModulePathThenTriedAsTheFirstBand) {
  Plugin host("Host");
  Plugin module("Crusher");
  module.SetParent(&host);
  module.Add("Band 1 Gain");
  module.InitParameters();

  EXPECT_EQ(module.GetParameterIndex(RString("Nope")), -1);
  std::vector<std::string> lines = LogLines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(EndsWith(lines[0], "Parameter doesn't exist! Module 'Host - Crusher', parameter 'Nope'")) << lines[0];

  EXPECT_EQ(module.GetParameterIndex(RString("Gain")), 0);
  lines = LogLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(EndsWith(lines[1], "parameter 'Gain'")) << lines[1];
}

TEST_F(ParameterTable, ATranslationOfAnOldNameIsTriedBeforeAnythingIsLogged) {
  RenamingPlugin renaming("Renaming");
  renaming.Add("Gain");
  renaming.InitParameters();
  EXPECT_EQ(renaming.GetParameterIndex(RString("old GAIN")), 0);

  Plugin plain("Plain");
  plain.Add("Gain");
  plain.InitParameters();
  RString name("Old gain");
  EXPECT_FALSE(plain.TranslateParameterName(name));
  EXPECT_EQ(Text(name), "Old gain");
  EXPECT_EQ(plain.GetParameterIndex(name), -1);
  EXPECT_EQ(LogLines().size(), 1u);
}

TEST_F(ParameterTable, EachLegacyStageResolvesTheNamesItRewrites) {
  struct Case {
    const char* registered;
    const char* legacy;
    const char* rewritten;  // what the search leaves in the name
  };
  const Case cases[] = {
      {"Gain", "Old gain", "Gain"},
      {"Arp - Region selection - Legato - Start", "Arp - Region selection - Start",
       "Arp - Region selection - Legato - Start"},
      {"EQ 2 - Gain", "Equalizer band 2 - Gain", "EQ 2 - Gain"},
      {"Keys - Enable", "Keys - Velocity max", "Keys - Enable"},
      {"Drive", "Drive (dB)", "Drive"},
      {"EQ 1 - Gain", "Equalizer band 1 (Hz) - Gain", "EQ 1 - Gain"},
      {"MIDI controllers - 3", "MIDI controllers - Controller 3", "MIDI controllers - 3"},
      {"MIDI note controllers - 5", "MIDI note controllers - Note controller 5", "MIDI note controllers - 5"},
      {"Param 12", "MultiParameter 12", "Param 12"},
      {"MultiParameters - Param 1 - Amount", "MultiParameter 1 - Amount", "MultiParameters - Param 1 - Amount"},
      {"Modulators - Mod 2 - Rate", "LFO 2 - Rate", "Modulators - Mod 2 - Rate"},
      {"Modulators - Mod 3 - Parameter 1 Value", "Modulators - LFO 3 - Value",
       "Modulators - Mod 3 - Parameter 1 Value"},
      {"Modulators - Mod 14 - Parameter 1 MaxValue", "LFO 14 MaxValue", "Modulators - Mod 14 - Parameter 1 MaxValue"},
      {"MultiParameters - Param 4 - Parameter 1 Range", "MultiParameters - Param 4 - Range",
       "MultiParameters - Param 4 - Parameter 1 Range"},
      {"Band 1 - Mix", "Mix", "Band 1 - Mix"},
  };
  for (const Case& c : cases) {
    RenamingPlugin plugin("Legacy");
    plugin.Add("Unrelated");
    plugin.Add(c.registered);
    plugin.InitParameters();
    RString name = Utf8(c.legacy);
    EXPECT_EQ(plugin.ResolveParameterName(name), 1) << c.legacy;
    EXPECT_EQ(Text(name), c.rewritten) << c.legacy;
  }
  // A renamed parameter is not a missing one.
  EXPECT_TRUE(LogLines().empty());
}

TEST_F(ParameterTable, ALegacyNameNoStageFindsIsLoggedOnceUnderItsOriginalName) {
  Plugin plugin("Legacy");
  plugin.Add("Modulators - Mod 2 - Rate");
  plugin.InitParameters();
  RString name("LFO 2 - Depth");
  EXPECT_EQ(plugin.ResolveParameterName(name), -1);
  const std::vector<std::string> lines = LogLines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(EndsWith(lines[0], "Module 'Legacy', parameter 'LFO 2 - Depth'")) << lines[0];
  // Stage rewrites that find nothing don't damage a name that is found directly.
  RString direct("modulators - mod 2 - rate");
  EXPECT_EQ(plugin.ResolveParameterName(direct), 0);
  EXPECT_EQ(Text(direct), "modulators - mod 2 - rate");
}

TEST_F(ParameterTable, ClearingDropsTheIndexesSoANewTableIsSeenAfresh) {
  Plugin plugin("Reorder");
  RRealValue& a = plugin.Add("A");
  RRealValue& b = plugin.Add("B");
  plugin.InitParameters();
  EXPECT_EQ(plugin.GetParameterIndex(RString("B")), 1);
  EXPECT_EQ(plugin.GetParameterIndexOf(&b), 1);

  plugin.ClearParameters();
  EXPECT_EQ(plugin.GetParameterCount(), 0);
  EXPECT_EQ(plugin.GetParameter(0), nullptr);
  EXPECT_EQ(plugin.GetParameterIndexOf(&b), -1);
  EXPECT_EQ(b.GetOwnerIndex(), -1);
  EXPECT_EQ(plugin.GetParameterIndex(RString("B")), -1);

  plugin.RegisterParameter(&b, RString("New "));
  plugin.RegisterParameter(&a, RString("New "));
  EXPECT_EQ(plugin.GetParameterIndex(RString("new b")), 0);
  EXPECT_EQ(plugin.GetParameterIndex(RString("new a")), 1);
  EXPECT_EQ(plugin.GetParameterIndex(RString("B")), -1);
  EXPECT_EQ(plugin.GetParameterIndexOf(&b), 0);
  EXPECT_EQ(plugin.GetParameterIndexOf(&a), 1);
  EXPECT_EQ(b.GetOwnerIndex(), 0);
}

} // namespace
