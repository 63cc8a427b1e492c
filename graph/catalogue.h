#pragma once
// RCatalogue: the table of modules a graph can hold. Every graph builds its own in its
// constructor, in one fixed order, the same for the product object and for each nested graph:
// the old-name and import tables first, then the rows, each with its category. A row's place
// in the list is its place in the module menu within its category; categories show in the
// order of their first row.
//
// Lookup (FindDescriptor) is exact: whole strings, case and accents significant, unlike the
// rest of the system, because a Name is a key written by the program, never typed by a user.
//
// Plugging a module in: the catalogue never includes module code. A module file registers
// its creator by Id with RModuleRegistry (graph/moduleregistry.h), for example from a
// function RegisterWordMangler() that its library's RegisterModules() calls once at start,
// before the first graph is constructed. A graph built afterwards finds the creator in its
// row; until then the row is there but fails as an unknown name ("Module not found: ").
//
// Threads: built and read on the thread that constructs or loads the graph ([host-thread] or
// [editor-thread]); the audio thread never reads it. A built catalogue is not changed except
// by Append and AddOldName, which belong to construction (and to tests that add their own
// modules).

#include <cstdint>
#include <memory>
#include <vector>

#include "base/string.h"
#include "graph/plugindescriptor.h"

class RCatalogue {
public:
  struct NamePair {
    RString From;
    RString To;
  };

  struct Category {
    RString Name;
    std::vector<const PluginDescriptor*> Rows;  // in catalogue order; may be empty
  };

  // An empty catalogue: no rows, no old names, no import names.
  RCatalogue() = default;
  // The full catalogue. sideChain chooses the creators of the nested rows: a nested graph
  // built with two named inputs ("Input", "Side-chain") or with one ("Input").
  explicit RCatalogue(bool sideChain);

  RCatalogue(const RCatalogue&) = delete;
  RCatalogue& operator=(const RCatalogue&) = delete;

  // Adds a row at the end, filling an empty Name from Id and an empty DisplayName from Name.
  // Returns the stored row, whose address stays valid for the catalogue's life.
  const PluginDescriptor& Append(PluginDescriptor row);
  // Adds an (old Name, current Name) pair for keys that files of an earlier release carry.
  void AddOldName(const RString& oldName, const RString& currentName);

  // The row for a slot's Name: first the Names of all rows in order, then Id and DisplayName
  // row by row; failing both, the old-name chain from name, at most one step per row, trying
  // both passes after each step. Rows without a creator are never found. Null when nothing
  // matches; the caller reports "Module not found: " and the name.
  const PluginDescriptor* FindDescriptor(const RString& name) const;
  // For the import of a foreign preset: the row for the import table's target of name when it
  // has an entry, else FindDescriptor(name).
  const PluginDescriptor* FindImportDescriptor(const RString& name) const;

  // Every row in catalogue order, including those without a creator.
  const std::vector<const PluginDescriptor*>& GetRows() const noexcept { return order_; }
  const std::vector<NamePair>& GetOldNames() const noexcept { return oldNames_; }
  const std::vector<NamePair>& GetImportNames() const noexcept { return importNames_; }
  // The module menu: categories in the order of their first row, each with its rows; the
  // categories known to the build that have no row (such as "Synthesis") come last, empty.
  std::vector<Category> GetCategories() const;

private:
  const PluginDescriptor* FindInRows(const RString& name) const;

  // Rows live in a vector of owners so that their addresses stay fixed while rows are added.
  std::vector<std::unique_ptr<PluginDescriptor>> rows_;
  std::vector<const PluginDescriptor*> order_;
  std::vector<NamePair> oldNames_;
  std::vector<NamePair> importNames_;
};
