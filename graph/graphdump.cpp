// The compiled list as text, for the command line and for tests that compare two compiles.
#include "base/format.h"
#include "graph/audiopluginmodular.h"

namespace {
// "L2/B1" for lane 2, buffer 1; "host 3" for entry 3 of the host's array.
RString Endpoint(int32_t laneIndex, int32_t select, int32_t hostIndex, int32_t stride) {
  if (hostIndex >= 0) return RFormat("host {0}") << hostIndex / stride;
  return RFormat("L{0}/B{1}") << laneIndex / stride << select;
}
}  // namespace

RString RAudioPluginModular::DescribeProcessors() const {
  RString text;
  for (const auto& p : processors_) {
    const RPluginSlot& slot = *p->Slot;
    RString inputs, outputs;
    for (int32_t i = 0; i < p->InputCount; ++i) {
      if (i > 0) inputs += ", ";
      inputs += Endpoint(p->InputLane[size_t(i)], p->InputSelect[size_t(i)], p->InputHostIndex[size_t(i * p->Stride)],
                         p->Stride);
    }
    for (int32_t j = 0; j < p->OutputCount; ++j) {
      if (j > 0) outputs += ", ";
      outputs += Endpoint(p->OutputLane[size_t(j)], p->OutputSelect[size_t(j)],
                          p->OutputHostIndex[size_t(j * p->Stride)], p->Stride);
    }
    text += RFormat("row {0} col {1} {2}: in [{3}] out [{4}] latency {5}")
            << slot.GetY() << slot.GetX() << slot.FullName << inputs << outputs << slot.LatencyUsed;
    if (p->Aligner) {
      text += " aligner [";
      bool first = true;
      for (int32_t lane = 0; lane < p->Aligner->GetLaneCount(); ++lane) {
        const RLaneAligner::Lane& entry = p->Aligner->GetLane(lane);
        if (entry.Delay <= 0) continue;
        if (!first) text += ", ";
        first = false;
        text += RFormat("L{0}+{1}") << lane << entry.Delay;
        if (entry.HostIndex >= 0) text += RFormat(" from host {0}") << entry.HostIndex / p->Stride;
      }
      text += "]";
    }
    text += "\n";
  }
  for (const MixEntry& entry : mix_) {
    text += RFormat("mix L{0}/B{1} -> out {2}\n") << entry.Lane << entry.BufferSelect << entry.OutputLane;
  }
  RString copies;
  for (int32_t lane = 0; lane < lanes_; ++lane) {
    if (!directCopy_[size_t(lane)]) continue;
    if (!copies.IsEmpty()) copies += " ";
    copies += RFormat("{0}") << lane;
  }
  text += RFormat("direct copy: {0}\n") << (copies.IsEmpty() ? RString("none") : copies);
  text += RFormat("latency {0}\n") << totalLatency_;
  return text;
}
