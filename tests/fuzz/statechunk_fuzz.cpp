// A host hands back whatever chunk it kept: LoadState must take any bytes with a loaded state
// or a refusal that keeps the previous one, and the plug-in must go on processing finite audio.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "base/memorystream.h"
#include "kernel/audioplugin.h"
#include "kernel/audioplugininterface.h"

namespace {

constexpr int32_t kFrames = 64;

RAudioPluginInterface& Host() {
  static RAudioPluginInterface* host = [] {
    auto* adapter = new RAudioPluginInterface(std::make_unique<RAudioPlugin>(RString("Fuzz")));
    adapter->GetPlugin().SetHostFormat(48000.0, kFrames, 2);
    return adapter;
  }();
  return *host;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RAudioPluginInterface& host = Host();
  RMemoryStream chunk(data, int64_t(size));
  host.LoadState(chunk);

  float left[kFrames], right[kFrames], outLeft[kFrames], outRight[kFrames];
  for (int32_t i = 0; i < kFrames; ++i) left[i] = right[i] = float(i % 7) * 0.1f - 0.3f;
  float* inputs[] = {left, right};
  float* outputs[] = {outLeft, outRight};
  host.ProcessAudio(inputs, outputs, kFrames);
  for (int32_t i = 0; i < kFrames; ++i) {
    if (!std::isfinite(outLeft[i]) || !std::isfinite(outRight[i])) std::abort();
  }

  // Whatever state stands now must store again.
  RMemoryStream saved;
  if (!host.SaveState(saved)) std::abort();
  return 0;
}
