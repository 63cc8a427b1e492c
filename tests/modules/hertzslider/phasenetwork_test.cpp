// The shifter's building blocks on their own: the phase network's quadrature over each
// Character's band, the prefilter's band, the oscillator's frequency, glide and long-term level.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "modules/hertzslider/hilbertnetwork.h"
#include "modules/hertzslider/quadratureoscillator.h"
#include "modules/hertzslider/shifterprefilter.h"

namespace {

std::complex<double> PathResponse(const RBiquad* stages, double frequency) {
  std::complex<double> h = 1.0;
  for (int32_t s = 0; s < RHilbertNetwork::kStagesPerPath; ++s) h *= stages[s].Response(frequency);
  return h;
}

// Phase of the in-phase path over the quadrature path, degrees, -180..180.
double PhaseDifference(const RHilbertNetwork& network, double frequency) {
  const std::complex<double> ratio =
      PathResponse(network.GetInPhaseStages(), frequency) / PathResponse(network.GetQuadratureStages(), frequency);
  return std::arg(ratio) * 180.0 / std::numbers::pi;
}

double RunningAmplitude(double hertz, double sampleRate, int64_t samples) {
  RQuadratureOscillator oscillator;
  constexpr int32_t kBlock = 512;
  float c[kBlock], s[kBlock];
  for (int64_t done = 0; done < samples; done += kBlock) oscillator.Run(c, s, kBlock, hertz, hertz, sampleRate);
  return oscillator.GetAmplitude();
}

} // namespace

TEST(PhaseNetwork, EveryCharacterHoldsQuadratureOverItsBandWithinItsStatedError) {
  RHilbertNetwork network;
  for (int32_t character = 0; character < RHilbertNetwork::kCharacterCount; ++character) {
    network.Design(character);
    const RHilbertNetwork::Table& table = RHilbertNetwork::GetTable(character);
    double worst = 0.0;
    for (int32_t i = 0; i <= 400; ++i) {
      const double f = table.lowHz * std::pow(table.highHz / table.lowHz, i / 400.0);
      // Both paths pass every frequency at full level: the shifter's level is the input's.
      EXPECT_NEAR(std::abs(PathResponse(network.GetInPhaseStages(), f)), 1.0, 1e-9);
      EXPECT_NEAR(std::abs(PathResponse(network.GetQuadratureStages(), f)), 1.0, 1e-9);
      worst = std::max(worst, std::fabs(PhaseDifference(network, f) - 90.0));
    }
    EXPECT_LE(worst, table.worstErrorDegrees * 1.05 + 1e-6) << table.name;
    // Outside the band the paths drift back together; the error must really grow there.
    EXPECT_GT(std::fabs(PhaseDifference(network, table.lowHz * 0.2) - 90.0), table.worstErrorDegrees) << table.name;
  }
}

TEST(PhaseNetwork, CharactersRunFromCleanToUgly) {
  // Each Character loses band or gains ripple against the one before; Clean is good to 60 dB
  // of image rejection (0.115 degrees) and Ugly leaves the image audible.
  double previousBand = 1e9;
  for (int32_t character = 0; character < RHilbertNetwork::kCharacterCount; ++character) {
    const RHilbertNetwork::Table& table = RHilbertNetwork::GetTable(character);
    const double band = table.highHz / table.lowHz;
    EXPECT_LT(band, previousBand) << table.name;
    previousBand = band;
  }
  EXPECT_LT(RHilbertNetwork::GetTable(0).worstErrorDegrees, 0.115);
  EXPECT_GT(RHilbertNetwork::GetTable(3).worstErrorDegrees, 2.0);
  EXPECT_STREQ(RHilbertNetwork::GetTable(2).name, "Rough");
}

TEST(ShifterPrefilter, PassesTheAudioBandAndStopsBelowAndAboveIt) {
  for (double rate : {44100.0, 48000.0, 96000.0, 192000.0}) {
    RShifterPrefilter prefilter;
    prefilter.Design(rate);
    auto gain = [&](double f) {
      std::complex<double> h = 1.0;
      for (int32_t s = 0; s < RShifterPrefilter::kStageCount; ++s) h *= prefilter.GetStages()[s].Response(f);
      return std::abs(h);
    };
    EXPECT_NEAR(gain(1000.0), 1.0, 0.01) << rate;
    EXPECT_GT(gain(100.0), 0.98) << rate;
    EXPECT_LT(gain(5.0), 0.001) << rate;             // 6th order two octaves below 20 Hz
    EXPECT_LT(gain(0.49 * rate), 0.01) << rate;      // nothing left near Nyquist
    if (rate > 80000.0) {
      EXPECT_LT(gain(30000.0), 0.05) << rate;  // the top is cut at 18 kHz at high rates too
    }
  }
}

TEST(QuadratureOscillator, GivesCosineAndMinusSineAtItsFrequency) {
  RQuadratureOscillator oscillator;
  constexpr int32_t kCount = 1000;
  float c[kCount], s[kCount];
  oscillator.Run(c, s, kCount, 441.0, 441.0, 44100.0);
  for (int32_t i = 0; i < kCount; ++i) {
    const double phase = 2.0 * std::numbers::pi * 441.0 * i / 44100.0;
    ASSERT_NEAR(c[i], std::cos(phase), 1e-6) << i;
    ASSERT_NEAR(s[i], -std::sin(phase), 1e-6) << i;
  }
  // Ten whole periods later it is back at phase 0.
  EXPECT_NEAR(oscillator.GetPhase(), 0.0, 1e-9);
}

TEST(QuadratureOscillator, RunsOfOneSampleFollowEveryChangeOfFrequency) {
  // As a one-sample feedback loop drives it: a run per sample, the frequency now held, now
  // stepping back and forth, now gliding (which a single sample can't show).
  RQuadratureOscillator oscillator;
  double phase = 0.0;
  for (int32_t i = 0; i < 3000; ++i) {
    const double hz = i < 1000 ? 441.0 : (i < 2000 ? (i % 2 == 0 ? 882.0 : 441.0) : 100.0 + i);
    float c = 0.0f, s = 0.0f;
    oscillator.Run(&c, &s, 1, hz, hz + 10.0 * (i >= 2000), 44100.0);
    ASSERT_NEAR(c, std::cos(phase), 1e-5) << i;
    ASSERT_NEAR(s, -std::sin(phase), 1e-5) << i;
    phase += 2.0 * std::numbers::pi * hz / 44100.0;
  }
}

TEST(QuadratureOscillator, AGlideMovesTheFrequencyLinearly) {
  // From 0 to 1000 Hz over a second the phase travels 500 turns: the mean frequency.
  RQuadratureOscillator oscillator;
  std::vector<float> c(48000), s(48000);
  oscillator.Run(c.data(), s.data(), 48000, 0.0, 1000.0, 48000.0);
  // Steps of 2 pi (1000 i / 48000) / 48000 for i = 0 .. 47999 add up to 499.99 turns.
  EXPECT_NEAR(oscillator.GetPhase(), std::remainder(2.0 * std::numbers::pi * 1000.0 * 47999.0 / 96000.0,
                                                    2.0 * std::numbers::pi), 1e-6);
  // Halfway, at 500 Hz, one period is 96 samples: the phase there turns by 2 pi / 96 a sample.
  const double here = std::atan2(-s[24000], c[24000]), next = std::atan2(-s[24001], c[24001]);
  EXPECT_NEAR(std::remainder(next - here, 2.0 * std::numbers::pi), 2.0 * std::numbers::pi * 500.0 / 48000.0, 1e-4);
}

TEST(QuadratureOscillator, KeepsUnitAmplitudeOverAnHourOfSamples) {
  // An hour at 44.1 kHz, at a frequency that never repeats exactly.
  EXPECT_NEAR(RunningAmplitude(9876.54321, 44100.0, int64_t(3600) * 44100), 1.0, 1e-6);
  // A negative shift runs the phasor the other way, just as steadily (ten minutes).
  EXPECT_NEAR(RunningAmplitude(-0.0123, 48000.0, int64_t(600) * 48000), 1.0, 1e-6);
}

TEST(QuadratureOscillator, RecoversFromAFrequencyThatIsNotANumber) {
  RQuadratureOscillator oscillator;
  float c[64], s[64];
  oscillator.Run(c, s, 64, NAN, NAN, 48000.0);
  oscillator.Run(c, s, 64, 100.0, 100.0, 48000.0);
  for (int32_t i = 0; i < 64; ++i) ASSERT_TRUE(std::isfinite(c[i]) && std::isfinite(s[i]));
  EXPECT_NEAR(oscillator.GetAmplitude(), 1.0, 1e-9);
}
