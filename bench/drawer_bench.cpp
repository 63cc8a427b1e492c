// The software painter: the cost of each primitive at the sizes the editor uses, and of a
// whole editor frame (background, 52 knobs from 101-frame strips, 16 switches, 40 value texts
// and 4 meters) painted into a 1962 x 1280 surface.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "base/string.h"
#include "editor/alphamask.h"
#include "editor/drawertobitmap.h"
#include "editor/fonts.h"

namespace {

constexpr int32_t kKnobSize = 102;
constexpr int32_t kKnobFrames = 101;

// An opaque picture with some variation, standing in for the background photograph.
RBitmap Background(int32_t width, int32_t height) {
  RBitmap bitmap(width, height);
  for (int32_t y = 0; y < height; ++y) {
    uint32_t* row = bitmap.GetRow(y);
    for (int32_t x = 0; x < width; ++x) row[x] = RPixel::Make(uint32_t(x & 0xFF), uint32_t(y & 0xFF), 90);
  }
  return bitmap;
}

// A knob strip: each frame a disc with a soft edge (transparent around it) and a pointer
// that turns from frame to frame.
RBitmap KnobStrip(int32_t size, int32_t frames) {
  RBitmap strip(size, size * frames);
  const float centre = 0.5f * float(size);
  for (int32_t f = 0; f < frames; ++f) {
    const float angle = (-135.0f + 270.0f * float(f) / float(frames - 1)) * 3.14159265f / 180.0f;
    for (int32_t y = 0; y < size; ++y) {
      uint32_t* row = strip.GetRow(f * size + y);
      for (int32_t x = 0; x < size; ++x) {
        const float dx = float(x) + 0.5f - centre, dy = float(y) + 0.5f - centre;
        const float r = std::sqrt(dx * dx + dy * dy);
        const float edge = std::clamp(centre - 2.0f - r, 0.0f, 1.0f);
        const bool pointer = std::abs(dx * std::cos(angle) + dy * std::sin(angle)) < 2.0f &&
                             (dx * std::sin(angle) - dy * std::cos(angle)) > 0.0f;
        const uint32_t shade = pointer ? 240u : 60u + uint32_t(r);
        row[x] = RPixel::Make(shade, shade, shade, uint32_t(edge * 255.0f));
      }
    }
  }
  return strip;
}

RBitmap Switch(int32_t width, int32_t height) {
  RBitmap bitmap(width, height);
  for (int32_t y = 0; y < height; ++y) {
    uint32_t* row = bitmap.GetRow(y);
    for (int32_t x = 0; x < width; ++x) {
      const bool inside = x > 3 && x < width - 4 && y > 3 && y < height - 4;
      row[x] = RPixel::Make(40, 50, uint32_t(60 + y / 2), inside ? 255 : 96);
    }
  }
  return bitmap;
}

struct Fixture {
  RBitmap target{1962, 1280};
  RDrawerToRBitmap<> drawer{target};
  RBitmap background = Background(1962, 1280);
  RBitmap knobs = KnobStrip(kKnobSize, kKnobFrames);
  RBitmap bit = Switch(80, 160);
  RFont segments{RString::FromUTF8(RFont::kSegmentPath), 32.0f};
  RFont text{RString::FromUTF8(RFont::kRobotoPath), 14.0f};
  std::vector<float> meter = std::vector<float>(160);

  Fixture() {
    for (size_t i = 0; i < meter.size(); ++i) meter[i] = 0.5f + 0.4f * std::sin(float(i) * 0.1f);
  }
  RRect Frame(int32_t index) const { return RRect{0, index * kKnobSize, kKnobSize, (index + 1) * kKnobSize}; }
};

Fixture& Shared() {
  static Fixture fixture;
  return fixture;
}

void BM_FillRectangle100(benchmark::State& state) {
  Fixture& f = Shared();
  const uint32_t color = state.range(0) ? 0x80336699u : 0xFF336699u;
  for (auto _ : state) f.drawer.FillRectangle(RRect{100, 100, 200, 200}, color);
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(BM_FillRectangle100)->Arg(0)->Arg(1);

void BM_BitBltKnobFrame(benchmark::State& state) {
  Fixture& f = Shared();
  int32_t frame = 0;
  for (auto _ : state) {
    f.drawer.BitBlt(300, 300, f.knobs, f.Frame(frame));
    frame = (frame + 1) % kKnobFrames;
  }
  state.SetItemsProcessed(state.iterations() * kKnobSize * kKnobSize);
}
BENCHMARK(BM_BitBltKnobFrame);

void BM_StretchBltKnobFrame(benchmark::State& state) {
  Fixture& f = Shared();
  const int32_t size = int32_t(state.range(0));
  for (auto _ : state) f.drawer.StretchBlt(RRect{300, 300, 300 + size, 300 + size}, f.knobs, f.Frame(50));
  state.SetItemsProcessed(state.iterations() * size * size);
}
// 204: twice, by repetition; 150: bilinear.
BENCHMARK(BM_StretchBltKnobFrame)->Arg(204)->Arg(150);

void BM_RotatedBltKnobFrame(benchmark::State& state) {
  Fixture& f = Shared();
  for (auto _ : state) f.drawer.RotatedBlt(500.0f, 500.0f, f.knobs, f.Frame(0), 33.0f);
  state.SetItemsProcessed(state.iterations() * kKnobSize * kKnobSize);
}
BENCHMARK(BM_RotatedBltKnobFrame);

void BM_StretchBltArcKnob(benchmark::State& state) {
  Fixture& f = Shared();
  for (auto _ : state) {
    f.drawer.StretchBltArc(RRect{600, 300, 600 + kKnobSize, 300 + kKnobSize}, f.knobs, f.Frame(100), -135.0f, 40.0f,
                           38.0f, 50.0f);
  }
}
BENCHMARK(BM_StretchBltArcKnob);

void BM_AlphaMask32(benchmark::State& state) {
  Fixture& f = Shared();
  RAlphaMask mask(32, 32);
  for (int32_t y = 0; y < 32; ++y) {
    for (int32_t x = 0; x < 32; ++x) mask.Set(x, y, uint8_t((x * y) & 0xFF));
  }
  for (auto _ : state) f.drawer.AlphaMask(700, 700, mask, 0xFFEEDDCCu);
}
BENCHMARK(BM_AlphaMask32);

void BM_FillCircle40(benchmark::State& state) {
  Fixture& f = Shared();
  for (auto _ : state) f.drawer.FillCircle(400.5f, 400.5f, 40.0f, 0xC0FF8800u);
}
BENCHMARK(BM_FillCircle40);

void BM_Line100(benchmark::State& state) {
  Fixture& f = Shared();
  for (auto _ : state) f.drawer.Line(100, 600, 180, 660, 0xFF00FF00u, 2.0f);
}
BENCHMARK(BM_Line100);

void BM_FillRoundRectangle(benchmark::State& state) {
  Fixture& f = Shared();
  for (auto _ : state) f.drawer.FillRoundRectangle(RRect{800, 100, 1010, 164}, 8.0f, 0xA0202020u);
}
BENCHMARK(BM_FillRoundRectangle);

void BM_ValueText(benchmark::State& state) {
  Fixture& f = Shared();
  const RString value = RString::FromUTF8("-12.5");
  for (auto _ : state) {
    f.drawer.AlignedTextOut(RRect{900, 400, 1110, 464}, value, f.segments, 0xFFFF3030u, RAlignH::kRight,
                            RAlignV::kBaseline);
  }
}
BENCHMARK(BM_ValueText);

void BM_Meter(benchmark::State& state) {
  Fixture& f = Shared();
  for (auto _ : state) {
    f.drawer.PaintHorizontalGraph(RRect{1200, 900, 1360, 1000}, f.meter.data(), 160, 0xC040FF40u);
  }
}
BENCHMARK(BM_Meter);

// One whole frame of the editor in software.
void BM_EditorFrame(benchmark::State& state) {
  Fixture& f = Shared();
  static const RString values[4] = {RString::FromUTF8("-12.5"), RString::FromUTF8("100"), RString::FromUTF8("0.25"),
                                    RString::FromUTF8("8000")};
  int32_t turn = 0;
  for (auto _ : state) {
    f.drawer.BitBlt(0, 0, f.background, f.background.GetBounds());
    for (int32_t k = 0; k < 52; ++k) {
      const int32_t x = 40 + (k % 13) * 145;
      const int32_t y = 120 + (k / 13) * 260;
      f.drawer.BitBlt(x, y, f.knobs, f.Frame((k * 7 + turn) % kKnobFrames));
    }
    for (int32_t s = 0; s < 16; ++s) f.drawer.BitBlt(40 + s * 110, 1080, f.bit, f.bit.GetBounds());
    for (int32_t t = 0; t < 40; ++t) {
      const int32_t x = 40 + (t % 10) * 190;
      const int32_t y = 230 + (t / 10) * 260;
      f.drawer.AlignedTextOut(RRect{x, y, x + 150, y + 40}, values[t % 4], f.segments, 0xFFFF3030u, RAlignH::kRight,
                              RAlignV::kBaseline);
    }
    for (int32_t m = 0; m < 4; ++m) {
      f.drawer.PaintHorizontalGraph(RRect{1700, 100 + m * 120, 1860, 200 + m * 120}, f.meter.data(), 160,
                                    0xC040FF40u);
    }
    ++turn;
    benchmark::DoNotOptimize(f.target.GetPixels());
  }
}
BENCHMARK(BM_EditorFrame)->Unit(benchmark::kMillisecond);

} // namespace
