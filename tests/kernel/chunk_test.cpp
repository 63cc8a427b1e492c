// The host's state chunk and the user's settings files: both carry the whole tree, and a
// chunk or file that can't be read leaves the plug-in exactly as it was.
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <random>
#include <vector>

#include "base/exception.h"
#include "base/memorystream.h"
#include "base/tagitem.h"
#include "kernel/audioplugininterface.h"
#include "kernel/globalconfig.h"
#include "kernel/settingsfile.h"
#include "statetestplugin.h"

namespace {

class ChunkTest : public ::testing::Test {
protected:
  ChunkTest() {
    auto owned = std::make_unique<RStateTestPlugin>();
    plugin = owned.get();
    host = std::make_unique<RAudioPluginInterface>(std::move(owned));
  }

  std::vector<uint8_t> Save() {
    RMemoryStream chunk;
    EXPECT_TRUE(host->SaveState(chunk));
    return std::vector<uint8_t>(chunk.GetData(), chunk.GetData() + chunk.GetSize());
  }
  bool Load(const std::vector<uint8_t>& bytes) {
    RMemoryStream chunk(bytes.data(), int64_t(bytes.size()));
    return host->LoadState(chunk);
  }
  // The state as a tree, to compare before and after.
  std::unique_ptr<RTagItem> State() {
    auto tree = std::make_unique<RTagItem>();
    plugin->SaveStateTree(*tree);
    return tree;
  }
  void Change() {
    plugin->gain.SetValueNow(7.5);
    plugin->mode.SetValueNow(2.0);
    plugin->GetBypassValue()->SetValueNow(1.0);
    plugin->SetController(5, 99);
  }
  void ExpectLoadError() {
    const std::string error = host->GetLastError().ToUTF8();
    EXPECT_EQ(error.rfind("Error loading plugin settings for StateTest.\n\n", 0), 0u) << error;
    EXPECT_GT(error.size(), std::string("Error loading plugin settings for StateTest.\n\n").size());
  }

  RStateTestPlugin* plugin = nullptr;
  std::unique_ptr<RAudioPluginInterface> host;
};

TEST_F(ChunkTest, AChunkRoundTripGivesTheSameState) {
  Change();
  const std::vector<uint8_t> bytes = Save();
  // Compressed: a zlib stream begins with the deflate method in its low nibble.
  ASSERT_GE(bytes.size(), 2u);
  EXPECT_EQ(bytes[0] & 0x0f, 8);
  EXPECT_EQ((bytes[0] * 256 + bytes[1]) % 31, 0);

  auto owned = std::make_unique<RStateTestPlugin>();
  RStateTestPlugin& other = *owned;
  RAudioPluginInterface otherHost(std::move(owned));
  RMemoryStream chunk(bytes.data(), int64_t(bytes.size()));
  ASSERT_TRUE(otherHost.LoadState(chunk));
  EXPECT_DOUBLE_EQ(other.gain.GetValue(), 7.5);
  EXPECT_EQ(other.mode.GetIndex(), 2);
  EXPECT_TRUE(other.GetBypassValue()->IsOn());
  EXPECT_EQ(other.GetController(5), 99);
  RTagItem mine, theirs;
  plugin->SaveStateTree(mine);
  other.SaveStateTree(theirs);
  EXPECT_EQ(mine.Compare(theirs), 0);
}

TEST_F(ChunkTest, AnyStoredFormOfTheTreeLoads) {
  Change();
  RTagItem tree;
  plugin->SaveStateTree(tree);
  RStateTestPlugin reference;
  for (int form = 0; form < 2; ++form) {
    plugin->gain.SetValueNow(0.0);
    RMemoryStream stream;
    if (form == 0)
      tree.WriteXML(stream);
    else
      tree.Save(stream, false);
    std::vector<uint8_t> bytes(stream.GetData(), stream.GetData() + stream.GetSize());
    EXPECT_TRUE(Load(bytes)) << form;
    EXPECT_DOUBLE_EQ(plugin->gain.GetValue(), 7.5) << form;
  }
}

TEST_F(ChunkTest, RandomBytesKeepTheStateAndGiveTheMessage) {
  Change();
  const auto before = State();
  std::mt19937 random(20240611);
  for (int round = 0; round < 20; ++round) {
    std::vector<uint8_t> bytes(size_t(1 + random() % 600));
    for (uint8_t& b : bytes) b = uint8_t(random());
    EXPECT_FALSE(Load(bytes)) << round;
    ExpectLoadError();
    EXPECT_EQ(State()->Compare(*before), 0) << round;
  }
  EXPECT_FALSE(Load({0x12, 0x34, 0x56}));
  EXPECT_EQ(State()->Compare(*before), 0);
}

TEST_F(ChunkTest, TruncatedCompressedDataKeepsTheState) {
  Change();
  const std::vector<uint8_t> whole = Save();
  plugin->gain.SetValueNow(-1.0);
  const auto before = State();
  for (size_t keep : {whole.size() / 2, whole.size() - 10, size_t(3)}) {
    std::vector<uint8_t> cut(whole.begin(), whole.begin() + long(keep));
    EXPECT_FALSE(Load(cut)) << keep;
    ExpectLoadError();
    EXPECT_EQ(State()->Compare(*before), 0) << keep;
  }
  EXPECT_FALSE(Load({}));
  ExpectLoadError();
}

TEST_F(ChunkTest, SettingsFilesSaveAndLoadTheStateAndRememberTheirFolder) {
  RTemporaryFolder folder;
  RGlobalConfiguration& configuration = RGlobalConfiguration::Get();
  const RString userFolder = configuration.GetFolder();
  configuration.UseFolder(folder.Folder());

  Change();
  const RString path = folder.File("mine.settings");
  RSettingsFile::Save(*plugin, path);
  EXPECT_EQ(RSettingsFile::GetLastFolder().ToUTF8(), folder.Path());
  RSettingsFile::Save(*plugin, folder.File("mine.xml"), true);
  std::ifstream xml(folder.Path() + "mine.xml");
  std::string head(5, '\0');
  xml.read(head.data(), 5);
  EXPECT_EQ(head, "<?xml");

  plugin->gain.SetValueNow(0.0);
  plugin->SetController(5, 1);
  RSettingsFile::Load(*plugin, path);
  EXPECT_DOUBLE_EQ(plugin->gain.GetValue(), 7.5);
  EXPECT_EQ(plugin->GetController(5), 99);
  // The load is one undo step back to where the plug-in stood.
  ASSERT_TRUE(plugin->GetUndo().CanUndo());
  plugin->GetUndo().Undo();
  EXPECT_DOUBLE_EQ(plugin->gain.GetValue(), 0.0);

  // A file that isn't a state leaves everything as it was.
  {
    std::ofstream bad(folder.Path() + "bad.settings", std::ios::binary);
    bad << "\x01\x02garbage that is no tree";
  }
  const auto before = State();
  const int32_t steps = plugin->GetUndo().GetStepCount();
  EXPECT_THROW(RSettingsFile::Load(*plugin, folder.File("bad.settings")), RException);
  EXPECT_THROW(RSettingsFile::Load(*plugin, folder.File("missing.settings")), RException);
  EXPECT_EQ(State()->Compare(*before), 0);
  EXPECT_EQ(plugin->GetUndo().GetStepCount(), steps);

  configuration.UseFolder(userFolder);
}

} // namespace
