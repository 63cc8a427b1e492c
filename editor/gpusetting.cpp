#include "editor/gpusetting.h"

#include <string>

#include "base/format.h"
#include "base/log.h"
#include "base/platform/filesystem.h"
#include "base/tagitem.h"

namespace {

RString FolderOrSettings(const RString& folder) { return folder.IsEmpty() ? RPlatform::GetSettingsFolder() : folder; }

RHashedString EnableKey() { return RHashedString(RString::FromUTF8(RGpuSetting::kEnableKey)); }

// Every missing folder of a path that ends with a separator: the settings folder may be the
// first thing the plug-in writes below the user's configuration folder.
void MakeFolders(const RString& folder) {
  const std::string path = folder.ToUTF8();
  for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
    if (!RPlatform::MakeDirectory(RString::FromUTF8(path.substr(0, at)))) {
      throw RException(RFormat("Could not create the folder {0}: {1}") << RString::FromUTF8(path.substr(0, at))
                                                                          << RPlatform::LastErrorText());
    }
  }
}

} // namespace

namespace RGpuSetting {

RString FallbackMessage(const RException& failure) {
  return RString::FromUTF8(kFallbackMessage) + failure.GetMessage();
}

bool Load(const RString& folder) {
  const RString base = FolderOrSettings(folder);
  if (base.IsEmpty()) return kDefaultEnable;
  const RString path = base + RString::FromUTF8(kFileName);
  if (!RPlatform::Exists(path)) return kDefaultEnable;
  try {
    RTagItem tree;
    tree.Load(path);
    if (tree.GetName().Compare(kElement) != 0) throw RException(RString("The file holds no painter setting."));
    const RVariant* enable = tree.FindAttribute(EnableKey());
    return enable ? enable->ToBool() : kDefaultEnable;
  } catch (const RException& failure) {
    // A damaged file must not keep the editor from opening.
    RLog::Write(RFormat("{0} could not be read: {1}") << path << failure.GetMessage());
    return kDefaultEnable;
  }
}

void Save(bool enable, const RString& folder) {
  const RString base = FolderOrSettings(folder);
  if (base.IsEmpty()) throw RException(RString("There is no settings folder."));
  RTagItem tree;
  tree.SetName(RString::FromUTF8(kElement));
  // The default stays unwritten, as in every stored tree.
  if (enable != kDefaultEnable) tree.SetAttribute(EnableKey(), enable);
  MakeFolders(base);
  tree.Save(base + RString::FromUTF8(kFileName));
}

} // namespace RGpuSetting
