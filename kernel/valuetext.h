#pragma once
// Text helpers of parameter values that the shared value displays (base/valuedisplay.h) don't
// cover: reading a number that a user typed, and durations counted in milliseconds.

#include <cstdint>

#include "base/string.h"

namespace RValueText {

// Reads the number at the start of text (blanks first are skipped): optional sign, digits
// with a '.' or ',' as decimal point, optional exponent. Whatever follows (a unit) is ignored.
// Returns false, leaving value untouched, when the text doesn't start with a number.
bool ReadNumber(const RString& text, double& value);

// A count of milliseconds: "0 s" for 0; whole seconds as "3 s"; otherwise "250ms" when
// milliseconds are preferred, else seconds with up to three decimals, trailing zeros cut and
// a decimal comma: "1,5 s".
RString MillisecondCount(int64_t milliseconds, bool preferMilliseconds);

} // namespace RValueText
