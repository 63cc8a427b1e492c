#include "modulation/shape.h"

#include <algorithm>
#include <cmath>

#include "base/format.h"
#include "base/tagitem.h"
#include "kernel/storecontext.h"

namespace {

struct KindInfo {
  uint8_t inputs;
  const char* description;
  const char* single;  // the count's text below 2
  const char* plural;
};

const KindInfo kKinds[kCurveKindCount] = {
    {6, "Fastest, minimal curvature freedom.", nullptr, nullptr},
    {6, "Fast, average curvature freedom.", nullptr, nullptr},
    {6, "Very slow, very high curvature freedom.", nullptr, nullptr},
    {3, "Normal speed, curvature adjustable in both axes.", nullptr, nullptr},
    {6, "Double curved shape.", nullptr, nullptr},
    {6, "Double curved shape with high curvature.", nullptr, nullptr},
    {4, "Fast, no curvature, provides smooth connection between neighbouring segments.", nullptr, nullptr},
    {4, "Fast, no curvature, provides smooth connection between neighbouring segments.", nullptr, nullptr},
    {2, "Stairs-like image, curvature controls the number of stairs.", "1 stair", "{0} stairs"},
    {2, "Pulses, curvature controls the number of pulses.", "1 pulse", "{0} pulses"},
    {2, "Saw, curvature controls the number of saw teeth.", "1 tooth", "{0} teeth"},
    {2, "Triangles, curvature controls the number of triangles.", "1 triangle", "{0} triangles"},
    {2, "Sines, curvature controls the number of waves.", "1 wave", "{0} waves"},
};

bool IsKnownKind(int32_t kind) noexcept { return kind >= 0 && kind < kCurveKindCount; }

int64_t Percent(double curvature) noexcept { return int64_t(std::llround(curvature * 100)); }

// Numeric keys: written from a magnitude of 1e-10 on; read from any stored numeric type.
void StoreNumber(RTagItem& element, bool writing, const RHashedString& key, double& field) {
  if (!writing) {
    element.ReadAttribute(key, field);
  } else if (std::fabs(field) >= RShapePoint::kStoreThreshold) {
    element.SetAttribute(key, field);
  }
}

void StoreInt(RTagItem& element, bool writing, const RHashedString& key, int32_t& field, int32_t defaultValue) {
  if (!writing) {
    element.ReadAttribute(key, field);
  } else if (field != defaultValue) {
    element.SetAttribute(key, field);
  }
}

void StoreBool(RTagItem& element, bool writing, const RHashedString& key, bool& field) {
  if (!writing) {
    element.ReadAttribute(key, field);
  } else if (field) {
    element.SetAttribute(key, true);
  }
}

void StoreText(RTagItem& element, bool writing, const RHashedString& key, RString& field) {
  if (!writing) {
    element.ReadAttribute(key, field);
  } else if (!field.IsEmpty()) {
    element.SetAttribute(key, field);
  }
}

void StoreLimit(RTagItem& element, bool writing, const RHashedString& key, double& field, double defaultValue) {
  if (!writing) {
    element.ReadAttribute(key, field);
  } else if (std::fabs(field - defaultValue) >= RShapePoint::kStoreThreshold) {
    element.SetAttribute(key, field);
  }
}

} // namespace

uint8_t GetCurveInputs(int32_t kind) noexcept { return IsKnownKind(kind) ? kKinds[kind].inputs : 0; }

RString GetCurveKindDescription(int32_t kind) {
  return IsKnownKind(kind) ? RString::FromUTF8(kKinds[kind].description) : RString();
}

double RShapePoint::GetCount() const noexcept {
  const double count = Curvature * Curvature * 64;
  if (Flags & kFlagWholeCount) return std::max(1.0, std::floor(count + 0.5));
  return std::max(0.5, count);
}

RString RShapePoint::GetCurvatureText() const {
  if (!IsKnownKind(Type)) return RString();
  const KindInfo& info = kKinds[Type];
  if (info.single) {
    const double count = GetCount();
    if (count < 2) return RString::FromUTF8(info.single);
    const RString number = count == std::floor(count) ? RString(RFormat("{0}") << int64_t(count))
                                                      : RString(RFormat("{0.1}") << count);
    return RFormat(RString::FromUTF8(info.plural)) << number;
  }
  if (Type == kCurveBezier) return RFormat("{0}% x {1}%") << Percent(CurvatureX) << Percent(Curvature);
  if (info.inputs & kInputCurvature) return RFormat("{0}%") << Percent(Curvature);
  return RString();
}

void RShapePoint::Store(RStoreContext& context) {
  RTagItem& e = context.GetElement();
  const bool writing = context.IsWriting();
  StoreNumber(e, writing, "x", X);
  StoreNumber(e, writing, "y", Y);
  StoreNumber(e, writing, "c", Curvature);
  StoreNumber(e, writing, "cx", CurvatureX);
  // An old point without a kind is of kind 1, which is also the default.
  StoreInt(e, writing, "Type", Type, kCurveQuartic);
  int32_t flags = Flags;
  if (writing) {
    if (flags != 0) e.SetAttribute("FlagsB", flags);
  } else {
    if (!e.ReadAttribute("FlagsB", flags)) e.ReadAttribute("Flags", flags);
    bool fixed = false;
    if (e.ReadAttribute("fixed", fixed) && fixed) flags |= kFlagFixedX | kFlagFixedY;
    Flags = uint8_t(flags & 0xff);
  }
  StoreInt(e, writing, "SmoothingType", SmoothingType, 0);
  StoreNumber(e, writing, "SmoothX1", SmoothX1);
  StoreNumber(e, writing, "SmoothX2", SmoothX2);
}

void RShape::SetPoints(const std::vector<RShapePoint>& points) {
  Build(points, false);
  points_ = points;
  // Keep-order shapes keep the user's list as it stands; others keep theirs sorted.
  if (!keepOrder_) {
    std::stable_sort(points_.begin(), points_.end(),
                     [](const RShapePoint& a, const RShapePoint& b) { return a.X < b.X; });
  }
}

void RShape::Store(RStoreContext& context) {
  RTagItem& e = context.GetElement();
  const bool writing = context.IsWriting();
  if (!writing) {
    // An absent key means its default, whatever this shape held before.
    Assignable = false;
    PresetName = RString();
    DrawingMode = SnapToGridX = SnapToGridY = 0;
    OverrideUnitsX = OverrideUnitsY = RString();
    MinX = MinY = 0;
    MaxX = MaxY = 1;
  }
  StoreBool(e, writing, "Assignable", Assignable);
  StoreText(e, writing, "ENVPRESET", PresetName);
  StoreInt(e, writing, "DrawingMode", DrawingMode, 0);
  StoreInt(e, writing, "SnapToGridX", SnapToGridX, 0);
  StoreInt(e, writing, "SnapToGridY", SnapToGridY, 0);
  StoreText(e, writing, "OverrideUnitsX", OverrideUnitsX);
  StoreText(e, writing, "OverrideUnitsY", OverrideUnitsY);
  StoreLimit(e, writing, "MinX", MinX, 0);
  StoreLimit(e, writing, "MaxX", MaxX, 1);
  StoreLimit(e, writing, "MinY", MinY, 0);
  StoreLimit(e, writing, "MaxY", MaxY, 1);
  if (writing) {
    e.RemoveSubItems("Point");
    for (RShapePoint& point : points_) {
      RStoreContext child(*e.AddSubItem("Point"), context.GetFlags());
      point.Store(child);
    }
    return;
  }
  std::vector<RShapePoint> points;
  for (RTagItem* item = e.GetFirstSubItem(); item; item = item->GetNext()) {
    if (!(item->GetName() == "Point")) continue;
    RShapePoint point;
    RStoreContext child(*item, context.GetFlags());
    point.Store(child);
    points.push_back(point);
  }
  SetPoints(points);
}
