#include "resources/product/defaultstate/controlbuilder.h"

#include <stdexcept>
#include <string>

#include "base/exception.h"
#include "graph/audiopluginmodular.h"
#include "modulation/multiparameter.h"
#include "resources/product/defaultstate/builder.h"

namespace defaultstate {

namespace {

double Position(RAudioPluginModular& product, const RString& parameter, const char* text) {
  const std::string word(text);
  if (word == "min") return 0.0;
  if (word == "max") return 1.0;
  return NormalisedOf(product, parameter, RString::FromUTF8(text));
}

} // namespace

namespace {

RString MultiParameterValue(int32_t index, const char* value) {
  return RString::FromLatin1(RMultiParameter::kPrefix) + RString::FromLatin1(std::to_string(index + 1)) +
         RString(" - ") + RString::FromLatin1(value);
}

} // namespace

RString PositionOf(int32_t index) { return MultiParameterValue(index, "Position"); }

RString VisibleOf(int32_t index) { return MultiParameterValue(index, "Visible"); }

Control::Control(RAudioPluginModular& product, int32_t index, const char* name, const char* group)
    : product_(product), multi_(*product.GetMultiParameter(index)) {
  multi_.Name = RString::FromUTF8(name);
  multi_.Group = RString::FromUTF8(group);
  multi_.RemoveTargets();
}

Control& Control::Range(const RString& parameter, const char* from, const char* to) {
  RMultiParameterTarget& target = multi_.AddTarget(parameter);
  if (target.GetIndex() < 0) throw RException(RString("no target named '") + parameter + RString("'"));
  target.FullRange = 4;
  target.Value = Position(product_, parameter, from);
  target.MaxValue = Position(product_, parameter, to);
  return *this;
}

Control& Control::When(const char* expression) {
  RMultiParameterTarget& target = Last();
  target.ParameterExpressionEnabled = true;
  target.SetExpression(RString::FromUTF8(expression));
  if (!target.UsesExpression()) {
    throw RException(RString("the expression '") + RString::FromUTF8(expression) + RString("' doesn't compile"));
  }
  return *this;
}

Control& Control::WakesFromZero(const RString& slot) {
  return Range(slot + RString(" - Bypass"), "Off", "On").When("x < 0.001");
}

Control& Control::Choices(const char* names) {
  multi_.Mode = RMultiParameter::kBanks;
  multi_.ValueMode = RMultiParameter::kByBankName;
  multi_.BankName = RString::FromUTF8(names);
  multi_.BankCount = 1;
  for (const char* c = names; *c; ++c) multi_.BankCount += *c == '|' ? 1 : 0;
  multi_.StepCount = multi_.BankCount;
  return *this;
}

Control& Control::Choice(const RString& parameter, std::initializer_list<const char*> texts) {
  if (int32_t(texts.size()) != multi_.BankCount) throw std::logic_error("a choice needs one text per choice");
  RMultiParameterTarget& target = multi_.AddTarget(parameter);
  if (target.GetIndex() < 0) throw RException(RString("no target named '") + parameter + RString("'"));
  target.Interpolate = false;
  int32_t bank = 0;
  for (const char* text : texts) target.BankValues[bank++] = Position(product_, parameter, text);
  return *this;
}

Control& Control::Default(double normalised) {
  multi_.DefaultValue = normalised;
  return *this;
}

Control& Control::DefaultAt(const char* text) {
  RMultiParameterTarget& first = *multi_.GetTarget(0);
  const double at = Position(product_, first.ParameterName, text);
  return Default((at - first.Value) / (first.MaxValue - first.Value));
}

Control& Control::Bipolar() {
  multi_.ValueMode = RMultiParameter::kPercentsBipolar;
  multi_.Origin = 0.5;
  return Default(0.5);
}

Control& Control::InUnits() {
  multi_.ValueMode = RMultiParameter::kByFirstParameter;
  return *this;
}

Control& Control::Randomizer() {
  multi_.Mode = RMultiParameter::kTrigger;
  multi_.Randomizer = true;
  multi_.ControlsMPs = true;
  return Default(0.0);
}

Control& Control::Meter() {
  multi_.Mode = RMultiParameter::kMeter;
  multi_.Storable = false;
  return Default(0.0);
}

RMultiParameterTarget& Control::Last() {
  if (multi_.GetTargetCount() == 0) throw std::logic_error("a control without a target");
  return *multi_.GetTarget(multi_.GetTargetCount() - 1);
}

} // namespace defaultstate
