// The hooks a band engine uses: a state placed in the caller's memory, the block's prepare and
// the per-band process, which must give what the module gives through its own cycle.
#include <gtest/gtest.h>

#include <memory>

#include "tests/modules/wordmangler/wordmanglertest.h"

using namespace wmtest;

namespace {

constexpr int32_t kBlock = 256;

// Every stage engaged, so that any state the hooks failed to carry would show.
std::unique_ptr<RWordMangler> MakeBusy() {
  auto m = MakeBare(13);
  m->GetSideChain().SetValueNow(1.0);
  m->GetDelay().SetValueNow(0.002);
  m->GetLowPass().SetValueNow(6000.0);
  m->GetDCBlocker().SetValueNow(1.0);
  m->GetAGC().SetValueNow(1.0);
  m->GetGainIn().SetValueNow(1.5);
  m->GetGainOut().SetValueNow(0.8);
  m->GetDryWet().SetValueNow(0.7);
  SetMask(*m, RWordOperationKind::kXor, {3, 4}, 2);
  SetMask(*m, RWordOperationKind::kReplace, {1, 2, 3, 9}, -1);
  SetMask(*m, RWordOperationKind::kAnd, {1, 2, 3, 4, 5, 6, 7}, 0);
  SetMask(*m, RWordOperationKind::kOr, {12}, 5, false);
  Start(*m, 48000.0, kBlock);
  return m;
}

// A state in memory of the test's own, as a band engine holds it.
struct PlacedState {
  explicit PlacedState(RWordMangler& m, int32_t channels)
      : memory(new std::max_align_t[RWordMangler::GetStateSize(channels) / sizeof(std::max_align_t) + 1]),
        state(m.ConstructState(memory.get(), channels)) {}
  ~PlacedState() { RWordMangler::DestroyState(state); }
  std::unique_ptr<std::max_align_t[]> memory;
  RWordManglerState* state;
};

// Runs blocks of main and side through ProcessBand on the given states, one band per state,
// all bands sharing each block's prepare.
void RunBands(RWordMangler& m, std::vector<PlacedState*> bands, std::vector<Output*> outs, const Signal& main,
              const Signal& side) {
  for (size_t at = 0; at < main.size(); at += kBlock) {
    const int32_t n = int32_t(std::min(main.size() - at, size_t(kBlock)));
    m.PrepareBands(n);
    for (size_t b = 0; b < bands.size(); ++b) {
      const float* inputs[2] = {main.data() + at, main.data() + at};
      const float* sides[2] = {side.data() + at, side.data() + at};
      float* outputs[2] = {outs[b]->left.data() + at, outs[b]->right.data() + at};
      m.ProcessBand(*bands[b]->state, inputs, sides, outputs, n);
    }
  }
}

} // namespace

TEST(WordManglerBands, ABandThroughTheHooksEqualsTheModule) {
  const Signal main = Sine(48000, 300.0, 0.9), side = Sine(48000, 2000.0, 0.6);
  auto module = MakeBusy();
  const Output expected = Feed(*module, main, side, kBlock);

  auto engine = MakeBusy();
  PlacedState band(*engine, 2);
  Output out{Signal(main.size()), Signal(main.size())};
  RunBands(*engine, {&band}, {&out}, main, side);
  EXPECT_EQ(out.left, expected.left);
  EXPECT_EQ(out.right, expected.right);
}

TEST(WordManglerBands, BandsKeepTheirStatesApart) {
  const Signal main = Sine(24000, 300.0, 0.9), side = Sine(24000, 2000.0, 0.6);
  auto single = MakeBusy();
  PlacedState alone(*single, 2);
  Output expected{Signal(main.size()), Signal(main.size())};
  RunBands(*single, {&alone}, {&expected}, main, side);

  // Three bands fed the same signal in turn each give the single band's stream: no delay
  // line, filter or gain state leaks from one band into the next.
  auto engine = MakeBusy();
  PlacedState a(*engine, 2), b(*engine, 2), c(*engine, 2);
  Output outA{Signal(main.size()), Signal(main.size())}, outB = outA, outC = outA;
  RunBands(*engine, {&a, &b, &c}, {&outA, &outB, &outC}, main, side);
  EXPECT_EQ(outA.left, expected.left);
  EXPECT_EQ(outB.left, expected.left);
  EXPECT_EQ(outC.right, expected.right);
}
