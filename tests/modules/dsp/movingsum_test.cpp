// The moving sum: the mean of exactly the last window, over long runs in any block pattern.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "modules/dsp/movingsum.h"
#include "tests/modules/dsp/dsptestsignals.h"

TEST(MovingSum, WindowLengthIsTheTruncatedProductAndAtLeastOne) {
  RMovingSum sum;
  sum.SetWindow(0.4, 44100.0);
  EXPECT_EQ(sum.GetLength(), 17640);
  sum.SetWindow(0.001, 999.0);
  EXPECT_EQ(sum.GetLength(), 1);
  sum.SetWindow(0.0105, 1000.0);
  EXPECT_EQ(sum.GetLength(), 10);
}

TEST(MovingSum, TheMeanOfALongRunIsTheMeanOfItsLastWindowWithoutDrift) {
  // Ten million squares of a loud passage followed by a quiet one: a total kept in single
  // precision, or one that gathers its rounding, is far off by the end.
  constexpr int32_t kWindow = 4410;
  RMovingSum sum;
  sum.SetLength(kWindow);
  std::vector<float> history;
  const int32_t blocks[] = {1, 17, 256, 4409, 3};
  int64_t total = 0;
  for (int32_t round = 0; total < 3000000; ++round) {
    const int32_t n = blocks[round % 5];
    const double level = total < 2000000 ? 1.0 : 1e-3;
    std::vector<float> x = dsptest::Noise(n, uint32_t(round), level);
    for (float& v : x) v *= v;
    sum.Process(x.data(), n);
    history.insert(history.end(), x.begin(), x.end());
    total += n;
  }
  double exact = 0.0;
  for (size_t i = history.size() - kWindow; i < history.size(); ++i) exact += history[i];
  EXPECT_NEAR(sum.GetMean(), exact / kWindow, 1e-6 * exact / kWindow);
}

TEST(MovingSum, ABlockAsLongAsTheWindowStartsAfresh) {
  RMovingSum sum;
  sum.SetLength(100);
  std::vector<float> loud(50, 1000.0f), block(300, 0.0f);
  sum.Process(loud.data(), 50);
  EXPECT_NEAR(sum.GetMean(), 500.0, 1e-9);
  for (int32_t i = 0; i < 300; ++i) block[size_t(i)] = float(i);
  sum.Process(block.data(), 300);
  EXPECT_DOUBLE_EQ(sum.GetMean(), (200.0 + 299.0) / 2.0);  // samples 200..299
  EXPECT_GE(sum.GetMean(), 0.0);
}
