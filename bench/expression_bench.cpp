// Expressions: cost of one evaluation of a target's expression after its variables are filled,
// of a block of samples as the channel tool runs it, and of compiling a text.
#include <benchmark/benchmark.h>

#include <vector>

#include "modulation/expression.h"

namespace {

// The identity (the default), a typical target expression reading two variables, a curve with a
// conditional, and a function-heavy one.
const char* const kTexts[] = {
    "x",
    "clamp(x * p3 + t1 * 0.5, 0, 1)",
    "x < 0.5 ? 2 * x^2 : 1 - 2 * (1 - x)^2",
    "sqrt(abs(sin(x * pi) * exp(-x))) + log(1 + x)",
};

void BM_ExpressionEvaluate(benchmark::State& state) {
  RExpression expression(RString::FromUTF8(kTexts[state.range(0)]));
  constexpr int kValues = 512;
  double sum = 0;
  for (auto _ : state) {
    for (int i = 0; i < kValues; ++i) {
      // As a multi-parameter applies: fill the slots, then evaluate.
      for (int32_t slot = 0; slot < expression.GetVariableCount(); ++slot) expression.SetVariable(slot, 0.25);
      sum += expression.Evaluate(i / double(kValues));
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kValues);
  state.SetLabel(kTexts[state.range(0)]);
}

void BM_ExpressionEvaluateBlock(benchmark::State& state) {
  RExpression expression(RString::FromUTF8(kTexts[state.range(0)]));
  constexpr int kFrames = 512;
  std::vector<float> in(kFrames), out(kFrames);
  for (int i = 0; i < kFrames; ++i) in[i] = float(i) / kFrames;
  for (auto _ : state) {
    expression.EvaluateBlock(in.data(), out.data(), kFrames);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
  state.SetLabel(kTexts[state.range(0)]);
}

void BM_ExpressionCompile(benchmark::State& state) {
  const RString text = RString::FromUTF8(kTexts[state.range(0)]);
  RExpression expression;
  for (auto _ : state) {
    expression.Compile(text);
    benchmark::DoNotOptimize(expression.IsCompiled());
  }
  state.SetLabel(kTexts[state.range(0)]);
}

BENCHMARK(BM_ExpressionEvaluate)->DenseRange(0, 3);
BENCHMARK(BM_ExpressionEvaluateBlock)->DenseRange(0, 3);
BENCHMARK(BM_ExpressionCompile)->DenseRange(0, 3);

}  // namespace
