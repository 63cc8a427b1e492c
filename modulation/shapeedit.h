#pragma once
// The shape editor's operations that need no window: each works on the selected points of a
// shape, or on all of them when the selection is empty, and rebuilds the shape. A selection is
// a list of point indexes into the shape's (sorted) points.
//
// Threads: [editor-thread].

#include <cstdint>
#include <vector>

#include "base/string.h"
#include "modulation/shape.h"

namespace RShapeEdit {

using Selection = std::vector<int32_t>;

// Mirrors the span from the first to the last selected point in X (all points: over MinX..MaxX)
// and reverses their order; each segment keeps its kind and gets the opposite curvature, so
// it reads as the mirror image of what it was.
void InvertX(RShape& shape, const Selection& selection);
// Mirrors Y over MinY..MaxY; the curvatures stay, as a flipped curve bends the same way
// relative to its own rise.
void InvertY(RShape& shape, const Selection& selection);
// New Y values in MinY..MaxY from a 48-bit linear congruential generator seeded by seed, so
// the same seed gives the same shape.
void Randomize(RShape& shape, const Selection& selection, uint64_t seed);
// Spaces the selected points evenly in X between the first and the last of them.
void Distribute(RShape& shape, const Selection& selection);
// Replaces the shape by steps flat stairs from MinX to MaxX, each at the shape's value at the
// step's middle.
void StepSequencer(RShape& shape, int32_t steps);
// Sets the curve kind of the selection; throws "Invalid control point type." for an unknown one.
void SetCurveKind(RShape& shape, const Selection& selection, int32_t kind);
void ClearCurvature(RShape& shape, const Selection& selection);
// Sets or clears whole counts for stair-like kinds.
void SetIntegralCurvature(RShape& shape, const Selection& selection, bool integral);
void ClearSmoothing(RShape& shape, const Selection& selection);

// One line "x;y" per point, six decimals, lines ended by a line feed.
RString Export(const RShape& shape);
// Reads lines of the same form (a comma also reads as a decimal point; blank and malformed
// lines are skipped), replacing the points or adding to them, and returns the message
// "{0} points have been imported.".
RString Import(RShape& shape, const RString& text, bool replace);

} // namespace RShapeEdit
