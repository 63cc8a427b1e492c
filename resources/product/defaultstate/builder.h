#pragma once
// The few operations the default state is written with. Slots are described as the graph's
// loader reads them (cell, catalogue name, display name, routing) and loaded through it;
// every setting is then given as the text a user would type into the parameter, so that the
// tables read in units ("-6 dB", "2 kHz", "1 / 8") and every name and text is checked by
// the module that owns it. A name or text the engine refuses stops the build.

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "base/string.h"

class RAudioPluginBase;
class RAudioPluginModular;
class RTagItem;

namespace defaultstate {

// One input of a slot that doesn't read its own column: the lane, and whether the slot takes
// the lane's signal away from the slots right of it (steals it).
struct InputPlan {
  int32_t input;
  int32_t lane;
  bool steal;
};

struct SlotPlan {
  int32_t x;
  int32_t y;
  const char* name;      // catalogue name
  std::string fullName;  // display name; multi-parameter targets address it
  uint64_t maskIn = 0;   // 0: the slot's own column
  std::vector<InputPlan> inputs = {};
  int32_t inputCount = 0;   // only for modules with a variable input count
  int32_t outputCount = 0;  // only for modules with a variable output count
  bool enabled = true;
};

// Writes the slots as "Plugin" children of a new "Plugins" element of graph.
void AddSlots(RTagItem& graph, const std::vector<SlotPlan>& slots);

// The normalised position of a text for a parameter of plugin's table, read by the value
// itself. Throws with the name when the parameter or the text is refused.
double NormalisedOf(RAudioPluginBase& plugin, const RString& name, const RString& text);
// Sets the parameter to the text, user and processing value alike.
void SetByText(RAudioPluginBase& plugin, const RString& name, const RString& text);
// The same for several parameters of one slot: "FullName - " + each name.
void SetAll(RAudioPluginBase& plugin, const char* slot,
            std::initializer_list<std::pair<const char*, const char*>> settings);

// "Bit 01" .. "Bit 16", "01" .. "16".
RString TwoDigits(int32_t n);
RString Joined(const char* a, const RString& b);

} // namespace defaultstate
