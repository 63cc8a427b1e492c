#pragma once
// Writing one multi-parameter as a short chain of calls:
//
//   Control(product, 29, "Rate", "A").Range("Rate A - Sample rate", "48 kHz", "400 Hz")
//       .Range("Rate A - Bypass", "On", "Off").When("x < 0.001 ? 0 : 1");
//
// Ranges are texts of the target parameter, read by that parameter; "min" and "max" stand for
// its two ends. Choices are banks: one named position per choice and one value per bank and
// target, so that the control reads as its choice ("Side-chain") and parses it back.

#include <cstdint>
#include <initializer_list>

#include "base/string.h"

class RAudioPluginModular;
class RMultiParameter;
class RMultiParameterTarget;

namespace defaultstate {

// "MultiParameters - Param N - Position", N counted from 1: how one multi-parameter drives
// another.
RString PositionOf(int32_t index);
// "MultiParameters - Param N - Visible": whether the editor shows that control's controls.
RString VisibleOf(int32_t index);

class Control {
public:
  Control(RAudioPluginModular& product, int32_t index, const char* name, const char* group);

  // A target that the control moves from one text (at 0) to another (at 1).
  Control& Range(const RString& parameter, const char* from, const char* to);
  Control& Range(const char* parameter, const char* from, const char* to) {
    return Range(RString::FromUTF8(parameter), from, to);
  }
  // An expression on the last target's input, before its range.
  Control& When(const char* expression);
  // The slot's module is bypassed while the control stands at zero, so it costs nothing
  // until the knob is turned.
  Control& WakesFromZero(const RString& slot);
  Control& WakesFromZero(const char* slot) { return WakesFromZero(RString::FromUTF8(slot)); }
  // Turns the control into a choice among names separated by '|'.
  Control& Choices(const char* names);
  // A target of a choice: one text per choice.
  Control& Choice(const RString& parameter, std::initializer_list<const char*> texts);
  Control& Choice(const char* parameter, std::initializer_list<const char*> texts) {
    return Choice(RString::FromUTF8(parameter), texts);
  }
  // The value a fresh instance has.
  Control& Default(double normalised);
  // The default where the first target reads text.
  Control& DefaultAt(const char* text);
  // Reads from -100% to 100% around the middle.
  Control& Bipolar();
  // Reads and parses as its first target does ("-6.0 dB", "2 kHz"), so that a host's lane
  // shows units.
  Control& InUnits();
  // A button that gives each target a new random value when pressed.
  Control& Randomizer();
  // Reads its first target back instead of driving it.
  Control& Meter();

  RMultiParameter& GetMulti() noexcept { return multi_; }

private:
  RMultiParameterTarget& Last();

  RAudioPluginModular& product_;
  RMultiParameter& multi_;
};

} // namespace defaultstate
