// Switches: the sixteen bit keys of the grid (off, on), the Blend/Grid toggle and the selector
// of B's source.

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "resources/skin/generator/skinfamilies.h"

using namespace RSkinPaint;

namespace {

RRect Scaled(const RSkinScale& s, int32_t left, int32_t top, int32_t right, int32_t bottom) {
  return RRect{s.I(left), s.I(top), s.I(right), s.I(bottom)};
}

RRect Offset(RRect rect, int32_t dy) {
  rect.top += dy;
  rect.bottom += dy;
  return rect;
}

// A bit key: a rounded square with its number; lit keys take their bit from B, so they glow in
// B's colour.
void DrawBitKey(RBitmap& strip, int32_t frameTop, int bit, bool on, const RSkinScale& s) {
  RSkinDrawer drawer(strip);
  const RRect key = Offset(Scaled(s, 9, 9, 71, 71), frameTop);
  const float radius = s(9.0f);
  PaintRectHalo(strip, float(key.left), float(key.top + s.I(2)), float(key.right), float(key.bottom + s.I(2)), radius,
                s(6.0f), 0x90000000);
  drawer.FillRoundRectangle(RRect{key.left - s.I(1), key.top - s.I(1), key.right + s.I(1), key.bottom + s.I(1)},
                            radius + s(1.0f), 0xFF0A0C10);
  const uint32_t top = on ? Mix(0xFF3A3F49, RSkinColour::kAccentB, 0.12f) : 0xFF2C323C;
  const uint32_t bottom = on ? Mix(0xFF262A31, RSkinColour::kAccentB, 0.08f) : 0xFF1D2129;
  // The face as horizontal bands of the gradient, clipped by the rounded outline drawn per band.
  for (int32_t y = key.top; y < key.bottom; ++y) {
    const float t = float(y - key.top) / float(key.Height());
    strip.SetClip(RRect{0, y, strip.GetWidth(), y + 1});
    drawer.FillRoundRectangle(key, radius, Mix(top, bottom, t));
  }
  strip.ResetClip();
  drawer.RoundRectangle(key, radius, on ? WithAlpha(RSkinColour::kAccentB, 120) : 0x30FFFFFF, s(1.0f));
  // The lamp above the number.
  const RRect lamp{key.left + s.I(20), key.top + s.I(9), key.right - s.I(20), key.top + s.I(13)};
  if (on) {
    PaintRectHalo(strip, float(lamp.left), float(lamp.top), float(lamp.right), float(lamp.bottom), s(2.0f), s(7.0f),
                  WithAlpha(RSkinColour::kAccentB, 150));
  }
  drawer.FillRoundRectangle(lamp, s(2.0f), on ? Shade(RSkinColour::kAccentB, 0.25f) : 0xFF0E1014);
  char number[4];
  std::snprintf(number, sizeof number, "%02d", bit);
  const RRect label{key.left, key.top + s.I(18), key.right, key.bottom - s.I(4)};
  drawer.AlignedTextOut(label, RString(number), RobotoCondensedBold(s(24.0f)), on ? 0xFFFFFFFF : RSkinColour::kLabel,
                        RAlignH::kCentre, RAlignV::kMiddle);
}

void DrawSwap(const RSkinScale& s, const RSkinSink& sink) {
  const int32_t frame = s.I(64);
  RBitmap strip = Transparent(s.I(40), 2 * frame, 0xFF1B2028);
  RSkinDrawer drawer(strip);
  const char* const labels[2] = {"BLEND", "GRID"};
  for (int i = 0; i < 2; ++i) {
    const int32_t top = i * frame;
    const RRect slot = Offset(Scaled(s, 12, 4, 28, 46), top);
    drawer.FillRoundRectangle(slot, s(8.0f), 0xFF07090C);
    drawer.RoundRectangle(slot, s(8.0f), 0x28FFFFFF, s(1.0f));
    const float cx = s(20.0f);
    const float cy = float(top) + (i == 0 ? s(14.0f) : s(36.0f));
    PaintHalo(strip, cx, cy + s(1.5f), s(5.0f), s(10.0f), 0x90000000);
    PaintDisc(strip, cx, cy, s(7.5f), [](float, float ny) { return Mix(0xFFE9ECF1, 0xFF8E96A3, 0.5f * (ny + 1)); });
    PaintDisc(strip, cx, cy, s(2.5f), [](float, float) { return RSkinColour::kAccentSwap; });
    SpacedText(drawer, Offset(Scaled(s, 0, 49, 40, 62), top), RString::FromUTF8(labels[i]), RobotoCondensedBold(s(10.0f)),
               RSkinColour::kAccentSwap, s(0.8f), RAlignH::kCentre);
  }
  sink("SwitchSwap", strip);
}

// Four frames of the three stacked choices: Input, Side-chain, Silence lit in turn, and a spare
// with none lit. Each choice is a row of 32 pixels at 4 + 36 * n within its 112-pixel frame.
void DrawSource(const RSkinScale& s, const RSkinSink& sink) {
  const int32_t frame = s.I(112);
  RBitmap strip = Transparent(s.I(180), 4 * frame, 0xFF1B2028);
  RSkinDrawer drawer(strip);
  const char* const choices[3] = {"INPUT", "SIDE-CHAIN", "SILENCE"};
  for (int lit = 0; lit < 4; ++lit) {
    for (int row = 0; row < 3; ++row) {
      const RRect box = Offset(Scaled(s, 4, 4 + 36 * row, 176, 36 + 36 * row), lit * frame);
      const bool on = row == lit;
      if (on) {
        PaintRectHalo(strip, float(box.left), float(box.top), float(box.right), float(box.bottom), s(6.0f), s(4.0f),
                      WithAlpha(RSkinColour::kAccentB, 60));
      }
      drawer.FillRoundRectangle(box, s(6.0f), on ? Mix(0xFF1E232B, RSkinColour::kAccentB, 0.16f) : 0xFF171B22);
      drawer.RoundRectangle(box, s(6.0f), on ? WithAlpha(RSkinColour::kAccentB, 200) : 0x22FFFFFF, s(1.0f));
      const float dotX = float(box.left) + s(16.0f), dotY = 0.5f * float(box.top + box.bottom);
      if (on) PaintHalo(strip, dotX, dotY, s(2.0f), s(8.0f), WithAlpha(RSkinColour::kAccentB, 160));
      drawer.FillCircle(dotX, dotY, s(3.5f), on ? Shade(RSkinColour::kAccentB, 0.2f) : 0xFF0B0D11);
      const RRect text{box.left + s.I(30), box.top, box.right - s.I(8), box.bottom};
      SpacedText(drawer, text, RString::FromUTF8(choices[row]), RobotoCondensedBold(s(13.0f)),
                 on ? 0xFFFFFFFF : RSkinColour::kLabel, s(1.2f), RAlignH::kLeft);
    }
  }
  sink("SwitchSource", strip);
}

} // namespace

void DrawSwitches(const RSkinScale& scale, const RSkinSink& sink) {
  for (int bit = 1; bit <= 16; ++bit) {
    RBitmap strip = Transparent(scale.I(80), scale.I(160), 0xFF1B2028);
    DrawBitKey(strip, 0, bit, false, scale);
    DrawBitKey(strip, scale.I(80), bit, true, scale);
    char name[8];
    std::snprintf(name, sizeof name, "Bit%02dX", bit);
    sink(name, strip);
  }
  DrawSwap(scale, sink);
  DrawSource(scale, sink);
}
