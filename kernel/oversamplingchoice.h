#pragma once
// The oversampling factors a plug-in offers, as the items of its two oversampling choices
// ("1x" to "8x", then the powers of two up to "1024x"), and the mapping between a stored
// factor and an item. States store the factor itself, so a factor that was never an item (12)
// still finds the nearest item above it.

#include <cstdint>

#include "base/string.h"

namespace ROversamplingChoice {

constexpr int32_t kItemCount = 15;

// The factor of item index (1 out of range).
int32_t GetFactor(int32_t index) noexcept;
// The item of a stored factor: 1 or less gives 0; 2 to 8 the factor minus 1; above that the
// first power of two that holds it, up to 1024; a factor above 1024 gives 0.
int32_t GetIndex(int32_t factor) noexcept;
// "2x".
RString GetText(int32_t index);
// How many items a plug-in offers whose definition allows factors up to maxFactor (at least 1).
int32_t CountUpTo(int32_t maxFactor) noexcept;

} // namespace ROversamplingChoice
