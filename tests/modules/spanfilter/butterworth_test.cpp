// The Butterworth split of a slope into stages, seen through the designed response: every
// slope against the warped analogue prototype, the resonance rule, the corner's safety limit.
#include <gtest/gtest.h>

#include <cmath>

#include "modules/spanfilter/spanfilterchain.h"
#include "tests/modules/spanfilter/spanfiltertest.h"

using namespace spanfiltertest;

namespace {

constexpr double kButterworthQ = 0.70710678;

double ChainDecibels(const RSpanFilterChain& chain, double f) { return Decibels(std::abs(chain.Response(f))); }

} // namespace

TEST(ButterworthDesign, EverySlopeFollowsTheWarpedPrototypeFromThePassBandToTwoOctavesIntoTheStopBand) {
  for (double rate : {44100.0, 48000.0, 96000.0, 192000.0}) {
    for (const Slope& slope : Slopes()) {
      for (bool high : {true, false}) {
        RSpanFilterChain chain;
        const RButterworthKind kind = high ? RButterworthKind::kHighPass : RButterworthKind::kLowPass;
        const double corner = 2000.0;
        chain.Design(kind, slope.order, corner, rate, kButterworthQ);
        ASSERT_EQ(chain.GetStageCount(kind), (slope.order + 1) / 2);
        EXPECT_NEAR(ChainDecibels(chain, corner), -3.0103, 0.01) << rate << " " << slope.lp << " high " << high;
        // Octaves from the corner towards the stop band (positive) and into the pass band.
        for (int32_t octaves : {-1, 1, 2}) {
          const double f = corner * std::pow(2.0, high ? -octaves : octaves);
          EXPECT_NEAR(ChainDecibels(chain, f), PrototypeDecibels(high, slope.order, f, corner, rate), 0.1)
              << rate << " " << slope.lp << " high " << high << " octaves " << octaves;
        }
      }
    }
  }
}

TEST(ButterworthDesign, TheResonanceIsTheMagnitudeAtTheCornerForEverySlopeOfTwelveAndMore) {
  for (const Slope& slope : Slopes()) {
    for (double q : {0.1, 0.5, kButterworthQ, 2.0, 12.0}) {
      for (bool high : {true, false}) {
        RSpanFilterChain chain;
        chain.Design(high ? RButterworthKind::kHighPass : RButterworthKind::kLowPass, slope.order, 3000.0, 48000.0,
                     q);
        // A lone first-order stage has no Q: the corner stays at -3.01 dB.
        const double expected = slope.order == 1 ? -3.0103 : Decibels(q);
        EXPECT_NEAR(ChainDecibels(chain, 3000.0), expected, 0.01) << slope.lp << " q " << q << " high " << high;
      }
    }
  }
}

TEST(ButterworthDesign, BothSidesMultiplyAndACornerBeyondTheBandIsHeldBelowNyquist) {
  RSpanFilterChain chain;
  chain.Design(RButterworthKind::kHighPass, 4, 100.0, 44100.0, kButterworthQ);
  chain.Design(RButterworthKind::kLowPass, 4, 10000.0, 44100.0, kButterworthQ);
  EXPECT_NEAR(ChainDecibels(chain, 100.0), -3.0103 + PrototypeDecibels(false, 4, 100.0, 10000.0, 44100.0), 0.01);
  EXPECT_NEAR(ChainDecibels(chain, 1000.0), 0.0, 0.01);

  // 30 kHz at 44.1 kHz can't be designed as asked; the stage lands just below Nyquist and
  // stays stable, passing the audible band.
  chain.Design(RButterworthKind::kLowPass, 8, 30000.0, 44100.0, kButterworthQ);
  EXPECT_NEAR(ChainDecibels(chain, 1000.0), 0.0, 0.01);
  EXPECT_NEAR(ChainDecibels(chain, 0.49 * 44100.0), -3.0103, 0.01);

  // Off: no stage, a flat response.
  chain.Design(RButterworthKind::kHighPass, 0, 100.0, 44100.0, kButterworthQ);
  chain.Design(RButterworthKind::kLowPass, 0, 100.0, 44100.0, kButterworthQ);
  EXPECT_EQ(chain.GetStageCount(RButterworthKind::kLowPass), 0);
  EXPECT_DOUBLE_EQ(std::abs(chain.Response(5000.0)), 1.0);
}
