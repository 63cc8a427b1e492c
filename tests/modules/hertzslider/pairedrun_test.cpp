// The shifter's filters and oscillators as they run, channels and paths side by side: each
// must give what its stages give run one by one over the buffer with RBiquad::RunCascade,
// to float rounding, whatever the pieces a block is cut into and whatever the other lane does.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "modules/dsp/dspkernels.h"
#include "modules/hertzslider/hilbertnetwork.h"
#include "modules/hertzslider/quadratureoscillator.h"
#include "modules/hertzslider/shifterprefilter.h"

namespace {

// 1e-5 of full scale: far above the rounding of 32-bit samples between stages, far below
// anything audible or any image-rejection figure.
constexpr double kTolerance = 1e-5;
// Pieces of awkward sizes that cross the kernels' internal chunks.
constexpr int32_t kPieces[] = {1, 7, 63, 64, 65, 256, 300, 5};

// Full-scale noise, then a loud low tone that rings the low stages, then silence.
std::vector<float> Signal(uint32_t seed, int32_t count) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  std::vector<float> x(size_t(count), 0.0f);
  for (int32_t i = 0; i < count; ++i) {
    if (i < count / 2) x[size_t(i)] = uniform(random);
    else if (i < 3 * count / 4) x[size_t(i)] = float(0.99 * std::sin(0.013 * i));
  }
  return x;
}

// Calls run(first, count) over [0, total) in the pieces above, cycling through them.
template <typename Run>
void InPieces(int32_t total, Run&& run) {
  size_t p = 0;
  for (int32_t done = 0; done < total; p = (p + 1) % std::size(kPieces)) {
    const int32_t count = std::min(kPieces[p], total - done);
    run(done, count);
    done += count;
  }
}

// The stages one after the other over the whole buffer: the old way of running them.
std::vector<float> Reference(const RBiquad* stages, int32_t stageCount, const std::vector<float>& x) {
  std::vector<RBiquadState> states(static_cast<size_t>(stageCount));
  std::vector<float> y(x.size());
  RBiquad::RunCascade(stages, states.data(), stageCount, x.data(), y.data(), int32_t(x.size()));
  return y;
}

double WorstDifference(const std::vector<float>& a, const std::vector<float>& b) {
  double worst = 0.0;
  for (size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::fabs(double(a[i]) - double(b[i])));
  return worst;
}

constexpr int32_t kLength = 20000;

} // namespace

TEST(PairedRun, EveryCharacterOfTheNetworkMatchesItsStagesRunOneByOne) {
  const std::vector<float> left = Signal(1, kLength), right = Signal(2, kLength);
  for (int32_t character = 0; character < RHilbertNetwork::kCharacterCount; ++character) {
    RHilbertNetwork network;
    network.Design(character);
    const auto inPhaseL = Reference(network.GetInPhaseStages(), RHilbertNetwork::kStagesPerPath, left);
    const auto quadratureL = Reference(network.GetQuadratureStages(), RHilbertNetwork::kStagesPerPath, left);
    const auto inPhaseR = Reference(network.GetInPhaseStages(), RHilbertNetwork::kStagesPerPath, right);
    const auto quadratureR = Reference(network.GetQuadratureStages(), RHilbertNetwork::kStagesPerPath, right);

    // A pair, each channel with its own signal: a lane that read its neighbour would show.
    RHilbertNetwork::State stateL, stateR;
    std::vector<float> iL(kLength), qL(kLength), iR(kLength), qR(kLength);
    InPieces(kLength, [&](int32_t first, int32_t count) {
      network.RunPair(stateL, stateR, left.data() + first, right.data() + first, iL.data() + first,
                      qL.data() + first, iR.data() + first, qR.data() + first, count);
    });
    const char* name = RHilbertNetwork::GetTable(character).name;
    EXPECT_LE(WorstDifference(iL, inPhaseL), kTolerance) << name;
    EXPECT_LE(WorstDifference(qL, quadratureL), kTolerance) << name;
    EXPECT_LE(WorstDifference(iR, inPhaseR), kTolerance) << name;
    EXPECT_LE(WorstDifference(qR, quadratureR), kTolerance) << name;

    // A channel on its own gives the same bits as the left of a pair.
    RHilbertNetwork::State single;
    std::vector<float> i1(kLength), q1(kLength);
    InPieces(kLength, [&](int32_t first, int32_t count) {
      network.Run(single, left.data() + first, i1.data() + first, q1.data() + first, count);
    });
    EXPECT_EQ(i1, iL) << name;
    EXPECT_EQ(q1, qL) << name;
  }
}

TEST(PairedRun, ACharacterChangeKeepsTheHistoryAndRunsTheNewStages) {
  // The old cascade kept its states across a redesign too: both must go on alike.
  const std::vector<float> x = Signal(3, 4000);
  RHilbertNetwork network;
  network.Design(0);
  RHilbertNetwork::State state;
  std::vector<RBiquadState> inPhase(RHilbertNetwork::kStagesPerPath), quadrature(RHilbertNetwork::kStagesPerPath);
  std::vector<float> i(2000), q(2000), ri(2000), rq(2000);
  for (int32_t half = 0; half < 2; ++half) {
    if (half == 1) network.Design(3);
    const float* in = x.data() + half * 2000;
    network.Run(state, in, i.data(), q.data(), 2000);
    RBiquad::RunCascade(network.GetInPhaseStages(), inPhase.data(), RHilbertNetwork::kStagesPerPath, in, ri.data(),
                        2000);
    RBiquad::RunCascade(network.GetQuadratureStages(), quadrature.data(), RHilbertNetwork::kStagesPerPath, in,
                        rq.data(), 2000);
    EXPECT_LE(WorstDifference(i, ri), kTolerance) << half;
    EXPECT_LE(WorstDifference(q, rq), kTolerance) << half;
  }
}

TEST(PairedRun, ThePrefilterMatchesItsStagesRunOneByOneAtEveryRate) {
  const std::vector<float> left = Signal(4, kLength), right = Signal(5, kLength);
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    RShifterPrefilter prefilter;
    prefilter.Design(rate);
    const auto referenceL = Reference(prefilter.GetStages(), RShifterPrefilter::kStageCount, left);
    const auto referenceR = Reference(prefilter.GetStages(), RShifterPrefilter::kStageCount, right);
    // In place, as the module runs it.
    std::vector<float> l = left, r = right;
    RShifterPrefilter::State stateL, stateR;
    InPieces(kLength, [&](int32_t first, int32_t count) {
      prefilter.RunPair(stateL, stateR, l.data() + first, r.data() + first, l.data() + first, r.data() + first,
                        count);
    });
    EXPECT_LE(WorstDifference(l, referenceL), kTolerance) << rate;
    EXPECT_LE(WorstDifference(r, referenceR), kTolerance) << rate;

    RShifterPrefilter::State single;
    std::vector<float> one(kLength);
    InPieces(kLength, [&](int32_t first, int32_t count) {
      prefilter.Run(single, left.data() + first, one.data() + first, count);
    });
    EXPECT_EQ(one, l) << rate;
  }
}

TEST(PairedRun, ThePrefilterGivesTheSameBitsHoweverTheBlockIsCut) {
  // Long runs and runs of a sample or two take different ways through the stages; the state
  // one leaves must be the state the other goes on from.
  const std::vector<float> left = Signal(7, 6000), right = Signal(8, 6000);
  RShifterPrefilter prefilter;
  prefilter.Design(48000.0);
  const auto run = [&](auto&& pieces) {
    RShifterPrefilter::State stateL, stateR;
    std::vector<float> l(left.size()), r(right.size());
    int32_t done = 0;
    for (size_t p = 0; done < int32_t(left.size()); ++p) {
      const int32_t count = std::min(pieces(p), int32_t(left.size()) - done);
      prefilter.RunPair(stateL, stateR, left.data() + done, right.data() + done, l.data() + done, r.data() + done,
                        count);
      done += count;
    }
    return std::vector<std::vector<float>>{l, r};
  };
  const auto whole = run([](size_t) { return 6000; });
  EXPECT_EQ(run([](size_t) { return 1; }), whole);
  EXPECT_EQ(run([](size_t p) { return p % 2 == 0 ? 2 : 300; }), whole);
  EXPECT_EQ(run([](size_t p) { return int32_t(31 + p % 3); }), whole);
}

TEST(PairedRun, NotANumberOrInfinityInIsTakenAsSilenceOrTheLimitAndLeavesNothingBehind) {
  RHilbertNetwork network;
  network.Design(3);
  RShifterPrefilter prefilter;
  prefilter.Design(48000.0);
  std::vector<float> hostile = Signal(6, 2000), clean = hostile;
  for (int32_t i = 100; i < 2000; i += 97) {
    hostile[size_t(i)] = std::numeric_limits<float>::quiet_NaN();
    clean[size_t(i)] = 0.0f;
  }
  hostile[50] = std::numeric_limits<float>::infinity();
  clean[50] = float(RDspKernels::kBiquadLimit);
  const auto run = [&](const std::vector<float>& x) {
    RShifterPrefilter::State filterState;
    RHilbertNetwork::State networkState;
    std::vector<float> filtered(x.size()), i(x.size()), q(x.size());
    prefilter.Run(filterState, x.data(), filtered.data(), int32_t(x.size()));
    network.Run(networkState, filtered.data(), i.data(), q.data(), int32_t(x.size()));
    return std::vector<std::vector<float>>{filtered, i, q};
  };
  const auto fromHostile = run(hostile), fromClean = run(clean);
  for (size_t k = 0; k < fromHostile.size(); ++k) {
    for (float v : fromHostile[k]) ASSERT_TRUE(std::isfinite(v));
    EXPECT_EQ(fromHostile[k], fromClean[k]) << k;
  }
}

TEST(PairedRun, OscillatorsInPairsGiveWhatEachGivesAlone) {
  // Different frequencies, one gliding, over blocks of several sizes.
  RQuadratureOscillator pairL, pairR, aloneL, aloneR;
  std::vector<float> cL(300), sL(300), cR(300), sR(300), c(300), s(300);
  double hz = 750.0;
  for (int32_t count : {300, 1, 64, 299}) {
    RQuadratureOscillator::RunPair(pairL, pairR, cL.data(), sL.data(), cR.data(), sR.data(), count, hz, hz + 50.0,
                                   -hz, -hz, 48000.0);
    aloneL.Run(c.data(), s.data(), count, hz, hz + 50.0, 48000.0);
    for (int32_t i = 0; i < count; ++i) ASSERT_TRUE(c[size_t(i)] == cL[size_t(i)] && s[size_t(i)] == sL[size_t(i)]);
    aloneR.Run(c.data(), s.data(), count, -hz, -hz, 48000.0);
    for (int32_t i = 0; i < count; ++i) ASSERT_TRUE(c[size_t(i)] == cR[size_t(i)] && s[size_t(i)] == sR[size_t(i)]);
    hz += 50.0;
  }
  EXPECT_EQ(pairL.GetPhase(), aloneL.GetPhase());
  EXPECT_EQ(pairR.GetPhase(), aloneR.GetPhase());
  EXPECT_NE(pairL.GetPhase(), pairR.GetPhase());
}
