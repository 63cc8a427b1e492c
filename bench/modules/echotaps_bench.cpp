// Cost of the echo module per stereo frame through its whole cycle, 48 kHz, 512-frame blocks:
// one tap at 375 ms with feedback 0.5 (a dotted eighth at 120 bpm, the usual echo), both taps
// with every stage engaged (shuffle, offsets, band-pass in the feedback, saturation,
// ping-pong) with times and levels ramping each block, and a time kept gliding (tape) or
// crossfading (modern) all the time.
#include "bench/modules/modulebench.h"
#include "modules/echotaps/echotaps.h"

namespace {

using namespace modulebench;

void Start(REchoTaps& m) {
  m.SetHostFormat(kRate, kBlock, 2);
  m.Setup();
}

void BM_EchoTaps_Typical(benchmark::State& state) {
  REchoTaps m;
  m.InitParameters();
  m.Tap(0).Delay().SetValueNow(0.375);
  m.Tap(0).Feedback().SetValueNow(0.5);
  Start(m);
  RBlock io(2, 0.8f, 1);
  RunBlocks(state, m, io);
}
BENCHMARK(BM_EchoTaps_Typical);

void BM_EchoTaps_EveryStage(benchmark::State& state) {
  REchoTaps m;
  m.InitParameters();
  m.FilterModeValue().SetValueNow(REchoTaps::kFeedbackFilter);
  m.MinFrequency().SetValueNow(200.0);
  m.MaxFrequency().SetValueNow(6000.0);
  m.Saturation().SetValueNow(0.5);
  m.DelayModeValue().SetValueNow(REchoTaps::kSerial);
  for (int32_t t = 0; t < REchoTaps::kTaps; ++t) {
    REchoTap& tap = m.Tap(t);
    tap.Tap().SetValueNow(1.0);
    tap.Delay().SetValueNow(0.3 + 0.1 * t);
    tap.Feedback().SetValueNow(0.7);
    tap.Mode().SetValueNow(2);
    tap.Shuffle().SetValueNow(1.0);
    tap.LeftOffset().SetValueNow(0.01);
    tap.AlgorithmValue().SetValueNow(t);
  }
  Start(m);
  const int32_t feedback = m.GetParameterIndexOf(&m.Tap(0).Feedback());
  const int32_t pan = m.GetParameterIndexOf(&m.Tap(1).Panorama());
  RBlock io(2, 0.8f, 1);
  RunBlocks(state, m, io, [&](int64_t index) {
    const double phase = 0.5 + 0.4 * std::sin(double(index) * 0.05);
    m.ScheduleAutomationEvent(0, feedback, phase);
    m.ScheduleAutomationEvent(256, pan, phase);
  });
}
BENCHMARK(BM_EchoTaps_EveryStage);

// The time never rests: every block sets a new one, so the read point is always moving.
void BM_EchoTaps_TimeMoving(benchmark::State& state) {
  REchoTaps m;
  m.InitParameters();
  m.Tap(0).Delay().SetValueNow(0.375);
  m.Tap(0).Feedback().SetValueNow(0.5);
  m.Tap(0).AlgorithmValue().SetValueNow(int32_t(state.range(0)));
  Start(m);
  RBlock io(2, 0.8f, 1);
  RunBlocks(state, m, io,
            [&](int64_t index) { m.Tap(0).Delay().SetValueNow(0.3 + 0.05 * double(index % 3)); });
}
BENCHMARK(BM_EchoTaps_TimeMoving)->Arg(REchoTap::kTape)->Arg(REchoTap::kModern);

} // namespace
