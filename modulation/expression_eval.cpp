// Evaluating a compiled expression: a switch over a flat postfix program with the stack in a
// local array. Runs on the audio thread: no allocation, no exception, and only finite values on
// the stack, because every operation that could leave the finite range gives 0 instead.

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "modulation/expression.h"

namespace {

inline double Finite(double value) noexcept { return std::isfinite(value) ? value : 0.0; }
inline double Truth(bool value) noexcept { return value ? 1.0 : 0.0; }

}  // namespace

int32_t RExpression::Arity(Op op) noexcept {
  switch (op) {
    case Op::kConstant:
    case Op::kInput:
    case Op::kVariable: return 0;
    case Op::kNegate:
    case Op::kNot:
    case Op::kAbs:
    case Op::kSqrt:
    case Op::kExp:
    case Op::kLog:
    case Op::kSin:
    case Op::kCos:
    case Op::kSquare: return 1;
    case Op::kClamp:
    case Op::kSelect: return 3;
    default: return 2;
  }
}

double RExpression::Run(const Instruction* program, size_t count, double x, const double* slots) noexcept {
  double stack[kMaxStackDepth];
  double* top = stack - 1;  // the value on top of the stack
  for (const Instruction* in = program; in != program + count; ++in) {
    switch (in->op) {
      case Op::kConstant: *++top = in->value; break;
      case Op::kInput: *++top = x; break;
      case Op::kVariable: *++top = slots[in->slot]; break;
      case Op::kNegate: *top = -*top; break;
      case Op::kNot: *top = Truth(*top == 0); break;
      case Op::kAbs: *top = std::fabs(*top); break;
      case Op::kSqrt: *top = Finite(std::sqrt(*top)); break;
      case Op::kExp: *top = Finite(std::exp(*top)); break;
      case Op::kLog: *top = Finite(std::log(*top)); break;
      case Op::kSin: *top = std::sin(*top); break;
      case Op::kCos: *top = std::cos(*top); break;
      case Op::kSquare: *top = Finite(*top * *top); break;
      case Op::kAdd: --top; *top = Finite(top[0] + top[1]); break;
      case Op::kSubtract: --top; *top = Finite(top[0] - top[1]); break;
      case Op::kMultiply: --top; *top = Finite(top[0] * top[1]); break;
      case Op::kDivide: --top; *top = Finite(top[0] / top[1]); break;
      case Op::kPower: --top; *top = Finite(std::pow(top[0], top[1])); break;
      case Op::kMin: --top; *top = std::min(top[0], top[1]); break;
      case Op::kMax: --top; *top = std::max(top[0], top[1]); break;
      case Op::kLess: --top; *top = Truth(top[0] < top[1]); break;
      case Op::kLessEqual: --top; *top = Truth(top[0] <= top[1]); break;
      case Op::kGreater: --top; *top = Truth(top[0] > top[1]); break;
      case Op::kGreaterEqual: --top; *top = Truth(top[0] >= top[1]); break;
      case Op::kEqual: --top; *top = Truth(top[0] == top[1]); break;
      case Op::kNotEqual: --top; *top = Truth(top[0] != top[1]); break;
      case Op::kAnd: --top; *top = Truth(top[0] != 0 && top[1] != 0); break;
      case Op::kOr: --top; *top = Truth(top[0] != 0 || top[1] != 0); break;
      case Op::kClamp: top -= 2; *top = std::min(std::max(top[0], top[1]), top[2]); break;
      case Op::kSelect: top -= 2; *top = top[0] != 0 ? top[1] : top[2]; break;
    }
  }
  return *top;
}

void RExpression::SetVariable(int32_t slot, double value) noexcept {
  if (slot >= 0 && slot < variableCount_) slots_[slot] = Finite(value);
}

double RExpression::Evaluate(double x) const noexcept {
  x = Finite(x);
  if (!compiled_) return x;
  return Run(program_.data(), program_.size(), x, slots_);
}

void RExpression::EvaluateBlock(const double* in, double* out, int32_t count) const noexcept {
  for (int32_t i = 0; i < count; ++i) out[i] = Evaluate(in[i]);
}

void RExpression::EvaluateBlock(const float* in, float* out, int32_t count) const noexcept {
  // A finite double may still be beyond the float range.
  for (int32_t i = 0; i < count; ++i) out[i] = float(std::clamp(Evaluate(in[i]), double(-FLT_MAX), double(FLT_MAX)));
}
