#pragma once
// Shapes: functions from 0..1 to 0..1 drawn as a list of points, with a curve kind for each
// stretch between two points. Modulators read a shape as a wave, multi-parameter targets as a
// transfer curve, wave shapers as a distortion curve.
//
// Two faces: the editable points (RShapePoint, stored in settings) and the compiled segments
// (RShapeSegments) that the audio thread evaluates. Build turns the first into the second; the
// curve kinds live there (shapebuild.cpp).
//
// Scenarios:
//   I.   The editor moves a point: it edits the points, calls Build on the editor thread and
//        the owner swaps the new segments in under its lock.
//   II.  A target applies its curve: Evaluate(x) from the remembered segment, one compare when
//        x rises a little.
//   III. A modulator fills a sub-block: EvaluateBlock over evenly spaced positions.
//
// Threads: points, keys, Build and Store are [editor-thread]; Evaluate and EvaluateBlock are
// [any-thread] for one caller at a time (the remembered segment belongs to that caller; a
// second reader uses its own RShapeSegments::Cursor on GetSegments()).

#include <cstdint>
#include <vector>

#include "base/string.h"
#include "modulation/shapesegments.h"

class RStoreContext;

// The curve kinds, ordered from cheap to dear.
enum RCurveKind : int32_t {
  kCurveQuadratic = 0,
  kCurveQuartic = 1,
  kCurveExponential = 2,
  kCurveBezier = 3,
  kCurveDoubleQuartic = 4,
  kCurveDoubleExponential = 5,
  kCurveSmooth = 6,
  kCurveSmoothMonotone = 7,
  kCurveStairs = 8,
  kCurvePulses = 9,
  kCurveSaw = 10,
  kCurveTriangles = 11,
  kCurveSines = 12,
  kCurveKindCount = 13,
};

// Which inputs of a point a kind reads: bit 0 CurvatureX, bit 1 Curvature; bit 2 marks the
// kinds that bend by their own form rather than by a count.
enum RCurveInput : uint8_t { kInputCurvatureX = 1, kInputCurvature = 2, kInputOwnForm = 4 };
uint8_t GetCurveInputs(int32_t kind) noexcept;
// The editor's description of a kind; empty for an unknown kind.
RString GetCurveKindDescription(int32_t kind);

struct RShapePoint {
  enum Flag : uint8_t {
    kFlagFixedX = 4,        // bits 2 and 3: the old "fixed" key
    kFlagFixedY = 8,
    kFlagWholeCount = 128,  // stair-like counts are whole numbers
  };
  // Numeric keys smaller than this are not written.
  static constexpr double kStoreThreshold = 1e-10;

  double X = 0;
  double Y = 0;
  double Curvature = 0;   // of the segment that starts here, -1..1
  double CurvatureX = 0;  // second curvature (Bézier)
  int32_t Type = kCurveQuartic;
  uint8_t Flags = 0;
  int32_t SmoothingType = 0;  // 0: a sharp corner; otherwise rounded over SmoothX1/SmoothX2
  double SmoothX1 = 0;
  double SmoothX2 = 0;

  // The number of stairs, pulses, teeth, triangles or waves: Curvature^2 * 64; whole (at
  // least 1) with kFlagWholeCount, else at least 0.5.
  double GetCount() const noexcept;
  // The curvature as the editor shows it for this point's kind: "25%", "10% x -40%", "3 stairs".
  RString GetCurvatureText() const;

  // Reads or writes the keys of the context's element (a "Point" element).
  void Store(RStoreContext& context);
};

class RShape {
public:
  // With the keep-order flag, at most this many points are compiled.
  static constexpr int kKeepOrderLimit = 32;

  RShape() { Build(points_, true); }

  // --- the points ([editor-thread])
  const std::vector<RShapePoint>& GetPoints() const noexcept { return points_; }
  std::vector<RShapePoint>& Points() noexcept { return points_; }
  // Replaces the points and builds from them.
  void SetPoints(const std::vector<RShapePoint>& points);
  // Builds from the shape's own points, keeping the remembered segment.
  void Rebuild() { Build(points_, false); }

  // Compiles points into the segments. Points out of order are sorted (equal X keep their
  // order); reset sends the remembered segment back to the start. Throws RException
  // "Invalid control point type." for an unknown kind.
  void Build(const std::vector<RShapePoint>& points, bool reset);

  // Keep-order shapes (step and custom forms) compile only their first 32 points.
  bool GetKeepOrder() const noexcept { return keepOrder_; }
  void SetKeepOrder(bool keepOrder) noexcept { keepOrder_ = keepOrder; }

  // --- evaluation ([any-thread], one caller)
  double Evaluate(double x) noexcept { return segments_.Evaluate(x, cursor_); }
  void EvaluateBlock(float* output, double start, double step, int32_t frames) noexcept {
    segments_.EvaluateBlock(output, start, step, frames, cursor_);
  }
  void EvaluateBlock(double* output, double start, double step, int32_t frames) noexcept {
    segments_.EvaluateBlock(output, start, step, frames, cursor_);
  }
  const RShapeSegments& GetSegments() const noexcept { return segments_; }
  // For an owner that swaps the compiled form under its lock.
  RShapeSegments& Segments() noexcept { return segments_; }

  // --- editing state and axes, kept in settings
  bool Assignable = false;
  RString PresetName;  // ENVPRESET
  int32_t DrawingMode = 0;
  int32_t SnapToGridX = 0;
  int32_t SnapToGridY = 0;
  RString OverrideUnitsX;
  RString OverrideUnitsY;
  double MinX = 0;
  double MaxX = 1;
  double MinY = 0;
  double MaxY = 1;

  // Reads or writes the shape's keys and "Point" children at the context's element; reading
  // builds the segments.
  void Store(RStoreContext& context);

private:
  std::vector<RShapePoint> points_;
  RShapeSegments segments_;
  RShapeSegments::Cursor cursor_;
  bool keepOrder_ = false;
};
