#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "base/blockstream.h"
#include "base/countingstream.h"
#include "base/exception.h"
#include "base/memorystream.h"
#include "base/stream.h"

namespace {

// A stream that offers nothing of its own: every operation is the base's.
class BareStream : public RStream {};

// Reads from a fixed text and knows its position, nothing more: what the base forward seek
// and the line readers work with.
class ReadOnlyStream : public RStream {
public:
  explicit ReadOnlyStream(std::string bytes) : bytes_(std::move(bytes)) {}
  int64_t Read(void* out, int64_t count) override {
    const int64_t n = std::min<int64_t>(count, int64_t(bytes_.size()) - position_);
    std::memcpy(out, bytes_.data() + position_, size_t(n));
    position_ += n;
    reads_.push_back(count);
    return n;
  }
  int64_t GetPosition() override { return position_; }
  int64_t GetSize() override { return int64_t(bytes_.size()); }
  std::vector<int64_t> reads_;

private:
  std::string bytes_;
  int64_t position_ = 0;
};

// Records the size of every Write.
class RecordingStream : public RStream {
public:
  void Write(const void* bytes, int64_t count) override {
    writes_.push_back(count);
    data_.append(static_cast<const char*>(bytes), size_t(count));
  }
  std::vector<int64_t> writes_;
  std::string data_;
};

std::string Contents(RMemoryStream& memory) {
  return std::string(reinterpret_cast<const char*>(memory.GetData()), size_t(memory.GetSize()));
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

} // namespace

TEST(RStreamTest, EachDefaultThrowsItsOwnService) {
  BareStream s;
  char buffer[4];
  EXPECT_EQ(Message(Caught([&] { s.Substream(); })), "Service \"return substream\" is not implemented.");
  EXPECT_EQ(Message(Caught([&] { s.Write(buffer, 1); })), "Service \"write to stream\" is not implemented.");
  EXPECT_EQ(Message(Caught([&] { s.Read(buffer, 1); })), "Service \"read from stream\" is not implemented.");
  EXPECT_EQ(Message(Caught([&] { s.GetPosition(); })), "Service \"get stream position\" is not implemented.");
  EXPECT_EQ(Message(Caught([&] { s.Flush(); })), "Service \"flush stream\" is not implemented.");
  EXPECT_EQ(Message(Caught([&] { s.IsEnd(); })), "Service \"end of stream test\" is not implemented.");
  EXPECT_EQ(Message(Caught([&] { s.Truncate(); })), "Service \"truncate stream\" is not implemented.");
  EXPECT_EQ(Message(Caught([&] { s.GetSize(); })), "Service \"stream size detection\" is not implemented.");
  EXPECT_NO_THROW(s.Close());
}

TEST(RStreamTest, WriteZerosGoesInBlocksOfAtMost1024) {
  RecordingStream s;
  s.WriteZeros(2500);
  EXPECT_EQ(s.writes_, (std::vector<int64_t>{1024, 1024, 452}));
  EXPECT_EQ(s.data_, std::string(2500, '\0'));
}

TEST(RStreamTest, ReadLineDropsCarriageReturnsAndTellsHowTheLineEnded) {
  ReadOnlyStream s("ab\r\ncd");
  char line[16];
  EXPECT_TRUE(s.ReadLine(line, sizeof line));
  EXPECT_STREQ(line, "ab");
  EXPECT_FALSE(s.ReadLine(line, sizeof line));  // ended by the end of the stream
  EXPECT_STREQ(line, "cd");
  EXPECT_FALSE(s.ReadLine(line, sizeof line));
  EXPECT_STREQ(line, "");
}

TEST(RStreamTest, ReadLineEndsAtZeroAndStopsAtTheCapacity) {
  ReadOnlyStream s(std::string("x\0abcdef\n", 9));
  char line[4];
  EXPECT_TRUE(s.ReadLine(line, sizeof line));
  EXPECT_STREQ(line, "x");
  EXPECT_FALSE(s.ReadLine(line, sizeof line));  // full: three bytes and the terminator
  EXPECT_STREQ(line, "abc");
  // As with fgets, a full buffer leaves the line feed for the next call.
  EXPECT_FALSE(s.ReadLine(line, sizeof line));
  EXPECT_STREQ(line, "def");
  EXPECT_TRUE(s.ReadLine(line, sizeof line));
  EXPECT_STREQ(line, "");
}

TEST(RStreamTest, WriteTextKeepsLiteralBytesAndEncodesOtherTextAsUTF8) {
  RecordingStream s;
  s.WriteText("caf\xe9");  // a literal: Latin-1 bytes as they stand
  s.WriteTextLine(RString::FromUTF8("caf\xc3\xa9"));
  EXPECT_EQ(s.data_, "caf\xe9" "caf\xc3\xa9\r\n");
}

TEST(RStreamTest, TypedReadsAreLittleEndianAndDemandTheFullCount) {
  ReadOnlyStream s(std::string("\x01\x02\x01\x04\x03\x02\x01\x08\x07\x06\x05\x04\x03\x02\x01\xff", 16));
  EXPECT_EQ(s.ReadUInt8(), 0x01);
  EXPECT_EQ(s.ReadUInt16(), 0x0102);
  EXPECT_EQ(s.ReadUInt32(), 0x01020304u);
  EXPECT_EQ(s.ReadUInt64(), 0x0102030405060708ull);
  EXPECT_EQ(Message(Caught([&] { s.ReadUInt16(); })), "Could not read the required data from stream.");
}

TEST(RStreamTest, ReadTextLineKeepsEmptyLinesAndFailsOnlyAtTheEnd) {
  ReadOnlyStream s("first\r\n\nl\xc3\xa4st");
  EXPECT_EQ(s.ReadTextLine().ToUTF8(), "first");
  EXPECT_EQ(s.ReadTextLine().ToUTF8(), "");
  EXPECT_EQ(s.ReadTextLine().ToUTF8(), "l\xc3\xa4st");
  EXPECT_EQ(Message(Caught([&] { s.ReadTextLine(); })), "Could not load a line from stream.");
}

TEST(RStreamTest, BaseSeekSkipsForwardAndRefusesToGoBack) {
  std::string bytes(100000, 'x');
  bytes[70000] = 'y';
  ReadOnlyStream s(bytes);
  s.Seek(70000);
  EXPECT_EQ(s.GetPosition(), 70000);
  EXPECT_EQ(s.ReadUInt8(), 'y');
  s.Seek(10, RStream::kCurrent);
  EXPECT_EQ(s.GetPosition(), 70011);
  EXPECT_EQ(Message(Caught([&] { s.Seek(5); })), "Service \"backward seek in a stream\" is not implemented.");
  // Beyond the end: the seek stops there without a failure.
  s.Seek(10, RStream::kEnd);
  EXPECT_EQ(s.GetPosition(), 100000);
}

TEST(RStreamTest, AnUnknownSeekOriginHasCodeTwo) {
  ReadOnlyStream s("abc");
  RMemoryStream memory;
  for (RStream* stream : {static_cast<RStream*>(&s), static_cast<RStream*>(&memory)}) {
    const RException e = Caught([&] { stream->Seek(0, 3); });
    EXPECT_EQ(Message(e), "Invalid seek origin.");
    EXPECT_EQ(e.GetCode(), 2);
  }
}

TEST(RStreamTest, CopyStreamMovesBlocksOf64KiBUpToTheLimit) {
  std::string bytes(150001, '\0');
  std::mt19937 random(7);
  for (char& c : bytes) c = char(random());
  ReadOnlyStream source(bytes);
  RecordingStream all;
  EXPECT_EQ(CopyStream(source, all), 150001);
  EXPECT_EQ(all.data_, bytes);
  EXPECT_EQ(all.writes_, (std::vector<int64_t>{65536, 65536, 18929}));

  ReadOnlyStream again(bytes);
  RecordingStream part;
  EXPECT_EQ(CopyStream(again, part, 70000), 70000);
  EXPECT_EQ(part.data_, bytes.substr(0, 70000));
  EXPECT_EQ(again.GetPosition(), 70000);
}

// ---------------------------------------------------------------------------------------------

TEST(RMemoryStreamTest, AReadNearTheEndReturnsWhatIsLeftThenNothing) {
  RMemoryStream memory;
  memory.WriteZeros(100);
  memory.Seek(95);
  char buffer[10];
  EXPECT_EQ(memory.Read(buffer, 10), 5);
  EXPECT_EQ(memory.Read(buffer, 10), 0);
  EXPECT_TRUE(memory.IsEnd());
}

TEST(RMemoryStreamTest, ASeekPastEitherEndClampsToTheContent) {
  RMemoryStream memory;
  memory.Write("0123456789", 10);
  memory.Seek(50);
  EXPECT_EQ(memory.GetPosition(), 10);
  memory.Seek(-3, RStream::kEnd);
  EXPECT_EQ(memory.ReadUInt8(), '7');
  memory.Seek(-20, RStream::kCurrent);
  EXPECT_EQ(memory.GetPosition(), 0);
}

TEST(RMemoryStreamTest, CapacityIsExactFirstThenGrowsByPowersOfTwo) {
  RMemoryStream memory;
  memory.WriteZeros(100);
  EXPECT_EQ(memory.GetCapacity(), 100);
  memory.WriteZeros(1);
  EXPECT_EQ(memory.GetCapacity(), 128);
  memory.WriteZeros(27);
  EXPECT_EQ(memory.GetCapacity(), 128);
  memory.WriteZeros(1000);
  EXPECT_EQ(memory.GetCapacity(), 2048);
  // From an exact first block that is no power of two, growth goes to the next power.
  RMemoryStream big;
  big.WriteZeros(3000);
  big.Seek(0);
  big.WriteZeros(3001);
  EXPECT_EQ(big.GetCapacity(), 4096);
  EXPECT_EQ(big.GetSize(), 3001);
}

TEST(RMemoryStreamTest, AWriteInsideTheContentOverwritesWithoutGrowing) {
  RMemoryStream memory;
  memory.Write("abcdef", 6);
  memory.Seek(2);
  memory.Write("XY", 2);
  EXPECT_EQ(Contents(memory), "abXYef");
  EXPECT_EQ(memory.GetPosition(), 4);
  memory.Truncate();
  EXPECT_EQ(Contents(memory), "abXY");
}

TEST(RMemoryStreamTest, NegativeCountsAreRefused) {
  RMemoryStream memory;
  char buffer[4] = {};
  EXPECT_EQ(Message(Caught([&] { memory.Write(buffer, -1); })), "Trying to write a block of negative size.");
  EXPECT_EQ(Message(Caught([&] { memory.Read(buffer, -1); })), "Trying to read a block of negative size.");
  EXPECT_EQ(Message(Caught([&] { memory.ReadLine(buffer, -1); })), "Trying to read a string of negative size.");
}

TEST(RMemoryStreamTest, AForeignBlockIsReadInPlaceAndNeverWrittenThrough) {
  char block[] = "line one\nline two";
  RMemoryStream memory(block, 17);
  EXPECT_FALSE(memory.OwnsData());
  EXPECT_EQ(memory.GetData(), reinterpret_cast<uint8_t*>(block));
  EXPECT_EQ(memory.ReadTextLine().ToUTF8(), "line one");
  memory.Seek(0, RStream::kEnd);
  memory.Write("!", 1);  // grows: the stream takes a copy of its own
  EXPECT_TRUE(memory.OwnsData());
  EXPECT_EQ(Contents(memory), "line one\nline two!");
  EXPECT_STREQ(block, "line one\nline two");
}

TEST(RMemoryStreamTest, DetachHandsTheContentOverAndEmptiesTheStream) {
  RMemoryStream memory;
  memory.Write("abc", 3);
  std::unique_ptr<uint8_t[]> content = memory.Detach();
  ASSERT_TRUE(content);
  EXPECT_EQ(std::memcmp(content.get(), "abc", 3), 0);
  EXPECT_EQ(memory.GetSize(), 0);
  EXPECT_EQ(memory.GetData(), nullptr);
  memory.Write("d", 1);
  EXPECT_EQ(Contents(memory), "d");
}

// ---------------------------------------------------------------------------------------------

TEST(RCountingStreamTest, WithoutAStreamItMeasuresWhatWouldBeWritten) {
  RCountingStream counter;
  counter.WriteText("hello");
  counter.WriteZeros(3000);
  EXPECT_EQ(counter.GetPosition(), 3005);
  EXPECT_EQ(counter.GetSize(), 3005);
}

TEST(RCountingStreamTest, AWriteBeyondTheMaximumIsRefusedAndNotPassedOn) {
  RMemoryStream memory;
  RCountingStream window(&memory, 0, 8);
  window.Write("12345", 5);
  const RException e = Caught([&] { window.Write("6789", 4); });
  EXPECT_EQ(Message(e), "The stream cannot be written, because its size is out of range.");
  EXPECT_EQ(e.GetCode(), 256);
  EXPECT_EQ(Contents(memory), "12345");
  window.Write("678", 3);  // exactly up to the maximum is fine
  EXPECT_EQ(Contents(memory), "12345678");
}

TEST(RCountingStreamTest, SeekingIsClampedToTheWindowWhenAllowed) {
  RMemoryStream memory;
  memory.Write("head:", 5);
  {
    RCountingStream window(&memory, 5, 6, true);
    window.Write("abcdef", 6);
    window.Seek(2);
    window.Write("XY", 2);
    window.Seek(100);
    EXPECT_EQ(window.GetPosition(), 6);
    EXPECT_EQ(memory.GetPosition(), 11);
  }
  EXPECT_EQ(Contents(memory), "head:abXYef");
}

TEST(RCountingStreamTest, SeekingIsForbiddenUnlessAllowed) {
  RCountingStream counter;
  counter.WriteZeros(10);
  EXPECT_NO_THROW(counter.Seek(10));
  EXPECT_NO_THROW(counter.Seek(0, RStream::kCurrent));
  EXPECT_EQ(Message(Caught([&] { counter.Seek(4); })), "Seeking operation is forbidden for the size-stream");
}

TEST(RCountingStreamTest, ReadingStopsAtTheEndOfTheWindow) {
  RMemoryStream memory;
  memory.Write("abcdefgh", 8);
  memory.Seek(2);
  RCountingStream window(&memory, 2, 4);
  char buffer[8];
  EXPECT_EQ(window.Read(buffer, 8), 4);
  EXPECT_EQ(std::string(buffer, 4), "cdef");
  EXPECT_EQ(window.Read(buffer, 8), 0);
}

// ---------------------------------------------------------------------------------------------

namespace {

// Adds a key to each byte and records the sizes of the blocks it saw.
class AddKey : public RBlockTransform {
public:
  explicit AddKey(int key) : key_(key) {}
  void Transform(const uint8_t* in, uint8_t* out, int size) override {
    sizes_.push_back(size);
    for (int i = 0; i < size; ++i) out[i] = uint8_t(in[i] + key_);
  }
  std::vector<int> sizes_;

private:
  int key_;
};

} // namespace

TEST(RBlockStreamTest, AnUninitialisedStreamRefusesReadsAndWrites) {
  RBlockStream blocks;
  char buffer[4] = {};
  EXPECT_EQ(Message(Caught([&] { blocks.Write(buffer, 4); })), "Buffering stream has not been initialized.");
  EXPECT_EQ(Message(Caught([&] { blocks.Read(buffer, 4); })), "Buffering stream has not been initialized.");
  RMemoryStream memory;
  AddKey key(1);
  RBlockStream zeroSized(&memory, &key, 0);
  EXPECT_EQ(Message(Caught([&] { zeroSized.Write(buffer, 4); })), "Buffering stream has not been initialized.");
}

TEST(RBlockStreamTest, WholeBlocksPassOnAtOnceAndFlushSendsThePartialOne) {
  RMemoryStream memory;
  AddKey key(1);
  RBlockStream blocks(&memory, &key, 4);
  blocks.Write("abcdefghij", 10);
  EXPECT_EQ(Contents(memory), "bcdefghi");
  EXPECT_EQ(key.sizes_, (std::vector<int>{4, 4}));
  blocks.Flush();
  EXPECT_EQ(Contents(memory), "bcdefghijk");
  EXPECT_EQ(key.sizes_, (std::vector<int>{4, 4, 2}));
  blocks.Flush();  // nothing gathered: nothing passes
  EXPECT_EQ(key.sizes_.size(), 3u);
}

TEST(RBlockStreamTest, ReadingUndoesWritingOverAwkwardSizes) {
  std::mt19937 random(11);
  std::string bytes(1001, '\0');
  for (char& c : bytes) c = char(random());
  RMemoryStream memory;
  AddKey forward(37), backward(256 - 37);
  {
    RBlockStream blocks(&memory, &forward, 64);
    for (size_t done = 0; done < bytes.size();) {
      const size_t step = std::min<size_t>(random() % 150, bytes.size() - done);
      blocks.Write(bytes.data() + done, int64_t(step));
      done += step;
    }
    blocks.Close();
  }
  memory.Seek(0);
  RBlockStream blocks(&memory, &backward, 64);
  std::string back(bytes.size() + 10, '\0');
  int64_t got = 0;
  while (int64_t n = blocks.Read(back.data() + got, int64_t(random() % 100 + 1))) got += n;
  EXPECT_EQ(got, int64_t(bytes.size()));
  EXPECT_EQ(back.substr(0, bytes.size()), bytes);
}
