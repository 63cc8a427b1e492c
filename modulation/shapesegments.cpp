#include "modulation/shapesegments.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "modulation/shapekernels.h"

RShapeSegment RShapeSegment::Constant(double end, double y) noexcept {
  RShapeSegment s;
  s.end = end;
  s.form = kConstant;
  s.c[0] = y;
  return s;
}

RShapeSegment RShapeSegment::Polynomial(double end, double origin, double scale, const double* coefficients,
                                        int degree) noexcept {
  RShapeSegment s;
  s.end = end;
  s.form = kPolynomial;
  s.origin = origin;
  s.scale = scale;
  s.degree = uint8_t(std::clamp(degree, 0, 4));
  for (int k = 0; k <= s.degree; ++k) s.c[k] = coefficients[k];
  return s;
}

namespace {

double Fraction(double u) noexcept { return u - std::floor(u); }

} // namespace

double RShapeSegment::Evaluate(double x) const noexcept {
  const double u = (x - origin) * scale;
  // A jump narrower than the build's limit may leave a sliver left of a periodic segment's
  // origin; it reads as the segment's first value.
  const double v = std::max(u, 0.0);
  switch (form) {
  case kConstant:
    return c[0];
  case kPolynomial: {
    // The same operation order as the vector kernel, so blocks and single values agree.
    double y = c[degree];
    for (int k = degree - 1; k >= 0; --k) y = y * u + c[k];
    return y;
  }
  case kExponential:
    return c[0] + c[1] * std::expm1(c[2] * u);
  case kBezier: {
    // x(t) = x0 + Bx t + Ax t^2 solved for t in the form that needs no division by Ax.
    const double ax = c[0];
    const double bx = c[1];
    const double root = std::sqrt(std::max(0.0, bx * bx + 4 * ax * u));
    const double denominator = bx + root;
    const double t = denominator > 1e-300 ? std::clamp(2 * u / denominator, 0.0, 1.0) : 0.0;
    return (c[3] * t + c[4]) * t + c[2];
  }
  case kStairs:
    return c[0] + std::floor(v) * c[1];
  case kPulses:
    // v stays below 2 * 64 inside the segment; the limit only guards the cast.
    return (int32_t(std::min(v, 1e9)) & 1) ? c[1] : c[0];
  case kSaw:
    return c[0] + Fraction(v) * c[1];
  case kTriangles:
    return c[0] + (1 - std::fabs(2 * Fraction(v) - 1)) * c[1];
  case kSines:
    return c[0] + std::sin(2 * std::numbers::pi * v) * c[1];
  }
  return 0;
}

int32_t RShapeSegments::Find(double x, Cursor& cursor) const noexcept {
  const int32_t count = GetCount();
  if (count == 0) return -1;
  if (std::isnan(x)) x = 0;
  int32_t i = std::clamp(cursor.index, 0, count - 1);
  if (x < cursor.lastX) {
    while (i > 0 && x < segments_[size_t(i - 1)].end) --i;
  }
  while (i + 1 < count && x >= segments_[size_t(i)].end) ++i;
  cursor.index = i;
  cursor.lastX = x;
  return i;
}

double RShapeSegments::Evaluate(double x, Cursor& cursor) const noexcept {
  const int32_t i = Find(x, cursor);
  if (i < 0) return 0;
  return segments_[size_t(i)].Evaluate(std::isnan(x) ? 0.0 : x);
}

template <typename T>
void RShapeSegments::EvaluateBlockT(T* output, double start, double step, int32_t frames,
                                    Cursor& cursor) const noexcept {
  if (frames <= 0) return;
  if (segments_.empty()) {
    RShapeKernels::Fill(output, frames, 0.0);
    return;
  }
  // Positions are start + i * step exactly as the kernels form them.
  const auto position = [start, step](int32_t i) { return start + double(i) * step; };
  if (!std::isfinite(start) || !std::isfinite(step)) {
    for (int32_t i = 0; i < frames; ++i) output[i] = T(Evaluate(position(i), cursor));
    return;
  }
  const int32_t count = GetCount();
  int32_t i = 0;
  while (i < frames) {
    const int32_t index = Find(position(i), cursor);
    const RShapeSegment& segment = segments_[size_t(index)];
    const double low = index > 0 ? segments_[size_t(index - 1)].end : -std::numeric_limits<double>::infinity();
    const double high = index + 1 < count ? segment.end : std::numeric_limits<double>::infinity();
    // The run of samples from i that stay in [low, high): positions move one way, so the run
    // ends at the first that leaves. Estimated by division, then settled on the real positions.
    int32_t run = frames - i;
    if (step > 0 && std::isfinite(high)) {
      const double estimate = std::ceil((high - position(i)) / step);
      run = int32_t(std::clamp(estimate, 1.0, double(frames - i)));
      while (run > 1 && position(i + run - 1) >= high) --run;
      while (run < frames - i && position(i + run) < high) ++run;
    } else if (step < 0 && std::isfinite(low)) {
      const double estimate = std::ceil((position(i) - low) / -step);
      run = int32_t(std::clamp(estimate, 1.0, double(frames - i)));
      while (run > 1 && position(i + run - 1) < low) --run;
      while (run < frames - i && position(i + run) >= low) ++run;
    }
    T* out = output + i;
    switch (segment.form) {
    case RShapeSegment::kConstant:
      RShapeKernels::Fill(out, run, segment.c[0]);
      break;
    case RShapeSegment::kPolynomial:
      RShapeKernels::Polynomial(out, run, i, start, step, segment.origin, segment.scale, segment.c, segment.degree);
      break;
    default:
      for (int32_t k = 0; k < run; ++k) out[k] = T(segment.Evaluate(position(i + k)));
      break;
    }
    i += run;
    cursor.lastX = position(i - 1);
  }
}

void RShapeSegments::EvaluateBlock(float* output, double start, double step, int32_t frames,
                                   Cursor& cursor) const noexcept {
  EvaluateBlockT(output, start, step, frames, cursor);
}

void RShapeSegments::EvaluateBlock(double* output, double start, double step, int32_t frames,
                                   Cursor& cursor) const noexcept {
  EvaluateBlockT(output, start, step, frames, cursor);
}
