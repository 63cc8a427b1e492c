#include "base/compressedstream.h"

#include <atomic>

#include "base/log.h"

namespace {

void LogUnterminated(const RException& failure) { RLog::Write(failure.GetMessage()); }

std::atomic<RCompressedStream::UnterminatedReport> gReport{&LogUnterminated};

} // namespace

RCompressedStream::~RCompressedStream() {
  if (ownsStream_) delete stream_;
}

int RCompressedStream::LevelForQuality(int quality) noexcept {
  const int level = (quality - 1) / 10;
  return level < 0 ? 0 : level > 9 ? 9 : level;
}

// [any-thread]
void RCompressedStream::SetUnterminatedReport(UnterminatedReport report) noexcept {
  gReport.store(report ? report : &LogUnterminated);
}

void RCompressedStream::GiveBack(int64_t unused) noexcept {
  if (unused <= 0 || !stream_) return;
  try {
    stream_->Seek(-unused, kCurrent);
  } catch (const RException&) {
    // A stream without a backward seek keeps its position behind the data.
  }
}

void RCompressedStream::ReportUnterminated(const RString& message) noexcept {
  try {
    gReport.load()(RException(message, 256));
  } catch (...) {
    // A report hook must not take the destructor down with it.
  }
}
