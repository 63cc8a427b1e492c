// The delay line: exact delays in any block pattern, in place or not, and length changes that
// glide without jumps and arrive exactly at the new length.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "modules/dsp/delayline.h"
#include "modules/dsp/glidering.h"
#include "tests/modules/dsp/dsptestsignals.h"

namespace {

// Runs x through the line in blocks of the given pattern, in place or into another buffer.
std::vector<float> RunBlocks(RDelayLine& line, const std::vector<float>& x, std::initializer_list<int32_t> blocks,
                       bool inPlace) {
  std::vector<float> y = inPlace ? x : std::vector<float>(x.size());
  const std::vector<int32_t> pattern(blocks);
  for (size_t done = 0, b = 0; done < x.size(); ++b) {
    const auto n = int32_t(std::min<size_t>(size_t(pattern[b % pattern.size()]), x.size() - done));
    line.Process(inPlace ? y.data() + done : x.data() + done, y.data() + done, n);
    done += size_t(n);
  }
  return y;
}

// The largest step from one output sample to the next in [first, last).
float LargestStep(const std::vector<float>& y, size_t first, size_t last) {
  float largest = 0.0f;
  for (size_t i = first + 1; i < last; ++i) largest = std::max(largest, std::fabs(y[i] - y[i - 1]));
  return largest;
}

constexpr double kRate = 48000.0;
constexpr double kTone = 100.0;
// A sine of this frequency moves at most this much from one sample to the next.
const float kToneStep = float(2.0 * 3.14159265358979 * kTone / kRate);

} // namespace

TEST(DelayLine, DelaysExactlyInAnyBlockPatternInPlaceOrNot) {
  const std::vector<float> x = dsptest::Noise(6000, 5);
  for (int32_t delay : {1, 2, 5, 16, 17, 100, 511, 512, 2000}) {
    for (bool inPlace : {false, true}) {
      RDelayLine line;
      line.SetDelay(delay);
      const std::vector<float> y = RunBlocks(line, x, {1, 64, 300, 7, 1024, 2047}, inPlace);
      for (size_t i = 0; i < x.size(); ++i) {
        const float expected = i >= size_t(delay) ? x[i - size_t(delay)] : 0.0f;
        ASSERT_EQ(y[i], expected) << "delay " << delay << (inPlace ? " in place" : "") << " at " << i;
      }
    }
  }
}

TEST(DelayLine, ZeroTurnsARunningLineIntoACopyAtOnce) {
  RDelayLine line;
  line.SetDelay(300);
  std::vector<float> x = dsptest::Noise(1000, 8);
  std::vector<float> y(1000);
  line.Process(x.data(), y.data(), 500);
  line.SetDelay(0);
  line.Process(x.data() + 500, y.data() + 500, 500);
  for (size_t i = 500; i < 1000; ++i) ASSERT_EQ(y[i], x[i]);
}

TEST(DelayLine, ANewLengthGlidesWithoutJumpsAndArrivesExactly) {
  const std::vector<float> x = dsptest::Sine(kTone, kRate, 12000);
  for (const auto& [from, to] : {std::pair{100, 400}, std::pair{400, 100}, std::pair{3, 2000}, std::pair{10, 5000},
                                 std::pair{2000, 1}}) {
    SCOPED_TRACE(testing::Message() << from << " -> " << to);
    RDelayLine line;  // nothing reserved: the longer lengths grow the ring mid-run
    line.SetDelay(from);
    std::vector<float> y(x.size());
    line.Process(x.data(), y.data(), 6000);
    line.SetDelay(to);
    EXPECT_TRUE(line.IsGliding());
    line.Process(x.data() + 6000, y.data() + 6000, 6000);
    EXPECT_FALSE(line.IsGliding());
    // The read point moves at from / to speed: a tone's steps scale with it, never more.
    const float speed = std::max(1.0f, float(from) / float(to));
    EXPECT_LE(LargestStep(y, 5000, y.size()), kToneStep * speed * 1.01f + 1e-4f);
    for (size_t i = 6000 + size_t(to); i < y.size(); ++i) ASSERT_NEAR(y[i], x[i - size_t(to)], 1e-6f) << i;
  }
}

TEST(DelayLine, ALengthChangeDuringAGlideContinuesFromWhereTheReadPointIs) {
  const std::vector<float> x = dsptest::Sine(kTone, kRate, 12000);
  RDelayLine line;
  line.SetDelay(1000);
  std::vector<float> y(x.size());
  line.Process(x.data(), y.data(), 4000);
  line.SetDelay(200);
  line.Process(x.data() + 4000, y.data() + 4000, 100);
  line.SetDelay(3000);
  line.Process(x.data() + 4100, y.data() + 4100, 7900);
  EXPECT_LE(LargestStep(y, 3000, y.size()), kToneStep * 5.0f * 1.01f);
  for (size_t i = 4100 + 3000; i < y.size(); ++i) ASSERT_NEAR(y[i], x[i - 3000], 1e-6f) << i;
}

TEST(DelayLine, TheSameLengthDuringAGlideChangesNothing) {
  const std::vector<float> x = dsptest::Noise(4000, 9);
  RDelayLine a, b;
  for (RDelayLine* line : {&a, &b}) line->SetDelay(600);
  std::vector<float> ya(x.size()), yb(x.size());
  a.Process(x.data(), ya.data(), 2000);
  b.Process(x.data(), yb.data(), 2000);
  a.SetDelay(250);
  b.SetDelay(250);
  a.Process(x.data() + 2000, ya.data() + 2000, 100);
  b.Process(x.data() + 2000, yb.data() + 2000, 100);
  b.SetDelay(250);
  a.Process(x.data() + 2100, ya.data() + 2100, 1900);
  b.Process(x.data() + 2100, yb.data() + 2100, 1900);
  EXPECT_EQ(ya, yb);
}

TEST(DelayLine, AShortLineJumpsFilledWithTheNewestSample) {
  const std::vector<float> x = dsptest::Noise(1000, 10);
  RDelayLine line;
  line.SetDelay(2);
  std::vector<float> y(x.size());
  line.Process(x.data(), y.data(), 500);
  line.SetDelay(100);
  EXPECT_FALSE(line.IsGliding());
  line.Process(x.data() + 500, y.data() + 500, 500);
  for (size_t i = 500; i < 600; ++i) ASSERT_EQ(y[i], x[499]) << i;
  for (size_t i = 600; i < 1000; ++i) ASSERT_EQ(y[i], x[i - 100]) << i;
}

// The index side on its own, driven as an owner with two rings in lockstep drives it: a growth
// mid-glide keeps every sample of every ring and the fractional read point at their distances
// behind the write index, and a change too short to glide points the fill at the newest sample.
TEST(GlideRing, GrowthKeepsEveryRingAndTheReadPointAtTheirDistances) {
  RGlideRing glide;
  RRingCursor cursor;
  std::vector<float> rings[2] = {std::vector<float>(64), std::vector<float>(64)};
  ASSERT_EQ(glide.SetDelay(5, cursor).kind, RRingChange::kStart);
  ASSERT_EQ(glide.GetRingSize(), 8);
  // Step the write index to 3, then mark every slot with its distance behind it (ring 1 negated).
  for (int32_t i = 0; i < 6; ++i) cursor.write = (cursor.write + 1) & cursor.mask;
  ASSERT_EQ(cursor.write, 3);
  for (int32_t k = 1; k <= 8; ++k) {
    rings[0][size_t((3 - k) & 7)] = float(k);
    rings[1][size_t((3 - k) & 7)] = -float(k);
  }
  const RRingChange glideChange = glide.SetDelay(6, cursor);
  ASSERT_EQ(glideChange.kind, RRingChange::kGlide);
  EXPECT_FALSE(glideChange.growth);
  cursor.position += 0.25;  // part of a step into the glide
  const double distanceBefore = std::fmod(8.0 - cursor.position + cursor.write, 8.0);

  const RRingChange grown = glide.SetDelay(20, cursor);
  ASSERT_EQ(grown.kind, RRingChange::kGlide);
  ASSERT_TRUE(grown.growth);
  ASSERT_EQ(grown.ringSize, 32);
  for (auto& ring : rings) grown.growth.MoveSamples(ring.data());
  for (int32_t k = 1; k <= 32; ++k) {
    const auto slot = size_t((cursor.write - k) & cursor.mask);
    EXPECT_EQ(rings[0][slot], k <= 8 ? float(k) : 0.0f) << "distance " << k;
    EXPECT_EQ(rings[1][slot], k <= 8 ? -float(k) : 0.0f) << "distance " << k;
  }
  EXPECT_EQ(cursor.size, 32.0);
  EXPECT_DOUBLE_EQ(std::fmod(32.0 - cursor.position + cursor.write, 32.0), distanceBefore);
  EXPECT_TRUE(glide.IsGliding());
  EXPECT_EQ(glide.GlideLeft(), 20);

  // Close to the write index there is nothing to glide over: the read index jumps and the fill
  // takes the newest sample, which after the growth sits just below the write index.
  cursor.position = double((cursor.write - 1) & cursor.mask);
  const RRingChange fill = glide.SetDelay(7, cursor);
  ASSERT_EQ(fill.kind, RRingChange::kFill);
  EXPECT_EQ(rings[0][size_t(fill.newest)], 1.0f);
  EXPECT_FALSE(glide.IsGliding());
  EXPECT_EQ((cursor.write - cursor.read) & cursor.mask, 7);
  EXPECT_EQ(cursor.position, double(cursor.read));
}
