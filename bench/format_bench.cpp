#include <benchmark/benchmark.h>

#include "base/format.h"
#include "base/valuedisplay.h"

namespace {

// A knob being turned redraws its value text every frame: the template compile and one
// double rendering are the whole cost.
void BM_FormatDecibels(benchmark::State& state) {
  double value = -6.0206;
  for (auto _ : state) {
    RString text = RFormat("{0.2} dB") << value;
    benchmark::DoNotOptimize(text);
    value += 1e-6;
  }
}
BENCHMARK(BM_FormatDecibels);

void BM_ValueDisplayGain(benchmark::State& state) {
  double linear = 0.5;
  for (auto _ : state) {
    RString text = RValueDisplay::Gain(linear);
    benchmark::DoNotOptimize(text);
    linear = linear < 4.0 ? linear * 1.0001 : 0.5;
  }
}
BENCHMARK(BM_ValueDisplayGain);

// Three arguments out of text order: each feed moves the records behind it.
void BM_FormatMessageOfThreeArguments(benchmark::State& state) {
  const RString path(u"C:/Users/someone/Documents/Quillon/Presets/Pads.preset");
  for (auto _ : state) {
    RString text = RFormat("File \"{1}\" line {2}: {0}") << "unexpected end" << path << 42;
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_FormatMessageOfThreeArguments);

// Window positions and sizes in settings are read as pairs.
void BM_ScanPair(benchmark::State& state) {
  const RString input("1280,720");
  for (auto _ : state) {
    int32_t width = 0, height = 0;
    RFormatScan("{0},{1}", input) >> width >> height;
    benchmark::DoNotOptimize(width);
    benchmark::DoNotOptimize(height);
  }
}
BENCHMARK(BM_ScanPair);

// The semicolon form costs a failed first reading.
void BM_ReadPairSemicolon(benchmark::State& state) {
  const RString input("0,25;0,75");
  for (auto _ : state) {
    double x = 0, y = 0;
    benchmark::DoNotOptimize(RNumberText::ReadPair(input, x, y));
    benchmark::DoNotOptimize(x);
  }
}
BENCHMARK(BM_ReadPairSemicolon);

} // namespace
