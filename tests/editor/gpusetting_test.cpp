// The painter choice in GPU.xml: written to and read back from the settings folder, any stored
// form of the tree read, a damaged file taken as the default, and the text of the fall-back.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "base/platform/filesystem.h"
#include "base/tagitem.h"
#include "editor/gpusetting.h"

namespace {

// XDG_CONFIG_HOME pointed at a folder of the test's own, removed afterwards.
class GpuSetting : public ::testing::Test {
protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "quillon-gpu-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    home = pattern + "/";
    if (const char* present = std::getenv("XDG_CONFIG_HOME")) previous = present;
    setenv("XDG_CONFIG_HOME", home.c_str(), 1);
  }
  void TearDown() override {
    if (previous.empty()) {
      unsetenv("XDG_CONFIG_HOME");
    } else {
      setenv("XDG_CONFIG_HOME", previous.c_str(), 1);
    }
    std::error_code ignored;
    std::filesystem::remove_all(home, ignored);
  }
  std::string File() const { return home + "VarnholtStudios/GPU.xml"; }

  std::string home;
  std::string previous;
};

TEST_F(GpuSetting, TheChoiceRoundTripsThroughTheSettingsFolder) {
  EXPECT_EQ(RGpuSetting::Load(), RGpuSetting::kDefaultEnable) << "no file: the default";
  RGpuSetting::Save(true);
  ASSERT_TRUE(std::filesystem::exists(File())) << "the settings folder is made when missing";
  EXPECT_TRUE(RGpuSetting::Load());

  RTagItem tree;
  tree.Load(RString::FromUTF8(File()));
  EXPECT_EQ(tree.GetName().ToUTF8(), "GPU");
  const RVariant* enable = tree.FindAttribute(RHashedString(RString("Enable")));
  ASSERT_NE(enable, nullptr);
  EXPECT_TRUE(enable->ToBool());

  RGpuSetting::Save(false);
  EXPECT_FALSE(RGpuSetting::Load());
  tree.Load(RString::FromUTF8(File()));
  EXPECT_EQ(tree.FindAttribute(RHashedString(RString("Enable"))), nullptr) << "the default is not written";

  // A folder of its own, for tools.
  const RString own = RString::FromUTF8(home + "tool/");
  RGpuSetting::Save(true, own);
  EXPECT_TRUE(RGpuSetting::Load(own));
  EXPECT_FALSE(RGpuSetting::Load());
}

TEST_F(GpuSetting, AnyStoredFormIsReadAndADamagedFileGivesTheDefault) {
  std::filesystem::create_directories(home + "VarnholtStudios");
  {
    std::ofstream text(File());
    text << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<GPU Enable=\"1\"/>\n";
  }
  EXPECT_TRUE(RGpuSetting::Load());
  {
    std::ofstream other(File());
    other << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Configuration Enable=\"1\"/>\n";
  }
  EXPECT_EQ(RGpuSetting::Load(), RGpuSetting::kDefaultEnable) << "a tree of another kind";
  {
    std::ofstream damaged(File(), std::ios::binary);
    damaged << "\x01\x02garbage";
  }
  EXPECT_EQ(RGpuSetting::Load(), RGpuSetting::kDefaultEnable);
}

TEST(GpuSettingText, TheFallBackMessageEndsWithTheFailure) {
  const RString text = RGpuSetting::FallbackMessage(RException(RString("wglCreateContext failed.")));
  EXPECT_EQ(text.ToUTF8(),
            "Sorry, your system is out of GPU resources. The software will switch to CPU emulated mode. Please "
            "consider buying a modern graphics card. If this occurs commonly, use software settings to disable GPU "
            "acceleration permanently.\n\nInformation: wglCreateContext failed.");
}

} // namespace
