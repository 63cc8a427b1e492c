#pragma once
// The word stage of RWordMangler: every sample becomes an unsigned word of 1 to 16 bits, up
// to four bit operations (XOR, Replace, AND, OR, in that order) change it against a mask and
// a control word, and the word becomes a sample again.
//
// Everything that stays the same over a block is settled once in an RWordPlan: masks, which
// operations run and the form of each (plain, rotate right, rotate left, shift right, shift
// left). Each operation is then one pass over the block with no test inside, so that the
// compiler turns it into vector integer instructions; a disabled operation costs nothing.
//
// [audio-thread], allocation-free and noexcept; building a plan is [any-thread].

#include <cstdint>

enum class RWordOperationKind : int32_t { kXor = 0, kReplace = 1, kAnd = 2, kOr = 3 };

// How an operation forms its control word r from a word c of the control buffer.
enum class RWordForm : int32_t {
  kPlain = 0,        // no control word: the mask alone acts
  kRotateRight = 1,  // r = ((c >> right) | (c << left)) & full, left = Bits - Shift
  kRotateLeft = 2,   // r = ((c << left) | (c >> right)) & full, right = Bits + Shift
  kShiftRight = 3,   // r = c >> right
  kShiftLeft = 4,    // r = c << left
};

struct RWordOperationPlan {
  bool Enabled = false;
  RWordForm Form = RWordForm::kPlain;
  uint32_t Mask = 0;
  int32_t Right = 0;  // within 0..31 whenever the form uses it
  int32_t Left = 0;
};

struct RWordPlan {
  static constexpr int32_t kOperations = 4;
  static constexpr int32_t kMaxBits = 16;

  int32_t Bits = 8;
  uint32_t Full = 255;  // 2^Bits - 1
  // Without a control signal the control buffer is the word buffer itself: a shifted
  // operation then reads the word as the operations before it left it.
  bool HasControl = false;
  RWordOperationPlan Operations[kOperations];

  // Width (clamped to 1..16) and control; every operation disabled.
  void Reset(int32_t bits, bool hasControl) noexcept;
  // Enables an operation with the mask of its 16 switches (switch i sets bit Bits - i, so
  // switch 1 is always the top bit; switches above Bits are ignored) and the form that its
  // shift, rotation and the control signal call for.
  void Enable(RWordOperationKind kind, const bool* switches, int32_t shift, bool rotate) noexcept;
};

// Quantising: y = x + 1 held within 0..2 (NaN counts as 0), times Full in single precision,
// rounded to the nearest integer (ties to even), shifted right by one: a word in 0..Full.
void QuantiseToWords(const float* samples, uint32_t* words, int32_t count, uint32_t full) noexcept;

// Back to samples: (w & Full) * (2 / Full) - 1, the factor held in single precision. samples
// may not alias words.
void WordsToSamples(const uint32_t* words, float* samples, int32_t count, uint32_t full) noexcept;

// Runs the enabled operations of the plan in their fixed order over count words. control is
// ignored when the plan has no control signal (the words are their own control).
void RunWordOperations(const RWordPlan& plan, uint32_t* words, const uint32_t* control, int32_t count) noexcept;
