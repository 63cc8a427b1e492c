#include "modulation/shapeedit.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "base/exception.h"
#include "base/format.h"

namespace RShapeEdit {
namespace {

// The selected indexes, valid, sorted and unique; all points for an empty selection.
std::vector<int32_t> Resolve(const RShape& shape, const Selection& selection) {
  const int32_t count = int32_t(shape.GetPoints().size());
  std::vector<int32_t> indexes;
  if (selection.empty()) {
    for (int32_t i = 0; i < count; ++i) indexes.push_back(i);
    return indexes;
  }
  for (int32_t i : selection) {
    if (i >= 0 && i < count) indexes.push_back(i);
  }
  std::sort(indexes.begin(), indexes.end());
  indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
  return indexes;
}

// Applies change to each selected point, then rebuilds.
template <class Change>
void ForEachSelected(RShape& shape, const Selection& selection, const Change& change) {
  std::vector<RShapePoint> points = shape.GetPoints();
  for (int32_t i : Resolve(shape, selection)) change(points[size_t(i)]);
  shape.SetPoints(points);
}

// What a segment is made of, as opposed to where its point sits.
struct SegmentLook {
  double curvature, curvatureX;
  int32_t type;
  uint8_t flags;
};

SegmentLook LookOf(const RShapePoint& p) { return {p.Curvature, p.CurvatureX, p.Type, p.Flags}; }

void SetLook(RShapePoint& p, const SegmentLook& look) {
  p.Curvature = look.curvature;
  p.CurvatureX = look.curvatureX;
  p.Type = look.type;
  p.Flags = look.flags;
}

// The look of a segment seen from its other end. Single bends turn over; the double curves
// already hold both signs, one per half, and read the same backwards.
SegmentLook Mirrored(SegmentLook look) {
  if (look.type >= kCurveQuadratic && look.type <= kCurveBezier) {
    look.curvature = -look.curvature;
    look.curvatureX = -look.curvatureX;
  }
  return look;
}

bool ReadNumber(RString field, double& value) {
  field.Trim();
  if (field.IsEmpty()) return false;
  std::string text = field.ToUTF8();
  std::replace(text.begin(), text.end(), ',', '.');
  char* end = nullptr;
  value = std::strtod(text.c_str(), &end);
  return end == text.c_str() + text.size() && std::isfinite(value);
}

} // namespace

void InvertX(RShape& shape, const Selection& selection) {
  const std::vector<int32_t> indexes = Resolve(shape, selection);
  if (indexes.empty()) return;
  std::vector<RShapePoint> points = shape.GetPoints();
  const size_t a = size_t(indexes.front());
  const size_t b = size_t(indexes.back());
  const double sum = selection.empty() ? shape.MinX + shape.MaxX : points[a].X + points[b].X;
  std::vector<RShapePoint> block(points.begin() + ptrdiff_t(a), points.begin() + ptrdiff_t(b) + 1);
  for (size_t k = a; k <= b; ++k) {
    RShapePoint p = block[b - k];
    p.X = sum - p.X;
    std::swap(p.SmoothX1, p.SmoothX2);
    points[k] = p;
  }
  // The segment that ran from old point j to j + 1 now runs from the point at a + b - 1 - j;
  // the last point of the span keeps the look of the segment that leaves the span.
  for (size_t k = a; k < b; ++k) SetLook(points[k], Mirrored(LookOf(block[(a + b - 1 - k) - a])));
  SetLook(points[b], LookOf(block[b - a]));
  shape.SetPoints(points);
}

void InvertY(RShape& shape, const Selection& selection) {
  const double sum = shape.MinY + shape.MaxY;
  ForEachSelected(shape, selection, [sum](RShapePoint& p) { p.Y = sum - p.Y; });
}

void Randomize(RShape& shape, const Selection& selection, uint64_t seed) {
  constexpr uint64_t kMask = (uint64_t(1) << 48) - 1;
  uint64_t state = (seed ^ 0x5deece66dULL) & kMask;
  const double low = shape.MinY;
  const double range = shape.MaxY - shape.MinY;
  ForEachSelected(shape, selection, [&](RShapePoint& p) {
    state = (state * 0x5deece66dULL + 0xb) & kMask;
    p.Y = low + double(state >> 16) / 4294967296.0 * range;
  });
}

void Distribute(RShape& shape, const Selection& selection) {
  const std::vector<int32_t> indexes = Resolve(shape, selection);
  if (indexes.size() < 3) return;
  std::vector<RShapePoint> points = shape.GetPoints();
  const double first = points[size_t(indexes.front())].X;
  const double last = points[size_t(indexes.back())].X;
  const double spacing = (last - first) / double(indexes.size() - 1);
  for (size_t k = 1; k + 1 < indexes.size(); ++k) points[size_t(indexes[k])].X = first + double(k) * spacing;
  shape.SetPoints(points);
}

void StepSequencer(RShape& shape, int32_t steps) {
  steps = std::clamp(steps, 1, 1024);
  const double width = (shape.MaxX - shape.MinX) / steps;
  std::vector<RShapePoint> points(size_t(steps) + 1);
  for (int32_t k = 0; k <= steps; ++k) {
    RShapePoint& p = points[size_t(k)];
    p.X = k == steps ? shape.MaxX : shape.MinX + k * width;
    p.Y = shape.Evaluate(shape.MinX + (std::min(k, steps - 1) + 0.5) * width);
    // One whole stair per stretch: flat at the step's value.
    p.Type = kCurveStairs;
    p.Curvature = 0.125;
    p.Flags = RShapePoint::kFlagWholeCount;
  }
  shape.SetPoints(points);
}

void SetCurveKind(RShape& shape, const Selection& selection, int32_t kind) {
  if (kind < 0 || kind >= kCurveKindCount) throw RException(RString("Invalid control point type."));
  ForEachSelected(shape, selection, [kind](RShapePoint& p) { p.Type = kind; });
}

void ClearCurvature(RShape& shape, const Selection& selection) {
  ForEachSelected(shape, selection, [](RShapePoint& p) { p.Curvature = p.CurvatureX = 0; });
}

void SetIntegralCurvature(RShape& shape, const Selection& selection, bool integral) {
  ForEachSelected(shape, selection, [integral](RShapePoint& p) {
    p.Flags = integral ? uint8_t(p.Flags | RShapePoint::kFlagWholeCount)
                       : uint8_t(p.Flags & ~RShapePoint::kFlagWholeCount);
  });
}

void ClearSmoothing(RShape& shape, const Selection& selection) {
  ForEachSelected(shape, selection, [](RShapePoint& p) {
    p.SmoothingType = 0;
    p.SmoothX1 = p.SmoothX2 = 0;
  });
}

RString Export(const RShape& shape) {
  RString text;
  for (const RShapePoint& p : shape.GetPoints()) {
    text += RString(RFormat("{0.6};{1.6}") << p.X << p.Y);
    text += u'\n';
  }
  return text;
}

RString Import(RShape& shape, const RString& text, bool replace) {
  std::vector<RShapePoint> points;
  if (!replace) points = shape.GetPoints();
  int64_t imported = 0;
  int start = 0;
  while (start < text.Length()) {
    int end = text.Find(u'\n', start);
    if (end < 0) end = text.Length();
    const RString line = text.Mid(start, end - start);
    start = end + 1;
    const int separator = line.Find(u';');
    if (separator < 0) continue;
    RShapePoint p;
    if (!ReadNumber(line.Left(separator), p.X) || !ReadNumber(line.Mid(separator + 1), p.Y)) continue;
    points.push_back(p);
    ++imported;
  }
  shape.SetPoints(points);
  return RFormat("{0} points have been imported.") << imported;
}

} // namespace RShapeEdit
