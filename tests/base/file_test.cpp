#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#include "base/exception.h"
#include "base/file.h"
#include "base/filestream.h"
#include "base/platform/filesystem.h"

namespace {

namespace fs = std::filesystem;

template <typename F>
RException Caught(F&& f) {
  try {
    f();
  } catch (const RException& e) {
    return e;
  }
  ADD_FAILURE() << "no exception";
  return RException("");
}

std::string Message(const RException& e) { return e.GetMessage().ToUTF8(); }

RString Text(const std::string& s) { return RString::FromUTF8(s); }

// Every test works in a fresh temporary folder of its own.
class FileTest : public ::testing::Test {
protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "quillon-file-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
  }
  void TearDown() override {
    // Protected entries of a test must not stop the clean-up.
    for (const auto& entry : fs::recursive_directory_iterator(root_, fs::directory_options::skip_permission_denied))
      chmod(entry.path().c_str(), entry.is_directory() ? 0755 : 0644);
    fs::remove_all(root_);
  }
  std::string Path(const std::string& name) const { return root_ + "/" + name; }
  void Put(const std::string& name, const std::string& content) const {
    std::ofstream(Path(name), std::ios::binary) << content;
  }
  std::string Get(const std::string& name) const {
    std::ifstream in(Path(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  std::string root_;
};

// Sets an environment variable for one scope.
class ScopedVariable {
public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old, had_ = true;
    if (value) setenv(name, value, 1);
    else unsetenv(name);
  }
  ~ScopedVariable() {
    if (had_) setenv(name_, old_.c_str(), 1);
    else unsetenv(name_);
  }

private:
  const char* name_;
  std::string old_;
  bool had_ = false;
};

std::string Joined(const RArray<RString>& names) {
  std::string all;
  for (const RString& name : names) all += name.ToUTF8() + ";";
  return all;
}

} // namespace

using RFileStreamTest = FileTest;

TEST_F(RFileStreamTest, ReadsAndWritesTheSameHandleInTurn) {
  RFileStream file(Text(Path("a.bin")), RFileStream::kWrite | RFileStream::kReplace);
  file.WriteText("hello world");
  file.Seek(0);
  char buffer[16] = {};
  EXPECT_EQ(file.Read(buffer, 5), 5);
  EXPECT_STREQ(buffer, "hello");
  file.Write("_", 1);  // right after a read: the handle changes direction
  EXPECT_EQ(file.GetPosition(), 6);
  EXPECT_EQ(file.GetSize(), 11);
  file.Seek(-2, RStream::kEnd);
  EXPECT_EQ(file.Read(buffer, 16), 2);
  EXPECT_TRUE(file.IsEnd());
  file.Seek(5);
  file.Truncate();
  file.Close();
  EXPECT_EQ(Get("a.bin"), "hello");
}

TEST_F(RFileStreamTest, WriteAloneChangesAFileInPlace) {
  Put("a.txt", "abcdef");
  RFileStream file(Text(Path("a.txt")), RFileStream::kWrite);
  file.Seek(2);
  file.Write("XY", 2);
  file.Close();
  EXPECT_EQ(Get("a.txt"), "abXYef");
}

TEST_F(RFileStreamTest, ReplacingAWriteProtectedFileWorks) {
  Put("locked.txt", "old content");
  ASSERT_EQ(chmod(Path("locked.txt").c_str(), 0444), 0);
  RFileStream file(Text(Path("locked.txt")), 6);
  file.Write("new", 3);
  file.Close();
  EXPECT_EQ(Get("locked.txt"), "new");
  struct stat info;
  ASSERT_EQ(stat(Path("locked.txt").c_str(), &info), 0);
  EXPECT_TRUE(info.st_mode & S_IWUSR);  // a new file, not the protected one
}

TEST_F(RFileStreamTest, OpeningFailuresNameThePathAndTheReason) {
  RFileStream file;
  EXPECT_EQ(Message(Caught([&] { file.Open(RString(), RFileStream::kRead); })),
            "Empty filename cannot be created. This is an internal error.");
  const std::string missing = Path("missing.txt");
  EXPECT_EQ(Message(Caught([&] { file.Open(Text(missing), RFileStream::kRead); })),
            "File \"" + missing + "\" could not be opened. Make sure that it exists.\nError: \"" +
                std::strerror(ENOENT) + "\".");
  EXPECT_EQ(Message(Caught([&] { file.Open(Text(missing), RFileStream::kWrite); })),
            "File \"" + missing +
                "\" could not be created. Make sure there is no write-protected file already existing.\nError: \"" +
                std::strerror(ENOENT) + "\".");
  EXPECT_FALSE(file.IsOpen());
}

TEST_F(RFileStreamTest, EveryOperationNeedsAnOpenFile) {
  RFileStream file;
  char c = 0;
  for (auto op : std::initializer_list<std::function<void()>>{
           [&] { file.Read(&c, 1); }, [&] { file.Write(&c, 1); }, [&] { file.Seek(0); },
           [&] { file.GetPosition(); }, [&] { file.GetSize(); }, [&] { file.Flush(); }, [&] { file.Truncate(); }})
    EXPECT_EQ(Message(Caught(op)), "File stream is not initialized.");
  Put("a.txt", "abc");
  file.Open(Text(Path("a.txt")), RFileStream::kRead);
  file.Close();
  EXPECT_EQ(Message(Caught([&] { file.Read(&c, 1); })), "File stream is not initialized.");
}

TEST_F(RFileStreamTest, SystemFailuresAreReportedWithTheirText) {
  Put("a.txt", "abc");
  RFileStream file(Text(Path("a.txt")), RFileStream::kRead);
  EXPECT_EQ(Message(Caught([&] { file.Seek(-1); })),
            "Error performing seek \"" + Path("a.txt") + "\", error \"" + std::strerror(EINVAL) + "\".");

  fs::create_directory(Path("folder"));
  RFileStream folder(Text(Path("folder")), RFileStream::kRead);
  char buffer[4];
  EXPECT_EQ(Message(Caught([&] { folder.Read(buffer, 4); })),
            "Error reading from file \"" + Path("folder") + "\", error \"" + std::strerror(EISDIR) + "\".");

  // Buffered bytes that find no room show up when the file is closed.
  RFileStream full("/dev/full", RFileStream::kWrite);
  full.Write("abc", 3);
  EXPECT_EQ(Message(Caught([&] { full.Close(); })),
            std::string("Error writing to file \"/dev/full\", error \"") + std::strerror(ENOSPC) + "\".");
}

// ---------------------------------------------------------------------------------------------

using RFileTest = FileTest;

TEST_F(RFileTest, DeleteRemovesEvenAWriteProtectedFile) {
  Put("locked.txt", "x");
  ASSERT_EQ(chmod(Path("locked.txt").c_str(), 0444), 0);
  RFile::Delete(Text(Path("locked.txt")));
  EXPECT_FALSE(fs::exists(Path("locked.txt")));
  EXPECT_EQ(Message(Caught([&] { RFile::Delete(Text(Path("locked.txt"))); })),
            "Could not delete file \"" + Path("locked.txt") + "\".");
}

TEST_F(RFileTest, RenameMovesAFileOrSaysWhichOneFailed) {
  Put("a.txt", "content");
  RFile::Rename(Text(Path("a.txt")), Text(Path("b.txt")));
  EXPECT_EQ(Get("b.txt"), "content");
  EXPECT_FALSE(fs::exists(Path("a.txt")));
  EXPECT_EQ(Message(Caught([&] { RFile::Rename(Text(Path("a.txt")), Text(Path("c.txt"))); })),
            "Could not rename file \"" + Path("a.txt") + "\" to \"" + Path("c.txt") + "\".");
}

TEST_F(RFileTest, CreatePathMakesEveryMissingLevel) {
  RFile::CreatePath(Text(Path("one/two//three/")));
  EXPECT_TRUE(fs::is_directory(Path("one/two/three")));
  EXPECT_NO_THROW(RFile::CreatePath(Text(Path("one/two"))));
  Put("file", "x");
  EXPECT_EQ(Message(Caught([&] { RFile::CreatePath(Text(Path("file/sub"))); })),
            "Could not create path \"" + Path("file/sub") + "\".");
}

TEST_F(RFileTest, RemoveDirectoryTakesOnlyAnEmptyOne) {
  fs::create_directories(Path("full/inner"));
  EXPECT_EQ(Message(Caught([&] { RFile::RemoveDirectory(Text(Path("full"))); })),
            "Could not remove directory \"" + Path("full") + "\".");
  RFile::RemoveDirectory(Text(Path("full/inner")));
  EXPECT_FALSE(fs::exists(Path("full/inner")));
}

TEST_F(RFileTest, FileListsChooseDirectoriesAndFilesByFlags) {
  fs::create_directories(Path("tree/b-dir/deep"));
  fs::create_directories(Path("tree/a-dir"));
  std::ofstream(Path("tree/z.txt")) << "z";
  std::ofstream(Path("tree/c.txt")) << "c";
  std::ofstream(Path("tree/b-dir/deep/d.txt")) << "d";
  const RString tree = Text(Path("tree"));
  EXPECT_EQ(Joined(RFile::GetFileList(tree)), "c.txt;z.txt;");
  EXPECT_EQ(Joined(RFile::GetFileList(tree, RFile::kDirectories)), "a-dir;b-dir;");
  EXPECT_EQ(Joined(RFile::GetFileList(tree, RFile::kDirectories | RFile::kFiles)), "a-dir;b-dir;c.txt;z.txt;");
  EXPECT_EQ(Joined(RFile::GetFileListRecursed(tree)), "b-dir/deep/d.txt;c.txt;z.txt;");
  EXPECT_EQ(Joined(RFile::GetFileListRecursed(tree, RFile::kDirectories)), "a-dir;b-dir;b-dir/deep;");
  EXPECT_EQ(Message(Caught([&] { RFile::GetFileList(Text(Path("none"))); })),
            "Could not access path \"" + Path("none") + "\" to get file list.");
}

TEST_F(RFileTest, AnUnreadableBranchDoesNotStopTheWalk) {
  fs::create_directories(Path("tree/locked/hidden"));
  fs::create_directories(Path("tree/open"));
  std::ofstream(Path("tree/locked/secret.txt")) << "s";
  std::ofstream(Path("tree/open/seen.txt")) << "s";
  ASSERT_EQ(chmod(root_.c_str(), 0755), 0);
  ASSERT_EQ(chmod(Path("tree/locked").c_str(), 0), 0);
  const RString tree = Text(Path("tree"));
  // Permissions bind only a user without privileges, so the walk runs as one in a child.
  EXPECT_EXIT(
      {
        if (geteuid() == 0 && setuid(65534) != 0) std::_Exit(2);
        const std::string found = Joined(RFile::GetFileListRecursed(tree, RFile::kDirectories | RFile::kFiles));
        std::_Exit(found == "locked;open;open/seen.txt;" ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(RFileTest, ExecuteHandsTheTargetToTheDesktopOpener) {
  fs::create_directory(Path("bin"));
  const std::string opened = Path("opened");
  {
    std::ofstream script(Path("bin/xdg-open"));
    script << "#!/bin/sh\nprintf '%s' \"$1\" > '" << opened << "'\n";
  }
  ASSERT_EQ(chmod(Path("bin/xdg-open").c_str(), 0755), 0);
  ScopedVariable path("PATH", Path("bin").c_str());
  auto waitFor = [&](const std::string& expected) {
    std::string seen;
    for (int i = 0; i < 500 && seen != expected; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      seen = Get("opened");
    }
    return seen;
  };
  Put("document.txt", "x");
  RFile::Execute(Text(Path("document.txt")));
  EXPECT_EQ(waitFor(Path("document.txt")), Path("document.txt"));
  RFile::ExecuteMail("someone@example.com");
  EXPECT_EQ(waitFor("mailto: someone@example.com"), "mailto: someone@example.com");
  EXPECT_EQ(Message(Caught([&] { RFile::Execute(Text(Path("missing.txt"))); })),
            "Could not execute file \"" + Path("missing.txt") + "\".");
}

TEST_F(RFileTest, WithoutAnOpenerExecuteFailsAndTheAddressFormsStayQuiet) {
  fs::create_directory(Path("empty-bin"));
  ScopedVariable path("PATH", Path("empty-bin").c_str());
  EXPECT_EQ(Message(Caught([&] { RFile::Execute("https://example.com/"); })),
            "Could not execute file \"https://example.com/\".");
  EXPECT_NO_THROW(RFile::ExecuteWWW("https://example.com/"));
  EXPECT_NO_THROW(RFile::ExecuteMail("someone@example.com"));
}

TEST_F(RFileTest, MapFileShowsTheWholeFileUntilItIsReleased) {
  std::string content(100000, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = char(i * 7);
  Put("data.bin", content);
  RMappedFile mapped = RFile::MapFile(Text(Path("data.bin")));
  ASSERT_EQ(mapped.GetSize(), int64_t(content.size()));
  EXPECT_EQ(std::memcmp(mapped.GetData(), content.data(), content.size()), 0);
  RMappedFile moved = std::move(mapped);
  EXPECT_EQ(mapped.GetData(), nullptr);
  EXPECT_EQ(moved.GetData()[99999], content[99999]);

  Put("empty.bin", "");
  EXPECT_EQ(RFile::MapFile(Text(Path("empty.bin"))).GetSize(), 0);
}

TEST_F(RFileTest, MapFileFailuresTellTheStage) {
  EXPECT_EQ(Message(Caught([&] { RFile::MapFile(Text(Path("missing.bin"))); })),
            "Could not open file " + Path("missing.bin") + " for mapping. Error: " + std::strerror(ENOENT));
  fs::create_directory(Path("folder"));
  EXPECT_EQ(Message(Caught([&] { RFile::MapFile(Text(Path("folder"))); })),
            "Could not create file mapping for " + Path("folder") + ". Error: " + std::strerror(ENODEV));
}

TEST_F(RFileTest, FileTimesRoundTripInUTC) {
  Put("a.txt", "x");
  const RDateTime time = RDateTime::FromText("2024-02-29 07:05:09");
  RFile::SetFileTime(Text(Path("a.txt")), time);
  EXPECT_EQ(RFile::GetFileTime(Text(Path("a.txt"))), time);

  RDateTime dayTwo = RDateTime::FromText("1970-01-02 00:00:00");
  dayTwo.time.microseconds = 250000;
  RFile::SetFileTime(Text(Path("a.txt")), dayTwo);
  struct stat info;
  ASSERT_EQ(stat(Path("a.txt").c_str(), &info), 0);
  EXPECT_EQ(info.st_mtim.tv_sec, 86400);
  EXPECT_EQ(info.st_mtim.tv_nsec, 250000000);
  EXPECT_EQ(RFile::GetFileTime(Text(Path("a.txt"))), dayTwo);

  EXPECT_EQ(Message(Caught([&] { RFile::GetFileTime(Text(Path("none"))); })),
            "Cannot retrieve file time of  \"" + Path("none") + "\".");
  EXPECT_EQ(Message(Caught([&] { RFile::SetFileTime(Text(Path("none")), time); })),
            "Could not set system times to " + Path("none") + ".");
}

TEST(RPlatformFoldersTest, UserFoldersFollowTheXDGVariablesThenTheHome) {
  {
    ScopedVariable data("XDG_DATA_HOME", "/tmp/xdg-data");
    ScopedVariable config("XDG_CONFIG_HOME", "/tmp/xdg-config/");
    EXPECT_EQ(RPlatform::GetDataFolder().ToUTF8(), "/tmp/xdg-data/VarnholtStudios/");
    EXPECT_EQ(RPlatform::GetSettingsFolder().ToUTF8(), "/tmp/xdg-config/VarnholtStudios/");
  }
  ScopedVariable data("XDG_DATA_HOME", "");
  ScopedVariable config("XDG_CONFIG_HOME", nullptr);
  ScopedVariable home("HOME", "/home/someone");
  EXPECT_EQ(RPlatform::GetDataFolder().ToUTF8(), "/home/someone/.local/share/VarnholtStudios/");
  EXPECT_EQ(RPlatform::GetSettingsFolder().ToUTF8(), "/home/someone/.config/VarnholtStudios/");
}
