// The word stage through the module, bit for bit: quantising and back, clipping, the plain
// and control forms of the four operations, shifts and rotations, the side-chain as control.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/modules/wordmangler/wordmanglertest.h"

using namespace wmtest;

namespace {

// Main and side-chain signals that cover the whole range and differ everywhere.
const Signal kMain = Sine(2048, 441.0, 0.9);
const Signal kSide = Sine(2048, 1234.0, 0.7, 48000.0, 0.3);

} // namespace

TEST(WordStage, SilenceSitsOneStepBelowZero) {
  for (int32_t bits : {16, 8}) {
    auto m = MakeBare(bits);
    Start(*m);
    const Output out = Feed(*m, Signal(1024, 0.0f));
    const uint32_t word = (Full(bits) - 1) / 2;
    for (float y : out.left) ASSERT_EQ(y, ReferenceSample(word, bits));
    EXPECT_NEAR(out.right.back(), -1.0 / Full(bits), 1e-7) << bits;
  }
}

TEST(WordStage, FullScaleMapsToTheEndsAndBeyondClips) {
  auto m = MakeBare(16);
  Start(*m);
  const float inf = std::numeric_limits<float>::infinity();
  const Signal in = {1.0f, -1.0f, 1.5f, -3.0f, 1e30f, -1e30f, inf, -inf, std::nanf("")};
  const Output out = Feed(*m, in);
  const float top = ReferenceSample(Full(16), 16);
  const float bottom = ReferenceSample(0, 16);
  EXPECT_NEAR(top, 1.0f, 1e-6f);
  EXPECT_EQ(bottom, -1.0f);
  const Signal expected = {top, bottom, top, bottom, top, bottom, top, bottom, bottom};
  for (size_t i = 0; i < in.size(); ++i) EXPECT_EQ(out.left[i], expected[i]) << i;
}

TEST(WordStage, QuantisingRoundsToTheNearestStepAtEveryWidth) {
  // A slow ramp through the range crosses every rounding tie of the narrow widths.
  Signal ramp(8192);
  for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = -1.0f + 2.0f * float(i) / float(ramp.size() - 1);
  for (int32_t bits = 1; bits <= 16; ++bits) {
    auto m = MakeBare(bits);
    Start(*m);
    const Output out = Feed(*m, ramp);
    for (size_t i = 0; i < ramp.size(); ++i) {
      ASSERT_EQ(out.left[i], ReferenceSample(ReferenceWord(ramp[i], bits), bits)) << bits << " at " << i;
    }
  }
}

TEST(WordStage, OneBitGivesOnlyTheEnds) {
  auto m = MakeBare(1);
  Start(*m);
  const Output out = Feed(*m, {0.0f, 0.5f, -0.5f, 0.9f, -0.9f, 0.51f});
  // 0 and -0.5 round down (0.5 ties to even), 0.5 and above reach the top.
  EXPECT_EQ(out.left, (Signal{-1.0f, 1.0f, -1.0f, 1.0f, -1.0f, 1.0f}));
}

TEST(WordStage, PlainOperationsUseTheMaskAlone) {
  const int32_t bits = 8;
  {
    // AND with no switch clears every word: the stage gives -1 ...
    auto m = MakeBare(bits);
    SetMask(*m, RWordOperationKind::kAnd, {});
    Start(*m);
    for (float y : Feed(*m, kMain).left) ASSERT_EQ(y, -1.0f);
  }
  {
    // ... and only the DC blocker brings that to silence.
    auto m = MakeBare(bits);
    SetMask(*m, RWordOperationKind::kAnd, {});
    m->GetDCBlocker().SetValueNow(1.0);
    Start(*m);
    const Output out = Feed(*m, Signal(48000, 0.25f));
    EXPECT_LT(std::fabs(out.left.back()), 1e-3f);
    EXPECT_LT(out.left.front(), -0.9f);
  }
  {
    // OR with switch 1 sets the top bit everywhere: the signal folds into the upper half.
    auto m = MakeBare(bits);
    SetMask(*m, RWordOperationKind::kOr, {1}, 0);
    Start(*m);
    const Output out = Feed(*m, kMain);
    for (size_t i = 0; i < kMain.size(); ++i) {
      ASSERT_EQ(out.left[i], ReferenceSample(ReferenceWord(kMain[i], bits) | 0x80u, bits)) << i;
      ASSERT_GT(out.left[i], 0.0f);
    }
  }
  {
    // XOR inverts the selected bits, AND keeps only them; switch 16 is ignored at 8 bits.
    auto m = MakeBare(bits);
    SetMask(*m, RWordOperationKind::kXor, {2, 8, 16});
    SetMask(*m, RWordOperationKind::kAnd, {1, 2, 3, 4, 8});
    Start(*m);
    const Output out = Feed(*m, kMain);
    for (size_t i = 0; i < kMain.size(); ++i) {
      const uint32_t word = (ReferenceWord(kMain[i], bits) ^ 0x41u) & 0xF1u;
      ASSERT_EQ(out.left[i], ReferenceSample(word, bits)) << i;
    }
  }
}

TEST(WordStage, ReplaceWithoutControlChangesNothing) {
  auto m = MakeBare(12);
  SetMask(*m, RWordOperationKind::kReplace, {1, 3, 5, 7, 9, 11});
  Start(*m);
  const Output out = Feed(*m, kMain);
  for (size_t i = 0; i < kMain.size(); ++i) ASSERT_EQ(out.left[i], ReferenceSample(ReferenceWord(kMain[i], 12), 12));
}

TEST(WordStage, ReplacingEveryBitGivesTheSideChainQuantised) {
  auto m = MakeBare(16);
  m->GetSideChain().SetValueNow(1.0);
  SetMask(*m, RWordOperationKind::kReplace, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
  Start(*m);
  const Output out = Feed(*m, kMain, kSide);
  for (size_t i = 0; i < kMain.size(); ++i) {
    ASSERT_EQ(out.left[i], ReferenceSample(ReferenceWord(kSide[i], 16), 16)) << i;
    ASSERT_EQ(out.right[i], out.left[i]);
  }
}

TEST(WordStage, HalfTheSwitchesJoinHighBitsOfOneAndLowBitsOfTheOther) {
  auto m = MakeBare(16);
  m->GetSideChain().SetValueNow(1.0);
  // The product's slots select from the bottom up: here the eight low bits come from B.
  SetMask(*m, RWordOperationKind::kReplace, {9, 10, 11, 12, 13, 14, 15, 16});
  Start(*m);
  const Output out = Feed(*m, kMain, kSide);
  for (size_t i = 0; i < kMain.size(); ++i) {
    const uint32_t word = (ReferenceWord(kMain[i], 16) & 0xFF00u) | (ReferenceWord(kSide[i], 16) & 0x00FFu);
    ASSERT_EQ(out.left[i], ReferenceSample(word, 16)) << i;
  }
}

TEST(WordStage, ControlFormsActOnlyWhereTheControlWordHasBits) {
  const int32_t bits = 10;
  const uint32_t mask = 0x2F0u;  // switches 1, 3, 4, 5, 6
  auto m = MakeBare(bits);
  m->GetSideChain().SetValueNow(1.0);
  SetMask(*m, RWordOperationKind::kXor, {1, 3, 4, 5, 6});
  SetMask(*m, RWordOperationKind::kAnd, {1, 3, 4, 5, 6});
  SetMask(*m, RWordOperationKind::kOr, {1, 3, 4, 5, 6}, 0);
  Start(*m);
  const Output out = Feed(*m, kMain, kSide);
  for (size_t i = 0; i < kMain.size(); ++i) {
    const uint32_t r = ReferenceWord(kSide[i], bits);
    uint32_t w = ReferenceWord(kMain[i], bits);
    w ^= r & mask;
    w &= r | ~mask;  // unselected bits stay: not the plain form's clearing
    w |= r & mask;
    ASSERT_EQ(out.left[i], ReferenceSample(w, bits)) << i;
  }
}

TEST(WordStage, ShiftsAndRotationsMoveTheControlWord) {
  const int32_t bits = 8;
  const uint32_t full = Full(bits);
  struct Case {
    int32_t shift;
    bool rotate;
    uint32_t (*control)(uint32_t c);
  };
  const Case cases[] = {
      {3, true, [](uint32_t c) { return ((c >> 3) | (c << 5)) & 0xFFu; }},
      {-2, true, [](uint32_t c) { return ((c << 2) | (c >> 6)) & 0xFFu; }},
      {3, false, [](uint32_t c) { return c >> 3; }},
      {-2, false, [](uint32_t c) { return c << 2; }},
      {8, true, [](uint32_t c) { return c; }},
      {-8, true, [](uint32_t c) { return c; }},
      {8, false, [](uint32_t) { return 0u; }},
      {-8, false, [](uint32_t) { return 0u; }},
      {12, true, [](uint32_t) { return 0u; }},  // beyond the width both terms leave the word
      {-12, true, [](uint32_t c) { return c << 12; }},
  };
  for (const Case& k : cases) {
    auto m = MakeBare(bits);
    m->GetSideChain().SetValueNow(1.0);
    SetMask(*m, RWordOperationKind::kReplace, {1, 2, 3, 4, 5, 6, 7, 8}, k.shift, k.rotate);
    Start(*m);
    const Output out = Feed(*m, kMain, kSide);
    for (size_t i = 0; i < kMain.size(); ++i) {
      const uint32_t word = k.control(ReferenceWord(kSide[i], bits)) & full;
      ASSERT_EQ(out.left[i], ReferenceSample(word, bits)) << k.shift << (k.rotate ? " rotated" : "") << " at " << i;
    }
  }
}

TEST(WordStage, AShiftWithoutControlReadsTheWordAsTheOperationsBeforeLeftIt) {
  const int32_t bits = 8;
  auto m = MakeBare(bits);
  // XOR's plain form first, then Replace with a shift against the word itself.
  SetMask(*m, RWordOperationKind::kXor, {8});
  SetMask(*m, RWordOperationKind::kReplace, {1, 2, 3, 4}, 4, true);
  Start(*m);
  const Output out = Feed(*m, kMain);
  for (size_t i = 0; i < kMain.size(); ++i) {
    const uint32_t w = ReferenceWord(kMain[i], bits) ^ 1u;
    const uint32_t r = ((w >> 4) | (w << 4)) & 0xFFu;
    ASSERT_EQ(out.left[i], ReferenceSample((w & 0x0Fu) | (r & 0xF0u), bits)) << i;
  }
  // Shifting by the whole width with rotation is the identity; without it, the bits go.
  for (bool rotate : {true, false}) {
    auto n = MakeBare(bits);
    SetMask(*n, RWordOperationKind::kReplace, {1, 2, 3, 4, 5, 6, 7, 8}, -bits, rotate);
    Start(*n);
    const Output shifted = Feed(*n, kMain);
    for (size_t i = 0; i < kMain.size(); ++i) {
      const uint32_t word = rotate ? ReferenceWord(kMain[i], bits) : 0u;
      ASSERT_EQ(shifted.left[i], ReferenceSample(word, bits)) << rotate << " at " << i;
    }
  }
}
