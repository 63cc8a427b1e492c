// Audio files through their public read and write: what goes out comes back, in every
// container and sample format, and bad files are refused with the file's name.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "tools/quillon/audiofile.h"
#include "tools/quillon/commands.h"

namespace quillon_cli {
namespace {

class AudioFileTest : public ::testing::Test {
protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() /
              ("quillon-audiofile-" + std::to_string(getpid()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }
  std::string Path(const char* name) const { return (folder_ / name).string(); }

  // Three channels of distinct ramps that cover the whole range, odd length.
  static RAudioData Ramps(double rate = 44100.0) {
    RAudioData audio;
    audio.rate = rate;
    audio.channels.assign(3, std::vector<float>(1001));
    for (size_t i = 0; i < 1001; ++i) {
      audio.channels[0][i] = float(i) / 1000.0f * 1.8f - 0.9f;
      audio.channels[1][i] = -audio.channels[0][i];
      audio.channels[2][i] = i % 2 ? 0.25f : -0.5f;
    }
    return audio;
  }

  std::filesystem::path folder_;
};

void ExpectSameAudio(const RAudioData& expected, const RAudioData& actual, float tolerance) {
  ASSERT_EQ(expected.rate, actual.rate);
  ASSERT_EQ(expected.GetChannelCount(), actual.GetChannelCount());
  ASSERT_EQ(expected.GetFrameCount(), actual.GetFrameCount());
  for (int32_t c = 0; c < expected.GetChannelCount(); ++c) {
    for (int64_t i = 0; i < expected.GetFrameCount(); ++i) {
      ASSERT_NEAR(expected.channels[size_t(c)][size_t(i)], actual.channels[size_t(c)][size_t(i)], tolerance)
          << "channel " << c << " frame " << i;
    }
  }
}

TEST_F(AudioFileTest, EveryContainerAndSampleFormatReadsBackWithinItsResolution) {
  const RAudioData audio = Ramps();
  struct Case {
    const char* name;
    RSampleFormat format;
    float tolerance;
  };
  const Case cases[] = {
      {"a.wav", RSampleFormat::kFloat, 0.0f},      {"b.wav", RSampleFormat::kPcm16, 1.0f / 32768.0f},
      {"c.wav", RSampleFormat::kPcm24, 1.0f / 8388608.0f}, {"d.flac", RSampleFormat::kPcm16, 1.0f / 32768.0f},
      {"e.flac", RSampleFormat::kPcm24, 1.0f / 8388608.0f}, {"f.aiff", RSampleFormat::kFloat, 0.0f},
      {"g.aif", RSampleFormat::kPcm24, 1.0f / 8388608.0f},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.name);
    WriteAudioFile(Path(test.name), audio, test.format);
    RAudioData back = ReadAudioFile(Path(test.name));
    EXPECT_EQ(test.format, back.format);
    ExpectSameAudio(audio, back, test.tolerance);
  }
}

TEST_F(AudioFileTest, TheContainerFollowsTheExtensionNotTheBytes) {
  const RAudioData audio = Ramps();
  WriteAudioFile(Path("x.flac"), audio, RSampleFormat::kPcm16);
  WriteAudioFile(Path("x.WAV"), audio, RSampleFormat::kPcm16);
  std::ifstream flac(Path("x.flac"), std::ios::binary), wav(Path("x.WAV"), std::ios::binary);
  char flacMagic[4] = {}, wavMagic[4] = {};
  flac.read(flacMagic, 4);
  wav.read(wavMagic, 4);
  EXPECT_EQ(std::string(flacMagic, 4), "fLaC");
  EXPECT_EQ(std::string(wavMagic, 4), "RIFF");
  // Renamed, the FLAC bytes still read as FLAC.
  std::filesystem::rename(Path("x.flac"), Path("renamed.wav"));
  ExpectSameAudio(ReadAudioFile(Path("x.WAV")), ReadAudioFile(Path("renamed.wav")), 1.0f / 32768.0f);
}

TEST_F(AudioFileTest, IntegerFormatsClipInsteadOfWrapping) {
  RAudioData loud;
  loud.rate = 48000.0;
  loud.channels = {{1.5f, -1.5f, 0.5f}};
  WriteAudioFile(Path("loud.wav"), loud, RSampleFormat::kPcm16);
  RAudioData back = ReadAudioFile(Path("loud.wav"));
  EXPECT_GT(back.channels[0][0], 0.99f);
  EXPECT_LT(back.channels[0][1], -0.99f);
  EXPECT_NEAR(back.channels[0][2], 0.5f, 1e-4f);
  // Float keeps what is beyond full scale.
  WriteAudioFile(Path("loud-float.wav"), loud, RSampleFormat::kFloat);
  EXPECT_EQ(ReadAudioFile(Path("loud-float.wav")).channels[0][0], 1.5f);
}

// Runs the call and returns the message of the CommandError it must throw.
template <typename Call>
std::string RefusalOf(Call call) {
  try {
    call();
  } catch (const CommandError& e) {
    return e.what();
  }
  ADD_FAILURE() << "no CommandError";
  return std::string();
}

TEST_F(AudioFileTest, BadFilesAreRefusedWithTheirName) {
  const std::string missing = Path("missing.wav");
  EXPECT_NE(RefusalOf([&] { ReadAudioFile(missing); }).find(missing), std::string::npos);

  const std::string noise = Path("noise.wav");
  std::ofstream(noise) << "RIFF this is not really a wave file at all";
  std::string message = RefusalOf([&] { ReadAudioFile(noise); });
  EXPECT_NE(message.find(noise), std::string::npos);
  EXPECT_NE(message.find("not a readable audio file"), std::string::npos);

  EXPECT_NE(RefusalOf([&] { ReadAudioFile(folder_.string()); }).find(folder_.string()), std::string::npos);
}

TEST_F(AudioFileTest, RefusedWritesLeaveAnExistingFileAsItWas) {
  const std::string target = Path("kept.flac");
  std::ofstream(target) << "earlier content";
  EXPECT_NE(RefusalOf([&] { WriteAudioFile(target, Ramps(), RSampleFormat::kFloat); }).find("FLAC"),
            std::string::npos);
  std::ifstream kept(target);
  std::string content;
  std::getline(kept, content);
  EXPECT_EQ("earlier content", content);
  EXPECT_FALSE(std::filesystem::exists(target + ".part"));

  RefusalOf([&] { WriteAudioFile(Path("no-such-folder/out.wav"), Ramps(), RSampleFormat::kFloat); });
}

} // namespace
} // namespace quillon_cli
