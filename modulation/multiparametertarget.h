#pragma once
// RMultiParameterTarget: one parameter that a multi-parameter drives, with the range that maps
// the multi-parameter's 0..1 onto it, an optional curve and expression on the way, and, for
// the Banks mode, the target's value in each bank.
//
// The way of an input x to the target (Map):
//   shape (when ShapeEnabled) -> expression (when enabled, not post-process) -> d = 2x - 1,
//   negated by Invert -> range form -> expression (when post-process) -> clamped to 0..1.
// The range forms, with v, r, m the Value, Range and MaxValue:
//   0  around v, narrowed near an edge:    h = min(v, 1 - v, r / 2), y = v + h d
//   1  width r kept, centre moved inward:  h = r / 2, y = clamp(v, h, 1 - h) + h d
//   2  upward from v:                      y = v + min(r, 1 - v) (d / 2 + 0.5)
//   3  downward from v:                    y = v - min(v, r) (d / 2 + 0.5)
//   4  a line from v to m (may run back):  y = v + (m - v) (d / 2 + 0.5)
//
// Threads: the fields, SetExpression and Store are [editor-thread] under the owner's lock and
// this target's section; Map and the bank reads run wherever the owner applies (the audio
// thread in its stages) and never allocate.

#include <cstdint>

#include "base/lock.h"
#include "base/string.h"
#include "modulation/expression.h"
#include "modulation/shape.h"

class RStoreContext;

class RMultiParameterTarget {
public:
  // Room of the bank value array: the largest bank count plus one.
  static constexpr int32_t kMaxBanks = 129;
  static constexpr int32_t kRangeFormCount = 5;

  RMultiParameterTarget();
  RMultiParameterTarget(const RMultiParameterTarget&) = delete;
  RMultiParameterTarget& operator=(const RMultiParameterTarget&) = delete;

  // --- stored settings
  bool ParameterEnabled = true;
  RString ParameterName;  // full name in the plug-in's table; empty: no target
  RString Name;           // display alias
  double Value = 0.5;
  double MaxValue = 1.0;
  double Range = 1.0;
  int32_t FullRange = 0;
  bool Invert = false;
  bool UseFirstRange = false;
  bool ParameterExpressionEnabled = false;
  bool ParameterExpressionPostProcess = false;
  bool ShapeEnabled = false;
  RShape Shape;
  bool Interpolate = true;
  double BankValues[kMaxBanks];

  // The range form's y for a d in -1..1, unclamped. An unknown form reads as 0.
  static double MapRange(int32_t form, double v, double r, double m, double d) noexcept;

  // x through the whole way above; range is the target whose range form and numbers apply
  // (this one, or the first target under UseFirstRange).
  double Map(double x, const RMultiParameterTarget& range) noexcept;
  // The curve and the expression where they are set: before the range (pre) or after it.
  double PreProcess(double x) noexcept;
  double PostProcess(double y) noexcept;

  // Compiles text. A text that doesn't compile is kept, its message is kept for the editor, and
  // the target takes the plain path.
  void SetExpression(const RString& text);
  const RString& GetExpressionText() const noexcept { return expression_.GetText(); }
  const RString& GetExpressionError() const noexcept { return expressionError_; }
  RExpression& GetExpression() noexcept { return expression_; }
  bool UsesExpression() const noexcept { return ParameterExpressionEnabled && expression_.IsCompiled(); }

  // The index of ParameterName in the owner's table; -1 when it couldn't be resolved.
  int32_t GetIndex() const noexcept { return index_; }
  void SetIndex(int32_t index) noexcept { index_ = index; }

  // Guards the compiled expression and the shape's segments against a rebuild.
  RLock& GetSection() noexcept { return section_; }

  // The last random draw of a randomising trigger.
  double RandomValue = 0.5;

  // Reads or writes the keys, the "Shape" child and bankCount bank values at the context's
  // element (a "Parameter" element).
  void Store(RStoreContext& context, int32_t bankCount);

private:
  void StoreBanks(RStoreContext& context, int32_t bankCount);

  RExpression expression_;
  RString expressionError_;
  int32_t index_ = -1;
  RLock section_;
};
