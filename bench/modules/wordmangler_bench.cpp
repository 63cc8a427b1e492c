// Cost of the word mangler per stereo frame over 512-frame blocks through its cycle: the
// product's setting (side-chain, 16 bits, Replace with 8 switches, low-pass off), every
// operation at once, and the product's bank of 16 manglers fed the same A and B.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

#include "modules/wordmangler/wordmangler.h"

namespace {

constexpr int32_t kBlock = 512;

std::vector<float> Noise(uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
  std::vector<float> x(static_cast<size_t>(kBlock));
  for (float& v : x) v = uniform(random);
  return x;
}

// A and B, stereo, as the cycle takes them: main bus then side-chain bus.
struct Inputs {
  std::vector<float> channels[4] = {Noise(1), Noise(2), Noise(3), Noise(4)};
  float* pointers[4] = {channels[0].data(), channels[1].data(), channels[2].data(), channels[3].data()};
};

struct Outputs {
  std::vector<float> left = std::vector<float>(size_t(kBlock)), right = std::vector<float>(size_t(kBlock));
  float* pointers[2] = {left.data(), right.data()};
};

// The product's slots: side-chain, 16 bits, low-pass off, XOR off and Replace with the
// lowest `switches` bits taken from B.
std::unique_ptr<RWordMangler> MakeProductSlot(int32_t switches) {
  auto m = std::make_unique<RWordMangler>();
  m->InitParameters();
  m->GetSideChain().SetValueNow(1.0);
  m->GetBits().SetValueNow(16);
  m->GetLowPass().SetValueNow(20000.0);
  m->GetOperation(RWordOperationKind::kXor).Enable->SetValueNow(0.0);
  RWordMangler::Operation& replace = m->GetOperation(RWordOperationKind::kReplace);
  replace.Enable->SetValueNow(1.0);
  for (int32_t i = 16; i > 16 - switches; --i) replace.Mask[i - 1]->SetValueNow(1.0);
  return m;
}

void PerFrame(benchmark::State& state, int64_t framesPerIteration) {
  state.SetItemsProcessed(int64_t(state.iterations()) * framesPerIteration);
  // Shown as time per stereo frame.
  state.counters["per_frame"] = benchmark::Counter(double(framesPerIteration),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

void Run(benchmark::State& state, std::vector<std::unique_ptr<RWordMangler>>& bank) {
  Inputs in;
  std::vector<Outputs> outs(bank.size());
  for (auto& m : bank) m->SetHostFormat(48000.0, kBlock, 2, 2, 1);
  for (auto _ : state) {
    for (size_t k = 0; k < bank.size(); ++k) {
      bank[k]->ProcessCycle(in.pointers, outs[k].pointers, kBlock, nullptr);
      benchmark::DoNotOptimize(outs[k].left.data());
    }
  }
  PerFrame(state, kBlock);
}

void BM_WordMangler_Product(benchmark::State& state) {
  std::vector<std::unique_ptr<RWordMangler>> bank;
  bank.push_back(MakeProductSlot(8));
  Run(state, bank);
}
BENCHMARK(BM_WordMangler_Product);

// The same setting through the band hooks alone, without the kernel's cycle around them: what
// a band engine pays per band.
void BM_WordMangler_ProductBand(benchmark::State& state) {
  auto m = MakeProductSlot(8);
  m->SetHostFormat(48000.0, kBlock, 2, 2, 1);
  Inputs in;
  Outputs out;
  const float* main[2] = {in.pointers[0], in.pointers[1]};
  const float* side[2] = {in.pointers[2], in.pointers[3]};
  for (auto _ : state) {
    m->PrepareBands(kBlock);
    m->ProcessBand(*m->GetState(), main, side, out.pointers, kBlock);
    benchmark::DoNotOptimize(out.left.data());
  }
  PerFrame(state, kBlock);
}
BENCHMARK(BM_WordMangler_ProductBand);

void BM_WordMangler_AllOperations(benchmark::State& state) {
  std::vector<std::unique_ptr<RWordMangler>> bank;
  bank.push_back(MakeProductSlot(8));
  RWordMangler& m = *bank.back();
  m.GetLowPass().SetValueNow(5000.0);
  const int32_t shifts[] = {3, -2, 1, -5};
  for (int32_t k = 0; k < RWordMangler::kOperations; ++k) {
    RWordMangler::Operation& op = m.GetOperation(RWordOperationKind(k));
    op.Enable->SetValueNow(1.0);
    op.Shift->SetValueNow(shifts[k]);
    op.Rotate->SetValueNow(k % 2 == 0 ? 1.0 : 0.0);
    for (int32_t i = k; i < 16; i += 3) op.Mask[i]->SetValueNow(1.0);
  }
  Run(state, bank);
}
BENCHMARK(BM_WordMangler_AllOperations);

// The bank behind the product's morph without its blend: "Bit 01" to "Bit 16", each taking
// one more low bit from B. The figure is per stereo frame for all 16.
void BM_WordMangler_Bank16(benchmark::State& state) {
  std::vector<std::unique_ptr<RWordMangler>> bank;
  for (int32_t k = 1; k <= 16; ++k) bank.push_back(MakeProductSlot(k));
  Run(state, bank);
}
BENCHMARK(BM_WordMangler_Bank16);

} // namespace
