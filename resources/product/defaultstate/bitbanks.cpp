#include "resources/product/defaultstate/bitbanks.h"

#include <stdexcept>
#include <string>
#include <vector>

#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "resources/product/defaultstate/builder.h"

namespace defaultstate {

// Each order is a journey of its own: which bits of B arrive first decides whether the middle
// of the morph sounds like B under A's noise, like A under B's, or like neither.
const std::array<BitOrder, kBankCount> kBitOrders = {{
    // Every other bit from the bottom up, then the rest: both signals stay audible longest.
    {"Odd First", {15, 13, 11, 9, 7, 5, 3, 1, 16, 14, 12, 10, 8, 6, 4, 2}},
    // The noise floor changes first; B's shape arrives only with the last bits.
    {"Low to High", {16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1}},
    {"Outside In", {1, 16, 2, 15, 3, 14, 4, 13, 5, 12, 6, 11, 7, 10, 8, 9}},
    {"Inside Out", {8, 9, 7, 10, 6, 11, 5, 12, 4, 13, 3, 14, 2, 15, 1, 16}},
    // B's coarse shape first, A's detail last: the closest to a crossfade, hence the default.
    {"High to Low", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
    {"Even First", {2, 4, 6, 8, 10, 12, 14, 16, 1, 3, 5, 7, 9, 11, 13, 15}},
    // The top bit of each nibble, then the second, and so on.
    {"Nibbles", {1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16}},
    {"Scatter", {6, 13, 2, 9, 16, 4, 11, 1, 14, 7, 3, 12, 8, 15, 5, 10}},
    // The two bytes take turns from the top.
    {"Bytes Crossed", {1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15, 8, 16}},
    {"Low Byte First", {9, 10, 11, 12, 13, 14, 15, 16, 1, 2, 3, 4, 5, 6, 7, 8}},
}};

int32_t SlotOfBit(const BitOrder& order, int32_t bit) {
  for (int32_t i = 0; i < kWordBits; ++i)
    if (order.bits[size_t(i)] == bit) return i + 1;
  throw std::logic_error("a bit order misses a bit");
}

namespace {

constexpr int32_t kBankRow = 2;
constexpr int32_t kBlendRow = 13;

std::vector<SlotPlan> BankSlots() {
  std::vector<SlotPlan> slots;
  slots.push_back({0, kBankRow, "LevelPlacer", "Bit 00"});
  for (int32_t k = 1; k <= kWordBits; ++k) {
    slots.push_back({k, kBankRow, "WordMangler", (RString("Bit ") + TwoDigits(k)).ToUTF8(), 9, {{0, 0, true}, {1, 3, true}}});
  }
  SlotPlan blend{0, kBlendRow, "ManyWayBlend", "ManyWayBlend 1", (uint64_t(1) << (kWordBits + 1)) - 1};
  blend.inputCount = kWordBits + 1;
  for (int32_t n = 0; n <= kWordBits; ++n) blend.inputs.push_back({n, n, true});
  slots.push_back(blend);
  return slots;
}

void CheckOrders() {
  for (const BitOrder& order : kBitOrders) {
    for (int32_t bit = 1; bit <= kWordBits; ++bit) SlotOfBit(order, bit);
  }
}

} // namespace

void BuildBitBanks(RAudioPluginModular& product) {
  CheckOrders();
  RPluginSlot* slot = product.FindSlot(RString("Bit Blend"));
  auto* bank = slot ? dynamic_cast<RAudioPluginModular*>(&slot->GetModule()) : nullptr;
  if (!bank) throw std::runtime_error("the product has no nested graph named Bit Blend");

  RTagItem structure(RString("Switchyardsettings"));
  AddSlots(structure, BankSlots());
  bank->LoadStateTree(structure);
  for (const auto& inner : bank->GetSlots()) inner->Renamed = true;
  for (int32_t k = 1; k <= kWordBits; ++k) {
    const std::string name = (RString("Bit ") + TwoDigits(k)).ToUTF8();
    // Full words on both inputs, nothing filtered; the replace stage alone does the work.
    SetAll(*bank, name.c_str(),
           {{"Side-chain", "On"}, {"Bits", "16"}, {"Low-pass", "Off"}, {"XOR", "Off"}, {"Replace", "On"}});
  }

  slot->BankCount = kBankCount;
  for (int32_t b = 0; b < kBankCount; ++b) {
    const BitOrder& order = kBitOrders[size_t(b)];
    // Slot k holds the first k bits of the order.
    for (int32_t k = 1; k <= kWordBits; ++k) {
      for (int32_t bit = 1; bit <= kWordBits; ++bit) {
        const RString name = RString("Bit ") + TwoDigits(k) + RString(" - Replace ") + RString::FromLatin1(std::to_string(bit));
        SetByText(*bank, name, RString::FromLatin1(SlotOfBit(order, bit) <= k ? "On" : "Off"));
      }
    }
    slot->StoreBank(b, true);
  }
  slot->CurrentBank = kDefaultBank;
  slot->StoreBank(kDefaultBank, false);
  slot->Bank->SetValueNow(double(kDefaultBank));
  // A bank switch loads stored module settings: the morph and the bit gain, which reach into
  // the bank, must then be applied again.
  slot->BankUpdateMP = RString("1,49");
}

} // namespace defaultstate
