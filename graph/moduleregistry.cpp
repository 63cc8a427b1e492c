#include "graph/moduleregistry.h"

#include <utility>
#include <vector>

#include "base/lock.h"

namespace {

struct Registered {
  RString Id;
  RModuleRegistry::Entry Entry;
};

// Function-local so that module files may register from their own static initialisers
// without depending on the order in which the process initialises translation units.
struct Table {
  RLock Lock;
  std::vector<Registered> Entries;
};

Table& GetTable() {
  static Table table;
  return table;
}

// Ids are keys written by the program: compared exactly.
Registered* FindEntry(std::vector<Registered>& entries, const RString& id) {
  for (Registered& entry : entries) {
    if (entry.Id.CompareExact(id) == 0) return &entry;
  }
  return nullptr;
}

}  // namespace

void RModuleRegistry::Register(const RString& id, RModuleCreator creator, RModuleCreator sideChainCreator) {
  Table& table = GetTable();
  RLockGuard guard(table.Lock);
  Entry entry{std::move(creator), std::move(sideChainCreator)};
  if (Registered* found = FindEntry(table.Entries, id)) {
    found->Entry = std::move(entry);
    return;
  }
  table.Entries.push_back(Registered{id, std::move(entry)});
}

void RModuleRegistry::Unregister(const RString& id) {
  Table& table = GetTable();
  RLockGuard guard(table.Lock);
  std::erase_if(table.Entries, [&id](const Registered& entry) { return entry.Id.CompareExact(id) == 0; });
}

RModuleCreator RModuleRegistry::Find(const RString& id, bool sideChain) {
  Table& table = GetTable();
  RLockGuard guard(table.Lock);
  const Registered* found = FindEntry(table.Entries, id);
  if (!found) return {};
  if (sideChain && found->Entry.SideChainCreator) return found->Entry.SideChainCreator;
  return found->Entry.Creator;
}
