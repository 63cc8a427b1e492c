#include "modules/wordmangler/wordcore.h"

#include <algorithm>

namespace {

// Adding and taking away 1.5 * 2^23 leaves a float in 0..2^22 rounded to an integer, ties to
// even, the way the processor rounds by default; unlike lrintf it vectorises on every level.
constexpr float kRoundingOffset = 12582912.0f;

bool ShiftCountValid(int32_t count) noexcept { return count >= 0 && count <= 31; }

// What each operation does with a word w, its mask m and a control word r.
struct XorOperation {
  static uint32_t Plain(uint32_t w, uint32_t m) noexcept { return w ^ m; }
  static uint32_t Control(uint32_t w, uint32_t r, uint32_t m) noexcept { return w ^ (r & m); }
};
struct ReplaceOperation {
  static uint32_t Control(uint32_t w, uint32_t r, uint32_t m) noexcept { return (w & ~m) | (r & m); }
};
// Plain AND keeps the selected bits and clears the rest; with a control word the unselected
// bits stay and the selected ones survive only where r has them.
struct AndOperation {
  static uint32_t Plain(uint32_t w, uint32_t m) noexcept { return w & m; }
  static uint32_t Control(uint32_t w, uint32_t r, uint32_t m) noexcept { return w & (r | ~m); }
};
struct OrOperation {
  static uint32_t Plain(uint32_t w, uint32_t m) noexcept { return w | m; }
  static uint32_t Control(uint32_t w, uint32_t r, uint32_t m) noexcept { return w | (r & m); }
};

// The control word of a form; the counts are loop invariants, so each form compiles to one
// vector shift (or two and an or) per lane. Rotations either way share one loop: the plan
// holds both counts.
template <RWordForm kForm>
inline uint32_t ControlWord(uint32_t c, int32_t right, int32_t left, uint32_t full) noexcept {
  if constexpr (kForm == RWordForm::kShiftRight) {
    return c >> right;
  } else if constexpr (kForm == RWordForm::kShiftLeft) {
    return c << left;
  } else {
    return ((c >> right) | (c << left)) & full;
  }
}

template <class Operation>
void PlainPass(uint32_t* words, int32_t count, uint32_t mask) noexcept {
  for (int32_t i = 0; i < count; ++i) words[i] = Operation::Plain(words[i], mask);
}

// The words are their own control: each word is read before it is written, so the same
// buffer is safe and needs no run-time overlap test.
template <class Operation, RWordForm kForm>
void SelfControlPass(uint32_t* words, int32_t count, const RWordOperationPlan& op, uint32_t full) noexcept {
  const uint32_t mask = op.Mask;
  const int32_t right = op.Right, left = op.Left;
  for (int32_t i = 0; i < count; ++i) {
    const uint32_t w = words[i];
    words[i] = Operation::Control(w, ControlWord<kForm>(w, right, left, full), mask);
  }
}

template <class Operation, RWordForm kForm>
void ControlPass(uint32_t* __restrict words, const uint32_t* __restrict control, int32_t count,
                 const RWordOperationPlan& op, uint32_t full) noexcept {
  const uint32_t mask = op.Mask;
  const int32_t right = op.Right, left = op.Left;
  for (int32_t i = 0; i < count; ++i) {
    words[i] = Operation::Control(words[i], ControlWord<kForm>(control[i], right, left, full), mask);
  }
}

template <class Operation>
void ControlPasses(const RWordPlan& plan, const RWordOperationPlan& op, uint32_t* words, const uint32_t* control,
                   int32_t count) noexcept {
  const uint32_t full = plan.Full;
  if (!plan.HasControl) {
    switch (op.Form) {
      case RWordForm::kShiftRight: return SelfControlPass<Operation, RWordForm::kShiftRight>(words, count, op, full);
      case RWordForm::kShiftLeft: return SelfControlPass<Operation, RWordForm::kShiftLeft>(words, count, op, full);
      case RWordForm::kRotateRight:
      case RWordForm::kRotateLeft: return SelfControlPass<Operation, RWordForm::kRotateRight>(words, count, op, full);
      case RWordForm::kPlain: return;
    }
    return;
  }
  switch (op.Form) {
    case RWordForm::kShiftRight: return ControlPass<Operation, RWordForm::kShiftRight>(words, control, count, op, full);
    case RWordForm::kShiftLeft: return ControlPass<Operation, RWordForm::kShiftLeft>(words, control, count, op, full);
    case RWordForm::kRotateRight:
    case RWordForm::kRotateLeft:
      return ControlPass<Operation, RWordForm::kRotateRight>(words, control, count, op, full);
    case RWordForm::kPlain: return;
  }
}

template <class Operation>
void RunOperation(const RWordPlan& plan, const RWordOperationPlan& op, uint32_t* words, const uint32_t* control,
                  int32_t count) noexcept {
  if constexpr (requires { Operation::Plain(0u, 0u); }) {
    if (op.Form == RWordForm::kPlain) return PlainPass<Operation>(words, count, op.Mask);
  }
  ControlPasses<Operation>(plan, op, words, control, count);
}

} // namespace

void RWordPlan::Reset(int32_t bits, bool hasControl) noexcept {
  Bits = std::clamp(bits, 1, kMaxBits);
  Full = (uint32_t(1) << Bits) - 1u;
  HasControl = hasControl;
  for (RWordOperationPlan& op : Operations) op = RWordOperationPlan();
}

void RWordPlan::Enable(RWordOperationKind kind, const bool* switches, int32_t shift, bool rotate) noexcept {
  RWordOperationPlan& op = Operations[int32_t(kind)];
  op = RWordOperationPlan();
  uint32_t mask = 0;
  for (int32_t i = 1; i <= Bits; ++i) {
    if (switches[i - 1]) mask |= uint32_t(1) << (Bits - i);
  }
  op.Mask = mask;
  if (!HasControl && shift == 0) {
    // Replace has no plain form, and its control form reading the word itself changes nothing.
    op.Enabled = kind != RWordOperationKind::kReplace;
    op.Form = RWordForm::kPlain;
    return;
  }
  op.Enabled = true;
  if (shift > 31 || shift < -31) {
    // Every bit is shifted out: r = 0 (words have at most 16 bits).
    op.Form = RWordForm::kShiftRight;
    op.Right = 31;
    return;
  }
  if (shift >= 0) {
    op.Form = RWordForm::kShiftRight;
    op.Right = shift;
    if (rotate && ShiftCountValid(Bits - shift)) {
      op.Form = RWordForm::kRotateRight;
      op.Left = Bits - shift;
    }
  } else {
    op.Form = RWordForm::kShiftLeft;
    op.Left = -shift;
    if (rotate && ShiftCountValid(Bits + shift)) {
      op.Form = RWordForm::kRotateLeft;
      op.Right = Bits + shift;
    }
  }
}

void QuantiseToWords(const float* samples, uint32_t* words, int32_t count, uint32_t full) noexcept {
  const float scale = float(full);
  for (int32_t i = 0; i < count; ++i) {
    float y = samples[i] + 1.0f;
    y = y > 0.0f ? y : 0.0f;  // also takes NaN to 0
    y = y < 2.0f ? y : 2.0f;
    const float rounded = (y * scale + kRoundingOffset) - kRoundingOffset;
    words[i] = uint32_t(int32_t(rounded)) >> 1;
  }
}

void WordsToSamples(const uint32_t* words, float* samples, int32_t count, uint32_t full) noexcept {
  const float factor = float(2.0 / double(full));
  for (int32_t i = 0; i < count; ++i) samples[i] = float(int32_t(words[i] & full)) * factor - 1.0f;
}

void RunWordOperations(const RWordPlan& plan, uint32_t* words, const uint32_t* control, int32_t count) noexcept {
  if (count <= 0) return;
  const RWordOperationPlan* ops = plan.Operations;
  if (ops[0].Enabled) RunOperation<XorOperation>(plan, ops[0], words, control, count);
  if (ops[1].Enabled) RunOperation<ReplaceOperation>(plan, ops[1], words, control, count);
  if (ops[2].Enabled) RunOperation<AndOperation>(plan, ops[2], words, control, count);
  if (ops[3].Enabled) RunOperation<OrOperation>(plan, ops[3], words, control, count);
}
