#pragma once
// RGlobalConfiguration: the preferences that belong to the user rather than to one instance:
// switches such as "PluginSleepOnSilence" and "DisableRTG", the last folders of file dialogs,
// and the plug-in preferences "ConfirmationEnabled", "DefaultColorsByType",
// "AllowStyleChangeToFit" and "BandPluginDefaultSettings".
//
// Two XML files, each with the root element "Configuration" and one attribute per key, in the
// user's settings folder (RPlatform::GetSettingsFolder(): ${XDG_CONFIG_HOME:-~/.config}/
// VarnholtStudios/ on Linux):
//   GlobalConfiguration.xml    switches and everything else
//   RPluginConfiguration.xml   the four plug-in preferences above
// A key is read from whichever file holds it; a changed key is written back to the file that
// holds it, or to its home file above when it is new. Keys this build doesn't know are kept.
//
// The process-wide object loads both files once, at its first use; every change of a value
// writes its file at once. Plug-ins should call Get() on construction, so that the load never
// happens on an audio thread.
//
// Threads: [any-thread] behind one lock, except the switches the audio path reads, which are
// mirrored in atomics: GetSwitch of such a key takes no lock and never allocates.

#include <atomic>
#include <cstdint>
#include <mutex>

#include "base/string.h"
#include "base/tagitem.h"

class RGlobalConfiguration {
public:
  static constexpr const char* kFileName = "GlobalConfiguration.xml";
  static constexpr const char* kPluginFileName = "RPluginConfiguration.xml";
  static constexpr const char* kElement = "Configuration";

  // Switches read on the audio path (kept in atomics).
  static constexpr const char* kSleepOnSilence = "PluginSleepOnSilence";
  static constexpr const char* kDisableRTG = "DisableRTG";
  // Plug-in preferences, at home in RPluginConfiguration.xml.
  static constexpr const char* kConfirmationEnabled = "ConfirmationEnabled";
  static constexpr const char* kDefaultColorsByType = "DefaultColorsByType";
  static constexpr const char* kAllowStyleChangeToFit = "AllowStyleChangeToFit";
  static constexpr const char* kBandPluginDefaultSettings = "BandPluginDefaultSettings";

  // The process-wide object over the user's settings folder; loads on first call.
  static RGlobalConfiguration& Get();

  // An object over a folder of its own (ending with a separator), loaded at once: for tools
  // and tests. The folder is created when the first change is written.
  explicit RGlobalConfiguration(const RString& folder);
  RGlobalConfiguration(const RGlobalConfiguration&) = delete;
  RGlobalConfiguration& operator=(const RGlobalConfiguration&) = delete;

  const RString& GetFolder() const noexcept { return folder_; }
  // Points this object at another folder and reads its files: tools that keep their own
  // settings, tests that must not touch the user's.
  void UseFolder(const RString& folder);

  // Absent keys give the default. A switch the audio path reads: lock-free. [any-thread]
  bool GetSwitch(const char* key, bool defaultValue);
  RString GetText(const char* key, const RString& defaultValue = RString());
  int32_t GetInt(const char* key, int32_t defaultValue);

  // Writes the key's file when the value changed. A file that can't be written is reported
  // to the log; the value holds for this process all the same. [editor-thread], [host-thread]
  void SetSwitch(const char* key, bool on);
  void SetText(const char* key, const RString& text);
  void SetInt(const char* key, int32_t value);

  // Reads both files again, dropping what was read before; missing or unreadable files give
  // empty configurations (reported to the log when unreadable).
  void Reload();

private:
  // A switch mirrored in an atomic: -1 absent, else 0 or 1.
  struct CachedSwitch {
    const char* key;
    std::atomic<int8_t> state{-1};
  };

  RTagItem& HomeOf(const char* key);
  RTagItem* Holding(const char* key);
  void Set(const char* key, const RVariant& value);
  void Write(RTagItem& tree, const char* fileName);
  void RefreshCache();
  CachedSwitch* Cached(const char* key) noexcept;

  RString folder_;
  std::mutex lock_;
  RTagItem global_;
  RTagItem plugin_;
  CachedSwitch cached_[2];
};
