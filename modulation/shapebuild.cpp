// RShape::Build: from points to segments. Each stretch between two points takes the curve
// kind of its first point. With d = x1 - x0, e = y1 - y0, c the curvature and t = (x - x0) / d,
// a positive c holds the curve back (a slow start, below the straight line when e rises) for
// kinds 0, 1 and 2 and the first halves of 4 and 5; the second halves bend the other way. The
// Bézier kind places its control point toward y1 for a positive c.
#include <algorithm>
#include <cmath>
#include <limits>

#include "base/exception.h"
#include "modulation/shape.h"

namespace {

// Stretches narrower than this are a jump, never a division by a tiny width.
constexpr double kJump = 1e-8;
constexpr double kNothing = 1e-10;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Stretch {
  double x0, y0, x1, y1;
  double Width() const noexcept { return x1 - x0; }
  double Rise() const noexcept { return y1 - y0; }
};

RShapeSegment Straight(const Stretch& s) {
  const double coefficients[] = {s.y0, s.Rise() / s.Width()};
  return RShapeSegment::Polynomial(s.x1, s.x0, 1, coefficients, 1);
}

// Kind 0: quadratic with start slope (1 - c) * e / d, through both ends.
RShapeSegment Quadratic(const Stretch& s, double c) {
  const double d = s.Width();
  const double k = (1 - c) * s.Rise() / d;
  const double a = (s.y1 - (k * d + s.y0)) / (d * d);
  const double coefficients[] = {s.y0, k, a};
  return RShapeSegment::Polynomial(s.x1, s.x0, 1, coefficients, 2);
}

// Kind 1: y0 + e * ((1 - q) t + q (2 t^2 - 4/3 t^3 + 1/3 t^4)), q = c, or 3c for a negative c.
// The bracket of q is g(t) with g(0) = 0, g(1) = 1, g'(0) = 0 and g' never above 4/3, so even
// at q = -3 the curve stays monotonic and inside its two end values.
RShapeSegment Quartic(const Stretch& s, double c) {
  const double e = s.Rise();
  const double q = c > 0 ? c : 3 * c;
  const double coefficients[] = {s.y0, (1 - q) * e, 2 * q * e, -4 * q * e / 3, q * e / 3};
  return RShapeSegment::Polynomial(s.x1, s.x0, 1 / std::max(s.Width(), 1e-5), coefficients, 4);
}

// Kind 2: y0 + e * expm1(k t) / expm1(k). k grows with the cube of c, so the middle of the
// range stays gentle while the ends come close to a step (k = 32 at |c| = 1).
RShapeSegment Exponential(const Stretch& s, double c) {
  const double k = c * (4 + 28 * c * c);
  if (std::fabs(k) < 1e-6) return Straight(s);
  RShapeSegment segment;
  segment.form = RShapeSegment::kExponential;
  segment.end = s.x1;
  segment.origin = s.x0;
  segment.scale = 1 / s.Width();
  segment.c[0] = s.y0;
  segment.c[1] = s.Rise() / std::expm1(k);
  segment.c[2] = k;
  return segment;
}

// Kind 3: quadratic Bézier with its control point at (x0 + (cx / 2 + 0.5) d, y0 + (c + 1) e / 2).
RShapeSegment Bezier(const Stretch& s, double c, double cx) {
  const double d = s.Width();
  const double px = s.x0 + (cx / 2 + 0.5) * d;
  const double py = s.y0 + (c + 1) * s.Rise() / 2;
  const double bx = 2 * (px - s.x0);
  const double ax = d - bx;
  const double by = 2 * (py - s.y0);
  const double ay = s.y1 - 2 * py + s.y0;
  if (std::fabs(ax) < kNothing) {
    // x is linear in t: the curve is the plain quadratic in t that kind 0 would build.
    const double coefficients[] = {s.y0, by, ay};
    return RShapeSegment::Polynomial(s.x1, s.x0, 1 / d, coefficients, 2);
  }
  RShapeSegment segment;
  segment.form = RShapeSegment::kBezier;
  segment.end = s.x1;
  segment.origin = s.x0;
  segment.c[0] = ax;
  segment.c[1] = bx;
  segment.c[2] = s.y0;
  segment.c[3] = ay;
  segment.c[4] = by;
  return segment;
}

// Cubic Hermite in t from (y0, slope m0) to (y1, slope m1); slopes per unit of x.
RShapeSegment Hermite(double end, double x0, double y0, double x1, double y1, double m0, double m1) {
  const double d = x1 - x0;
  const double e = y1 - y0;
  const double coefficients[] = {y0, d * m0, 3 * e - 2 * d * m0 - d * m1, -2 * e + d * m0 + d * m1};
  return RShapeSegment::Polynomial(end, x0, 1 / d, coefficients, 3);
}

// The slope at point j from its neighbours j - 1 and j + 1, clamped to the list. The monotone
// form (kind 7) is flat at a peak or valley and at most three times either secant, so the
// cubic never overshoots its points.
double PointSlope(const std::vector<RShapePoint>& p, int j, bool monotone) {
  const int last = int(p.size()) - 1;
  const int l = std::max(j - 1, 0);
  const int r = std::min(j + 1, last);
  const double width = p[size_t(r)].X - p[size_t(l)].X;
  if (width < kJump) return 0;
  const double slope = (p[size_t(r)].Y - p[size_t(l)].Y) / width;
  if (!monotone) return slope;
  const auto secant = [&p](int a, int b, double& out) {
    const double w = p[size_t(b)].X - p[size_t(a)].X;
    if (b == a || w < kJump) return false;
    out = (p[size_t(b)].Y - p[size_t(a)].Y) / w;
    return true;
  };
  double left = 0;
  double right = 0;
  const bool hasLeft = secant(l, j, left);
  const bool hasRight = secant(j, r, right);
  if (!hasLeft) left = right;
  if (!hasRight) right = left;
  if (left * right <= 0) return 0;
  const double limit = 3 * std::min(std::fabs(left), std::fabs(right));
  return std::clamp(slope, -limit, limit);
}

RShapeSegment Periodic(RShapeSegment::Form form, const Stretch& s, double count) {
  const double d = s.Width();
  const double e = s.Rise();
  RShapeSegment segment;
  segment.form = form;
  segment.end = s.x1;
  segment.origin = s.x0;
  segment.scale = count / d;
  segment.c[0] = s.y0;
  segment.c[1] = e;
  switch (form) {
  case RShapeSegment::kStairs:
    // Without whole counts the last stair is cut short where the stretch ends.
    segment.c[1] = e / count;
    break;
  case RShapeSegment::kPulses:
    segment.scale = 2 * count / d;
    segment.c[1] = s.y1;
    break;
  case RShapeSegment::kSines:
    segment.c[0] = (s.y0 + s.y1) / 2;
    segment.c[1] = e / 2;
    break;
  default:
    break;
  }
  return segment;
}

bool IsStraight(const RShapePoint& point, uint8_t inputs) {
  if ((inputs & (kInputCurvature | kInputCurvatureX)) == 0) return false;
  const bool curvature = (inputs & kInputCurvature) && std::fabs(point.Curvature) >= kNothing;
  const bool curvatureX = (inputs & kInputCurvatureX) && std::fabs(point.CurvatureX) >= kNothing;
  return !curvature && !curvatureX;
}

// Adds the segments of the stretch from point i - 1 to point i.
void AddStretch(RShapeSegments& out, const std::vector<RShapePoint>& p, int i) {
  const RShapePoint& a = p[size_t(i - 1)];
  const RShapePoint& b = p[size_t(i)];
  const Stretch s{a.X, a.Y, b.X, b.Y};
  const uint8_t inputs = GetCurveInputs(a.Type);
  if (a.Type < 0 || a.Type >= kCurveKindCount) throw RException(RString("Invalid control point type."));
  if (IsStraight(a, inputs)) {
    out.Add(Straight(s));
    return;
  }
  const double c = std::clamp(a.Curvature, -1.0, 1.0);
  const double cx = std::clamp(a.CurvatureX, -1.0, 1.0);
  const Stretch first{s.x0, s.y0, (s.x0 + s.x1) / 2, (s.y0 + s.y1) / 2};
  const Stretch second{first.x1, first.y1, s.x1, s.y1};
  RShapePoint counted = a;
  counted.Curvature = c;
  switch (a.Type) {
  case kCurveQuadratic: out.Add(Quadratic(s, c)); break;
  case kCurveQuartic: out.Add(Quartic(s, c)); break;
  case kCurveExponential: out.Add(Exponential(s, c)); break;
  case kCurveBezier: out.Add(Bezier(s, c, cx)); break;
  case kCurveDoubleQuartic:
    out.Add(Quartic(first, c));
    out.Add(Quartic(second, -c));
    break;
  case kCurveDoubleExponential:
    out.Add(Exponential(first, c));
    out.Add(Exponential(second, -c));
    break;
  case kCurveSmooth:
  case kCurveSmoothMonotone: {
    const bool monotone = a.Type == kCurveSmoothMonotone;
    out.Add(Hermite(s.x1, s.x0, s.y0, s.x1, s.y1, PointSlope(p, i - 1, monotone), PointSlope(p, i, monotone)));
    break;
  }
  case kCurveStairs: out.Add(Periodic(RShapeSegment::kStairs, s, counted.GetCount())); break;
  case kCurvePulses: out.Add(Periodic(RShapeSegment::kPulses, s, counted.GetCount())); break;
  case kCurveSaw: out.Add(Periodic(RShapeSegment::kSaw, s, counted.GetCount())); break;
  case kCurveTriangles: out.Add(Periodic(RShapeSegment::kTriangles, s, counted.GetCount())); break;
  case kCurveSines: out.Add(Periodic(RShapeSegment::kSines, s, counted.GetCount())); break;
  }
}

// Rounds the corner at point i over SmoothX1 to its left and SmoothX2 to its right: the two
// segments meeting there are cut back and a cubic joins them with their values and slopes.
// Widths are limited to half of each neighbouring stretch, so two roundings never overlap.
void RoundCorner(RShapeSegments& out, const std::vector<RShapePoint>& p, int i, int leftIndex) {
  const RShapePoint& point = p[size_t(i)];
  const int last = int(p.size()) - 1;
  double w1 = std::max(point.SmoothX1, 0.0);
  double w2 = std::max(point.SmoothX2, 0.0);
  if (i > 0) w1 = std::min(w1, (point.X - p[size_t(i - 1)].X) / 2);
  if (i < last) w2 = std::min(w2, (p[size_t(i + 1)].X - point.X) / 2);
  if (!(w1 + w2 >= kJump) || leftIndex + 1 >= out.GetCount()) return;
  const double xa = point.X - w1;
  const double xb = point.X + w2;
  const RShapeSegment& left = out[leftIndex];
  const RShapeSegment& right = out[leftIndex + 1];
  const double h = (xb - xa) * 1e-4;
  const double ya = left.Evaluate(xa);
  const double yb = right.Evaluate(xb);
  const double ma = (ya - left.Evaluate(xa - h)) / h;
  const double mb = (right.Evaluate(xb + h) - yb) / h;
  out[leftIndex].end = xa;
  out.Insert(leftIndex + 1, Hermite(xb, xa, ya, xb, yb, ma, mb));
}

double Finite(double v) noexcept { return std::isfinite(v) ? v : 0.0; }

} // namespace

void RShape::Build(const std::vector<RShapePoint>& points, bool reset) {
  size_t count = points.size();
  if (keepOrder_) count = std::min(count, size_t(kKeepOrderLimit));
  std::vector<RShapePoint> p(points.begin(), points.begin() + ptrdiff_t(count));
  for (RShapePoint& point : p) {
    point.X = Finite(point.X);
    point.Y = Finite(point.Y);
    point.Curvature = Finite(point.Curvature);
    point.CurvatureX = Finite(point.CurvatureX);
    point.SmoothX1 = Finite(point.SmoothX1);
    point.SmoothX2 = Finite(point.SmoothX2);
  }
  const auto byX = [](const RShapePoint& a, const RShapePoint& b) { return a.X < b.X; };
  if (!std::is_sorted(p.begin(), p.end(), byX)) std::stable_sort(p.begin(), p.end(), byX);

  RShapeSegments built;
  const int n = int(p.size());
  if (n < 2) {
    built.Add(RShapeSegment::Constant(kInfinity, n == 1 ? p[0].Y : 0.0));
  } else {
    // The segment that ends at each point, or -1 where a jump leaves none.
    std::vector<int> endsAt(size_t(n), -1);
    built.Add(RShapeSegment::Constant(p[0].X, p[0].Y));
    endsAt[0] = 0;
    for (int i = 1; i < n; ++i) {
      if (p[size_t(i)].X - p[size_t(i - 1)].X <= kJump) continue;
      AddStretch(built, p, i);
      endsAt[size_t(i)] = built.GetCount() - 1;
    }
    built.Add(RShapeSegment::Constant(kInfinity, p[size_t(n - 1)].Y));
    // From the last point down, so that insertions leave the earlier indexes valid.
    for (int i = n - 1; i >= 0; --i) {
      if (p[size_t(i)].SmoothingType != 0 && endsAt[size_t(i)] >= 0) RoundCorner(built, p, i, endsAt[size_t(i)]);
    }
  }
  segments_.Swap(built);
  if (reset) {
    cursor_ = RShapeSegments::Cursor();
  } else {
    // The remembered index may now be off either way: make the next call check both ways.
    cursor_.lastX = kInfinity;
  }
}
