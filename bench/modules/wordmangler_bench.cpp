// Cost of the word mangler per stereo frame over 512-frame blocks through its cycle: the
// product's setting (side-chain, 16 bits, Replace with 8 switches, low-pass off), every
// operation at once, and the product's bank of 16 manglers fed the same A and B.
#include <memory>
#include <vector>

#include "bench/modules/modulebench.h"
#include "modules/wordmangler/wordmangler.h"

namespace {

using namespace modulebench;

// A and B, stereo, as the cycle takes them: main bus then side-chain bus.
RChannels Inputs() { return RChannels(4, 1.0f, 1); }

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

void Run(benchmark::State& state, std::vector<std::unique_ptr<RWordMangler>>& bank) {
  RChannels in = Inputs();
  std::vector<RChannels> outs;
  for (size_t k = 0; k < bank.size(); ++k) outs.emplace_back(2);
  for (auto& m : bank) m->SetHostFormat(kRate, kBlock, 2, 2, 1);
  for (auto _ : state) {
    for (size_t k = 0; k < bank.size(); ++k) {
      bank[k]->ProcessCycle(in.Pointers(), outs[k].Pointers(), kBlock, nullptr);
      benchmark::DoNotOptimize(outs[k][0].data());
    }
  }
  CountPerFrame(state);
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
  m->SetHostFormat(kRate, kBlock, 2, 2, 1);
  RChannels in = Inputs();
  RChannels out(2);
  const float* main[2] = {in[0].data(), in[1].data()};
  const float* side[2] = {in[2].data(), in[3].data()};
  for (auto _ : state) {
    m->PrepareBands(kBlock);
    m->ProcessBand(*m->GetState(), main, side, out.Pointers(), kBlock);
    benchmark::DoNotOptimize(out[0].data());
  }
  CountPerFrame(state);
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
