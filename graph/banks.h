#pragma once
// The bank store of a slot: one whole module state per bank (for a nested graph a whole
// graph), switched by the slot's Bank parameter. Helpers shared by the slot's store and the
// bank change; the operations themselves are RPluginSlot's (graph/pluginslot.h).
//
// [editor-thread] [host-thread], or whichever thread sets the Bank parameter.

#include <cstdint>
#include <vector>

#include "base/string.h"

class RPluginSlot;

namespace RBanks {

// BankCount into 1..64, the bank store grown to it with empty "Bank" elements, CurrentBank
// into 0..BankCount-1, and the Bank parameter's range to 0..max(2, BankCount)-1.
void Settle(RPluginSlot& slot);
// The element name of bank n: "Bank" and the number.
RString ElementName(int32_t bank);
// "3, 1,x,12" gives 3, 1, 12: what isn't a number is left out.
std::vector<int32_t> ParseNumbers(const RString& text);

} // namespace RBanks
