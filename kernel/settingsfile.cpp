#include "kernel/settingsfile.h"

#include "base/exception.h"
#include "base/filestream.h"
#include "base/memorystream.h"
#include "base/tagitem.h"
#include "kernel/audioplugin.h"
#include "kernel/globalconfig.h"
#include "kernel/undo.h"

namespace {

void KeepFolderOf(const RString& path) {
  int slash = -1;
  for (int i = 0; i < path.Length(); ++i) {
    if (path[i] == u'/' || path[i] == u'\\') slash = i;
  }
  if (slash < 0) return;
  RGlobalConfiguration::Get().SetText(RSettingsFile::kFolderKey, path.Left(slash + 1));
}

} // namespace

namespace RSettingsFile {

void Save(RAudioPlugin& plugin, const RString& path, bool xml) {
  RTagItem root;
  plugin.SaveStateTree(root);
  if (xml) {
    RMemoryStream memory;
    root.WriteXML(memory);
    RFileStream file(path, RFileStream::kWrite | RFileStream::kReplace);
    file.Write(memory.GetData(), memory.GetSize());
    file.Close();
  } else {
    root.Save(path, false);
  }
  KeepFolderOf(path);
}

void Load(RAudioPlugin& plugin, const RString& path) {
  RTagItem root;
  root.Load(path);
  if (root.GetName().IsEmpty()) throw RException(RString("The file holds no stored settings."));
  // Only a file that parsed becomes an undo step: the snapshot holds the state to return to.
  plugin.GetUndo().StoreSettingsSnapshot();
  plugin.LoadStateTree(root);
  KeepFolderOf(path);
}

RString GetLastFolder() { return RGlobalConfiguration::Get().GetText(kFolderKey); }

} // namespace RSettingsFile
