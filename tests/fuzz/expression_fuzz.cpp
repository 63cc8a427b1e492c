// Expressions are typed by users and read back from stored states: any text must either compile
// or end in an RException, and a compiled program must give finite results for any input and
// any variable values.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "base/exception.h"
#include "base/string.h"
#include "modulation/expression.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  RExpression expression;
  try {
    expression.Compile(RString::FromUTF8(reinterpret_cast<const char*>(data), size));
  } catch (const RException&) {
    return 0;
  }
  constexpr double kInputs[] = {0.0, -0.0, 0.5, 1.0, -1.0, 1e-310, 1e308, -1e308,
                                std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::quiet_NaN()};
  constexpr int kCount = int(sizeof(kInputs) / sizeof(kInputs[0]));
  for (int v = 0; v < kCount; ++v) {
    for (int32_t slot = 0; slot < expression.GetVariableCount(); ++slot) {
      expression.SetVariable(slot, kInputs[(v + slot) % kCount]);
    }
    for (double x : kInputs) {
      if (!std::isfinite(expression.Evaluate(x))) std::abort();
    }
  }
  float block[kCount];
  for (int i = 0; i < kCount; ++i) block[i] = float(kInputs[i]);
  expression.EvaluateBlock(block, block, kCount);
  for (float value : block) {
    if (!std::isfinite(value)) std::abort();
  }
  return 0;
}
