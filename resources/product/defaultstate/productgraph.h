#pragma once
// The product's graph: its 21 slots at their cells, their routing and the settings in which
// they idle.

class RAudioPluginModular;

namespace defaultstate {

// Loads the slots into product (an empty six-lane graph with a side-chain) and sets them up.
// "Bit Blend" is left empty; the bit banks fill it.
void BuildProductGraph(RAudioPluginModular& product);

} // namespace defaultstate
