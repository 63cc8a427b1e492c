#include "resources/product/defaultstate/review.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "base/exception.h"
#include "base/format.h"
#include "base/log.h"
#include "base/stream.h"
#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "modulation/multiparameter.h"

namespace defaultstate {

namespace {

// The lines the load wrote to the log.
std::string LoadWithLog(const RTagItem& root, RAudioPluginModular& fresh) {
  char path[] = "/tmp/quillon-defaultstate-XXXXXX";
  const int handle = mkstemp(path);
  if (handle < 0) throw RException(RString("no temporary file for the load's log"));
  close(handle);
  const std::string previous = RLog::GetPath();
  RLog::SetPath(path);
  try {
    fresh.LoadStateTree(root);
  } catch (...) {
    RLog::SetPath(previous);
    std::remove(path);
    throw;
  }
  RLog::SetPath(previous);
  std::ifstream file(path);
  std::stringstream lines;
  lines << file.rdbuf();
  std::remove(path);
  return lines.str();
}

RString TextAt(RAudioPluginModular& product, int32_t index, double normalised) {
  RValue* value = product.GetParameterValue(index);
  return value ? value->GetTextOfNormalised(normalised) : RString("?");
}

} // namespace

void CheckReload(const RTagItem& root, RAudioPluginModular& fresh) {
  const std::string log = LoadWithLog(root, fresh);
  std::string problems;
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    if (line.find("Module not found") != std::string::npos || line.find("Parameter doesn't exist") != std::string::npos)
      problems += line + "\n";
  }
  for (int32_t i = 0; i < fresh.GetMultiParameterCount(); ++i) {
    RMultiParameter& multi = *fresh.GetMultiParameter(i);
    for (int32_t t = 0; t < multi.GetTargetCount(); ++t) {
      const RMultiParameterTarget& target = *multi.GetTarget(t);
      if (target.GetIndex() < 0) problems += "unresolved target " + target.ParameterName.ToUTF8() + "\n";
    }
  }
  if (!problems.empty()) throw RException(RString::FromUTF8(("the state doesn't load cleanly:\n" + problems).c_str()));
}

void WriteReview(RAudioPluginModular& product, RStream& out) {
  for (int32_t i = 0; i < product.GetMultiParameterCount(); ++i) {
    RMultiParameter& multi = *product.GetMultiParameter(i);
    if (multi.Name.IsEmpty()) continue;
    out.WriteTextLine(RFormat("{0}  [{1}] {2}  ({3}, default {4})")
                      << int64_t(i) << multi.Group << multi.Name
                      << RString::FromLatin1(RMultiParameter::kModeNames[multi.Mode])
                      << multi.ValueText(multi.DefaultValue));
    for (int32_t t = 0; t < multi.GetTargetCount(); ++t) {
      const RMultiParameterTarget& target = *multi.GetTarget(t);
      RString line = RString("    ") + target.ParameterName + RString(": ");
      if (multi.Mode == RMultiParameter::kBanks) {
        for (int32_t b = 0; b < multi.BankCount; ++b) {
          line += (b ? RString(" | ") : RString()) + TextAt(product, target.GetIndex(), target.BankValues[b]);
        }
      } else {
        line += TextAt(product, target.GetIndex(), target.Value) + RString(" .. ") +
                TextAt(product, target.GetIndex(), target.MaxValue);
      }
      if (target.ParameterExpressionEnabled) line += RString("  when ") + target.GetExpressionText();
      out.WriteTextLine(line);
    }
  }
}

} // namespace defaultstate
