#pragma once
// The checks and the readable listing of a built default state.

class RAudioPluginModular;
class RStream;
class RTagItem;

namespace defaultstate {

// Loads root into fresh (a new product graph) and throws, listing them, if the load logged a
// module or parameter it couldn't find or left a control's target unresolved.
void CheckReload(const RTagItem& root, RAudioPluginModular& fresh);

// One line per control (index, group, name, kind, default) and one per target with the texts
// the target reads at both ends of the control, or per choice.
void WriteReview(RAudioPluginModular& product, RStream& out);

} // namespace defaultstate
