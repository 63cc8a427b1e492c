#include "graph/switchyard.h"

namespace {

RAudioPlugin::Options HostOptions() {
  RAudioPlugin::Options options;
  options.multiParameters = RSwitchyard::kDefaultMultiParameters;
  return options;
}

} // namespace

RSwitchyardBase::RSwitchyardBase(const RString& name, int32_t laneCount, bool sideChain, const Options& options)
    : RAudioPluginModular(name, laneCount, sideChain, options), className_("Switchyard"),
      internalId_("SwitchyardCreative") {}

RSwitchyard::RSwitchyard() : RSwitchyardBase(RString("Switchyard"), kLanes, true, HostOptions()) {
  internalId_ = RString("Switchyard1");
  SetInputNames({RString("Input"), RString("Sidechain")});
  inputBuses_ = kInputLanes;
  outputBuses_ = kOutputLanes;
}

void RSwitchyard::CreateProcessors() {
  // A host nested in another shares its parent's block data, and with it the counts.
  if (const auto* parent = dynamic_cast<const RSwitchyard*>(GetParent()); parent && sharesParentData_) {
    SetMultiParameterCount(parent->GetMultiParameterCount());
    modulatorCount_ = parent->GetModulatorCount();
  }
  RSwitchyardBase::CreateProcessors();
}
