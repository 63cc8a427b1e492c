#pragma once
// Settings files: a plug-in's whole state saved by the user to a file of its own (extension
// "settings"), the same tree as the host's chunk. Reading takes any stored form. The folder
// last used is remembered in the global configuration under "SaveSettings", so that the next
// file dialog opens there.
//
// [editor-thread]

#include "base/string.h"

class RAudioPlugin;

namespace RSettingsFile {

constexpr const char* kExtension = "settings";
constexpr const char* kFilterName = "Settings files";
constexpr const char* kSaveTitle = "Save settings";
constexpr const char* kLoadTitle = "Load settings";
constexpr const char* kFolderKey = "SaveSettings";

// Writes the state to path, binary mark-up (XML text when xml). Throws RException; an old
// file is replaced only once the new content is complete.
void Save(RAudioPlugin& plugin, const RString& path, bool xml = false);

// Reads a state from path. Throws RException, and then the plug-in is as it was. A load that
// succeeds is one undo step.
void Load(RAudioPlugin& plugin, const RString& path);

// The folder a file dialog should open in (ends with a separator), empty when none was kept.
RString GetLastFolder();

} // namespace RSettingsFile
