// GrainCloud per stereo frame through its processing cycle, 512-frame blocks at 48 kHz: a
// typical voice (eight grains held, random pitch and panorama, 50 ms grains with full
// cross-fade), the same with a pitch sequencer and a drawn transformation, eight grain streams
// (four voices of two copies), and the most the module can be asked for: four voices of
// twenty copies holding 32 grains each, with delays.
#include "bench/modules/modulebench.h"
#include "modules/graincloud/graincloud.h"

namespace {

using namespace modulebench;

void Run(benchmark::State& state, RGrainCloud& module) {
  Prepare(module);
  RBlock block(2, 2);
  for (int32_t i = 0; i < kBlock; ++i) {
    block.in[0][size_t(i)] = 0.5f * float(std::sin(0.037 * i));
    block.in[1][size_t(i)] = 0.5f * float(std::sin(0.051 * i));
  }
  // Past the first grains, so that every copy plays.
  for (int32_t i = 0; i < 50; ++i) module.ProcessCycle(block.in.Pointers(), block.out.Pointers(), kBlock, nullptr);
  RunBlocks(state, module, block);
}

void Typical(RGrainCloud& m) {
  RGrainCloud::VoiceValues& v = m.GetVoiceValues(0);
  v.GrainCount->SetValueNow(8);
  v.PitchRandom->SetValueNow(12.0);
  v.PanRandom->SetValueNow(0.5);
  v.GainRandom->SetValueNow(0.2);
}

void BM_GrainCloud_Typical(benchmark::State& state) {
  RGrainCloud m;
  Typical(m);
  Run(state, m);
}
BENCHMARK(BM_GrainCloud_Typical);

void BM_GrainCloud_TypicalShapedSequencer(benchmark::State& state) {
  RGrainCloud m;
  Typical(m);
  RGrainCloud::VoiceValues& v = m.GetVoiceValues(0);
  v.PitchMode->SetValueNow(1);
  v.SequencerCount->SetValueNow(4);
  for (int32_t s = 0; s < 4; ++s) m.SetStep(0, s, RGrainSequencer::AddNote(RGrainSequencer::AddNote(0, 3 * s), 7));
  RShapePoint a, b, c;
  a.X = 0, a.Y = 0, b.X = 0.2, b.Y = 1, c.X = 1, c.Y = 0;
  RShape shape;
  shape.SetPoints({a, b, c});
  m.SetTransform(0, 0, shape);
  Run(state, m);
}
BENCHMARK(BM_GrainCloud_TypicalShapedSequencer);

// Eight grain streams at once: four voices of two copies each, eight grains held apiece.
void BM_GrainCloud_EightStreams(benchmark::State& state) {
  RGrainCloud m;
  for (int32_t voice = 0; voice < RGrainCloud::kVoices; ++voice) {
    RGrainCloud::VoiceValues& v = m.GetVoiceValues(voice);
    v.Enable->SetValueNow(1.0);
    v.Copies->SetValueNow(2.0);
    v.GrainCount->SetValueNow(8);
    v.PitchRandom->SetValueNow(12.0);
    v.PanRandom->SetValueNow(0.5);
  }
  Run(state, m);
}
BENCHMARK(BM_GrainCloud_EightStreams);

void BM_GrainCloud_MaxGrains(benchmark::State& state) {
  RGrainCloud m;
  for (int32_t voice = 0; voice < RGrainCloud::kVoices; ++voice) {
    RGrainCloud::VoiceValues& v = m.GetVoiceValues(voice);
    v.Enable->SetValueNow(1.0);
    v.Copies->SetValueNow(20.0);
    v.GrainCount->SetValueNow(RGrainEngine::kMaxGrainCount);
    v.PitchRandom->SetValueNow(12.0);
    v.PanRandom->SetValueNow(0.5);
    v.Delay->SetValueNow(0.01);
    v.CopyMaxDelay->SetValueNow(0.05);
  }
  Run(state, m);
}
BENCHMARK(BM_GrainCloud_MaxGrains);

} // namespace
