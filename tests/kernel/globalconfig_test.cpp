// The global configuration: written into the settings folder the environment names, read
// back by a fresh object, each key in its own file, and nothing a build doesn't know lost.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "base/platform/filesystem.h"
#include "base/tagitem.h"
#include "kernel/globalconfig.h"
#include "statetestplugin.h"

namespace {

// Points XDG_CONFIG_HOME at a folder of the test's own for its length.
class GlobalConfigurationTest : public ::testing::Test {
protected:
  void SetUp() override {
    const char* present = std::getenv("XDG_CONFIG_HOME");
    hadHome = present != nullptr;
    if (present) previousHome = present;
    setenv("XDG_CONFIG_HOME", home.Path().c_str(), 1);
    folder = RPlatform::GetSettingsFolder();
  }
  void TearDown() override {
    if (hadHome)
      setenv("XDG_CONFIG_HOME", previousHome.c_str(), 1);
    else
      unsetenv("XDG_CONFIG_HOME");
  }

  std::string File(const char* name) const { return folder.ToUTF8() + name; }
  std::unique_ptr<RTagItem> Read(const char* name) const {
    auto tree = std::make_unique<RTagItem>();
    tree->Load(RString::FromUTF8(File(name)));
    return tree;
  }

  RTemporaryFolder home;
  RString folder;
  bool hadHome = false;
  std::string previousHome;
};

TEST_F(GlobalConfigurationTest, ASwitchIsWrittenToTheSettingsFolderAndReadBackByAFreshObject) {
  ASSERT_EQ(folder.ToUTF8(), home.Path() + "VarnholtStudios/");
  {
    RGlobalConfiguration configuration(folder);
    EXPECT_TRUE(configuration.GetSwitch(RGlobalConfiguration::kSleepOnSilence, true));
    configuration.SetSwitch(RGlobalConfiguration::kSleepOnSilence, false);
    EXPECT_FALSE(configuration.GetSwitch(RGlobalConfiguration::kSleepOnSilence, true));
    configuration.SetSwitch("TabletMode", true);
  }
  ASSERT_TRUE(std::filesystem::exists(File("GlobalConfiguration.xml")));
  std::ifstream text(File("GlobalConfiguration.xml"));
  std::string head(5, '\0');
  text.read(head.data(), 5);
  EXPECT_EQ(head, "<?xml");
  EXPECT_EQ(Read("GlobalConfiguration.xml")->GetName().ToUTF8(), "Configuration");

  RGlobalConfiguration again(folder);
  EXPECT_FALSE(again.GetSwitch("pluginsleeponsilence", true));
  EXPECT_TRUE(again.GetSwitch("TabletMode", false));
  EXPECT_FALSE(again.GetSwitch("NeverWritten", false));
  EXPECT_TRUE(again.GetSwitch("NeverWritten", true));
}

TEST_F(GlobalConfigurationTest, PluginPreferencesLiveInTheirOwnFile) {
  RGlobalConfiguration configuration(folder);
  configuration.SetSwitch(RGlobalConfiguration::kConfirmationEnabled, false);
  configuration.SetText(RGlobalConfiguration::kBandPluginDefaultSettings, RString("Band 1"));
  configuration.SetInt("HDPI", 2);
  const auto plugin = Read("RPluginConfiguration.xml");
  EXPECT_EQ(plugin->GetName().ToUTF8(), "Configuration");
  EXPECT_NE(plugin->FindAttribute(RHashedString("ConfirmationEnabled")), nullptr);
  EXPECT_EQ(plugin->GetAttributeText(RHashedString("BandPluginDefaultSettings")).ToUTF8(), "Band 1");
  EXPECT_EQ(plugin->FindAttribute(RHashedString("HDPI")), nullptr);
  EXPECT_EQ(Read("GlobalConfiguration.xml")->FindAttribute(RHashedString("HDPI"))->ToInt32(), 2);

  RGlobalConfiguration again(folder);
  EXPECT_FALSE(again.GetSwitch(RGlobalConfiguration::kConfirmationEnabled, true));
  EXPECT_EQ(again.GetText(RGlobalConfiguration::kBandPluginDefaultSettings).ToUTF8(), "Band 1");
  EXPECT_EQ(again.GetInt("HDPI", 1), 2);
}

TEST_F(GlobalConfigurationTest, KeysThisBuildDoesNotKnowAreKept) {
  std::filesystem::create_directories(folder.ToUTF8());
  {
    std::ofstream file(File("GlobalConfiguration.xml"));
    file << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Configuration FutureKey=\"42\" DefaultColorsByType=\"1\"/>\n";
  }
  RGlobalConfiguration configuration(folder);
  // A key found in the other file stays in it when changed.
  EXPECT_TRUE(configuration.GetSwitch(RGlobalConfiguration::kDefaultColorsByType, false));
  configuration.SetSwitch(RGlobalConfiguration::kDefaultColorsByType, false);
  configuration.SetSwitch(RGlobalConfiguration::kSleepOnSilence, true);
  const auto written = Read("GlobalConfiguration.xml");
  EXPECT_EQ(written->FindAttribute(RHashedString("FutureKey"))->ToInt32(), 42);
  EXPECT_FALSE(written->FindAttribute(RHashedString("DefaultColorsByType"))->ToBool());
  EXPECT_FALSE(std::filesystem::exists(File("RPluginConfiguration.xml")));
}

TEST_F(GlobalConfigurationTest, AnUnchangedValueIsNotWrittenAgain) {
  RGlobalConfiguration configuration(folder);
  configuration.SetSwitch("TabletMode", true);
  std::filesystem::remove(File("GlobalConfiguration.xml"));
  configuration.SetSwitch("TabletMode", true);
  EXPECT_FALSE(std::filesystem::exists(File("GlobalConfiguration.xml")));
  configuration.SetSwitch("TabletMode", false);
  EXPECT_TRUE(std::filesystem::exists(File("GlobalConfiguration.xml")));
}

TEST_F(GlobalConfigurationTest, ADamagedFileGivesDefaults) {
  std::filesystem::create_directories(folder.ToUTF8());
  {
    std::ofstream file(File("GlobalConfiguration.xml"), std::ios::binary);
    file << "\x03\x04 not a tree at all";
  }
  RGlobalConfiguration configuration(folder);
  EXPECT_TRUE(configuration.GetSwitch(RGlobalConfiguration::kSleepOnSilence, true));
  EXPECT_EQ(configuration.GetText("SaveSettings").ToUTF8(), "");
  // The next change replaces the damaged file with a good one.
  configuration.SetText("SaveSettings", RString("/tmp/"));
  EXPECT_EQ(Read("GlobalConfiguration.xml")->GetAttributeText(RHashedString("SaveSettings")).ToUTF8(), "/tmp/");
}

} // namespace
