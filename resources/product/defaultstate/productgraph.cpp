// The product's graph: 16 rows over six lanes, of which three carry sound. Lane 0 is A (the
// main input), lane 3 is B (the side-chain, or a copy of the main input), lane 5 keeps a dry
// copy that follows the morph. Each side passes delay, rate reduction, frequency shift, grains
// and gain; B alone passes "Invert"; then both meet in "Bit Blend" (or, in grid mode, "Bit
// Grid"), and from there lane 0 alone runs through the master chain.
//
// Every effect of the two paths idles transparently: the delays at 0 ms without feedback, the
// rate reducer, shifter and grains bypassed until their knobs leave zero. So a fresh instance
// passes its input unchanged until the user dials something in.

#include "resources/product/defaultstate/productgraph.h"

#include <string>
#include <vector>

#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "resources/product/defaultstate/builder.h"

namespace defaultstate {

namespace {

constexpr int32_t kLaneA = 0;
constexpr int32_t kLaneB = 3;
constexpr int32_t kLaneDry = 5;
constexpr uint64_t kAandB = (1u << kLaneA) | (1u << kLaneB);
constexpr uint64_t kAandDry = (1u << kLaneA) | (1u << kLaneDry);

// One path's chain, the same on both sides.
void AddPath(std::vector<SlotPlan>& slots, int32_t lane, const char* side) {
  static const struct {
    int32_t y;
    const char* name;
    const char* stem;
  } kChain[] = {{3, "EchoTaps", "Delay"}, {4, "Decimator", "Rate"}, {5, "HertzSlider", "Shift"},
                {6, "GrainCloud", "Glitch"}, {7, "LevelPlacer", "Gain"}};
  for (const auto& stage : kChain) {
    SlotPlan plan{lane, stage.y, stage.name, std::string(stage.stem) + " " + side};
    // The grain engine's second output would open a lane of its own; one stereo output it is.
    if (stage.y == 6) plan.outputCount = 1;
    slots.push_back(plan);
  }
}

std::vector<SlotPlan> ProductSlots() {
  std::vector<SlotPlan> slots;
  slots.push_back({kLaneB, 0, "TwoWayBlend", "In", kAandB, {{0, kLaneA, false}, {1, kLaneB, false}}});
  slots.push_back({kLaneDry, 1, "TwoWayBlend", "Dry Blend", kAandB, {{0, kLaneA, false}, {1, kLaneB, false}}});
  slots.push_back({kLaneB, 2, "LevelPlacer", "Mute"});
  AddPath(slots, kLaneA, "A");
  AddPath(slots, kLaneB, "B");
  slots.push_back({kLaneB, 8, "ChannelTool", "Invert"});
  SlotPlan grid{kLaneA, 9, "WordMangler", "Bit Grid", kAandB, {{1, kLaneB, true}}};
  grid.enabled = false;
  slots.push_back(grid);
  slots.push_back({kLaneA, 10, "Nest32", "Bit Blend", kAandB, {{1, kLaneB, true}}});
  slots.push_back({kLaneA, 11, "SpanFilter", "BandPass 1"});
  slots.push_back({kLaneA, 12, "SqueezeStage", "Press"});
  slots.push_back({kLaneA, 13, "WarmthStage", "Saturator 1"});
  slots.push_back({kLaneA, 14, "TwoWayBlend", "Dry/Wet", kAandDry, {{1, kLaneDry, true}}});
  slots.push_back({kLaneA, 15, "TransferBender", "Clip"});
  return slots;
}

void SetPathDefaults(RAudioPluginModular& product, const char* side) {
  const std::string delay = std::string("Delay ") + side;
  // The delay idles as a plain copy: no dry share (the copy is the signal), unity tap gain,
  // no feedback, and its band-pass inside the loop so that HP and LP shape every repeat.
  SetAll(product, delay.c_str(),
         {{"Dry", "0%"}, {"Filter mode", "Feedback filter"}, {"Feedback", "0%"}, {"Delay", "0 ms"}, {"Gain", "0 dB"},
          {"Mode", "Classic"}, {"Algorithm", "Tape"}});
  const std::string rate = std::string("Rate ") + side;
  SetAll(product, rate.c_str(), {{"Bit reduction", "Off"}, {"Bypass", "On"}});
  const std::string shift = std::string("Shift ") + side;
  SetAll(product, shift.c_str(), {{"Delay", "0 ms"}, {"Character", "Ugly"}, {"Length", "1 / 8"}, {"Bypass", "On"}});
  const std::string glitch = std::string("Glitch ") + side;
  SetAll(product, glitch.c_str(), {{"Random every time", "On"}, {"Bypass", "On"}});
}

} // namespace

void BuildProductGraph(RAudioPluginModular& product) {
  RTagItem state(RString("Switchyardsettings"));
  AddSlots(state, ProductSlots());
  product.LoadStateTree(state);
  for (const auto& slot : product.GetSlots()) slot->Renamed = true;

  SetAll(product, "In", {{"Ratio", "0%"}});
  SetAll(product, "Dry Blend", {{"Mode", "Linear"}});
  SetPathDefaults(product, "A");
  SetPathDefaults(product, "B");
  // The grid replaces, bit for bit, the bits of A that the sixteen switches choose by B's.
  SetAll(product, "Bit Grid",
         {{"Side-chain", "On"}, {"Bits", "16"}, {"Low-pass", "Off"}, {"XOR", "Off"}, {"Replace", "On"}});
  // The master chain idles open: the filter's corners at the ends of the band, the clipper a
  // safety ceiling at 0 dBFS.
  SetAll(product, "BandPass 1", {{"High-pass", "20 Hz"}, {"Low-pass", "20 kHz"}});
  // A knee 2 dB under the ceiling: transparent below it, a short soft bend above.
  SetAll(product, "Clip", {{"Shape", "0.20"}});
  SetAll(product, "Dry/Wet", {{"Mode", "Linear"}, {"Ratio", "0%"}});
}

} // namespace defaultstate
