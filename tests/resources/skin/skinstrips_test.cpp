// What the editor relies on in the pictures themselves, measured from the decoded pixels: a
// knob's pointer turns one way over its 101 frames while its arc fills, LEDs brighten frame by
// frame, switches show distinct states, and overlays are clear where the display shows through.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <set>
#include <string>
#include <vector>

#include "tests/resources/skin/skintesting.h"

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

struct RFrame {
  const RBitmap* strip;
  int32_t top;
  int32_t height;

  uint32_t At(int32_t x, int32_t y) const { return strip->GetPixel(x, top + y); }
};

std::vector<uint32_t> FramePixels(const RFrame& frame) {
  const uint32_t* first = frame.strip->GetRow(frame.top);
  return std::vector<uint32_t>(first, first + size_t(frame.strip->GetWidth()) * size_t(frame.height));
}

// The pointer's direction in degrees, clockwise from straight up: the centroid of the light
// inside the body, weighted by how far each pixel is above the body's brightest shade (the arc,
// in colour, lies outside it).
float PointerAngle(const RFrame& frame) {
  const float size = float(frame.strip->GetWidth());
  const float c = 0.5f * size;
  double sx = 0, sy = 0;
  double total = 0;
  for (int32_t y = 0; y < frame.height; ++y) {
    for (int32_t x = 0; x < frame.strip->GetWidth(); ++x) {
      const float dx = float(x) + 0.5f - c, dy = float(y) + 0.5f - c;
      if (std::sqrt(dx * dx + dy * dy) > 0.3f * size) continue;
      const uint32_t p = frame.At(x, y);
      const int low = int(std::min({RPixel::Red(p), RPixel::Green(p), RPixel::Blue(p)}));
      const double weight = std::max(0, low - 110) * double(RPixel::Alpha(p)) / 255.0;
      sx += weight * dx;
      sy += weight * dy;
      total += weight;
    }
  }
  if (total <= 0) return NAN;
  return float(std::atan2(sx, -sy) * 180.0 / kPi);
}

// Pixels of strong colour outside the body: the lit arc.
int LitArcPixels(const RFrame& frame) {
  const float size = float(frame.strip->GetWidth());
  const float c = 0.5f * size;
  int count = 0;
  for (int32_t y = 0; y < frame.height; ++y) {
    for (int32_t x = 0; x < frame.strip->GetWidth(); ++x) {
      const float dx = float(x) + 0.5f - c, dy = float(y) + 0.5f - c;
      if (std::sqrt(dx * dx + dy * dy) < 0.36f * size) continue;
      const uint32_t p = frame.At(x, y);
      const uint32_t high = std::max({RPixel::Red(p), RPixel::Green(p), RPixel::Blue(p)});
      if (RPixel::Alpha(p) > 128 && high > 140) ++count;
    }
  }
  return count;
}

class KnobStrips : public testing::TestWithParam<std::pair<const char*, int>> {};

TEST_P(KnobStrips, PointerTurnsOneWayOverTheTravelAsTheArcFills) {
  const int index = FindSkinImage(GetParam().first);
  ASSERT_GE(index, 0);
  const RBitmap strip = DecodeSkinImage(index, GetParam().second);
  const int32_t size = strip.GetWidth();
  ASSERT_EQ(strip.GetHeight(), 101 * size);

  std::set<std::vector<uint32_t>> distinct;
  float previous = -1000.0f;
  std::vector<int> lit;
  for (int32_t i = 0; i < 101; ++i) {
    SCOPED_TRACE("frame " + std::to_string(i));
    const RFrame frame{&strip, i * size, size};
    distinct.insert(FramePixels(frame));
    const float angle = PointerAngle(frame);
    ASSERT_FALSE(std::isnan(angle));
    // 270 degrees over 100 steps: 2.7 each, from 135 left of the top to 135 right of it.
    EXPECT_GT(angle, previous + 1.5f);
    EXPECT_NEAR(angle, -135.0f + 2.7f * float(i), 2.0f);
    previous = angle;
    lit.push_back(LitArcPixels(frame));
  }
  EXPECT_EQ(distinct.size(), 101u);
  // The arc: nothing lit at the start, then more at each quarter of the travel.
  EXPECT_LT(lit[0] * 50, lit[100]);
  EXPECT_LT(lit[0], lit[25]);
  EXPECT_LT(lit[25], lit[50]);
  EXPECT_LT(lit[50], lit[75]);
  EXPECT_LT(lit[75], lit[100]);
}

INSTANTIATE_TEST_SUITE_P(EveryKnob, KnobStrips,
                         testing::Values(std::pair{"KnobA", 1}, std::pair{"KnobB", 1}, std::pair{"KnobFeed", 1},
                                         std::pair{"KnobMaster", 1}, std::pair{"KnobMorph", 1},
                                         std::pair{"KnobA", 2}, std::pair{"KnobFeed", 2},
                                         std::pair{"KnobMorph", 2}));

// Light given off by a frame: each pixel's brightness weighted by its opacity.
double Light(const RFrame& frame) {
  double sum = 0;
  for (int32_t y = 0; y < frame.height; ++y) {
    for (int32_t x = 0; x < frame.strip->GetWidth(); ++x) {
      const uint32_t p = frame.At(x, y);
      sum += double(RPixel::Red(p) + RPixel::Green(p) + RPixel::Blue(p)) * RPixel::Alpha(p) / 255.0;
    }
  }
  return sum;
}

TEST(LedStrips, EachOfTheFiftyOneFramesGivesMoreLightThanTheOneBefore) {
  for (const char* name : {"LEDA", "LEDB", "LEDMorph"}) {
    for (int scale = 1; scale <= 2; ++scale) {
      SCOPED_TRACE(std::string(name) + " at " + std::to_string(scale) + "x");
      const RBitmap strip = DecodeSkinImage(FindSkinImage(name), scale);
      ASSERT_EQ(strip.GetHeight() % 51, 0);
      const int32_t height = strip.GetHeight() / 51;
      double previous = -1;
      for (int32_t i = 0; i < 51; ++i) {
        const double light = Light(RFrame{&strip, i * height, height});
        EXPECT_GT(light, previous) << "frame " << i;
        previous = light;
      }
      const double dark = Light(RFrame{&strip, 0, height});
      EXPECT_GT(previous, 2.0 * dark);
    }
  }
}

TEST(Switches, EveryStateLooksDifferentAndEveryBitKeyHasItsOwnLabel) {
  std::set<std::vector<uint32_t>> offKeys;
  for (int bit = 1; bit <= 16; ++bit) {
    const std::string name = (bit < 10 ? "Bit0" : "Bit") + std::to_string(bit) + "X";
    const RBitmap strip = DecodeSkinImage(FindSkinImage(name.c_str()), 1);
    const std::vector<uint32_t> off = FramePixels(RFrame{&strip, 0, 80});
    EXPECT_NE(off, FramePixels(RFrame{&strip, 80, 80})) << name;
    offKeys.insert(off);
  }
  EXPECT_EQ(offKeys.size(), 16u);

  const RBitmap swap = DecodeSkinImage(FindSkinImage("SwitchSwap"), 1);
  EXPECT_NE(FramePixels(RFrame{&swap, 0, 64}), FramePixels(RFrame{&swap, 64, 64}));

  // B's source: four frames of 112 rows, the three choices and a spare, all distinct.
  const RBitmap source = DecodeSkinImage(FindSkinImage("SwitchSource"), 1);
  std::set<std::vector<uint32_t>> states;
  for (int32_t i = 0; i < 4; ++i) states.insert(FramePixels(RFrame{&source, i * 112, 112}));
  EXPECT_EQ(states.size(), 4u);
}

TEST(Overlays, GlassAndPanelsAreClearWhereWhatLiesBeneathShows) {
  for (const char* name : {"GlassA", "GlassB", "GlassPattern", "GlassPreset"}) {
    SCOPED_TRACE(name);
    const RBitmap glass = DecodeSkinImage(FindSkinImage(name), 1);
    const int32_t cx = glass.GetWidth() / 2, cy = glass.GetHeight() * 3 / 4;
    // The lower middle lets the digits through; the rim is drawn.
    EXPECT_LT(RPixel::Alpha(glass.GetPixel(cx, cy)), 40u);
    EXPECT_GT(RPixel::Alpha(glass.GetPixel(cx, 0)), 100u);
  }
  // The SWAP panels: solid where the knob's well or the keys' tray stand, clear over much of the
  // group, whose labels show through.
  for (const char* name : {"PanelMorph", "PanelGrid"}) {
    SCOPED_TRACE(name);
    const RBitmap panel = DecodeSkinImage(FindSkinImage(name), 1);
    int64_t clear = 0, solid = 0;
    const int64_t count = int64_t(panel.GetWidth()) * panel.GetHeight();
    for (int64_t i = 0; i < count; ++i) {
      const uint32_t alpha = RPixel::Alpha(panel.GetPixels()[i]);
      clear += alpha == 0;
      solid += alpha == 255;
    }
    EXPECT_GT(clear * 10, count * 3);
    EXPECT_GT(solid * 10, count * 2);
  }
}

TEST(Background, IsOpaqueAndFollowsTheDefinitionsGroupPanels) {
  const RBitmap background = DecodeSkinImage(FindSkinImage("plugin"), 1);
  // Path A's panel (24,136 576x1116, 23262D) against the backdrop just left of it.
  const uint32_t inside = background.GetPixel(300, 150);
  const uint32_t outside = background.GetPixel(8, 600);
  EXPECT_EQ(RPixel::Alpha(inside), 255u);
  EXPECT_NEAR(int(RPixel::Red(inside)), 0x23, 8);
  EXPECT_NEAR(int(RPixel::Blue(inside)), 0x2D, 8);
  EXPECT_LT(RPixel::Red(outside) + RPixel::Green(outside) + RPixel::Blue(outside),
            RPixel::Red(inside) + RPixel::Green(inside) + RPixel::Blue(inside));
}

} // namespace
