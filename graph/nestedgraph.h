#pragma once
// Nested graphs: a slot whose module is a whole graph of its own (the catalogue rows Nest6,
// Nest16 and Nest32, with 6, 16 and 32 lanes), each an RSwitchyardBase named by its row. A
// nested graph has no locks of its own that matter: every lock it takes is the outermost
// graph's, reached through the parent chain, so a compile deep inside holds the same audio
// locks as the root's walk.
//
// Parameter tables: each graph's table holds its own values, then per slot the slot's Enabled
// and Bank and the module's whole table, all named "FullName - " and the name. A nested
// graph's table holds its slots the same way, so the root sees "Nest32 1 - Echo 1 - Time".
//
// [editor-thread] [host-thread]; never the audio thread.

#include "graph/audiopluginmodular.h"
#include "graph/switchyard.h"

// Registers the creators of the nested rows with the module registry; graphs built afterwards
// find them. Idempotent. Called once at start, before the first graph is built.
void RegisterNestedGraphs();

// Rebuilds the parameter tables from this graph up to the root, each mirroring its slots, so
// that a slot created, replaced or loaded anywhere in the tree is reachable from the host's
// table. Takes the root's parameter lock.
void RefreshParameterTables(RAudioPluginModular& graph);
// Empties the tables from this graph up to the root while the slots' values still live: call
// it before slots are deleted, and RefreshParameterTables once the new ones stand. Takes the
// root's parameter lock.
void ReleaseParameterTables(RAudioPluginModular& graph);
