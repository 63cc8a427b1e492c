// RFormatScan reads values typed by users back through display templates. The bytes up to
// the first NUL are the template, the rest the input; both are taken as UTF-8.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/exception.h"
#include "base/format.h"
#include "base/string.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto* text = reinterpret_cast<const char*>(data);
  const void* nul = std::memchr(data, 0, size);
  const size_t split = nul ? size_t(static_cast<const uint8_t*>(nul) - data) : size / 2;
  const size_t rest = nul ? split + 1 : split;
  try {
    RFormatScan scan(RString::FromUTF8(text, split), RString::FromUTF8(text + rest, size - rest));
    int8_t i8 = 0;
    int16_t i16 = 0;
    int32_t i32 = 0;
    int64_t i64 = 0;
    double d = 0;
    RString s;
    scan >> i32 >> d >> s >> i64 >> i16 >> i8;
    for (int i = 0; i < RFormatScan::kMaxFields; ++i) scan >> s;
    (void)scan.FieldCount();
  } catch (const RException&) {
  }
  return 0;
}
