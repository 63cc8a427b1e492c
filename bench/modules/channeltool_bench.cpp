// Cost of the channel tool per stereo frame through its whole cycle, 48 kHz, 512-frame blocks:
// the product's setting (both channels inverted, nothing else), and every stage engaged (a
// reported delay, a 36 dB/octave DC blocker, RMS, envelope, math, an expression and the coder).
#include "bench/modules/modulebench.h"
#include "modules/channeltool/channeltool.h"

namespace {

using namespace modulebench;

struct ToolBlock {
  ToolBlock() {
    Prepare(tool);
  }
  void Set(const char* key, double real) {
    for (RValue* value : tool.GetOwnValues()) {
      if (value->GetKey().ToUTF8() == key) Settle(static_cast<RRangedValue&>(*value), real);
    }
  }

  RChannelTool tool;
  RBlock io{2, 0.8f, 5};
};

void BM_ChannelTool_ProductInvert(benchmark::State& state) {
  ToolBlock block;
  block.Set("InvertLeft", 1.0);
  block.Set("InvertRight", 1.0);
  RunBlocks(state, block.tool, block.io);
}
BENCHMARK(BM_ChannelTool_ProductInvert);

void BM_ChannelTool_EveryStage(benchmark::State& state) {
  ToolBlock block;
  for (const char* panel : {"DCBlocker", "DelayEnabled", "DelayReportLatency", "RMSEnabled", "EnvelopeEnabled",
                            "MathEnabled", "ExpressionEnabled", "Coder", "InvertLeft", "InvertRight",
                            "SwapLeftRight"}) {
    block.Set(panel, 1.0);
  }
  block.Set("Volume", 0.8);
  block.Set("panorama", 0.3);
  block.Set("DelaySamples", 480.0);
  block.Set("DCBlockerAttenuation", 5.0);
  block.Set("Exp", 0.3);
  block.Set("Log", 0.2);
  block.Set("Param1", 0.5);
  block.tool.SetExpressionText(RString("x * p1 + 0.1 * sin(x)"));
  RunBlocks(state, block.tool, block.io);
}
BENCHMARK(BM_ChannelTool_EveryStage);

} // namespace
