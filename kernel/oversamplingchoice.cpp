#include "kernel/oversamplingchoice.h"

#include <string>

namespace ROversamplingChoice {

int32_t GetFactor(int32_t index) noexcept {
  if (index < 0 || index >= kItemCount) return 1;
  return index < 8 ? index + 1 : 16 << (index - 8);
}

int32_t GetIndex(int32_t factor) noexcept {
  if (factor <= 1 || factor > 1024) return 0;
  if (factor <= 8) return factor - 1;
  int32_t index = 8;
  while (GetFactor(index) < factor) ++index;
  return index;
}

RString GetText(int32_t index) { return RString::FromUTF8(std::to_string(GetFactor(index)) + "x"); }

int32_t CountUpTo(int32_t maxFactor) noexcept {
  int32_t count = 1;
  while (count < kItemCount && GetFactor(count) <= maxFactor) ++count;
  return count;
}

} // namespace ROversamplingChoice
