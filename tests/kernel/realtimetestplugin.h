#pragma once
// A plug-in shaped like the product as the host sees it: 52 continuous parameters, a few
// switches and menus, and a Process that runs the block stages, for the allocation test
// and the cycle benchmarks. Wrapped in its host-side object by RRealtimeTestHost.
#include <cstdint>
#include <memory>
#include <vector>

#include "base/format.h"
#include "kernel/audioplugin.h"
#include "kernel/audioplugininterface.h"
#include "kernel/blockstages.h"
#include "kernel/value.h"

class RRealtimeTestPlugin : public RAudioPlugin {
public:
  static constexpr int32_t kRealValues = 52;

  explicit RRealtimeTestPlugin(const Options& options = Options()) : RAudioPlugin(RString("Realtime"), options) {
    for (int32_t i = 0; i < kRealValues; ++i) {
      // The first three drive the stages: gain 0..2, panorama and width -1..1.
      const double min = (i == 1 || i == 2) ? -1.0 : 0.0;
      const double max = (i == 1 || i == 2) ? 1.0 : 2.0;
      const double initial = (i == 1 || i == 2) ? 0.0 : 1.0;
      reals.push_back(std::make_unique<RRealValue>(this, RString(RFormat("Real {0}") << i), min, max, initial));
    }
    widthOn = std::make_unique<RBoolValue>(this, RString("Width on"), true);
    invert = std::make_unique<RBoolValue>(this, RString("Invert"), false);
    RArray<RString> orders;
    orders.Add(RString("Gain first"));
    orders.Add(RString("Pan first"));
    order = std::make_unique<RChoiceValue>(this, RString("Order"), orders);
    RArray<RString> spares;
    spares.Add(RString("A"));
    spares.Add(RString("B"));
    spares.Add(RString("C"));
    spare = std::make_unique<RChoiceValue>(this, RString("Spare"), spares);
  }

  std::vector<std::unique_ptr<RRealValue>> reals;
  std::unique_ptr<RBoolValue> widthOn, invert;
  std::unique_ptr<RChoiceValue> order, spare;
  // Every processing value is read each sub-block, as a module's Update would.
  double checksum = 0.0;

  void Process(float* const* inputs, float* const* outputs, int32_t frames) override {
    RAudioPlugin::Process(inputs, outputs, frames);
    float* left = outputs[0];
    float* right = outputs[1];
    if (order->GetProcessingIndex() == 0) ApplyGain(*reals[0], outputs, 2, frames);
    ApplyPanorama(*reals[1], left, right, frames);
    if (order->GetProcessingIndex() == 1) ApplyGain(*reals[0], outputs, 2, frames);
    if (widthOn->IsProcessingOn()) ApplyWidth(*reals[2], left, right, frames);
    else reals[2]->MarkRampDone();
    for (size_t i = 3; i < reals.size(); ++i) checksum += reals[i]->GetProcessing();
    checksum += double(spare->GetProcessingIndex());
    if (invert->IsProcessingOn()) {
      for (int32_t i = 0; i < frames; ++i) {
        left[i] = -left[i];
        right[i] = -right[i];
      }
    }
  }
};

// The plug-in in its host-side object, set up for stereo at rate and maxBlock.
struct RRealtimeTestHost {
  RRealtimeTestPlugin* plugin;
  RAudioPluginInterface adapter;

  explicit RRealtimeTestHost(double rate = 48000.0, int32_t maxBlock = 512,
                             const RAudioPlugin::Options& options = RAudioPlugin::Options())
      : RRealtimeTestHost(std::make_unique<RRealtimeTestPlugin>(options), rate, maxBlock) {}

private:
  RRealtimeTestHost(std::unique_ptr<RRealtimeTestPlugin> owned, double rate, int32_t maxBlock)
      : plugin(owned.get()), adapter(std::move(owned)) {
    plugin->InitParameters();
    plugin->SetHostFormat(rate, maxBlock, 2);
  }
};
