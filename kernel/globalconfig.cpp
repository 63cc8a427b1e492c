#include "kernel/globalconfig.h"

#include <cstring>
#include <strings.h>

#include "base/exception.h"
#include "base/filestream.h"
#include "base/format.h"
#include "base/log.h"
#include "base/memorystream.h"
#include "base/platform/filesystem.h"

namespace {

RHashedString KeyOf(const char* key) { return RHashedString(RString(key, int(std::strlen(key)))); }

RString Literal(const char* text) { return RString(text, int(std::strlen(text))); }

bool IsPluginPreference(const char* key) noexcept {
  for (const char* k : {RGlobalConfiguration::kConfirmationEnabled, RGlobalConfiguration::kDefaultColorsByType,
                        RGlobalConfiguration::kAllowStyleChangeToFit,
                        RGlobalConfiguration::kBandPluginDefaultSettings}) {
    if (strcasecmp(k, key) == 0) return true;
  }
  return false;
}

// Makes every missing folder of a path that ends with a separator.
bool MakeFolders(const RString& folder) {
  const std::string path = folder.ToUTF8();
  for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
    if (!RPlatform::MakeDirectory(RString::FromUTF8(path.substr(0, at)))) return false;
  }
  return true;
}

void LoadFile(RTagItem& tree, const RString& path) {
  tree.Clear();
  tree.SetName(Literal(RGlobalConfiguration::kElement));
  if (!RPlatform::Exists(path)) return;
  try {
    RTagItem read;
    read.Load(path);
    if (read.GetName().IsEmpty()) throw RException(RString("The file holds no configuration."));
    tree.Copy(read);
  } catch (const RException& failure) {
    // A damaged file must not keep the plug-in from starting: its keys take their defaults.
    tree.Clear();
    tree.SetName(Literal(RGlobalConfiguration::kElement));
    RLog::Write(RFormat("Global configuration {0} could not be read: {1}") << path << failure.GetMessage());
  }
}

} // namespace

RGlobalConfiguration& RGlobalConfiguration::Get() {
  static RGlobalConfiguration configuration(RPlatform::GetSettingsFolder());
  return configuration;
}

RGlobalConfiguration::RGlobalConfiguration(const RString& folder) : folder_(folder) {
  cached_[0].key = kSleepOnSilence;
  cached_[1].key = kDisableRTG;
  Reload();
}

void RGlobalConfiguration::UseFolder(const RString& folder) {
  {
    std::lock_guard<std::mutex> hold(lock_);
    folder_ = folder;
  }
  Reload();
}

void RGlobalConfiguration::Reload() {
  std::lock_guard<std::mutex> hold(lock_);
  if (folder_.IsEmpty()) {
    global_.Clear();
    plugin_.Clear();
    global_.SetName(Literal(kElement));
    plugin_.SetName(Literal(kElement));
  } else {
    LoadFile(global_, folder_ + Literal(kFileName));
    LoadFile(plugin_, folder_ + Literal(kPluginFileName));
  }
  RefreshCache();
}

RGlobalConfiguration::CachedSwitch* RGlobalConfiguration::Cached(const char* key) noexcept {
  for (CachedSwitch& c : cached_) {
    if (strcasecmp(c.key, key) == 0) return &c;
  }
  return nullptr;
}

// Holds lock_.
void RGlobalConfiguration::RefreshCache() {
  for (CachedSwitch& c : cached_) {
    const RTagItem* tree = Holding(c.key);
    const RVariant* value = tree ? tree->FindAttribute(KeyOf(c.key)) : nullptr;
    c.state.store(value ? int8_t(value->ToBool() ? 1 : 0) : int8_t(-1), std::memory_order_release);
  }
  // Whether trees are saved as XML text is itself a global setting; only an explicit entry
  // changes what the process does.
  const int8_t rtg = Cached(kDisableRTG)->state.load(std::memory_order_acquire);
  if (rtg >= 0) RTagItem::SetDisableRTG(rtg == 1);
}

// Holds lock_.
RTagItem* RGlobalConfiguration::Holding(const char* key) {
  const RHashedString k = KeyOf(key);
  if (global_.FindAttribute(k)) return &global_;
  if (plugin_.FindAttribute(k)) return &plugin_;
  return nullptr;
}

RTagItem& RGlobalConfiguration::HomeOf(const char* key) {
  if (RTagItem* holding = Holding(key)) return *holding;
  return IsPluginPreference(key) ? plugin_ : global_;
}

bool RGlobalConfiguration::GetSwitch(const char* key, bool defaultValue) {
  if (CachedSwitch* c = Cached(key)) {
    const int8_t state = c->state.load(std::memory_order_acquire);
    return state < 0 ? defaultValue : state == 1;
  }
  std::lock_guard<std::mutex> hold(lock_);
  const RTagItem* tree = Holding(key);
  return tree ? tree->FindAttribute(KeyOf(key))->ToBool() : defaultValue;
}

RString RGlobalConfiguration::GetText(const char* key, const RString& defaultValue) {
  std::lock_guard<std::mutex> hold(lock_);
  const RTagItem* tree = Holding(key);
  return tree ? tree->FindAttribute(KeyOf(key))->ToText() : defaultValue;
}

int32_t RGlobalConfiguration::GetInt(const char* key, int32_t defaultValue) {
  std::lock_guard<std::mutex> hold(lock_);
  const RTagItem* tree = Holding(key);
  return tree ? tree->FindAttribute(KeyOf(key))->ToInt32() : defaultValue;
}

void RGlobalConfiguration::SetSwitch(const char* key, bool on) { Set(key, RVariant::FromInt32(on ? 1 : 0)); }

void RGlobalConfiguration::SetText(const char* key, const RString& text) { Set(key, RVariant::FromText(RShortString(text))); }

void RGlobalConfiguration::SetInt(const char* key, int32_t value) { Set(key, RVariant::FromInt32(value)); }

void RGlobalConfiguration::Set(const char* key, const RVariant& value) {
  std::lock_guard<std::mutex> hold(lock_);
  RTagItem& tree = HomeOf(key);
  const RHashedString k = KeyOf(key);
  // Files read back as text: compare by text so that an unchanged value isn't rewritten.
  if (const RVariant* present = tree.FindAttribute(k); present && present->ToText().CompareExact(value.ToText()) == 0) {
    return;
  }
  tree.SetAttribute(k, value);
  RefreshCache();
  Write(tree, &tree == &plugin_ ? kPluginFileName : kFileName);
}

// Holds lock_.
void RGlobalConfiguration::Write(RTagItem& tree, const char* fileName) {
  if (folder_.IsEmpty()) return;
  const RString path = folder_ + Literal(fileName);
  try {
    if (!MakeFolders(folder_)) throw RException(RPlatform::LastErrorText());
    // Composed in memory first, so that a failure leaves the old file whole.
    RMemoryStream memory;
    tree.WriteXML(memory);
    RFileStream file(path, RFileStream::kWrite | RFileStream::kReplace);
    file.Write(memory.GetData(), memory.GetSize());
    file.Close();
  } catch (const RException& failure) {
    RLog::Write(RFormat("Global configuration {0} could not be written: {1}") << path << failure.GetMessage());
  }
}
