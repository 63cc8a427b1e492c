#include "graph/product/sharedoptions.h"

#include "base/string.h"
#include "base/tagitem.h"

// Switches read as 0 or 1; the counts (ModularExMods, ModularExMPs, the two Modulators keys)
// are numbers, and ModularExMods alone starts at 1.
const RSharedOptions::KeyInfo RSharedOptions::kKeys[kKeyCount] = {
    {"OscAutomateStepSequencer", 0},
    {"OscAutomateCustomShape", 0},
    {"OscAutomateTransform", 0},
    {"OscAutomateShapeHarmonics", 0},
    {"OscAutomateHarmonics", 0},
    {"ModulatorAutomateShape", 0},
    {"ModularExMods", 1},
    {"ModularExMPs", 0},
    {"FreeformEqAutomateShape", 0},
    {"DynamicsAutomateCustomShape", 0},
    {"DynamicsAutomateEq", 0},
    {"DenseVerbAutomateTaps", 0},
    {"DenseVerbAutomateMPRanges", 0},
    {"SqueezeStageAutomateMPRanges", 0},
    {"SqueezeStageAutomateFollowerEq", 0},
    {"SqueezeStageAutomateFollowerTransform", 0},
    {"SqueezeStageModulators", 0},
    {"DenseVerbModulators", 0},
    {"SpectralDynamicsAutomateShapes", 0},
    {"TransientAutomateShapes", 0},
    {"TransformerAutomateShapes", 0},
};

RSharedOptions::RSharedOptions() {
  for (int32_t k = 0; k < kKeyCount; ++k) values_[k] = kKeys[k].Default;
}

void RSharedOptions::Read(const RTagItem& plugin) {
  for (int32_t k = 0; k < kKeyCount; ++k) {
    values_[k] = kKeys[k].Default;
    plugin.ReadAttribute(RHashedString(RShortString::FromLatin1(kKeys[k].Name)), values_[k]);
  }
}
