// Cost of the span filter per stereo frame at 48 kHz in host blocks of 512, through its whole
// cycle: a gentle band (12 dB/octave on both sides, two stages) and a steep one (48 dB/octave,
// eight stages). Items are frames, so items/s is frames per second and "per_frame" its inverse.
#include "bench/modules/modulebench.h"
#include "modules/spanfilter/spanfilter.h"

namespace {

using namespace modulebench;

void SetText(RSpanFilter& filter, const char* name, const char* text) {
  const int32_t index = filter.GetParameterIndex(RString::FromUTF8(name));
  RValue* value = filter.GetParameterValue(index);
  double normalised = 0.0;
  if (value && value->ParseToNormalised(RString::FromUTF8(text), normalised)) {
    value->SetNormalised(normalised);
    filter.SetParameterEdited(0, index, normalised);
  }
}

void RunBand(benchmark::State& state, const char* hpSlope, const char* lpSlope) {
  RSpanFilter filter;
  Prepare(filter);
  SetText(filter, "High-pass", "80 Hz");
  SetText(filter, "Low-pass", "12 kHz");
  SetText(filter, "High-pass slope", hpSlope);
  SetText(filter, "Low-pass slope", lpSlope);
  RBlock block(2, 0.5f, 7);
  RunBlocks(state, filter, block, [](int64_t) { benchmark::ClobberMemory(); });
}

void BM_SpanFilter_HP12_LP12(benchmark::State& state) { RunBand(state, "HP 12", "LP 12"); }
BENCHMARK(BM_SpanFilter_HP12_LP12);

void BM_SpanFilter_HP48_LP48(benchmark::State& state) { RunBand(state, "HP 48", "LP 48"); }
BENCHMARK(BM_SpanFilter_HP48_LP48);

} // namespace
