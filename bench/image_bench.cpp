// Decoding the skin's largest images as the editor does on first paint: a knob strip the size
// of KnobMorph (342 x 34542, type 2, frames of 342 rows, 101 frames) and a background the size
// of the editor's (1962 x 1280, type 1). Both are drawn here and encoded by our own encoder at
// setup: smooth shapes, as real skin art is, since noise would measure the worst case of the
// JPEG and zlib stages instead.
// Reported per image (the time) and per megapixel (the counter).

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "base/memorystream.h"
#include "editor/rpic.h"

namespace {

// A knob per frame: a shaded disc with a pointer at the frame's angle; alpha the disc with a
// soft edge and the shadow around it.
RBitmap KnobStrip(int32_t size, int32_t frames) {
  RBitmap strip(size, size * frames);
  const double centre = (size - 1) * 0.5, radius = size * 0.42;
  for (int32_t f = 0; f < frames; ++f) {
    const double angle = (-0.75 + 1.5 * f / (frames - 1)) * std::numbers::pi;
    const double px = std::sin(angle), py = -std::cos(angle);
    for (int32_t y = 0; y < size; ++y) {
      uint32_t* row = strip.GetRow(f * size + y);
      for (int32_t x = 0; x < size; ++x) {
        const double dx = x - centre, dy = y - centre, d = std::hypot(dx, dy);
        const double shade = 0.55 + 0.35 * (-dx - dy) / (size * 0.7);
        const double along = dx * px + dy * py, across = std::abs(dx * py - dy * px);
        const bool pointer = along > radius * 0.35 && along < radius * 0.9 && across < size * 0.025;
        const double level = pointer ? 0.95 : shade;
        const double edge = std::clamp(radius + 1.0 - d, 0.0, 1.0);
        const double shadow = std::clamp(1.0 - (d - radius) / (size * 0.06), 0.0, 1.0) * 0.35;
        const auto alpha = uint32_t(255.0 * std::max(edge, shadow));
        const auto v = uint32_t(std::clamp(level, 0.0, 1.0) * 255.0);
        row[x] = RPixel::Make(v, uint32_t(v * 0.92), uint32_t(v * 0.85), alpha);
      }
    }
  }
  return strip;
}

// A background: a vertical gradient, soft panels and a vignette.
RBitmap Background(int32_t width, int32_t height) {
  RBitmap bitmap(width, height);
  for (int32_t y = 0; y < height; ++y) {
    uint32_t* row = bitmap.GetRow(y);
    for (int32_t x = 0; x < width; ++x) {
      const double u = double(x) / width, v = double(y) / height;
      const double vignette = 1.0 - 0.35 * ((u - 0.5) * (u - 0.5) + (v - 0.5) * (v - 0.5));
      const bool panel = std::fmod(u * 4.0, 1.0) > 0.06 && v > 0.15 && v < 0.9;
      const double base = (0.18 + 0.1 * v + (panel ? 0.08 : 0.0)) * vignette;
      row[x] = RPixel::Make(uint32_t(base * 255), uint32_t(base * 245), uint32_t(base * 230 + 10 * u));
    }
  }
  return bitmap;
}

const std::vector<uint8_t>& Encoded(bool knob) {
  static const std::vector<uint8_t> strip = [] {
    RMemoryStream out;
    SaveImageRPIC(KnobStrip(342, 101), 2, 342, 90, out);
    return std::vector<uint8_t>(out.GetData(), out.GetData() + out.GetSize());
  }();
  static const std::vector<uint8_t> background = [] {
    RMemoryStream out;
    SaveImageRPIC(Background(1962, 1280), 1, 0, 90, out);
    return std::vector<uint8_t>(out.GetData(), out.GetData() + out.GetSize());
  }();
  return knob ? strip : background;
}

void Decode(benchmark::State& state, bool knob) {
  const std::vector<uint8_t>& file = Encoded(knob);
  double megapixels = 0;
  for (auto _ : state) {
    RMemoryStream in(file.data(), int64_t(file.size()));
    const RBitmap bitmap = LoadImage(in);
    megapixels = double(bitmap.GetWidth()) * bitmap.GetHeight() / 1e6;
    benchmark::DoNotOptimize(bitmap.GetPixel(1, 1));
  }
  state.counters["per_megapixel"] =
      benchmark::Counter(megapixels, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["file_MB"] = double(file.size()) / 1e6;
}

void BM_DecodeKnobStrip(benchmark::State& state) { Decode(state, true); }
void BM_DecodeBackground(benchmark::State& state) { Decode(state, false); }

BENCHMARK(BM_DecodeKnobStrip)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DecodeBackground)->Unit(benchmark::kMillisecond);

} // namespace
