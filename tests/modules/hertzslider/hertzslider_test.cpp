// The frequency shifter through its public operations: parameters by label, blocks through
// the processing cycle, the stored state, and the module in a graph.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "tests/modules/hertzslider/hertzslidertest.h"

using hztest::Decibels;
using hztest::Level;
using hztest::Shifter;

namespace {

// The levels of 1100 Hz (the shift) and 900 Hz (the image) from a 1 kHz tone shifted by +100 Hz.
struct ShiftResult {
  double wanted;
  double image;
  double input;
};

ShiftResult ShiftOneKilohertz(double rate, double shiftHz, int32_t character = -1) {
  Shifter shifter(rate);
  if (character >= 0) shifter.Set("Character", character);
  shifter.SetShiftHz(shiftHz);
  const auto length = int32_t(rate * 0.6);
  const auto output = shifter.Run(hztest::Sine(1000.0, rate, length))[0];
  // Skip the filters' start; a window of a whole number of 2.5 Hz bins.
  const auto window = int32_t(rate / 100.0) * 20;
  const int32_t first = length - window;
  return {Level(output, 1000.0 + shiftHz, rate, first, window), Level(output, 1000.0 - shiftHz, rate, first, window),
          0.5};
}

} // namespace

TEST(HertzSliderParameters, TableHoldsEveryValueInOrderWithItsKeyRangeAndDefault) {
  Shifter shifter(48000.0);
  RHertzSlider& m = shifter.module;
  const char* labels[] = {"Dry/Wet", "Shift", "Width", "Feedback", "Delay", "Character", "Prefiltering", "Sync"};
  const char* keys[] = {"DryWet", "Shift", "Width", "Feedback", "FeedbackDelay", "Character", "Prefiltering", "sync"};
  for (int32_t i = 0; i < 8; ++i) {
    EXPECT_EQ(m.GetParameterIndex(RString::FromUTF8(labels[i])), i) << labels[i];
    EXPECT_EQ(m.GetParameterValue(i)->GetKey(), RString::FromUTF8(keys[i])) << labels[i];
    EXPECT_FALSE(m.GetParameterValue(i)->GetDescription().IsEmpty() && i < 7) << labels[i];
  }
  EXPECT_DOUBLE_EQ(shifter.Value("Dry/Wet").GetValue(), 1.0);
  EXPECT_DOUBLE_EQ(shifter.Value("Shift").GetValue(), 0.0);
  EXPECT_DOUBLE_EQ(shifter.Value("Width").GetValue(), 1.0);
  EXPECT_DOUBLE_EQ(shifter.Value("Feedback").GetRange()->GetMax(), 0.99);
  EXPECT_DOUBLE_EQ(shifter.Value("Delay").GetValue(), 0.01);
  EXPECT_EQ(shifter.Value("Character").GetText(), RString("Rough"));
  EXPECT_DOUBLE_EQ(shifter.Value("Prefiltering").GetValue(), 1.0);
  EXPECT_EQ(shifter.Value("Width").GetRange()->GetMin(), -2.0);
}

TEST(HertzSliderShift, ShowsHertzByASquareLawAndReadsTypedHertzBack) {
  Shifter shifter(48000.0);
  RRangedValue& shift = shifter.Value("Shift");
  shift.SetValueNow(0.1);  // 0.01 * 10000
  EXPECT_EQ(shift.GetText(), RString("100.0 Hz"));
  shift.SetValueNow(-0.5);
  EXPECT_EQ(shift.GetText(), RString("-2500 Hz"));
  EXPECT_EQ(shift.GetTextOfNormalised(1.0), RString("10.0 kHz"));
  double normalised = 0.0;
  ASSERT_TRUE(shift.ParseToNormalised(RString("400 Hz"), normalised));
  EXPECT_NEAR(normalised, (0.2 + 1.0) / 2.0, 1e-12);  // sqrt(400 / 10000) = 0.2
  ASSERT_TRUE(shift.ParseToNormalised(RString("-25"), normalised));
  EXPECT_NEAR(normalised, (-0.05 + 1.0) / 2.0, 1e-12);
  ASSERT_TRUE(shift.ParseToNormalised(RString("2.5 kHz"), normalised));
  EXPECT_NEAR(normalised, 0.75, 1e-12);
  EXPECT_FALSE(shift.ParseToNormalised(RString("up"), normalised));
  EXPECT_DOUBLE_EQ(shift.GetRange()->GetInc(), 0.0005);
  EXPECT_DOUBLE_EQ(shift.GetRange()->GetMaxInc(), 0.005);
  // Text and value agree both ways over the range.
  for (double hertz : {-9000.0, -1.5, 0.25, 37.0, 7777.0}) {
    EXPECT_NEAR(RShiftRange::ToHertz(RShiftRange::FromHertz(hertz)), hertz, 1e-9 * std::fabs(hertz) + 1e-12);
  }
}

TEST(HertzSliderShift, MovesAToneUpAndLeavesItsImageFortyDecibelsDown) {
  for (double rate : {44100.0, 48000.0, 96000.0}) {
    const ShiftResult r = ShiftOneKilohertz(rate, 100.0);
    EXPECT_NEAR(r.wanted, r.input, 0.01 * r.input) << rate;
    const double rejection = Decibels(r.image / r.wanted);
    EXPECT_LT(rejection, -40.0) << rate;
    RecordProperty("image_dB_" + std::to_string(int(rate)), std::to_string(rejection));
    std::printf("image of a 1 kHz tone shifted +100 Hz at %.0f Hz: %.1f dB\n", rate, rejection);
  }
}

TEST(HertzSliderShift, CleanRejectsTheImageBetterThanUgly) {
  const ShiftResult clean = ShiftOneKilohertz(48000.0, 100.0, 0);
  const ShiftResult ugly = ShiftOneKilohertz(48000.0, 100.0, 3);
  EXPECT_LT(Decibels(clean.image / clean.wanted), -55.0);
  EXPECT_GT(Decibels(ugly.image / ugly.wanted), Decibels(clean.image / clean.wanted) + 10.0);
}

TEST(HertzSliderShift, ANegativeShiftMovesDown) {
  const ShiftResult r = ShiftOneKilohertz(48000.0, -250.0);
  // The wanted component is now at 750 Hz and the image at 1250 Hz.
  EXPECT_NEAR(r.wanted, r.input, 0.01 * r.input);
  EXPECT_LT(Decibels(r.image / r.wanted), -40.0);
}

TEST(HertzSliderShift, ZeroShiftKeepsTheLevelAtEveryWidth) {
  for (double width : {-2.0, 0.0, 1.0, 2.0}) {
    Shifter shifter(44100.0);
    shifter.Set("Width", width);
    const auto out = shifter.Run(hztest::Sine(3000.0, 44100.0, 22050));
    for (int32_t c = 0; c < 2; ++c) EXPECT_NEAR(Level(out[size_t(c)], 3000.0, 44100.0, 11025, 11025), 0.5, 0.005);
  }
}

TEST(HertzSliderShift, WidthMinusOneSendsLeftUpAndRightDown) {
  Shifter shifter(48000.0);
  shifter.SetShiftHz(200.0);
  shifter.Set("Width", -1.0);
  const auto out = shifter.Run(hztest::Sine(1000.0, 48000.0, 24000));
  EXPECT_NEAR(Level(out[0], 1200.0, 48000.0, 14400, 9600), 0.5, 0.01);
  EXPECT_NEAR(Level(out[1], 800.0, 48000.0, 14400, 9600), 0.5, 0.01);
  EXPECT_LT(Level(out[1], 1200.0, 48000.0, 14400, 9600), 0.005);
}

TEST(HertzSliderShift, DryWetMixesTheUntouchedInput) {
  Shifter shifter(48000.0);
  shifter.SetShiftHz(300.0);
  shifter.Set("Dry/Wet", 0.25);
  const auto out = shifter.Run(hztest::Sine(2000.0, 48000.0, 24000));
  EXPECT_NEAR(Level(out[0], 2000.0, 48000.0, 14400, 9600), 0.375, 0.005);
  EXPECT_NEAR(Level(out[0], 2300.0, 48000.0, 14400, 9600), 0.125, 0.005);
  shifter.Set("Dry/Wet", 0.0);
  const std::vector<float> input = hztest::Sine(2000.0, 48000.0, 4096);
  const auto dry = shifter.Run(input);
  for (int32_t i = 0; i < 4096; ++i) ASSERT_EQ(dry[0][size_t(i)], input[size_t(i)]);
}

TEST(HertzSliderFeedback, AnImpulseComesBackAfterExactlyTheDelay) {
  // Shift 0 and no prefilter: the shifted signal is the network's in-phase path, whose first
  // sample h0 is the first to enter the loop; it returns 300 samples later as 0.5 h0 and
  // leaves the network as 0.5 h0 h0, whatever the block size.
  for (int32_t block : {1, 37, 256, 512}) {
    auto run = [&](double feedback) {
      Shifter shifter(48000.0);
      shifter.Set("Prefiltering", 0.0);
      shifter.Set("Feedback", feedback);
      shifter.Set("Delay", 300.0 / 48000.0);
      std::vector<float> impulse(2000, 0.0f);
      impulse[0] = 1.0f;
      auto out = shifter.Run(impulse, block)[0];
      EXPECT_EQ(shifter.module.GetFeedbackDelay(), 300);
      return out;
    };
    const auto open = run(0.0), closed = run(0.5);
    for (int32_t i = 0; i < 300; ++i) ASSERT_EQ(closed[size_t(i)], open[size_t(i)]) << block << " at " << i;
    const double h0 = open[0];
    ASSERT_GT(std::fabs(h0), 0.01);
    EXPECT_NEAR(closed[300] - open[300], 0.5 * h0 * h0, 1e-6) << block;
  }
}

TEST(HertzSliderFeedback, ALoopOpenedFromZeroStartsEmpty) {
  // Noise with Feedback 0, then Feedback 0.5 on silence: for one delay the output is the
  // filters' ring-out alone, as if the loop had never been there; then the echo arrives.
  constexpr int32_t kDelay = 300;
  std::vector<float> input(8192, 0.0f);
  for (int32_t i = 0; i < 4096; ++i) input[size_t(i)] = float(std::sin(i * 0.37) * 0.5 + std::sin(i * 0.011) * 0.3);
  auto run = [&](double feedbackAfter) {
    Shifter shifter(48000.0);
    shifter.SetShiftHz(40.0);
    shifter.Set("Delay", kDelay / 48000.0);
    const std::vector<float> first(input.begin(), input.begin() + 4096), second(input.begin() + 4096, input.end());
    auto out = shifter.Run(first, 256)[0];
    shifter.Set("Feedback", feedbackAfter);
    const auto rest = shifter.Run(second, 256)[0];
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
  };
  const auto open = run(0.0), closed = run(0.5);
  for (int32_t i = 0; i < 4096 + kDelay; ++i) ASSERT_EQ(closed[size_t(i)], open[size_t(i)]) << i;
  double difference = 0.0;
  for (int32_t i = 4096 + kDelay; i < 4096 + 2 * kDelay; ++i) {
    difference = std::max(difference, std::fabs(double(closed[size_t(i)] - open[size_t(i)])));
  }
  EXPECT_GT(difference, 1e-4);
}

TEST(HertzSliderFeedback, StaysBoundedAtTheTopFeedbackWithOneSampleOfDelay) {
  Shifter shifter(48000.0);
  shifter.Set("Feedback", 0.99);
  shifter.Set("Delay", 0.0);
  shifter.SetShiftHz(3.0);
  const auto out = shifter.Run(hztest::Sine(500.0, 48000.0, 96000, 1.0), 113);
  EXPECT_EQ(shifter.module.GetFeedbackDelay(), 1);
  double peak = 0.0;
  for (float v : out[0]) {
    ASSERT_TRUE(std::isfinite(v));
    peak = std::max(peak, double(std::fabs(v)));
  }
  // The loop input is held to +-10, so the output can't run beyond 1 + 0.99 * 10 and a bit of filter overshoot.
  EXPECT_LT(peak, 15.0);
  EXPECT_GT(peak, 1.0);  // the loop does feed back
}

TEST(HertzSliderFeedback, SyncHalvesTheNoteLength) {
  Shifter shifter(48000.0);
  shifter.Set("Sync", 1.0);
  shifter.Set("Length", 10.0);  // "1 / 8": at 120 bpm 0.25 s
  shifter.Set("Feedback", 0.3);
  RHostTimeInfo host;
  host.tempo = 120.0;
  std::vector<float> in(256, 0.1f), out(256);
  float* ins[2] = {in.data(), in.data()};
  float* outs[2] = {out.data(), out.data()};
  shifter.module.ProcessCycle(ins, outs, 256, &host);
  EXPECT_EQ(shifter.Value("Length").GetText(), RString("1 / 8"));
  EXPECT_EQ(shifter.module.GetFeedbackDelay(), 6000);
  // Off again, the Delay value rules.
  shifter.Set("Sync", 0.0);
  shifter.module.ProcessCycle(ins, outs, 256, &host);
  EXPECT_EQ(shifter.module.GetFeedbackDelay(), 480);
}

TEST(HertzSliderLifecycle, ResetZeroesPhaseAndLoop) {
  Shifter shifter(48000.0);
  shifter.SetShiftHz(77.0);
  shifter.Set("Feedback", 0.9);
  shifter.Run(hztest::Sine(1000.0, 48000.0, 5000));
  EXPECT_NE(shifter.module.GetOscillatorPhase(0), 0.0);
  shifter.module.Reset();
  EXPECT_EQ(shifter.module.GetOscillatorPhase(0), 0.0);
  const auto out = shifter.Run(std::vector<float>(4096, 0.0f));
  for (float v : out[0]) ASSERT_EQ(v, 0.0f);
}

TEST(HertzSliderLifecycle, RunsAtEveryRateAndOddBlockSizes) {
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    for (int32_t block : {1, 7, 333, 2048}) {
      Shifter shifter(rate, 2048);
      shifter.SetShiftHz(-60.0);
      shifter.Set("Feedback", 0.5);
      const auto length = int32_t(rate * 0.25);
      const auto out = shifter.Run(hztest::Sine(440.0, rate, length), block)[0];
      for (float v : out) ASSERT_TRUE(std::isfinite(v)) << rate << " " << block;
      // The shifted tone dominates the output after the start.
      const auto window = int32_t(rate / 20.0) * 2;
      EXPECT_GT(Level(out, 380.0, rate, length - window, window), 0.3) << rate << " " << block;
    }
  }
}

TEST(HertzSliderLifecycle, EveryChannelOfAnyCountShiftsAlikeAndAsAPairWould) {
  // Channels run in pairs and a last odd one alone: with Width 1 all shift alike, so the same
  // input must give the same bits in every channel, and the same as a stereo instance's.
  const std::vector<float> input = hztest::Sine(700.0, 48000.0, 6000);
  Shifter stereo(48000.0, 512, 2);
  stereo.SetShiftHz(750.0);
  stereo.Set("Character", 3);
  const auto reference = stereo.Run(input, 333)[0];
  ASSERT_GT(Level(reference, 1450.0, 48000.0, 3600, 2400), 0.4);
  for (int32_t channels : {1, 3, 5}) {
    Shifter shifter(48000.0, 512, channels);
    shifter.SetShiftHz(750.0);
    shifter.Set("Character", 3);
    const auto out = shifter.Run(input, 333);
    ASSERT_EQ(out.size(), size_t(channels));
    for (int32_t c = 0; c < channels; ++c) EXPECT_EQ(out[size_t(c)], reference) << channels << " " << c;
  }
}

TEST(HertzSliderStore, SettingsAndShapeSurviveARoundTrip) {
  Shifter a(48000.0);
  a.SetShiftHz(-1234.0);
  a.Set("Width", -1.5);
  a.Set("Feedback", 0.4);
  a.Set("Delay", 0.25);
  a.Set("Character", 3);
  a.Set("Prefiltering", 0.0);
  a.Set("Dry/Wet", 0.6);
  std::vector<RShapePoint> points = a.module.GetShape().GetPoints();
  points[0].Y = 0.25;
  a.module.GetShape().SetPoints(points);
  RTagItem tree(RString("HzSlide"));
  a.module.SaveStateTree(tree);

  Shifter b(48000.0);
  b.module.LoadStateTree(tree);
  for (const char* label : {"Shift", "Width", "Feedback", "Delay", "Character", "Prefiltering", "Dry/Wet"}) {
    EXPECT_NEAR(b.Value(label).GetValue(), a.Value(label).GetValue(), 1e-9) << label;
  }
  EXPECT_EQ(b.Value("Character").GetText(), RString("Ugly"));
  ASSERT_EQ(b.module.GetShape().GetPoints().size(), points.size());
  EXPECT_DOUBLE_EQ(b.module.GetShape().GetPoints()[0].Y, 0.25);

  // Defaults write nothing of their own: a fresh module's tree has no Shape element.
  Shifter fresh(48000.0);
  RTagItem empty(RString("HzSlide"));
  fresh.module.SaveStateTree(empty);
  EXPECT_EQ(empty.FindSubItem(RString("Shape")), nullptr);
}

TEST(HertzSliderGraph, ShiftsInsideAGraph) {
  RegisterHertzSlider();
  RAudioPlugin::Options options;
  options.sleep = false;
  RAudioPluginModular graph(RString("Graph"), 2, false, options);
  graph.SetHostFormat(48000.0, 512, 2);
  const PluginDescriptor* row = graph.FindDescriptor(RString("HzSlide"));
  ASSERT_NE(row, nullptr);
  RPluginSlot* slot = graph.CreateSlot(0, 0, *row, false);
  ASSERT_NE(slot, nullptr);
  auto* shifter = dynamic_cast<RHertzSlider*>(&slot->GetModule());
  ASSERT_NE(shifter, nullptr);
  // The module's values are the graph's parameters, named after the slot.
  const int32_t index = graph.GetParameterIndex(slot->FullName + RString(" - Shift"));
  ASSERT_GE(index, 0);
  auto& shift = *static_cast<RRangedValue*>(graph.GetParameterValue(index));
  shift.SetValueNow(RShiftRange::FromHertz(500.0));
  shift.ResetRamp();

  const std::vector<float> input = hztest::Sine(1000.0, 48000.0, 512 * 48);
  std::vector<float> left(input.size()), right(input.size());
  for (size_t done = 0; done < input.size(); done += 512) {
    float* ins[2] = {const_cast<float*>(input.data()) + done, const_cast<float*>(input.data()) + done};
    float* outs[2] = {left.data() + done, right.data() + done};
    graph.ProcessCycle(ins, outs, 512, nullptr);
  }
  EXPECT_NEAR(Level(left, 1500.0, 48000.0, 14400, 9600), 0.5, 0.02);
  EXPECT_LT(Level(left, 1000.0, 48000.0, 14400, 9600), 0.01);
}
