// The controls of the product, group by group. Indexes are fixed: hosts automate by them and
// the editor places controls by them.

#include "resources/product/defaultstate/multiparameters.h"

#include <cstdio>
#include <string>

#include "graph/audiopluginmodular.h"
#include "modulation/multiparameter.h"
#include "resources/product/defaultstate/bitbanks.h"
#include "resources/product/defaultstate/builder.h"
#include "resources/product/defaultstate/controlbuilder.h"

namespace defaultstate {

namespace {

constexpr int32_t kMorph = 0;
constexpr int32_t kBitPattern = 1;
constexpr int32_t kBSource = 2;
constexpr int32_t kMode = 3;
constexpr int32_t kFirstBitSwitch = 4;
constexpr int32_t kSwapRandom = 20;
constexpr int32_t kPathA = 21;
constexpr int32_t kPathB = 32;
constexpr int32_t kMaster = 43;
constexpr int32_t kAutoBitGain = 48;
constexpr int32_t kFirstDisplay = 52;
// The editor's two SWAP panels: the morph knob's (Blend) and the bit grid's (Grid).
constexpr int32_t kMorphPanel = 68;
constexpr int32_t kGridPanel = 69;
constexpr int32_t kMeterA = 79;
constexpr int32_t kMeterB = 80;

// Offsets of the eleven controls of a path.
enum PathControl { kGain, kPan, kHP, kLP, kDelayTime, kDelaySync, kFeed, kSync, kRate, kShift, kError };

const char* const kBlendRatio = "Bit Blend - ManyWayBlend 1 - Ratio";

RString BitName(int32_t bit) { return RString::FromLatin1(std::to_string(bit).c_str()); }

std::string Slot(const char* stem, const char* side) { return std::string(stem) + " " + side; }

RString Param(const char* stem, const char* side, const char* name) {
  return RString::FromUTF8((Slot(stem, side) + " - " + name).c_str());
}

// The bit pattern's choices: the banks' names in bank order, separated by '|'.
std::string PatternNames() {
  std::string names;
  for (const BitOrder& order : kBitOrders) names += std::string(names.empty() ? "" : "|") + order.name;
  return names;
}

void BuildSwap(RAudioPluginModular& product) {
  // The morph walks the bit blend's 17 slots; the dry copy and the grid follow it, so that
  // the dry/wet mix and the grid mode morph the same way. No glide: each blend ramps its ratio
  // across the block itself, and a glide would cut every block into the stages' small steps.
  Control(product, kMorph, "Morph", "SWAP")
      .Range(kBlendRatio, "0%", "100%")
      .Range("Dry Blend - Ratio", "0%", "100%")
      .Range("Bit Grid - Dry/Wet", "0%", "100%")
      .Default(0.5);

  // Ten choices, one per bank of the nested graph; each sets the bank by its number.
  Control pattern(product, kBitPattern, "Bit Pattern", "SWAP");
  pattern.Choices(PatternNames().c_str());
  RMultiParameterTarget& bank = pattern.GetMulti().AddTarget(RString("Bit Blend - Bank"));
  bank.Interpolate = false;
  for (int32_t b = 0; b < kBankCount; ++b) {
    bank.BankValues[b] = NormalisedOf(product, bank.ParameterName, RString::FromLatin1(std::to_string(b).c_str()));
  }
  pattern.Default(double(kDefaultBank) / double(kBankCount - 1));

  // B is the main input again, the side-chain, or nothing: then the morph trades A's bits for
  // zeros, a bit crusher whose depth is the morph.
  Control(product, kBSource, "B Source", "SWAP")
      .Choices("Input|Side-chain|Silence")
      .Choice("In - Ratio", {"0%", "100%", "0%"})
      .Choice("Mute - Volume", {"max", "max", "min"})
      .Default(0.0);

  // Blend or Grid: which of the two words runs, and which panel the editor shows with its
  // controls, the morph knob or the sixteen bit switches.
  Control mode(product, kMode, "Mode", "SWAP");
  mode.Choices("Blend|Grid")
      .Choice("Bit Blend - Enabled", {"On", "Off"})
      .Choice("Bit Grid - Enabled", {"Off", "On"})
      .Choice(VisibleOf(kMorphPanel), {"On", "Off"})
      .Choice(VisibleOf(kMorph), {"On", "Off"})
      .Choice(VisibleOf(kGridPanel), {"Off", "On"});
  for (int32_t bit = 1; bit <= kWordBits; ++bit) mode.Choice(VisibleOf(kFirstBitSwitch + bit - 1), {"Off", "On"});
  mode.Default(0.0);
  Control(product, kMorphPanel, "Morph Panel", "Panels (display only)");
  Control(product, kGridPanel, "Grid Panel", "Panels (display only)");

  // The grid's switches: bit 1 is the most significant. Every other bit from the top starts on.
  for (int32_t bit = 1; bit <= kWordBits; ++bit) {
    const std::string name = TwoDigits(bit).ToUTF8();
    Control(product, kFirstBitSwitch + bit - 1, name.c_str(), "SWAP")
        .Choices("Off|On")
        .Choice(RString("Bit Grid - Replace ") + BitName(bit), {"Off", "On"})
        .Default(bit % 2 == 1 ? 1.0 : 0.0);
  }

  Control random(product, kSwapRandom, "Random", "SWAP");
  random.Range(PositionOf(kBitPattern), "min", "max");
  for (int32_t bit = 1; bit <= kWordBits; ++bit) random.Range(PositionOf(kFirstBitSwitch + bit - 1), "min", "max");
  random.Randomizer();
}

void BuildPath(RAudioPluginModular& product, int32_t first, const char* side) {
  const char* group = side;
  Control(product, first + kGain, "Gain", group).Range(Param("Gain", side, "Output"), "-24 dB", "+12 dB").InUnits().DefaultAt("0 dB");
  Control(product, first + kPan, "Pan", group).Range(Param("Gain", side, "Panorama"), "100% left", "100% right").Bipolar();
  // The path's band-pass sits inside the delay's loop: it shapes the copy and every repeat.
  Control(product, first + kHP, "HP", group).Range(Param("Delay", side, "Min"), "20 Hz", "5 kHz").InUnits().Default(0.0);
  Control(product, first + kLP, "LP", group).Range(Param("Delay", side, "Max"), "150 Hz", "20 kHz").InUnits().Default(1.0);
  // Free time and synced length move together, so the knob works in both modes.
  Control(product, first + kDelayTime, "Delay Time", group)
      .Range(Param("Delay", side, "Delay"), "0 ms", "1000 ms")
      .Range(Param("Delay", side, "Length"), "1 / 64", "1 / 1")
      .InUnits()
      .Default(0.0);
  Control(product, first + kDelaySync, "Delay Sync", group)
      .Choices("Free|Sync")
      .Choice(Param("Delay", side, "Sync"), {"Off", "On"})
      .Default(0.0);
  Control(product, first + kFeed, "Feed", group).Range(Param("Delay", side, "Feedback"), "0%", "95%").InUnits().Default(0.0);
  // The shifter's own loop, synced to an eighth note: each repeat shifted once more, a
  // spiral in time with the song.
  Control(product, first + kSync, "Sync", group)
      .Choices("Free|Sync")
      .Choice(Param("Shift", side, "Sync"), {"Off", "On"})
      .Choice(Param("Shift", side, "Feedback"), {"0%", "50%"})
      .Default(0.0);
  // Rate, shift and grains cost nothing at rest: each wakes its module as it leaves zero.
  Control(product, first + kRate, "Rate", group)
      .Range(Param("Rate", side, "Sample rate"), "48 kHz", "400 Hz")
      .WakesFromZero(Slot("Rate", side).c_str())
      .InUnits()
      .Default(0.0);
  Control(product, first + kShift, "Shift", group)
      .Range(Param("Shift", side, "Shift"), "-3 kHz", "3 kHz")
      .Range(Param("Shift", side, "Bypass"), "Off", "On")
      .When("abs(x - 0.5) < 0.001")
      .Bipolar()
      .InUnits();
  Control(product, first + kError, "Error", group)
      .Range(Param("Glitch", side, "Dry/Wet"), "0%", "100%")
      .Range(Param("Glitch", side, "Pitch random 1"), "0", "12")
      .Range(Param("Glitch", side, "Random"), "0 ms", "40 ms")
      .Range(Param("Glitch", side, "Grain size"), "80 ms", "25 ms")
      .WakesFromZero(Slot("Glitch", side).c_str())
      .Default(0.0);
}

void BuildMaster(RAudioPluginModular& product) {
  // The dry lane's blend reads the wet signal at 0 and the dry copy at 1.
  Control(product, kMaster + 0, "Dry/Wet", "Master").Range("Dry/Wet - Ratio", "100%", "0%").Default(1.0);
  Control(product, kMaster + 1, "Press", "Master")
      .Range("Press - Threshold", "0 dB", "-36 dB")
      .Range("Press - Ratio", "1.5:1", "8:1")
      .WakesFromZero("Press")
      .Default(0.0);
  Control(product, kMaster + 2, "Heat", "Master")
      .Range("Saturator 1 - Drive", "0 dB", "30 dB")
      .WakesFromZero("Saturator 1")
      .InUnits()
      .Default(0.0);
  // At the ends of their travel the filters switch off, so that an open band is the input
  // itself and not a 20 kHz low-pass's droop.
  Control(product, kMaster + 3, "HP", "Master")
      .Range("BandPass 1 - High-pass", "20 Hz", "2 kHz")
      .Range("BandPass 1 - High-pass filter", "Off", "On")
      .When("x > 0.001")
      .InUnits()
      .Default(0.0);
  Control(product, kMaster + 4, "LP", "Master")
      .Range("BandPass 1 - Low-pass", "150 Hz", "20 kHz")
      .Range("BandPass 1 - Low-pass filter", "Off", "On")
      .When("x < 0.999")
      .InUnits()
      .Default(1.0);

  // Each word of the blend and the grid measures and restores its own level.
  Control gain(product, kAutoBitGain, "Auto Bit Gain", "Master");
  gain.Choices("Off|On");
  for (int32_t k = 1; k <= kWordBits; ++k) gain.Choice(RString("Bit Blend - Bit ") + TwoDigits(k) + RString(" - AGC"), {"Off", "On"});
  gain.Choice("Bit Grid - AGC", {"Off", "On"}).Default(0.0);

  Control(product, kMaster + 6, "Clip", "Master").Range("Clip - Drive", "0 dB", "24 dB").InUnits().Default(0.0);
  Control(product, kMaster + 7, "Out", "Master").Range("Clip - Output gain", "-24 dB", "6 dB").InUnits().DefaultAt("0 dB");

  // A dice for the two paths' colour, kept out of the extremes that would swamp the morph.
  Control random(product, kMaster + 8, "Random", "Master");
  for (const int32_t path : {kPathA, kPathB}) {
    random.Range(PositionOf(path + kDelayTime), "min", "40%")
        .Range(PositionOf(path + kFeed), "min", "60%")
        .Range(PositionOf(path + kRate), "min", "70%")
        .Range(PositionOf(path + kShift), "35%", "65%")
        .Range(PositionOf(path + kError), "min", "60%");
  }
  random.Randomizer();
}

// The bit matrix's LEDs: for each bit, whether the sound now takes it from B. In blend mode
// that is where the morph stands against the slot at which the bank lets the bit in (half a
// step early, where the crossfade passes the middle); in grid mode it is the bit's switch.
void BuildDisplays(RAudioPluginModular& product) {
  char text[96];
  for (int32_t bit = 1; bit <= kWordBits; ++bit) {
    // p2 is the bit pattern, p4 the mode, p5.. the grid's switches.
    std::string expression;
    std::snprintf(text, sizeof text, "p%d >= 0.5 ? p%d >= 0.5 : x >= (", kMode + 1, kFirstBitSwitch + bit);
    expression.append(text);
    for (int32_t b = 0; b < kBankCount; ++b) {
      const double at = (SlotOfBit(kBitOrders[size_t(b)], bit) - 0.5) / kWordBits;
      if (b == kBankCount - 1) {
        std::snprintf(text, sizeof text, "%.6f)", at);
      } else {
        std::snprintf(text, sizeof text, "p%d < %.6f ? %.6f : ", kBitPattern + 1, (b + 0.5) / (kBankCount - 1), at);
      }
      expression.append(text);
    }
    const RString name = TwoDigits(bit);
    Control(product, kFirstDisplay + bit - 1, name.ToUTF8().c_str(), "Bit Morph (display only)")
        .Range(kBlendRatio, "0%", "100%")
        .When(expression.c_str())
        .Meter();
  }
}

void BuildMeters(RAudioPluginModular& product) {
  // How much of each signal the blend lets through.
  Control(product, kMeterA, "A", "Meters").Range(kBlendRatio, "100%", "0%").Meter();
  Control(product, kMeterB, "B", "Meters").Range(kBlendRatio, "0%", "100%").Meter();
}

} // namespace

void BuildMultiParameters(RAudioPluginModular& product) {
  BuildSwap(product);
  BuildPath(product, kPathA, "A");
  BuildPath(product, kPathB, "B");
  BuildMaster(product);
  BuildDisplays(product);
  BuildMeters(product);
  for (int32_t i = 0; i < product.GetMultiParameterCount(); ++i) {
    RMultiParameter& multi = *product.GetMultiParameter(i);
    // A trigger rests at 0, which draws nothing; a meter has no value of its own.
    if (multi.Mode != RMultiParameter::kMeter) multi.SetValueNow(multi.DefaultValue);
  }
}

} // namespace defaultstate
