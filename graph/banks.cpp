// The bank store of a slot and the bank change. A bank holds a whole module state, so a change
// of the Bank parameter swaps the module's settings at once; multi-parameters named in
// BankUpdateMP then push their values again, so that a bank saved with other settings still
// obeys the control the user holds.

#include "graph/banks.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "base/lock.h"
#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "kernel/storecontext.h"
#include "modulation/multiparameter.h"

namespace RBanks {

void Settle(RPluginSlot& slot) {
  slot.BankCount = std::clamp(slot.BankCount, 1, RPluginSlot::kMaxBanks);
  while (int32_t(slot.Banks.size()) < slot.BankCount) slot.Banks.push_back(std::make_unique<RTagItem>(RString("Bank")));
  slot.CurrentBank = std::clamp(slot.CurrentBank, 0, slot.BankCount - 1);
  if (slot.Bank) {
    RValueRange& range = *slot.Bank->GetRange();
    const int32_t positions = std::max(2, slot.BankCount);
    if (range.GetMax() != double(positions - 1)) {
      range.SetLimits(0.0, double(positions - 1));
      range.SetSteps(positions);
    }
  }
}

RString ElementName(int32_t bank) {
  RString name("Bank");
  name += RString::FromLatin1(std::to_string(bank));
  return name;
}

std::vector<int32_t> ParseNumbers(const RString& text) {
  std::vector<int32_t> numbers;
  const std::string utf8 = text.ToUTF8();
  size_t start = 0;
  while (start <= utf8.size()) {
    size_t end = utf8.find(',', start);
    if (end == std::string::npos) end = utf8.size();
    const std::string part = utf8.substr(start, end - start);
    char* stop = nullptr;
    const long value = std::strtol(part.c_str(), &stop, 10);
    // Blanks around a number are fine; anything else makes the part no number.
    bool number = stop != part.c_str();
    for (const char* p = stop; number && *p; ++p) number = *p == ' ' || *p == '\t';
    if (number) numbers.push_back(int32_t(std::clamp<long>(value, INT32_MIN, INT32_MAX)));
    start = end + 1;
  }
  return numbers;
}

} // namespace RBanks

void RPluginSlot::StoreBank(int32_t bank, bool writing) {
  RBanks::Settle(*this);
  if (bank < 0 || bank >= BankCount) return;
  RTagItem& element = *Banks[size_t(bank)];
  if (writing) {
    element.Clear();
    RStoreContext context(element, RStoreContext::kWriting | RStoreContext::kNewKeys);
    GetModule().Store(context);
  } else {
    RStoreContext context(element, RStoreContext::kNewKeys);
    GetModule().Store(context);
  }
}

void RPluginSlot::BankChanged(int32_t bank) {
  RBanks::Settle(*this);
  if (BankCount < 2) return;
  bank = std::clamp(bank, 0, BankCount - 1);
  if (bank == CurrentBank) return;
  CurrentBank = bank;
  {
    // The audio thread already holds this lock when automation moved the parameter; any other
    // thread waits for the block in progress, so no block sees half a module state.
    RLockGuard audio(GetModule().GetAudioLock());
    StoreBank(bank, false);
  }
  if (!BankUpdateMP.IsEmpty()) UpdateBankMultiParameters();
}

void RPluginSlot::UpdateBankMultiParameters() {
  RAudioPluginBase* owner = &GetGraph();
  for (int32_t level = 0; level < BankUpdateLevel && owner->GetParent(); ++level) owner = owner->GetParent();
  auto* plugin = dynamic_cast<RAudioPlugin*>(owner);
  if (!plugin) return;
  for (const int32_t n : RBanks::ParseNumbers(BankUpdateMP)) {
    if (n < 1 || n > plugin->GetMultiParameterCount()) continue;
    // A multi-parameter that is driving its targets right now meets its own guard and stops.
    if (RMultiParameter* multi = plugin->GetMultiParameter(n - 1)) multi->Apply(false, false);
  }
}
