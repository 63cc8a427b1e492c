#pragma once
// One bank of the product's bit blend in its stored form, for the tests and benchmarks that
// build it: "Bit 00", a level placer that passes A, and "Bit 01" to "Bit 16", word manglers on
// one row of a 32-lane graph reading A on lane 0 and B on lane 3, each replacing one more bit
// of A by B from the lowest bit up; below them "ManyWayBlend 1" walks the 17 lanes. Without
// the manglers' DC blockers the bank's arithmetic is exact, which tests use.
#include <cstdint>
#include <string>

inline std::string BitBankState(bool dcBlockers = true) {
  constexpr int32_t kBits = 16;
  std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Quillonsettings Version=\"1050368\"><Plugins>"
                    "<Plugin X=\"0\" Y=\"2\" Name=\"LevelPlacer\" FullName=\"Bit 00\"/>";
  for (int32_t k = 1; k <= kBits; ++k) {
    xml += "<Plugin X=\"" + std::to_string(k) + "\" Y=\"2\" Name=\"WordMangler\" FullName=\"Bit " +
           (k < 10 ? "0" : "") + std::to_string(k) + "\" MaskIn=\"9\" MaskInSteal=\"9\" MaskOut=\"" +
           std::to_string(1 << k) +
           "\" InputIndex0=\"0\" InputIndex1=\"3\" InputSteal0=\"1\" InputSteal1=\"1\">"
           "<PluginSettings #SideChain=\"1\" #Bits=\"16\" #LP=\"4.301029995663981\" #Enable0=\"0\" #Enable1=\"1\"";
    if (!dcBlockers) xml += " #DCBlocker=\"0\"";
    // One more bit from B in every slot, from the lowest bit up.
    for (int32_t bit = kBits; bit > kBits - k; --bit) xml += " #Bit" + std::to_string(bit) + "X1=\"1\"";
    xml += "/></Plugin>";
  }
  xml += "<Plugin X=\"0\" Y=\"13\" Name=\"ManyWayBlend\" FullName=\"ManyWayBlend 1\" InputCount=\"17\" "
         "MaskIn=\"131071\" MaskInSteal=\"131071\"";
  for (int32_t n = 0; n <= kBits; ++n) {
    xml += " InputIndex" + std::to_string(n) + "=\"" + std::to_string(n) + "\" InputSteal" + std::to_string(n) +
           "=\"1\"";
  }
  xml += "/></Plugins></Quillonsettings>";
  return xml;
}

