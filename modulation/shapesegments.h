#pragma once
// RShapeSegments: the compiled form of a shape, the part the audio thread sees. A sorted array
// of segments, each covering x from the previous segment's end up to (not including) its own
// end; the first reaches down to minus infinity and the last up to plus infinity, so every x
// has exactly one segment.
//
// A segment is one small record with a form tag and a few coefficients; evaluation is a switch
// on the tag, so it needs neither a virtual call nor an allocation. The forms are ordered from
// cheap to dear; constants and polynomials also have vector block forms.
//
// Threads: the array is filled by RShape::Build on the editor thread; Evaluate and
// EvaluateBlock are [any-thread], allocation-free and noexcept, but each caller needs its own
// Cursor (the remembered segment).

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

struct RShapeSegment {
  enum Form : uint8_t {
    kConstant,     // c0
    kPolynomial,   // Horner in u over c0..c[degree]
    kExponential,  // c0 + c1 * expm1(c2 * u)
    kBezier,       // quadratic Bézier: c0 = Ax, c1 = Bx, c2 = y0, c3 = Ay, c4 = By; u = x - x0
    kStairs,       // c0 + floor(u) * c1
    kPulses,       // c0 or c1 by the parity of (int)u
    kSaw,          // c0 + frac(u) * c1
    kTriangles,    // c0 + (1 - |2 frac(u) - 1|) * c1
    kSines,        // c0 + sin(2 pi u) * c1
  };

  double end = std::numeric_limits<double>::infinity();
  double origin = 0;  // u = (x - origin) * scale
  double scale = 1;
  double c[5] = {};
  Form form = kConstant;
  uint8_t degree = 0;  // kPolynomial only

  static RShapeSegment Constant(double end, double y) noexcept;
  // degree 0..4, coefficients[0..degree] in u = (x - origin) * scale.
  static RShapeSegment Polynomial(double end, double origin, double scale, const double* coefficients,
                                  int degree) noexcept;

  double Evaluate(double x) const noexcept;
};

class RShapeSegments {
public:
  // The remembered segment of one caller: consecutive rising x cost one compare each.
  struct Cursor {
    int32_t index = 0;
    double lastX = -std::numeric_limits<double>::infinity();
  };

  // Editing ([editor-thread], allocates).
  void Clear() { segments_.clear(); }
  void Add(const RShapeSegment& segment) { segments_.push_back(segment); }
  void Insert(int32_t index, const RShapeSegment& segment) { segments_.insert(segments_.begin() + index, segment); }
  RShapeSegment& operator[](int32_t index) noexcept { return segments_[size_t(index)]; }
  // The owner swaps a freshly built array in under its lock.
  void Swap(RShapeSegments& other) noexcept { segments_.swap(other.segments_); }

  int32_t GetCount() const noexcept { return int32_t(segments_.size()); }
  const RShapeSegment& operator[](int32_t index) const noexcept { return segments_[size_t(index)]; }

  // The segment holding x, found from the cursor: back while x lies below the segment's start,
  // then forward while x is at or past its end. x is taken as 0 when it is not a number.
  int32_t Find(double x, Cursor& cursor) const noexcept;
  double Evaluate(double x, Cursor& cursor) const noexcept;

  // output[i] = Evaluate(start + i * step): runs of samples in one segment go through one
  // block form (vector fill or polynomial for the cheap forms). Leaves the cursor at the last
  // sample's segment. An empty array gives zeros.
  void EvaluateBlock(float* output, double start, double step, int32_t frames, Cursor& cursor) const noexcept;
  void EvaluateBlock(double* output, double start, double step, int32_t frames, Cursor& cursor) const noexcept;

private:
  template <typename T>
  void EvaluateBlockT(T* output, double start, double step, int32_t frames, Cursor& cursor) const noexcept;

  std::vector<RShapeSegment> segments_;
};
