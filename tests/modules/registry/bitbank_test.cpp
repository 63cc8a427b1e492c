// The product's morph on one bank of the bit blend: word manglers taking one more bit of A from
// B slot by slot, and the many-way blend walking their 17 lanes. At 0 the output is A, at 1 it
// is B at 16 bits, and at position k of 16 it is A with its lower k bits taken from B: within
// 2^k steps of 16 bits of A. The manglers' DC blockers are off so that the bounds are exact.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "base/memorystream.h"
#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "kernel/value.h"
#include "modules/registermodules.h"
#include "tests/support/bitbankstate.h"

namespace {

constexpr int32_t kFrames = 256;
constexpr double kRate = 48000.0;

class BitBank {
public:
  BitBank() {
    RegisterModules();
    RAudioPlugin::Options options;
    options.sleep = false;
    graph_ = std::make_unique<RAudioPluginModular>(RString("Bit Blend"), 32, true, options);
    graph_->InitParameters();
    graph_->SetHostFormat(kRate, kFrames, 2, 2, 1);
    const std::string xml = BitBankState(false);
    RMemoryStream stream(xml.data(), int64_t(xml.size()));
    RTagItem root;
    root.Load(stream);
    graph_->LoadStateTree(root);
  }

  size_t SlotCount() const { return graph_->GetSlots().size(); }
  void SetBlendBypass(bool on) {
    const int32_t index = graph_->GetParameterIndex(RString("ManyWayBlend 1 - Bypass"));
    ASSERT_GE(index, 0);
    graph_->GetParameterValue(index)->SetNormalised(on ? 1.0 : 0.0);
    graph_->GetParameterValue(index)->SyncProcessing();
  }
  // Which of "Bit 00" .. "Bit 16" have processed a block so far.
  std::vector<int32_t> WordsThatRan() const {
    std::vector<int32_t> ran;
    for (int32_t k = 0; k <= 16; ++k)
      if (graph_->GetSlots()[size_t(k)]->GetModule().GetLastBlockSize() > 0) ran.push_back(k);
    return ran;
  }

  void SetMorph(double ratio) {
    const int32_t index = graph_->GetParameterIndex(RString("ManyWayBlend 1 - Ratio"));
    ASSERT_GE(index, 0);
    static_cast<RRangedValue*>(graph_->GetParameterValue(index))->SetValueNow(ratio);
  }

  // Runs a second of A (440 Hz) on the main bus and B (660 Hz) on the side-chain; returns the
  // largest distance of the last block's left channel from A and from B.
  void Run(double& fromA, double& fromB) {
    std::vector<std::vector<float>> in(4, std::vector<float>(kFrames)), out(2, std::vector<float>(kFrames));
    float* inputs[4] = {in[0].data(), in[1].data(), in[2].data(), in[3].data()};
    float* outputs[2] = {out[0].data(), out[1].data()};
    const int32_t blocks = int32_t(kRate) / kFrames;
    for (int32_t block = 0; block < blocks; ++block) {
      for (int32_t i = 0; i < kFrames; ++i) {
        const double t = double(n_ + i) / kRate;
        in[0][size_t(i)] = in[1][size_t(i)] = float(0.5 * std::sin(2.0 * M_PI * 440.0 * t));
        in[2][size_t(i)] = in[3][size_t(i)] = float(0.5 * std::sin(2.0 * M_PI * 660.0 * t));
      }
      n_ += kFrames;
      graph_->ProcessCycle(inputs, outputs, kFrames, nullptr);
    }
    fromA = fromB = 0.0;
    for (int32_t i = 0; i < kFrames; ++i) {
      fromA = std::max(fromA, std::fabs(double(out[0][size_t(i)]) - double(in[0][size_t(i)])));
      fromB = std::max(fromB, std::fabs(double(out[0][size_t(i)]) - double(in[2][size_t(i)])));
    }
  }

private:
  std::unique_ptr<RAudioPluginModular> graph_;
  int64_t n_ = 0;
};

TEST(BitBankMorph, WalksFromAToBOneBitAtATime) {
  BitBank bank;
  ASSERT_EQ(bank.SlotCount(), 18u) << "the bank's 17 slots and its blend";
  // One step of a 16-bit word in samples.
  const double step = 2.0 / 65535.0;
  double fromA = 0.0, fromB = 0.0;

  bank.SetMorph(0.0);
  bank.Run(fromA, fromB);
  EXPECT_LT(fromA, 1e-6) << "at 0 the bank passes A";
  EXPECT_GT(fromB, 0.3);

  for (int32_t position : {4, 8, 12}) {
    bank.SetMorph(double(position) / 16.0);
    bank.Run(fromA, fromB);
    const double bound = double(1 << position) * step;
    EXPECT_LE(fromA, bound) << "position " << position << ": more than the lower bits changed";
    EXPECT_GT(fromA, bound / 16.0) << "position " << position << ": the lower bits are not B's";
  }

  bank.SetMorph(1.0);
  bank.Run(fromA, fromB);
  EXPECT_LT(fromB, 2.0 * step) << "at 1 the bank gives B at 16 bits";
  EXPECT_GT(fromA, 0.3);
}

TEST(BitBankMorph, OnlyTheWordsTheBlendStandsBetweenRun) {
  BitBank bank;
  // The blend starts at its default, half way: bus 8, its neighbour above, and one below for
  // the rounding of the blend's own position.
  double fromA = 0.0, fromB = 0.0;
  bank.Run(fromA, fromB);
  EXPECT_EQ(bank.WordsThatRan(), (std::vector<int32_t>{7, 8, 9}));
  // A block that glides from 8 to 12 needs every word on the way.
  BitBank moving;
  moving.SetMorph(0.75);
  moving.Run(fromA, fromB);
  EXPECT_EQ(moving.WordsThatRan(), (std::vector<int32_t>{7, 8, 9, 10, 11, 12, 13}));
  // Bypassed, the blend passes its first bus: "Bit 00" must run again.
  BitBank bypassed;
  bypassed.SetBlendBypass(true);
  bypassed.Run(fromA, fromB);
  EXPECT_EQ(bypassed.WordsThatRan().front(), 0);
  EXPECT_LT(fromA, 1e-6) << "the bypassed blend gives A, read from a word that ran";
}

} // namespace
