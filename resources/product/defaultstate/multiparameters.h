#pragma once
// The product's 81 multi-parameters: every knob, switch and LED of the editor, what each one
// drives and over which range. Ranges are written in the units of the parameter they drive.

#include <cstdint>

class RAudioPluginModular;

namespace defaultstate {

constexpr int32_t kMultiParameterCount = 81;
constexpr int32_t kPublicMultiParameters = 52;

// Defines every multi-parameter of product (whose graph and banks stand) and applies each at
// its default, so that the module settings saved with it are the ones its knobs give.
void BuildMultiParameters(RAudioPluginModular& product);

} // namespace defaultstate
