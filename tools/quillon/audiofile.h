#pragma once
// Audio files of the command line: WAV, FLAC and AIFF in, the same out, through libsndfile.
// Audio is held whole in memory, one buffer per channel, as the offline host feeds it.
// Every failure is a CommandError whose message names the file.

#include <cstdint>
#include <string>
#include <vector>

namespace quillon_cli {

enum class RSampleFormat { kFloat, kPcm16, kPcm24 };

// "float", "pcm16" or "pcm24"; throws CommandError for anything else.
RSampleFormat ParseSampleFormat(const std::string& text);
const char* SampleFormatName(RSampleFormat format);

struct RAudioData {
  double rate = 48000.0;
  std::vector<std::vector<float>> channels;  // all of one length
  // The sample format the file was stored in; 32-bit float for generated audio.
  RSampleFormat format = RSampleFormat::kFloat;

  int32_t GetChannelCount() const noexcept { return int32_t(channels.size()); }
  int64_t GetFrameCount() const noexcept { return channels.empty() ? 0 : int64_t(channels[0].size()); }
  double GetSeconds() const noexcept { return rate > 0.0 ? double(GetFrameCount()) / rate : 0.0; }
};

// Reads any format libsndfile knows (told apart from the bytes, not the name). Integer
// samples come in scaled to -1..1.
RAudioData ReadAudioFile(const std::string& path);

// Writes the container that the name's extension asks for (.flac, .aif/.aiff; anything else
// WAV) in the given sample format. Integer formats clip rather than wrap. FLAC holds no float
// samples: asking for them is refused.
void WriteAudioFile(const std::string& path, const RAudioData& audio, RSampleFormat format);

} // namespace quillon_cli
