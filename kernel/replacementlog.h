#pragma once
// The parameter replacement log: while a state is read, every parameter name that had to be
// rewritten to be found (names of older versions) is noted, one a line, in the shared block
// data's ReplacementLog. After the load the text may be shown to the user, titled
// "Parameter replacement log", and is then cleared either way, so that one load's log never
// mixes with the next one's.
//
// Nothing here knows a window: the editor, when it exists, installs a viewer. [editor-thread],
// [host-thread]

#include "base/string.h"

class RAudioPlugin;

namespace RReplacementLog {

constexpr const char* kTitle = "Parameter replacement log";
// The global switch that asks for the log after every load.
constexpr const char* kShowSwitch = "ShowParameterReplacementLog";

using Viewer = void (*)(RAudioPlugin& plugin, const RString& title, const RString& text);

// Installs the viewer (nullptr: none) and returns the one it replaces. [any-thread]
Viewer SetViewer(Viewer viewer) noexcept;

// Appends one rewritten name to the plug-in's log.
void Note(RAudioPlugin& plugin, const RString& from, const RString& to);

// After a load: shows a non-empty log when a viewer exists and show or the global switch asks
// for it; then clears the log.
void Finish(RAudioPlugin& plugin, bool show);

} // namespace RReplacementLog
