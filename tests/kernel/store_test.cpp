// The stored state of the plug-in level: what a written tree holds, what reading restores,
// older key forms, preset-only trees, and a section that fails without ending the others.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/guard.h"
#include "base/tagitem.h"
#include "kernel/globalconfig.h"
#include "kernel/replacementlog.h"
#include "kernel/storecontext.h"
#include "statetestplugin.h"

namespace {

std::vector<std::string> Keys(const RTagItem& item) {
  std::vector<std::string> keys;
  for (const RTagAttribute* a = item.GetFirstAttribute(); a; a = a->next) keys.push_back(RString(a->key.Text()).ToUTF8());
  return keys;
}

bool Has(const RTagItem& item, const char* key) { return item.FindAttribute(RHashedString(RString::FromUTF8(key))) != nullptr; }

RString Text(const RTagItem& item, const char* key) { return item.GetAttributeText(RHashedString(RString::FromUTF8(key))); }

// A tree as some writer left it: a root with the given attributes.
void Put(RTagItem& root, const char* key, const RVariant& value) {
  root.SetAttribute(RHashedString(RString::FromUTF8(key)), value);
}

TEST(Store, AFreshPluginWritesOnlyTheWritersVersion) {
  RStateTestPlugin plugin;
  RTagItem root;
  plugin.SaveStateTree(root);
  EXPECT_EQ(root.GetName().ToUTF8(), "StateTestsettings");
  EXPECT_EQ(Keys(root), std::vector<std::string>{"Version"});
  EXPECT_EQ(root.FindAttribute(RHashedString("Version"))->ToInt32(), RAudioPlugin::kWriterVersion);
  EXPECT_EQ(root.GetSubItemCount(), 0);
}

TEST(Store, ChangedFieldsAreWrittenUnderTheirKeys) {
  RStateTestPlugin plugin;
  plugin.gain.SetValueNow(6.0);
  plugin.mode.SetValueNow(2.0);
  plugin.GetBypassValue()->SetValueNow(1.0);
  plugin.SetSmartBypass(false);
  plugin.SetController(2, 20);
  plugin.SetUpsampling(4);
  plugin.SetChannelMode(3);
  RTagItem root;
  plugin.SaveStateTree(root);
  EXPECT_DOUBLE_EQ(root.FindAttribute(RHashedString("#Gain"))->ToDouble(), 6.0);
  EXPECT_EQ(root.FindAttribute(RHashedString("#Mode"))->ToInt32(), 2);
  EXPECT_FALSE(Has(root, "#Mix"));
  // Bypass is written by the level, by hand, never as a value of the table.
  EXPECT_TRUE(root.FindAttribute(RHashedString("Bypass"))->ToBool());
  EXPECT_FALSE(Has(root, "#Bypass"));
  EXPECT_FALSE(root.FindAttribute(RHashedString("SmartBypass"))->ToBool());
  EXPECT_EQ(root.FindAttribute(RHashedString("MC3"))->ToInt32(), 20);
  EXPECT_FALSE(Has(root, "MC4"));
  EXPECT_EQ(root.FindAttribute(RHashedString("Upsampling"))->ToInt32(), 4);
  EXPECT_EQ(Text(root, "ChannelMode").ToUTF8(), "Mono");
}

TEST(Store, KeysOfOptionsTheDefinitionLacksAreNeitherWrittenNorRead) {
  RStateTestPlugin plain;
  plain.SetAGC(true);
  RTagItem root;
  plain.SaveStateTree(root);
  EXPECT_FALSE(Has(root, "AGC"));

  RAudioPlugin::Options options;
  options.agc = true;
  options.bypass = false;
  RStateTestPlugin withAGC(options);
  withAGC.SetAGC(true);
  RTagItem written;
  withAGC.SaveStateTree(written);
  EXPECT_TRUE(Has(written, "AGC"));
  EXPECT_FALSE(Has(written, "SmartBypass"));
  EXPECT_EQ(withAGC.GetBypassValue(), nullptr);
}

TEST(Store, ReadingATreeOfDefaultsRestoresEveryDefault) {
  RStateTestPlugin source;
  RTagItem defaults;
  source.SaveStateTree(defaults);

  RStateTestPlugin plugin;
  plugin.gain.SetValueNow(-9.0);
  plugin.freeze.SetValueNow(1.0);
  plugin.GetBypassValue()->SetValueNow(1.0);
  plugin.SetSleepOnSilence(false);
  plugin.SetController(0, 64);
  plugin.GetSharedData().MaxLFOBlockSize = 32;
  plugin.LoadStateTree(defaults);
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), 0.0);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessing(), 0.0);
  EXPECT_FALSE(plugin.freeze.IsOn());
  EXPECT_FALSE(plugin.GetBypassValue()->IsOn());
  EXPECT_TRUE(plugin.GetSleepOnSilence());
  EXPECT_EQ(plugin.GetController(0), 1);
  EXPECT_EQ(plugin.GetSharedData().MaxLFOBlockSize, 256);
  EXPECT_EQ(plugin.postLoads, 1);
}

TEST(Store, ATreeWrittenAndReadGivesTheSameState) {
  RStateTestPlugin source;
  source.gain.SetValueNow(3.5);
  source.mix.SetValueNow(0.25);
  source.mode.SetValueNow(1.0);
  source.SetController(15, 7);
  source.GetSharedData().MaxLFOBlockSizeOffline = 512;
  RTagItem root;
  source.SaveStateTree(root);

  RStateTestPlugin copy;
  copy.LoadStateTree(root);
  RTagItem again;
  copy.SaveStateTree(again);
  EXPECT_EQ(again.Compare(root), 0);
  EXPECT_EQ(copy.GetController(15), 7);
  EXPECT_EQ(copy.GetSharedData().MaxLFOBlockSizeOffline, 512);
}

TEST(Store, OlderKeyFormsStillLoad) {
  RStateTestPlugin plugin;
  RTagItem root(RString("StateTestsettings"));
  Put(root, "parameterGain", RVariant::FromDouble(-6.0));
  Put(root, "parameterMode", RVariant::FromInt32(1));
  Put(root, "EnableSurroundProcessing", RVariant::FromInt32(1));
  plugin.SetHostChannels(8);
  plugin.LoadStateTree(root);
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), -6.0);
  EXPECT_EQ(plugin.mode.GetIndex(), 1);
  EXPECT_EQ(plugin.GetChannelMode(), 11);

  // Surround needs at least three host channels.
  RStateTestPlugin stereo;
  stereo.LoadStateTree(root);
  EXPECT_EQ(stereo.GetChannelMode(), 0);
}

TEST(Store, AnUnknownChannelModeTextIsModeZero) {
  RStateTestPlugin plugin;
  plugin.SetChannelMode(4);
  RTagItem root(RString("StateTestsettings"));
  Put(root, "ChannelMode", RVariant::FromText(RShortString("Quadraphonic")));
  plugin.LoadStateTree(root);
  EXPECT_EQ(plugin.GetChannelMode(), 0);
  Put(root, "ChannelMode", RVariant::FromText(RShortString("right & ZERO left")));
  plugin.LoadStateTree(root);
  EXPECT_EQ(plugin.GetChannelMode(), 8);
}

TEST(Store, APresetOnlyTreeSkipsValuesThatAreNotGlobalAndTheSessionsBlockSize) {
  RStateTestPlugin plugin;
  plugin.local.SetValueNow(0.9);
  plugin.GetSharedData().MaxLFOBlockSize = 64;
  RTagItem root(RString("StateTestsettings"));
  RStoreContext(root, 0).SetPresetOnly(true);
  Put(root, "#Gain", RVariant::FromDouble(12.0));
  Put(root, "#Local", RVariant::FromDouble(0.1));
  Put(root, "MaxLFOBlockSize", RVariant::FromInt32(16));
  plugin.LoadStateTree(root);
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), 12.0);
  EXPECT_DOUBLE_EQ(plugin.local.GetValue(), 0.9);
  EXPECT_EQ(plugin.GetSharedData().MaxLFOBlockSize, 64);
}

TEST(Store, AChangeOfOversamplingOrChannelsIsFollowedByOneSetup) {
  RStateTestPlugin plugin;
  plugin.SetHostFormat(48000.0, 256, 2);
  const int32_t setups = plugin.setups;
  RTagItem root(RString("StateTestsettings"));
  Put(root, "#Gain", RVariant::FromDouble(1.0));
  plugin.LoadStateTree(root);
  EXPECT_EQ(plugin.setups, setups);
  Put(root, "Upsampling", RVariant::FromInt32(2));
  plugin.LoadStateTree(root);
  EXPECT_EQ(plugin.setups, setups + 1);
  EXPECT_EQ(plugin.GetOversampling(), 2);
  plugin.LoadStateTree(root);
  EXPECT_EQ(plugin.setups, setups + 1);
  Put(root, "ChannelMode", RVariant::FromText(RShortString("Left")));
  plugin.LoadStateTree(root);
  EXPECT_EQ(plugin.setups, setups + 2);
  EXPECT_EQ(plugin.GetActiveChannelMode(), 1);
  EXPECT_EQ(plugin.GetChannels(), 1);
  Put(root, "HQUpsampling", RVariant::FromInt32(0));
  plugin.LoadStateTree(root);
  EXPECT_EQ(plugin.setups, setups + 3);
}

std::vector<std::string> gGuardNames;
void NoteGuard(const char* name, const RString&, bool) { gGuardNames.push_back(name); }

TEST(Store, AFailingSectionIsReportedUnderItsNameAndTheRestGoesOn) {
  RStateTestPlugin plugin;
  plugin.failParamLock = true;
  RTagItem root(RString("StateTestsettings"));
  Put(root, "#Gain", RVariant::FromDouble(-3.0));
  gGuardNames.clear();
  const RGuardObserver previous = RSetGuardObserver(&NoteGuard);
  plugin.LoadStateTree(root);
  RTagItem written;
  plugin.SaveStateTree(written);
  RSetGuardObserver(previous);
  EXPECT_EQ(gGuardNames, std::vector<std::string>{"RAudioPlugin::StoreParamLock"});
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), -3.0);
  EXPECT_EQ(plugin.postLoads, 1);
  EXPECT_TRUE(Has(written, "#Gain"));
}

TEST(Store, ATreeWithoutARootLeavesThePluginAsItWas) {
  RStateTestPlugin plugin;
  plugin.gain.SetValueNow(5.0);
  RTagItem empty;
  EXPECT_THROW(plugin.LoadStateTree(empty), RException);
  EXPECT_DOUBLE_EQ(plugin.gain.GetValue(), 5.0);
  EXPECT_EQ(plugin.postLoads, 0);
}

struct Shown {
  static inline std::string title, text;
  static inline int count = 0;
  static void View(RAudioPlugin&, const RString& t, const RString& x) {
    title = t.ToUTF8();
    text = x.ToUTF8();
    ++count;
  }
};

TEST(Store, TheReplacementLogIsShownWhenAskedForAndClearedAfterEveryLoad) {
  RTemporaryFolder folder;
  RGlobalConfiguration& configuration = RGlobalConfiguration::Get();
  const RString userFolder = configuration.GetFolder();
  configuration.UseFolder(folder.Folder());
  const RReplacementLog::Viewer previous = RReplacementLog::SetViewer(&Shown::View);
  Shown::count = 0;

  RStateTestPlugin plugin;
  plugin.renameOnLoad = "Old name -> New name\n";
  RTagItem root(RString("StateTestsettings"));
  plugin.LoadStateTree(root);
  EXPECT_EQ(Shown::count, 0);
  EXPECT_TRUE(plugin.GetSharedData().ReplacementLog.IsEmpty());

  configuration.SetSwitch(RReplacementLog::kShowSwitch, true);
  plugin.LoadStateTree(root);
  EXPECT_EQ(Shown::count, 1);
  EXPECT_EQ(Shown::title, "Parameter replacement log");
  EXPECT_EQ(Shown::text, "Old name -> New name\n");
  EXPECT_TRUE(plugin.GetSharedData().ReplacementLog.IsEmpty());

  RReplacementLog::SetViewer(previous);
  configuration.UseFolder(userFolder);
}

} // namespace
