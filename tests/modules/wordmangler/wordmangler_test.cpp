// The module around the word stage: its parameter table, the stored state, the control delay
// and its sync, gains, dry/wet, automatic gain, the input buses in use, and its behaviour at
// every rate and block size.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "base/format.h"
#include "base/tagitem.h"
#include "kernel/storecontext.h"
#include "tests/modules/wordmangler/wordmanglertest.h"

using namespace wmtest;

namespace {

const Signal kMain = Sine(4096, 441.0, 0.9);
const Signal kSide = Sine(4096, 1234.0, 0.7, 48000.0, 0.3);

std::string KeyAt(RWordMangler& m, int32_t index) { return m.GetParameterValue(index)->GetKey().ToUTF8(); }

double Rms(const Signal& s, size_t from) {
  double sum = 0.0;
  for (size_t i = from; i < s.size(); ++i) sum += double(s[i]) * s[i];
  return std::sqrt(sum / double(s.size() - from));
}

// Replace of every bit, so that the output shows the control word alone.
void ReplaceAll(RWordMangler& m) {
  SetMask(m, RWordOperationKind::kReplace, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
}

} // namespace

TEST(WordManglerTable, KeysLabelsAndDefaultsFollowTheirOrder) {
  RWordMangler m;
  m.InitParameters();
  const char* globals[] = {"GainIn", "GainOut", "DryWet", "SideChain", "AGC", "DCBlocker", "Bits", "Delay", "LP",
                           "sync", "synclength__", "synctype", "syncphase", "syncmodify", "synccount"};
  int32_t index = 0;
  for (const char* key : globals) EXPECT_EQ(KeyAt(m, index++), key);
  const char* names[] = {"XOR", "Replace", "AND", "OR"};
  for (int32_t k = 0; k < 4; ++k) {
    EXPECT_EQ(KeyAt(m, index), "Enable" + std::to_string(k));
    EXPECT_EQ(m.GetParameterValue(index++)->GetName().ToUTF8(), names[k]);
    EXPECT_EQ(KeyAt(m, index++), "Shift" + std::to_string(k));
    EXPECT_EQ(KeyAt(m, index++), "Rotate" + std::to_string(k));
    for (int32_t i = 1; i <= 16; ++i) {
      EXPECT_EQ(KeyAt(m, index), "Bit" + std::to_string(i) + "X" + std::to_string(k));
      EXPECT_EQ(m.GetParameterValue(index++)->GetName().ToUTF8(), std::string(names[k]) + " " + std::to_string(i));
    }
  }
  // Bypass is the kernel's, after the module's own values.
  EXPECT_EQ(m.GetParameterCount(), index + 1);

  m.GetGainOut().SetValueNow(2.0);
  EXPECT_EQ(m.GetGainOut().GetText().ToUTF8(), "+6.02 dB");
  m.GetGainOut().SetValueNow(1.0);
  EXPECT_EQ(m.GetGainIn().GetAltName().ToUTF8(), "Input");
  EXPECT_EQ(m.GetGainOut().GetAltName().ToUTF8(), "Output");
  EXPECT_DOUBLE_EQ(m.GetDryWet().GetValue(), 1.0);
  EXPECT_FALSE(m.GetSideChain().IsOn());
  EXPECT_FALSE(m.GetAGC().IsOn());
  EXPECT_TRUE(m.GetDCBlocker().IsOn());
  EXPECT_EQ(m.GetBits().GetValue(), 8.0);
  EXPECT_EQ(m.GetDelay().GetValue(), 0.0);
  EXPECT_NEAR(m.GetLowPass().GetValue(), 8000.0, 1e-9);
  m.GetLowPass().SetNormalised(1.0);
  EXPECT_EQ(m.GetLowPass().GetText().ToUTF8(), "Off");
  for (int32_t k = 0; k < 4; ++k) {
    const RWordMangler::Operation& op = m.GetOperation(RWordOperationKind(k));
    EXPECT_EQ(op.Enable->IsOn(), k == 0);
    EXPECT_EQ(op.Shift->GetValue(), k == 3 ? 2.0 : 0.0);
    EXPECT_TRUE(op.Rotate->IsOn());
  }
  EXPECT_NE(m.GetSideChain().GetDescription().ToUTF8().find("<reference>global delay</reference>"),
            std::string::npos);
  EXPECT_NE(m.GetOperation(RWordOperationKind::kAnd).Enable->GetDescription().ToUTF8().find(
                "Hence having all bits enabled produces no change"),
            std::string::npos);
}

TEST(WordManglerStore, SettingsTravelThroughTheStoreAndLPAsItsLogarithm) {
  RWordMangler m;
  m.InitParameters();
  m.GetBits().SetValueNow(12);
  m.GetDelay().SetValueNow(0.25);
  m.GetDryWet().SetValueNow(0.3);
  m.GetGainIn().SetNormalised(0.75);
  m.GetSideChain().SetValueNow(1.0);
  m.GetLowPass().SetValueNow(1000.0);
  m.GetTempoSync().GetLength().SetNormalised(0.3);
  m.GetOperation(RWordOperationKind::kOr).Shift->SetValueNow(-5);
  m.GetOperation(RWordOperationKind::kAnd).Mask[6]->SetValueNow(1.0);
  m.GetOperation(RWordOperationKind::kXor).Enable->SetValueNow(0.0);
  RTagItem tree;
  m.SaveStateTree(tree);
  const RVariant* lp = tree.FindAttribute(RHashedString("#LP"));
  ASSERT_NE(lp, nullptr);
  EXPECT_NEAR(lp->ToDouble(), 3.0, 1e-12);
  EXPECT_NE(tree.FindAttribute(RHashedString("#Bit7X2")), nullptr);
  // Defaults are not written.
  EXPECT_EQ(tree.FindAttribute(RHashedString("#Bit8X2")), nullptr);

  RWordMangler copy;
  copy.InitParameters();
  copy.LoadStateTree(tree);
  ASSERT_EQ(copy.GetParameterCount(), m.GetParameterCount());
  for (int32_t i = 0; i < m.GetParameterCount(); ++i) {
    EXPECT_NEAR(copy.GetParameterValue(i)->GetNormalised(), m.GetParameterValue(i)->GetNormalised(), 1e-9)
        << KeyAt(m, i);
  }

  // The off position as a stored state writes it.
  tree.SetAttribute(RHashedString("#LP"), RVariant::FromDouble(4.301029995663981));
  copy.LoadStateTree(tree);
  Start(copy);
  EXPECT_EQ(copy.GetLowPass().GetText().ToUTF8(), "Off");
  EXPECT_FALSE(copy.IsLowPassOn());
}

TEST(WordManglerDelay, DelayedControlIsTheInputBeforeItsGain) {
  auto m = MakeBare(16);
  ReplaceAll(*m);
  m->GetDelay().SetValueNow(0.01);  // 480 samples
  m->GetGainIn().SetValueNow(std::pow(10.0, 6.0 / 20.0));
  Start(*m);
  const Output out = Feed(*m, kMain);
  for (size_t i = 0; i < kMain.size(); ++i) {
    const float control = i < 480 ? 0.0f : kMain[i - 480];
    ASSERT_EQ(out.left[i], ReferenceSample(ReferenceWord(control, 16), 16)) << i;
  }
}

TEST(WordManglerDelay, TheSideChainIsNeitherGainedNorDelayedAtZero) {
  auto m = MakeBare(16);
  ReplaceAll(*m);
  m->GetSideChain().SetValueNow(1.0);
  m->GetGainIn().SetValueNow(0.25);
  Start(*m);
  const Output out = Feed(*m, kMain, kSide);
  for (size_t i = 0; i < kMain.size(); ++i) ASSERT_EQ(out.left[i], ReferenceSample(ReferenceWord(kSide[i], 16), 16));
}

TEST(WordManglerDelay, SyncTakesHalfTheNoteAndOverridesDelay) {
  auto m = MakeBare(16);
  ReplaceAll(*m);
  m->GetDelay().SetValueNow(0.001);
  m->GetTempoSync().GetSync().SetValueNow(1.0);  // its length defaults to 1 / 4
  Start(*m);
  RHostTimeInfo host;
  host.tempo = 120.0;
  // An impulse in: a quarter note at 120 bpm is half a second, so it comes back after a
  // quarter second.
  Signal in(16000, 0.0f);
  in[100] = 1.0f;
  const Output out = Feed(*m, in, Signal(), 512, &host);
  EXPECT_EQ(m->GetControlDelay(), 12000);
  const float quiet = ReferenceSample(ReferenceWord(0.0f, 16), 16);
  const float loud = ReferenceSample(Full(16), 16);
  for (size_t i = 0; i < in.size(); ++i) ASSERT_EQ(out.left[i], i == 12100 ? loud : quiet) << i;

  // At another tempo the delay follows.
  host.tempo = 60.0;
  Feed(*m, Signal(512, 0.0f), Signal(), 512, &host);
  EXPECT_EQ(m->GetControlDelay(), 24000);
}

TEST(WordManglerGains, OutputGainAndDryWetFollowTheCore) {
  {
    auto m = MakeBare(8);
    SetMask(*m, RWordOperationKind::kAnd, {});  // every word 0: the core gives -1
    m->GetGainOut().SetValueNow(0.5);
    m->GetDryWet().SetValueNow(0.25);
    Start(*m);
    const Output out = Feed(*m, kMain);
    for (size_t i = 0; i < kMain.size(); ++i) ASSERT_NEAR(out.left[i], 0.25 * -0.5 + 0.75 * kMain[i], 1e-6) << i;
  }
  {
    auto m = MakeBare(3);
    m->GetDryWet().SetValueNow(0.0);
    Start(*m);
    EXPECT_EQ(Feed(*m, kMain).left, kMain);
  }
}

TEST(WordManglerGains, AGCMeasuresTheInputBeforeItsGain) {
  auto m = MakeBare(16);
  m->GetGainIn().SetValueNow(0.25);
  m->GetAGC().SetValueNow(1.0);
  Start(*m);
  const Signal in = Sine(48000 * 4, 1000.0, 0.5);
  const Output out = Feed(*m, in);
  // 12 dB lost at the input come back once the two-second warm-up is over.
  const size_t tail = in.size() - 4800;
  EXPECT_NEAR(Rms(out.left, tail) / Rms(in, tail), 1.0, 0.05);
  auto plain = MakeBare(16);
  plain->GetGainIn().SetValueNow(0.25);
  Start(*plain);
  EXPECT_NEAR(Rms(Feed(*plain, in).left, tail) / Rms(in, tail), 0.25, 0.01);
}

TEST(WordManglerBuses, TheSideChainBusIsInUseOnlyWhenSwitchedOn) {
  auto m = MakeBare(16);
  Start(*m);
  Feed(*m, kMain);
  EXPECT_EQ(m->GetInputBusesInUse(), 1);
  m->GetSideChain().SetValueNow(1.0);
  Feed(*m, kMain, kSide);
  EXPECT_EQ(m->GetInputBusesInUse(), 2);
  EXPECT_EQ(m->GetInputBuses(), 2);

  // A host without the second bus: the side-chain is silence, and nothing past the main bus is read.
  auto single = MakeBare(16);
  single->GetSideChain().SetValueNow(1.0);
  ReplaceAll(*single);
  Start(*single, 48000.0, 512, 1);
  Signal l = kMain, r = kMain, outL(512), outR(512);
  float* inputs[2] = {l.data(), r.data()};
  float* outputs[2] = {outL.data(), outR.data()};
  single->ProcessCycle(inputs, outputs, 512, nullptr);
  EXPECT_EQ(single->GetInputBusesInUse(), 1);
  for (float y : outL) ASSERT_EQ(y, ReferenceSample(ReferenceWord(0.0f, 16), 16));
}

TEST(WordManglerRates, FiltersAndDelayHoldAtEveryRate) {
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    SCOPED_TRACE(rate);
    auto m = MakeBare(16);
    m->GetLowPass().SetValueNow(1000.0);
    m->GetDCBlocker().SetValueNow(1.0);
    m->GetDelay().SetValueNow(0.1);
    ReplaceAll(*m);
    Start(*m, rate);
    const size_t n = size_t(rate);
    // A 10 kHz tone delayed as control, low-passed at 1 kHz: about -40 dB at 12 dB per octave.
    const Output out = Feed(*m, Sine(n, 10000.0, 0.5, rate));
    EXPECT_EQ(m->GetControlDelay(), int32_t(std::lround(rate * 0.1)));
    EXPECT_LT(Rms(out.left, n / 2), 0.5 / std::sqrt(2.0) * 0.03);
    for (float y : out.left) ASSERT_TRUE(std::isfinite(y));
  }
}

TEST(WordManglerBlocks, OddBlockSizesGiveTheSameStream) {
  auto make = [] {
    auto m = MakeBare(11);
    m->GetSideChain().SetValueNow(1.0);
    m->GetDelay().SetValueNow(0.003);
    m->GetLowPass().SetValueNow(5000.0);
    m->GetDCBlocker().SetValueNow(1.0);
    SetMask(*m, RWordOperationKind::kXor, {2, 5}, 3);
    SetMask(*m, RWordOperationKind::kReplace, {1, 4, 9}, -2, false);
    SetMask(*m, RWordOperationKind::kAnd, {1, 2, 3, 6, 7}, 1);
    SetMask(*m, RWordOperationKind::kOr, {10, 11}, 2);
    Start(*m, 48000.0, 1024);
    return m;
  };
  auto whole = make();
  const Output reference = Feed(*whole, kMain, kSide, 1024);
  for (int32_t block : {1, 7, 255, 257, 1000}) {
    auto m = make();
    const Output out = Feed(*m, kMain, kSide, block);
    ASSERT_EQ(out.left, reference.left) << block;
    ASSERT_EQ(out.right, reference.right) << block;
  }
}
