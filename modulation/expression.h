#pragma once
// RExpression: the small formula language of multi-parameter targets, of value displays that
// read "Expression", and of the channel tool's expression stage. A text is compiled once, on the
// editor thread, into a flat postfix program; the audio thread then evaluates it with no
// allocation, no exception and no non-finite result.
//
// The language (names and keywords ignore case; spaces, tabs and line breaks are free):
//
//   x                 the input
//   1  2.5  .5  1e-3  numbers: decimal digits, an optional fraction and exponent
//   pi                3.14159...
//   p<n>              variable slot "multi-parameter n" (n from 1, as the parameter table counts
//                     them: p69 is "MultiParameters - Param 69"); a target reads its value
//   t<n>              variable slot "target n" of the same multi-parameter (n from 1, in list
//                     order); a target reads that target parameter's normalised value
//                     Other callers give p<n> and t<n> meanings of their own (the channel tool
//                     binds its Param1 and Param2 to p1 and p2).
//   ( ... )  { ... }  grouping; the two kinds of bracket mean the same
//
// Operators, from the loosest to the tightest binding:
//
//   c ? a : b         conditional, right to left: a when c is not 0, else b
//   ||                1 when either side is not 0, else 0
//   &&                1 when both sides are not 0, else 0
//   ==  !=            equality, 1 or 0
//   <  <=  >  >=      order, 1 or 0
//   +  -              left to right: 1-2-3 is -4
//   *  /              left to right
//   -a  +a  !a        unary; !a is 1 when a is 0, else 0
//   a ^ b             power, right to left and tighter than unary minus, as written in
//                     mathematics: 2^3^2 is 512, -2^2 is -4, 2^-1 is 0.5
//
// Functions: min(a, b, ...) and max(a, b, ...) of two or more arguments, abs, sqrt, exp, log
// (natural), sin, cos (radians), pow(a, b) (same as a ^ b), clamp(v, lo, hi) (= min(max(v, lo),
// hi), so hi wins when the bounds cross) and if(c, a, b) (same as c ? a : b). Both branches of
// a conditional are evaluated; nothing has side effects, so only the cost differs.
//
// Finite results: any step whose exact result is not a finite number gives 0 instead: x / 0,
// log(0), log(-1), sqrt(-1), pow(-8, 1/3), exp(1000), 1e300 * 1e300 are all 0. An input x or a
// variable value that is NaN or infinite reads as 0. So a result is always finite, whatever
// comes in; literals too large for a double are refused at compile time.
//
// Scenarios:
//   I.   The user types a target's expression: Compile on the editor thread, under the target's
//        section; on failure the message goes to the editor and the target takes its plain path
//        (IsCompiled() is false, Evaluate passes x through).
//   II.  A target applies: for each slot of GetVariable the multi-parameter reads the value it
//        names and calls SetVariable, then Evaluate(x).
//   III. The channel tool runs a block: EvaluateBlock over the samples, a plain loop of
//        Evaluate (the program is interpreted once per sample).
//
// Threads: Compile, the constructors and assignment are [editor-thread] and allocate;
// Evaluate, EvaluateBlock and SetVariable are [any-thread] and allocation-free, for one caller
// at a time (the variable slots live in the object). The owner keeps the two apart with its
// lock.

#include <cstdint>
#include <vector>

#include "base/string.h"

// One variable an expression reads: what kind of value, and which one (counted from 1).
struct RExpressionVariable {
  enum Kind : uint8_t { kMultiParameter, kTarget };
  Kind kind = kMultiParameter;
  int32_t number = 0;

  bool operator==(const RExpressionVariable&) const = default;
};

class RExpression {
public:
  // A program's stack never grows past this; deeper expressions are refused at compile time.
  static constexpr int32_t kMaxStackDepth = 48;
  // Distinct variables one expression may read; their slots live inside the object.
  static constexpr int32_t kMaxVariables = 16;
  // Highest n of p<n> and t<n>; whether it exists is the caller's test.
  static constexpr int32_t kMaxVariableNumber = 9999;

  // The text "x", compiled: the identity.
  RExpression();
  // Compiles text; throws RException as Compile does.
  explicit RExpression(const RString& text);

  // Compiles text into the program. On failure throws RException with a message for the
  // editor, and leaves the object holding the text, uncompiled. [editor-thread]
  void Compile(const RString& text);
  bool IsCompiled() const noexcept { return compiled_; }
  const RString& GetText() const noexcept { return text_; }

  // The variables the program reads, one slot each, in order of first appearance.
  int32_t GetVariableCount() const noexcept { return variableCount_; }
  // The variable of a slot; a slot out of range gives a variable of number 0.
  RExpressionVariable GetVariable(int32_t slot) const noexcept;
  // The slot of a variable, or -1 when the program doesn't read it.
  int32_t FindVariable(RExpressionVariable variable) const noexcept;
  // Fills a slot before evaluating; a slot out of range is ignored. [any-thread]
  void SetVariable(int32_t slot, double value) noexcept;

  // The program at x; always finite. Uncompiled, x itself (0 when x isn't finite). [any-thread]
  double Evaluate(double x) const noexcept;
  // Evaluate for each of count values; in and out may be the same array. The float form also
  // keeps results inside the float range. [any-thread]
  void EvaluateBlock(const double* in, double* out, int32_t count) const noexcept;
  void EvaluateBlock(const float* in, float* out, int32_t count) const noexcept;

private:
  enum class Op : uint8_t {
    kConstant, kInput, kVariable,
    kNegate, kNot, kAbs, kSqrt, kExp, kLog, kSin, kCos, kSquare,
    kAdd, kSubtract, kMultiply, kDivide, kPower, kMin, kMax,
    kLess, kLessEqual, kGreater, kGreaterEqual, kEqual, kNotEqual, kAnd, kOr,
    kClamp, kSelect,
  };
  struct Instruction {
    double value = 0;   // kConstant
    int32_t slot = 0;   // kVariable
    Op op = Op::kConstant;
  };
  class Compiler;

  // How many values an operation takes from the stack.
  static int32_t Arity(Op op) noexcept;
  // Runs a well-formed program; the compiler checked its stack use.
  static double Run(const Instruction* program, size_t count, double x, const double* slots) noexcept;

  RString text_;
  std::vector<Instruction> program_;
  RExpressionVariable variables_[kMaxVariables];
  double slots_[kMaxVariables] = {};
  int32_t variableCount_ = 0;
  bool compiled_ = false;
};
