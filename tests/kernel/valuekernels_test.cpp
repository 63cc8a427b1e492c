// Every vector build that this processor can run must give what the scalar mapping gives, over
// sizes around the vector width and from misaligned pointers, and must not write past the end.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "hwy/targets.h"
#include "kernel/frequencyrange.h"
#include "kernel/timerange.h"
#include "kernel/valuekernels.h"
#include "kernel/valuerange.h"

namespace {

// Sizes around every vector width up to 16 lanes (AVX-512 floats), and a block.
const int32_t kSizes[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 511, 512, 513};
constexpr int32_t kLargest = 513;
constexpr int32_t kMisalignments = 4;  // element offsets from an aligned start
constexpr int32_t kGuard = 16;         // elements behind the end that must stay untouched

class RValueKernelsTargets : public ::testing::Test {
protected:
  void TearDown() override { hwy::SetSupportedTargetsForTest(0); }

  // Runs check once for each build compiled in and supported here, with dispatch forced to it.
  template <class Check>
  void ForEachTarget(const Check& check) {
    const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
    ASSERT_FALSE(targets.empty());
    for (int64_t target : targets) {
      hwy::SetSupportedTargetsForTest(target);
      SCOPED_TRACE(hwy::TargetName(target));
      check();
    }
  }
};

// Normalised inputs: exact ends and the middle first, then seeded random values.
template <typename T>
std::vector<T> Inputs(size_t count) {
  std::mt19937 random(20261122);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::vector<T> in(count);
  for (size_t i = 0; i < count; ++i) in[i] = T(uniform(random));
  const T fixed[] = {T(0), T(1), T(0.5), T(0.25)};
  for (size_t i = 0; i < std::min<size_t>(count, 4); ++i) in[i] = fixed[i];
  return in;
}

// The two mappings that have block forms.
enum class Form { kNormalisedToReal, kCurveToLinear };

template <typename T>
void RunBlock(const RValueRange& range, Form form, const T* in, T* out, int32_t count) {
  if (form == Form::kNormalisedToReal) range.NormalisedToReal(in, out, count);
  else range.CurveToLinear(in, out, count);
}

double RunScalar(const RValueRange& range, Form form, double in) {
  return form == Form::kNormalisedToReal ? range.NormalisedToReal(in) : range.CurveToLinear(in);
}

// Compares a range's block form with its scalar form at every size and misalignment. The
// tolerance is relative to the larger of the result and the range's limits (1 for curves).
template <typename T>
void ExpectBlockMatchesScalar(const RValueRange& range, double tolerance,
                              Form form = Form::kNormalisedToReal) {
  const std::vector<T> source = Inputs<T>(kLargest + kMisalignments);
  const double scale = form == Form::kCurveToLinear
                           ? 1.0
                           : std::max(std::fabs(range.GetMin()), std::fabs(range.GetMax()));
  const T sentinel = T(-12345);
  for (int32_t size : kSizes) {
    for (int32_t misalign = 0; misalign < kMisalignments; ++misalign) {
      std::vector<T> out(size_t(kLargest + kMisalignments + kGuard), sentinel);
      const T* in = source.data() + misalign;
      RunBlock(range, form, in, out.data() + misalign, size);
      for (int32_t i = 0; i < size; ++i) {
        const double expected = RunScalar(range, form, double(in[i]));
        const double got = double(out[size_t(misalign + i)]);
        ASSERT_NEAR(got, expected, tolerance * std::max(std::fabs(expected), scale))
            << "size " << size << ", misaligned by " << misalign << ", element " << i << ", n " << double(in[i]);
      }
      for (int32_t i = 0; i < misalign; ++i) ASSERT_EQ(out[size_t(i)], sentinel) << "before the start";
      for (int32_t i = misalign + size; i < int32_t(out.size()); ++i)
        ASSERT_EQ(out[size_t(i)], sentinel) << "past the end, size " << size << ", misaligned by " << misalign;
    }
  }
}

TEST_F(RValueKernelsTargets, LinearBlocksMatchTheScalarMappingOnEveryBuild) {
  const RValueRange range(-48.0, 12.0, 0.0);
  ForEachTarget([&] {
    ExpectBlockMatchesScalar<double>(range, 4 * DBL_EPSILON);
    ExpectBlockMatchesScalar<float>(range, 4 * FLT_EPSILON);
  });
}

TEST_F(RValueKernelsTargets, TimeBlocksMatchTheFourthPowerOnEveryBuild) {
  const RTimeRange range(0.001, 5.0, 0.2);
  ForEachTarget([&] {
    ExpectBlockMatchesScalar<double>(range, 8 * DBL_EPSILON);
    ExpectBlockMatchesScalar<float>(range, 8 * FLT_EPSILON);
  });
}

TEST_F(RValueKernelsTargets, FrequencyBlocksMatchTheExponentialOnEveryBuild) {
  const RFrequencyRange range(20.0, 20000.0, 1000.0);
  // The f32 form takes its exponent in floats: an argument near ln 20000 = 9.9 carries an
  // error of half an ulp of 9.9, about 5e-7, which the exponential passes on as relative error.
  ForEachTarget([&] {
    ExpectBlockMatchesScalar<double>(range, 1e-14);
    ExpectBlockMatchesScalar<float>(range, 2e-6);
  });
}

TEST_F(RValueKernelsTargets, CurveBlocksMatchTheScalarCurveOnEveryBuild) {
  const RValueRange linear(-48.0, 12.0, 0.0);
  const RTimeRange time(0.001, 5.0, 0.2);
  const RFrequencyRange frequency(20.0, 20000.0, 1000.0);
  const RFrequencyRange empty(440.0, 440.0, 440.0);
  ForEachTarget([&] {
    for (const RValueRange* range : {static_cast<const RValueRange*>(&linear), static_cast<const RValueRange*>(&time)}) {
      ExpectBlockMatchesScalar<double>(*range, 4 * DBL_EPSILON, Form::kCurveToLinear);
      ExpectBlockMatchesScalar<float>(*range, 4 * FLT_EPSILON, Form::kCurveToLinear);
    }
    // The frequency is taken back to its place in the span: relative to the span, the error
    // of the exponential grows by max / (max - min), about 1.
    ExpectBlockMatchesScalar<double>(frequency, 1e-13, Form::kCurveToLinear);
    ExpectBlockMatchesScalar<float>(frequency, 4e-6, Form::kCurveToLinear);
    ExpectBlockMatchesScalar<double>(empty, 0.0, Form::kCurveToLinear);
  });
}

TEST_F(RValueKernelsTargets, KernelsWorkInPlace) {
  ForEachTarget([&] {
    std::vector<float> buffer = Inputs<float>(37);
    const std::vector<float> in = buffer;
    RValueKernels::FourthPowerMultiplyAdd(buffer.data(), buffer.data(), int32_t(buffer.size()), 2.0f, 1.0f);
    for (size_t i = 0; i < in.size(); ++i) {
      const float expected = 1.0f + 2.0f * in[i] * in[i] * in[i] * in[i];
      ASSERT_NEAR(buffer[i], expected, 4 * FLT_EPSILON * expected) << i;
    }
  });
}

TEST_F(RValueKernelsTargets, ANegativeCountWritesNothing) {
  ForEachTarget([&] {
    double in[4] = {0.1, 0.2, 0.3, 0.4};
    double out[4] = {-1, -1, -1, -1};
    RValueKernels::MultiplyAddExp(in, out, -3, 1.0, 0.0);
    for (double v : out) ASSERT_EQ(v, -1.0);
  });
}

} // namespace
