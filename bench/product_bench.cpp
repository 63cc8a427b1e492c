// What an instance costs to make: the product built as a host gets it (definition read,
// counts and table, default state loaded), and the reset to defaults alone, as a user's
// "default preset" runs it. Target for the construction: below 50 ms.

#include <benchmark/benchmark.h>

#include <memory>

#include "graph/product/quillon.h"
#include "modules/registermodules.h"

namespace {

void BM_ProductConstruction(benchmark::State& state) {
  RegisterModules();
  for (auto _ : state) {
    std::unique_ptr<RQuillon> product = RQuillon::Create();
    benchmark::DoNotOptimize(product.get());
  }
  state.SetLabel("constructor + InitParameters + reset to defaults");
}
BENCHMARK(BM_ProductConstruction)->Unit(benchmark::kMillisecond);

void BM_ProductResetToDefaults(benchmark::State& state) {
  std::unique_ptr<RQuillon> product = RQuillon::Create();
  for (auto _ : state) product->ResetToDefaults();
}
BENCHMARK(BM_ProductResetToDefaults)->Unit(benchmark::kMillisecond);

} // namespace
