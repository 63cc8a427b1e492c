#pragma once
// The ten banks of "Bit Blend": one nested graph each, the same 17 slots and many-way blend,
// differing only in the order in which B's bits replace A's as the morph walks from slot to
// slot. The bank names are the texts of "Bit Pattern".

#include <array>
#include <cstdint>

class RAudioPluginModular;

namespace defaultstate {

constexpr int32_t kWordBits = 16;
constexpr int32_t kBankCount = 10;
constexpr int32_t kDefaultBank = 4;

struct BitOrder {
  const char* name;
  // Bit numbers as the word mangler counts them, 1 the most significant, 16 the least: the
  // first entry is the bit that changes first.
  std::array<int32_t, kWordBits> bits;
};

extern const std::array<BitOrder, kBankCount> kBitOrders;

// Where bit joins the blend in an order: slot 1 to 16.
int32_t SlotOfBit(const BitOrder& order, int32_t bit);

// Builds the nested graph of "Bit Blend", stores every bank and leaves the default one loaded.
void BuildBitBanks(RAudioPluginModular& product);

} // namespace defaultstate
