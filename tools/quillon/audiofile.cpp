// Reading and writing audio files through libsndfile.

#include "tools/quillon/audiofile.h"

#include <sndfile.h>

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "tools/quillon/commands.h"

namespace quillon_cli {
namespace {

// Frames moved per libsndfile call: large enough to amortise the call, small enough that the
// interleaved scratch stays a few hundred kilobytes whatever the channel count.
constexpr sf_count_t kChunkFrames = 8192;

class RSoundFile {
public:
  RSoundFile(const std::string& path, int mode, SF_INFO& info) : file_(sf_open(path.c_str(), mode, &info)) {}
  ~RSoundFile() {
    if (file_) sf_close(file_);
  }
  RSoundFile(const RSoundFile&) = delete;
  RSoundFile& operator=(const RSoundFile&) = delete;
  SNDFILE* Get() const noexcept { return file_; }
  // Closing flushes; its result tells whether the data reached the file.
  bool Close() {
    int result = sf_close(file_);
    file_ = nullptr;
    return result == 0;
  }

private:
  SNDFILE* file_;
};

std::string LowerExtension(const std::string& path) {
  std::string::size_type dot = path.find_last_of('.');
  std::string::size_type slash = path.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return std::string();
  std::string extension = path.substr(dot + 1);
  for (char& c : extension) c = char(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

RSampleFormat FormatOfSubtype(int subtype) {
  switch (subtype) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_PCM_16:
      return RSampleFormat::kPcm16;
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
      return RSampleFormat::kPcm24;
    default:
      return RSampleFormat::kFloat;
  }
}

int SubtypeOf(RSampleFormat format) {
  switch (format) {
    case RSampleFormat::kPcm16:
      return SF_FORMAT_PCM_16;
    case RSampleFormat::kPcm24:
      return SF_FORMAT_PCM_24;
    case RSampleFormat::kFloat:
      break;
  }
  return SF_FORMAT_FLOAT;
}

} // namespace

RSampleFormat ParseSampleFormat(const std::string& text) {
  if (text == "float") return RSampleFormat::kFloat;
  if (text == "pcm16") return RSampleFormat::kPcm16;
  if (text == "pcm24") return RSampleFormat::kPcm24;
  throw CommandError("unknown sample format '" + text + "' (float, pcm16 or pcm24)");
}

const char* SampleFormatName(RSampleFormat format) {
  switch (format) {
    case RSampleFormat::kPcm16:
      return "pcm16";
    case RSampleFormat::kPcm24:
      return "pcm24";
    case RSampleFormat::kFloat:
      break;
  }
  return "float";
}

RAudioData ReadAudioFile(const std::string& path) {
  if (FILE* probe = std::fopen(path.c_str(), "rb")) {
    std::fclose(probe);
  } else {
    throw CommandError(path + ": no such file or not readable");
  }
  SF_INFO info{};
  RSoundFile file(path, SFM_READ, info);
  if (!file.Get()) throw CommandError(path + ": not a readable audio file (" + sf_strerror(nullptr) + ")");
  if (info.channels < 1 || info.samplerate < 1) throw CommandError(path + ": the file holds no audio");

  RAudioData audio;
  audio.rate = double(info.samplerate);
  audio.format = FormatOfSubtype(info.format & SF_FORMAT_SUBMASK);
  audio.channels.assign(size_t(info.channels), std::vector<float>());
  for (auto& channel : audio.channels) channel.reserve(size_t(std::max<sf_count_t>(info.frames, 0)));

  std::vector<float> interleaved(size_t(kChunkFrames * info.channels));
  for (;;) {
    sf_count_t got = sf_readf_float(file.Get(), interleaved.data(), kChunkFrames);
    if (got <= 0) break;
    for (int c = 0; c < info.channels; ++c) {
      std::vector<float>& channel = audio.channels[size_t(c)];
      for (sf_count_t frame = 0; frame < got; ++frame) {
        channel.push_back(interleaved[size_t(frame * info.channels + c)]);
      }
    }
  }
  if (sf_error(file.Get()) != SF_ERR_NO_ERROR) {
    throw CommandError(path + ": the audio data can't be read (" + sf_strerror(file.Get()) + ")");
  }
  return audio;
}

void WriteAudioFile(const std::string& path, const RAudioData& audio, RSampleFormat format) {
  if (audio.channels.empty()) throw CommandError(path + ": nothing to write (no channels)");
  std::string extension = LowerExtension(path);
  int container = SF_FORMAT_WAV;
  if (extension == "flac") {
    container = SF_FORMAT_FLAC;
    if (format == RSampleFormat::kFloat) {
      throw CommandError(path + ": FLAC holds no float samples (use pcm16 or pcm24)");
    }
  } else if (extension == "aif" || extension == "aiff") {
    container = SF_FORMAT_AIFF;
  }

  SF_INFO info{};
  info.samplerate = int(audio.rate + 0.5);
  info.channels = audio.GetChannelCount();
  info.format = container | SubtypeOf(format);
  if (!sf_format_check(&info)) {
    throw CommandError(path + ": " + SampleFormatName(format) + " can't be written in this file type");
  }

  // A file is written beside the target and renamed over it only when whole, so that a failed
  // write leaves an existing file as it was.
  std::string partial = path + ".part";
  {
    RSoundFile file(partial, SFM_WRITE, info);
    if (!file.Get()) throw CommandError(path + ": can't be written (" + sf_strerror(nullptr) + ")");
    if (format != RSampleFormat::kFloat) sf_command(file.Get(), SFC_SET_CLIPPING, nullptr, SF_TRUE);
    // The peak chunk carries a time stamp: without it the same render gives the same bytes.
    sf_command(file.Get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);

    const int64_t frames = audio.GetFrameCount();
    const int channels = info.channels;
    std::vector<float> interleaved(size_t(kChunkFrames * channels));
    for (int64_t start = 0; start < frames; start += kChunkFrames) {
      const sf_count_t count = std::min<sf_count_t>(kChunkFrames, frames - start);
      for (int c = 0; c < channels; ++c) {
        const float* from = audio.channels[size_t(c)].data() + start;
        for (sf_count_t frame = 0; frame < count; ++frame) interleaved[size_t(frame * channels + c)] = from[frame];
      }
      if (sf_writef_float(file.Get(), interleaved.data(), count) != count) {
        std::string reason = sf_strerror(file.Get());
        file.Close();
        std::remove(partial.c_str());
        throw CommandError(path + ": writing failed (" + reason + ")");
      }
    }
    if (!file.Close()) {
      std::remove(partial.c_str());
      throw CommandError(path + ": writing failed");
    }
  }
  if (std::rename(partial.c_str(), path.c_str()) != 0) {
    std::remove(partial.c_str());
    throw CommandError(path + ": can't be replaced");
  }
}

} // namespace quillon_cli
