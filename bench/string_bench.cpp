#include <benchmark/benchmark.h>

#include <string>

#include "base/string.h"

namespace {

// Copies of inline text move the units; copies of heap text share the block.
void BM_StringCopy(benchmark::State& state) {
  RString source(std::u16string(size_t(state.range(0)), u'k'));
  for (auto _ : state) {
    RString copy = source;
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_StringCopy)->Arg(8)->Arg(59)->Arg(60)->Arg(1000);

void BM_StringCompareFolded(benchmark::State& state) {
  RString a(u"ParameterNameWithAccents\u00E9\u00E8");
  RString b(u"parameternamewithaccentsEE");
  for (auto _ : state) benchmark::DoNotOptimize(a.Compare(b));
}
BENCHMARK(BM_StringCompareFolded);

void BM_StringHash(benchmark::State& state) {
  RShortString key(u"MaxLFOBlockSize");
  for (auto _ : state) benchmark::DoNotOptimize(RHashedString::Hash(key));
}
BENCHMARK(BM_StringHash);

} // namespace
