#include <gtest/gtest.h>

#include <bzlib.h>
#include <zlib.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "base/bzip2stream.h"
#include "base/countingstream.h"
#include "base/exception.h"
#include "base/memorystream.h"
#include "base/zlibstream.h"

namespace {

std::string Contents(RMemoryStream& memory) {
  return std::string(reinterpret_cast<const char*>(memory.GetData()), size_t(memory.GetSize()));
}

// Bytes from a small alphabet with runs, so that the compressors have something to find and
// their output still spans several blocks.
std::string Sample(size_t size, uint32_t seed) {
  std::mt19937 random(seed);
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size;) {
    const size_t run = std::min<size_t>(random() % 9 + 1, size - i);
    const char c = char('a' + random() % 20);
    for (size_t k = 0; k < run; ++k) bytes[i++] = (random() % 7 == 0) ? char(random()) : c;
  }
  return bytes;
}

template <typename Stream>
std::string Compress(const std::string& plain, uint32_t seed, int quality = 100) {
  RMemoryStream memory;
  Stream stream(&memory, Stream::kCompress, quality);
  std::mt19937 random(seed);
  for (size_t done = 0; done < plain.size();) {
    const size_t step = std::min<size_t>(random() % 9000, plain.size() - done);
    stream.Write(plain.data() + done, int64_t(step));
    done += step;
  }
  EXPECT_EQ(stream.GetPosition(), int64_t(plain.size()));
  stream.Finish();
  return Contents(memory);
}

template <typename Stream>
std::string Expand(const std::string& packed, uint32_t seed) {
  RMemoryStream memory(packed.data(), int64_t(packed.size()));
  Stream stream(&memory, Stream::kExpand);
  std::mt19937 random(seed);
  std::string plain;
  std::vector<char> block(20000);
  while (true) {
    const int64_t want = int64_t(random() % block.size() + 1);
    const int64_t got = stream.Read(block.data(), want);
    plain.append(block.data(), size_t(got));
    if (got < want) break;
  }
  EXPECT_TRUE(stream.IsEnd());
  EXPECT_EQ(stream.Read(block.data(), 10), 0);
  EXPECT_EQ(stream.GetPosition(), int64_t(plain.size()));
  return plain;
}

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

// Captures what destructors of unfinished compressing streams report.
struct ReportCapture {
  static inline std::vector<std::pair<std::string, int>> reports;
  static void Take(const RException& e) { reports.emplace_back(Message(e), e.GetCode()); }
  ReportCapture() {
    reports.clear();
    RCompressedStream::SetUnterminatedReport(&Take);
  }
  ~ReportCapture() { RCompressedStream::SetUnterminatedReport(nullptr); }
};

// Tells when it is deleted.
class WatchedStream : public RMemoryStream {
public:
  explicit WatchedStream(bool& deleted) : deleted_(deleted) {}
  ~WatchedStream() override { deleted_ = true; }

private:
  bool& deleted_;
};

const size_t kAwkwardSizes[] = {0, 1, 4095, 4096, 4097, 16383, 16385, 65537, 300007};

} // namespace

TEST(RZlibStreamTest, RoundTripsOverAwkwardSizesAndSplits) {
  uint32_t seed = 1;
  for (size_t size : kAwkwardSizes) {
    const std::string plain = Sample(size, seed++);
    const std::string packed = Compress<RZlibStream>(plain, seed++);
    EXPECT_EQ(Expand<RZlibStream>(packed, seed++), plain) << size;
  }
}

TEST(RZlibStreamTest, SpeaksZlibsOwnFormatBothWays) {
  const std::string plain = Sample(50000, 3);
  const std::string packed = Compress<RZlibStream>(plain, 4);
  std::string back(plain.size(), '\0');
  uLongf backSize = uLongf(back.size());
  ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(back.data()), &backSize,
                       reinterpret_cast<const Bytef*>(packed.data()), uLong(packed.size())),
            Z_OK);
  EXPECT_EQ(back, plain);

  std::string theirs(compressBound(uLong(plain.size())), '\0');
  uLongf theirsSize = uLongf(theirs.size());
  ASSERT_EQ(compress2(reinterpret_cast<Bytef*>(theirs.data()), &theirsSize,
                      reinterpret_cast<const Bytef*>(plain.data()), uLong(plain.size()), 6),
            Z_OK);
  theirs.resize(theirsSize);
  EXPECT_EQ(Expand<RZlibStream>(theirs, 5), plain);
}

TEST(RZlibStreamTest, EmptyInputStillGivesAValidStream) {
  const std::string packed = Compress<RZlibStream>("", 1);
  EXPECT_FALSE(packed.empty());
  char out[4];
  uLongf outSize = sizeof out;
  EXPECT_EQ(uncompress(reinterpret_cast<Bytef*>(out), &outSize, reinterpret_cast<const Bytef*>(packed.data()),
                       uLong(packed.size())),
            Z_OK);
  EXPECT_EQ(outSize, 0u);
  EXPECT_EQ(Expand<RZlibStream>(packed, 2), "");
}

TEST(RZlibStreamTest, QualityChoosesTheLevel) {
  const std::string zeros(20000, '\0');
  // Quality 1 is level 0: stored blocks, a little larger than the input.
  EXPECT_GT(Compress<RZlibStream>(zeros, 1, 1).size(), zeros.size());
  EXPECT_LT(Compress<RZlibStream>(zeros, 1, 100).size(), 100u);
  EXPECT_EQ(RCompressedStream::LevelForQuality(100), 9);
  EXPECT_EQ(RCompressedStream::LevelForQuality(11), 1);
  EXPECT_EQ(RCompressedStream::LevelForQuality(-5), 0);
}

TEST(RZlibStreamTest, ExpandingStopsAtTheEndAndLeavesTrailingBytesUnread) {
  const std::string plain = Sample(10000, 8);
  const std::string packed = Compress<RZlibStream>(plain, 9);
  RMemoryStream memory;
  memory.Write("head", 4);
  memory.Write(packed.data(), int64_t(packed.size()));
  memory.Write("TRAILER", 7);
  memory.Seek(4);
  std::string back(plain.size() + 100, '\0');
  {
    RZlibStream zlib(&memory, RZlibStream::kExpand);
    EXPECT_EQ(zlib.Read(back.data(), int64_t(back.size())), int64_t(plain.size()));
    EXPECT_TRUE(zlib.IsEnd());
  }
  EXPECT_EQ(back.substr(0, plain.size()), plain);
  EXPECT_EQ(memory.GetPosition(), int64_t(4 + packed.size()));
  EXPECT_EQ(memory.ReadTextLine().ToUTF8(), "TRAILER");
}

TEST(RZlibStreamTest, AWrappedStreamWithoutBackwardSeekStillExpandsCleanly) {
  const std::string plain = Sample(3000, 10);
  std::string packed = Compress<RZlibStream>(plain, 11) + "TRAILER";
  RMemoryStream memory(packed.data(), int64_t(packed.size()));
  RCountingStream forwardOnly(&memory);  // refuses to seek back
  RZlibStream zlib(&forwardOnly, RZlibStream::kExpand);
  std::string back(plain.size() + 100, '\0');
  EXPECT_EQ(zlib.Read(back.data(), int64_t(back.size())), int64_t(plain.size()));
  EXPECT_EQ(back.substr(0, plain.size()), plain);
}

TEST(RZlibStreamTest, DamagedOrCutDataIsInvalidContent) {
  const std::string plain = Sample(40000, 12);
  std::string packed = Compress<RZlibStream>(plain, 13);
  std::string damaged = packed;
  damaged[damaged.size() / 2] ^= 0x55;
  damaged[damaged.size() / 2 + 1] ^= 0x55;
  RException e = Caught([&] { Expand<RZlibStream>(damaged, 1); });
  EXPECT_EQ(Message(e), "Source compressed stream has invalid content.");
  EXPECT_EQ(e.GetCode(), 256);

  // A cut stream gives what came before the cut, then fails.
  RMemoryStream memory(packed.data(), int64_t(packed.size() / 2));
  RZlibStream zlib(&memory, RZlibStream::kExpand);
  std::string back(plain.size(), '\0');
  const int64_t got = zlib.Read(back.data(), int64_t(back.size()));
  EXPECT_GT(got, 0);
  EXPECT_LT(got, int64_t(plain.size()));
  EXPECT_EQ(back.substr(0, size_t(got)), plain.substr(0, size_t(got)));
  e = Caught([&] { zlib.Read(back.data(), 10); });
  EXPECT_EQ(e.GetCode(), 256);

  RMemoryStream nothing;
  RZlibStream empty(&nothing, RZlibStream::kExpand);
  EXPECT_EQ(Caught([&] { empty.Read(back.data(), 10); }).GetCode(), 256);
}

TEST(RZlibStreamTest, SeeksOnlyForward) {
  const std::string plain = Sample(100000, 14);
  const std::string packed = Compress<RZlibStream>(plain, 15);
  RMemoryStream memory(packed.data(), int64_t(packed.size()));
  RZlibStream expand(&memory, RZlibStream::kExpand);
  expand.Seek(70001);
  EXPECT_EQ(expand.GetPosition(), 70001);
  char c;
  ASSERT_EQ(expand.Read(&c, 1), 1);
  EXPECT_EQ(c, plain[70001]);
  EXPECT_EQ(Message(Caught([&] { expand.Seek(0); })), "Service \"backward seek in a stream\" is not implemented.");

  RMemoryStream target;
  RZlibStream compress(&target, RZlibStream::kCompress);
  compress.Write(plain.data(), 100);
  EXPECT_EQ(Message(Caught([&] { compress.Seek(10); })),
            "Service \"backward seek in a stream\" is not implemented.");
  EXPECT_EQ(Message(Caught([&] { compress.Read(&c, 1); })), "Service \"read from stream\" is not implemented.");
  compress.Finish();
  EXPECT_EQ(Message(Caught([&] { expand.Write(&c, 1); })), "Service \"write to stream\" is not implemented.");
}

TEST(RZlibStreamTest, AnUnfinishedCompressingStreamIsReportedUnlessAborted) {
  ReportCapture capture;
  RMemoryStream memory;
  {
    RZlibStream forgotten(&memory, RZlibStream::kCompress);
    forgotten.Write("abc", 3);
  }
  ASSERT_EQ(capture.reports.size(), 1u);
  EXPECT_EQ(capture.reports[0].first, "ZLIB stream has not been terminated.");
  EXPECT_EQ(capture.reports[0].second, 256);
  {
    RZlibStream abandoned(&memory, RZlibStream::kCompress);
    abandoned.Write("abc", 3);
    abandoned.Abort();
  }
  {
    RZlibStream finished(&memory, RZlibStream::kCompress);
    finished.Finish();
  }
  {
    RMemoryStream packed(memory.GetData(), memory.GetSize());
    RZlibStream expanding(&packed, RZlibStream::kExpand);  // never read: nothing to report
  }
  EXPECT_EQ(capture.reports.size(), 1u);

  RZlibStream closed(&memory, RZlibStream::kCompress);
  const RException e = Caught([&] { closed.Close(); });
  EXPECT_EQ(Message(e), "ZLIB stream has not been terminated.");
  EXPECT_EQ(e.GetCode(), 256);
}

TEST(RZlibStreamTest, AnOwnedWrappedStreamGoesWithTheWrapper) {
  bool ownedDeleted = false, keptDeleted = false;
  {
    RZlibStream owner(new WatchedStream(ownedDeleted), RZlibStream::kCompress, 100, true);
    owner.Finish();
  }
  EXPECT_TRUE(ownedDeleted);
  WatchedStream kept(keptDeleted);
  {
    RZlibStream borrower(&kept, RZlibStream::kCompress);
    borrower.Finish();
  }
  EXPECT_FALSE(keptDeleted);
}

// ---------------------------------------------------------------------------------------------

TEST(RBzip2StreamTest, RoundTripsOverAwkwardSizesAndSplits) {
  uint32_t seed = 100;
  for (size_t size : kAwkwardSizes) {
    const std::string plain = Sample(size, seed++);
    const std::string packed = Compress<RBzip2Stream>(plain, seed++);
    EXPECT_EQ(Expand<RBzip2Stream>(packed, seed++), plain) << size;
  }
}

TEST(RBzip2StreamTest, SpeaksTheBzip2Format) {
  const std::string plain = Sample(70000, 20);
  const std::string packed = Compress<RBzip2Stream>(plain, 21);
  EXPECT_EQ(packed.substr(0, 4), "BZh9");  // quality 100: blocks of 900 kB
  std::string back(plain.size(), '\0');
  unsigned backSize = unsigned(back.size());
  ASSERT_EQ(BZ2_bzBuffToBuffDecompress(back.data(), &backSize, const_cast<char*>(packed.data()),
                                       unsigned(packed.size()), 0, 0),
            BZ_OK);
  EXPECT_EQ(back, plain);
  EXPECT_EQ(Compress<RBzip2Stream>(plain, 22, 1).substr(0, 4), "BZh1");
}

TEST(RBzip2StreamTest, ExpandingStopsAtTheEndAndLeavesTrailingBytesUnread) {
  const std::string plain = Sample(5000, 23);
  const std::string packed = Compress<RBzip2Stream>(plain, 24);
  RMemoryStream memory;
  memory.Write(packed.data(), int64_t(packed.size()));
  memory.Write("TRAILER", 7);
  memory.Seek(0);
  std::string back(plain.size() + 10, '\0');
  {
    RBzip2Stream bzip2(&memory, RBzip2Stream::kExpand);
    EXPECT_EQ(bzip2.Read(back.data(), int64_t(back.size())), int64_t(plain.size()));
  }
  EXPECT_EQ(memory.ReadTextLine().ToUTF8(), "TRAILER");
}

TEST(RBzip2StreamTest, DamagedDataIsInvalidContent) {
  std::string packed = Compress<RBzip2Stream>(Sample(20000, 25), 26);
  packed[packed.size() / 2] ^= 0x21;
  const RException e = Caught([&] { Expand<RBzip2Stream>(packed, 1); });
  EXPECT_EQ(Message(e), "Source compressed stream has invalid content.");
  EXPECT_EQ(e.GetCode(), 256);
}

TEST(RBzip2StreamTest, AnUnfinishedCompressingStreamIsReported) {
  ReportCapture capture;
  RMemoryStream memory;
  {
    RBzip2Stream forgotten(&memory, RBzip2Stream::kCompress);
    forgotten.Write("abc", 3);
  }
  {
    RBzip2Stream abandoned(&memory, RBzip2Stream::kCompress);
    abandoned.Abort();
  }
  ASSERT_EQ(capture.reports.size(), 1u);
  EXPECT_EQ(capture.reports[0].first, "BZIP2 stream has not been terminated.");
  EXPECT_EQ(capture.reports[0].second, 256);
  RBzip2Stream closed(&memory, RBzip2Stream::kCompress);
  EXPECT_EQ(Message(Caught([&] { closed.Close(); })), "BZIP2 stream has not been terminated.");
}
