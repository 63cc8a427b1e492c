#pragma once
// A decimator set up as a host would set it up, stereo, with helpers to reach its values by
// key and to run blocks through its whole cycle.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "modules/decimator/decimator.h"

namespace decimatortest {

inline RRangedValue& ValueOf(RAudioPluginBase& module, const char* key) {
  for (RValue* value : module.GetOwnValues()) {
    if (value->GetKey().ToUTF8() == key) return dynamic_cast<RRangedValue&>(*value);
  }
  ADD_FAILURE() << "no value with key " << key;
  return dynamic_cast<RRangedValue&>(*module.GetOwnValues().front());
}

// Sets a value at once, with no glide from where it stood.
inline void SetNow(RAudioPluginBase& module, const char* key, double real) {
  RRangedValue& value = ValueOf(module, key);
  value.SetValueNow(real);
  value.ResetRamp();
}

class RDecimatorRig {
public:
  explicit RDecimatorRig(double rate = 48000.0, int32_t maxBlock = 512) {
    module.InitParameters();
    module.SetHostFormat(rate, maxBlock, 2);
  }

  RRangedValue& Value(const char* key) { return ValueOf(module, key); }
  void Set(const char* key, double real) { SetNow(module, key, real); }
  // A ramp of the host's: the value glides to real by the end of the next block.
  void Automate(const char* key, double real) {
    RRangedValue& value = Value(key);
    module.SetParameterEdited(RAudioPluginBase::kEndOfBlock, module.GetParameterIndexOf(&value),
                              value.GetRange()->RealToNormalised(real));
  }

  // One block through the module's cycle; the outputs are separate buffers, as a host has them.
  std::array<std::vector<float>, 2> Run(const std::vector<float>& left, const std::vector<float>& right) {
    std::array<std::vector<float>, 2> out = {std::vector<float>(left.size(), -9.0f),
                                             std::vector<float>(right.size(), -9.0f)};
    std::vector<float> inLeft = left, inRight = right;
    float* inputs[2] = {inLeft.data(), inRight.data()};
    float* outputs[2] = {out[0].data(), out[1].data()};
    module.ProcessCycle(inputs, outputs, int32_t(left.size()), nullptr);
    return out;
  }

  RDecimator module;
};

} // namespace decimatortest
