// Shapes: cost of one value through the remembered segment, and per sample of a block, for the
// cheap kinds (straight, quadratic, smooth cubic) and a dear one (sines).
#include <benchmark/benchmark.h>

#include <vector>

#include "modulation/shape.h"

namespace {

enum Case { kStraight, kQuadratic, kSmooth, kSines };

RShape MakeShape(Case which) {
  const int32_t kinds[] = {kCurveQuartic, kCurveQuadratic, kCurveSmooth, kCurveSines};
  std::vector<RShapePoint> points;
  // Eight stretches, so the evaluator crosses segments as it goes.
  for (int i = 0; i <= 8; ++i) {
    RShapePoint p;
    p.X = i / 8.0;
    p.Y = (i * 37 % 11) / 10.0;
    p.Type = kinds[which];
    p.Curvature = which == kStraight ? 0.0 : 0.4;
    points.push_back(p);
  }
  RShape shape;
  shape.SetPoints(points);
  return shape;
}

// A rising sweep over the whole shape, as a modulator's phase runs.
void BM_ShapeEvaluate(benchmark::State& state) {
  RShape shape = MakeShape(Case(state.range(0)));
  constexpr int kValues = 512;
  double sum = 0;
  for (auto _ : state) {
    for (int i = 0; i < kValues; ++i) sum += shape.Evaluate(i / double(kValues));
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kValues);
}

void BM_ShapeEvaluateBlock(benchmark::State& state) {
  RShape shape = MakeShape(Case(state.range(0)));
  constexpr int kFrames = 512;
  std::vector<float> out(kFrames);
  for (auto _ : state) {
    shape.EvaluateBlock(out.data(), 0.0, 1.0 / kFrames, kFrames);
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
}

BENCHMARK(BM_ShapeEvaluate)->ArgName("straight0_quadratic1_smooth2_sines3")->DenseRange(0, 3);
BENCHMARK(BM_ShapeEvaluateBlock)->ArgName("straight0_quadratic1_smooth2_sines3")->DenseRange(0, 3);

} // namespace
