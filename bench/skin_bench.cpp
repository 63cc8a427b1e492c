// Decoding the product's own skin from the data the library embeds, as the editor does when a
// control first paints: the morph knob's strip and the background, at both scales. The HiDPI
// knob is kept as exact pixels (too tall for JPEG), so it measures zlib alone.
// Reported per image (the time) and per megapixel (the counter).

#include <benchmark/benchmark.h>

#include <cstring>

#include "base/memorystream.h"
#include "editor/rpic.h"
#include "resources/skin/productimages.h"

namespace {

RProductImage Find(const char* name, int scale) {
  for (int i = 0; i < GetProductImageCount(); ++i) {
    const RProductImage image = GetProductImage(i, scale);
    if (std::strcmp(image.name, name) == 0) return image;
  }
  return RProductImage{name, nullptr, 0};
}

void BM_DecodeSkinImage(benchmark::State& state, const char* name, int scale) {
  const RProductImage image = Find(name, scale);
  if (image.data == nullptr) {
    state.SkipWithError("the skin lacks the image");
    return;
  }
  int64_t pixels = 0;
  for (auto _ : state) {
    RMemoryStream stream(image.data, image.size);
    RBitmap bitmap = LoadImage(stream);
    pixels = int64_t(bitmap.GetWidth()) * bitmap.GetHeight();
    benchmark::DoNotOptimize(bitmap.GetPixels());
  }
  state.counters["Mpixel/s"] =
      benchmark::Counter(double(pixels) * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
  state.counters["bytes"] = double(image.size);
}

BENCHMARK_CAPTURE(BM_DecodeSkinImage, KnobMorph, "KnobMorph", 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_DecodeSkinImage, KnobMorph2x, "KnobMorph", 2)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_DecodeSkinImage, Background, "plugin", 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_DecodeSkinImage, Background2x, "plugin", 2)->Unit(benchmark::kMillisecond);

} // namespace
