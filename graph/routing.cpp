// Routing of one slot: masks and index lists brought into agreement before a compile.
#include <algorithm>

#include "graph/audiopluginmodular.h"
#include "graph/plugindescriptor.h"

void RAudioPluginModular::ResolveRouting(RPluginSlot& slot, int32_t column) {
  slot.MaskOut = 0;
  const int32_t lanes = lanes_;
  const int32_t descriptorInputs = slot.GetDescriptorInputCount();
  int32_t inputs = 0;
  if (descriptorInputs < 0) {
    // Variable inputs follow the mask, lowest lane first.
    for (int32_t lane = 0; lane < lanes; ++lane) {
      const uint64_t bit = uint64_t(1) << lane;
      if (!(slot.MaskIn & bit)) continue;
      slot.InputIndex[size_t(inputs)] = lane;
      slot.InputSteal[size_t(inputs)] = (slot.MaskInSteal & bit) ? 1 : 0;
      ++inputs;
    }
    slot.InputCount = inputs;
  } else {
    inputs = std::min(descriptorInputs, lanes);
    slot.MaskIn = 0;
    slot.MaskInSteal = 0;
    int32_t previous = column;
    for (int32_t i = 0; i < inputs; ++i) {
      int32_t lane = slot.InputIndex[size_t(i)];
      // A side-chain input left at -1 listens to the first input's lane, not to the column.
      if (lane < 0) lane = (i == 1 && descriptorInputs == 2 && slot.InputIndex[1] == -1) ? previous : column;
      lane = std::min(lane, lanes - 1);
      previous = lane;
      const uint64_t bit = uint64_t(1) << lane;
      slot.MaskIn |= bit;
      if (slot.InputSteal[size_t(i)]) slot.MaskInSteal |= bit;
    }
  }
  // A module always writes its own column and the lanes right of it, whatever a file said.
  const int32_t outputs = slot.GetEffectiveOutputCount();
  for (int32_t j = 0; j < lanes; ++j) slot.OutputIndex[size_t(j)] = -1;
  for (int32_t j = 0; j < outputs; ++j) {
    const int32_t lane = (column + j) % lanes;
    slot.OutputIndex[size_t(j)] = lane;
    slot.MaskOut |= uint64_t(1) << lane;
  }
  slot.InputCountUsed = inputs;
  slot.OutputCountUsed = outputs;
}
