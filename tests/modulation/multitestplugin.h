#pragma once
// A plug-in for the multi-parameter tests: a few values to drive (two continuous, a choice and
// a switch) and a count of multi-parameters, set up at 48 kHz so that the stages know a rate.
#include <cstdint>

#include "base/format.h"
#include "kernel/audioplugin.h"
#include "kernel/value.h"
#include "modulation/multiparameter.h"

class RMultiTestPlugin : public RAudioPlugin {
public:
  static constexpr double kRate = 48000.0;

  static Options WithMultiParameters(int32_t count) {
    Options options;
    options.multiParameters = count;
    return options;
  }

  explicit RMultiTestPlugin(int32_t multiCount = 4) : RAudioPlugin(RString("Multi"), WithMultiParameters(multiCount)) {}

  RRealValue gain{this, RString("Gain"), 0.0, 1.0, 0.0};
  RRealValue mix{this, RString("Mix"), 0.0, 100.0, 0.0, RString("{0.1} %")};
  RChoiceValue shape{this, RString("Shape"), Items(), 0};
  RBoolValue freeze{this, RString("Freeze"), false};

  static RArray<RString> Items() {
    RArray<RString> items;
    items.Add(RString("Sine"));
    items.Add(RString("Square"));
    items.Add(RString("Saw"));
    return items;
  }

  void Prepare(double rate = kRate, int32_t maxBlock = 512) {
    InitParameters();
    SetHostFormat(rate, maxBlock, 2);
  }

  RMultiParameter& Multi(int32_t index) { return *GetMultiParameter(index); }
  // A target of multi-parameter index on the named parameter, range form 4 from 0 to 1.
  RMultiParameterTarget& Target(int32_t index, const char* parameter) {
    RMultiParameterTarget& target = Multi(index).AddTarget(RString::FromLatin1(parameter));
    target.FullRange = 4;
    target.Value = 0.0;
    target.MaxValue = 1.0;
    return target;
  }
  // Moves a multi-parameter's value as the host's ramps do: the processing value.
  void Move(int32_t index, double normalised) { Multi(index).GetValue().SetProcessing(normalised); }
  static RString Name(int32_t number, const char* word) {
    return RFormat("MultiParameters - Param {0} - {1}") << int64_t(number) << RString::FromLatin1(word);
  }
};
