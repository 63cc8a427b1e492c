// The heart of the product: a fresh instance passes its input untouched, and the morph trades
// A's bits for B's one at a time, in the order the bit pattern gives, or bit by bit as the grid's
// switches say. A is a 440 Hz sine on the main bus, B a 660 Hz sine on the side-chain.
#include "tests/resources/product/productrig.h"

#include <string>

namespace {

using namespace producttest;

constexpr double kA = 440.0, kB = 660.0;

void ListenToSideChain(ProductRig& rig) { rig.SetText("B Source", "Side-chain"); }

bool Compiled(RQuillon& product, const char* fullName) {
  for (const auto& processor : product.GetProcessors())
    if (processor->Slot->FullName == RString::FromUTF8(fullName)) return true;
  return false;
}

TEST(ProductSound, AFreshInstancePassesItsInputUntouched) {
  ProductRig rig;
  const auto both = [](int64_t n) { return Sine(1000.0, 0.25)(n) + Sine(15000.0, 0.25)(n); };
  rig.Play(both, Silence(), 1.0);
  // The clipper's knee, the open filters and the idle paths leave both tones at their level.
  EXPECT_NEAR(rig.ToneDb(1000.0), 20.0 * std::log10(0.25), 0.05);
  // The words' low-pass at its top is off, though the state's text form held 20 kHz in
  // twelve digits, a hair below the top.
  EXPECT_NEAR(rig.ToneDb(15000.0), 20.0 * std::log10(0.25), 0.05);
  EXPECT_NEAR(rig.ToneDb(1000.0, true), 20.0 * std::log10(0.25), 0.05);
}

TEST(ProductSound, MorphWalksFromAToBByTheSpectrum) {
  ProductRig rig;
  ListenToSideChain(rig);
  const double full = 20.0 * std::log10(0.5);
  double lastBalance = -1e9;
  for (const double morph : {0.0, 0.25, 0.5, 0.75, 1.0}) {
    rig.Set("Morph", morph);
    rig.Play(Sine(kA, 0.5), Sine(kB, 0.5), 1.0);
    const double a = rig.ToneDb(kA), b = rig.ToneDb(kB);
    if (morph == 0.0) {
      EXPECT_NEAR(a, full, 0.1);
      EXPECT_LT(b, full - 80.0);
    } else if (morph == 1.0) {
      EXPECT_NEAR(b, full, 0.1);
      EXPECT_LT(a, full - 80.0);
    } else {
      // On the way both are there: the top bits already B's, the lower ones still A's.
      EXPECT_GT(b, full - 40.0) << morph;
    }
    EXPECT_GT(b - a, lastBalance) << "B gains on A at every step, at " << morph;
    lastBalance = b - a;
  }
  // The LED meters read how far the blend stands.
  rig.Set("Morph", 0.25);
  rig.Play(Sine(kA, 0.5), Sine(kB, 0.5), 0.2);
  EXPECT_NEAR(rig.Product().GetMultiParameter(79)->GetValue().GetNormalised(), 0.75, 1e-6);
  EXPECT_NEAR(rig.Product().GetMultiParameter(80)->GetValue().GetNormalised(), 0.25, 1e-6);
}

TEST(ProductSound, BitPatternPicksTheOrderInWhichBitsArrive) {
  ProductRig rig;
  ListenToSideChain(rig);
  rig.Set("Morph", 0.5);
  // Half way from the top: the upper eight bits are B's, so B rules.
  rig.SetText("Bit Pattern", "High to Low");
  EXPECT_EQ(rig.TextOf("Bit Blend - Bank").ToUTF8(), "4");
  rig.Play(Sine(kA, 0.5), Sine(kB, 0.5), 1.0);
  EXPECT_GT(rig.ToneDb(kB) - rig.ToneDb(kA), 30.0);
  // Half way from the bottom: only A's lower eight bits have gone.
  rig.SetText("Bit Pattern", "Low to High");
  EXPECT_EQ(rig.TextOf("Bit Blend - Bank").ToUTF8(), "1");
  rig.Play(Sine(kA, 0.5), Sine(kB, 0.5), 1.0);
  EXPECT_GT(rig.ToneDb(kA) - rig.ToneDb(kB), 30.0);
  // The bit matrix shows which bits are B's: the lower half now.
  for (int32_t bit = 1; bit <= 16; ++bit) {
    EXPECT_EQ(rig.Product().GetMultiParameter(51 + bit)->GetValue().GetNormalised(), bit > 8 ? 1.0 : 0.0) << bit;
  }
}

TEST(ProductSound, ModeGridSwapsTheBlendForTheGridAndItsSwitches) {
  ProductRig rig;
  ListenToSideChain(rig);
  EXPECT_TRUE(Compiled(rig.Product(), "Bit Blend"));
  EXPECT_FALSE(Compiled(rig.Product(), "Bit Grid"));
  rig.SetText("Mode", "Grid");
  EXPECT_FALSE(Compiled(rig.Product(), "Bit Blend"));
  EXPECT_TRUE(Compiled(rig.Product(), "Bit Grid"));

  rig.Set("Morph", 1.0);
  for (int32_t bit = 1; bit <= 16; ++bit) rig.SetText(std::to_string(100 + bit).substr(1).c_str(), "Off");
  rig.Play(Sine(kA, 0.5), Sine(kB, 0.5), 0.5);
  EXPECT_LT(rig.ToneDb(kB), -90.0) << "no switch on: A alone";
  std::vector<float> previous = rig.Left();
  // Every switch trades its own bit, the least significant one too (2^-15 apart).
  for (int32_t bit = 1; bit <= 16; ++bit) {
    const std::string name = std::to_string(100 + bit).substr(1);
    rig.SetText(name.c_str(), "On");
    rig.Play(Sine(kA, 0.5), Sine(kB, 0.5), 0.5);
    EXPECT_GT(ProductRig::Distance(rig.Left(), previous), 1e-5) << "switch " << name;
    EXPECT_EQ(rig.Product().GetMultiParameter(51 + bit)->GetValue().GetNormalised(), 1.0) << "its LED, " << name;
    previous = rig.Left();
  }
  EXPECT_NEAR(rig.ToneDb(kB), 20.0 * std::log10(0.5), 0.1) << "every switch on: B";

  rig.SetText("Mode", "Blend");
  EXPECT_TRUE(Compiled(rig.Product(), "Bit Blend"));
  EXPECT_FALSE(Compiled(rig.Product(), "Bit Grid"));
}

TEST(ProductSound, BSourceChoosesTheSideChainTheInputOrSilence) {
  ProductRig rig;
  rig.Set("Morph", 1.0);
  rig.Play(Sine(kA, 0.5), Sine(kB, 0.5), 0.5);
  EXPECT_NEAR(rig.ToneDb(kA), 20.0 * std::log10(0.5), 0.1) << "B is the main input";
  EXPECT_LT(rig.ToneDb(kB), -90.0);
  rig.SetText("B Source", "Side-chain");
  rig.Play(Sine(kA, 0.5), Sine(kB, 0.5), 0.5);
  EXPECT_NEAR(rig.ToneDb(kB), 20.0 * std::log10(0.5), 0.1);
  // Silence as B makes the morph a bit crusher: from the bottom, half way keeps 8 bits of A.
  rig.SetText("B Source", "Silence");
  rig.SetText("Bit Pattern", "Low to High");
  rig.Set("Morph", 0.5);
  rig.Play(Sine(kA, 0.5), Silence(), 0.5);
  EXPECT_NEAR(rig.ToneDb(kA), 20.0 * std::log10(0.5), 0.5);
  rig.Set("Morph", 1.0);
  rig.Play(Sine(kA, 0.5), Sine(kB, 0.5), 0.5);
  EXPECT_LT(rig.LevelDb(), -120.0);
}

} // namespace
