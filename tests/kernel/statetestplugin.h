#pragma once
// A plug-in for the stored-state tests: values of each kind, one of them kept out of presets,
// the stored switches of the cycle's level opened up, counters for the hooks a read runs, and
// a temporary folder that is removed with its content.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "base/exception.h"
#include "kernel/audioplugin.h"
#include "kernel/oversamplingchoice.h"
#include "kernel/storecontext.h"
#include "kernel/undo.h"

class RStateTestPlugin : public RAudioPlugin {
public:
  // Offers oversampling up to 8x, as the product does.
  static Options OversamplingOptions() {
    Options options;
    options.maxOversampling = 8;
    return options;
  }

  explicit RStateTestPlugin(const Options& options = OversamplingOptions()) : RAudioPlugin(RString("StateTest"), options) {
    local.SetFlag(RValue::kGlobal, false);
    InitParameters();
  }

  static RArray<RString> Modes() {
    RArray<RString> items;
    for (const char* t : {"Soft", "Hard", "Fold"}) items.Add(RString::FromUTF8(t));
    return items;
  }

  RRealValue gain{this, RString("Gain"), -24.0, 24.0, 0.0};
  RRealValue mix{this, RString("Mix"), 0.0, 1.0, 1.0};
  RChoiceValue mode{this, RString("Mode"), Modes(), 0};
  RBoolValue freeze{this, RString("Freeze"), false};
  RRealValue local{this, RString("Local"), 0.0, 1.0, 0.5};

  void SetHostChannels(int32_t channels) { hostChannels_ = channels; }
  int32_t GetUpsampling() { return ROversamplingChoice::GetFactor(GetOversamplingValue(false)->GetIndex()); }
  void SetUpsampling(int32_t factor) {
    GetOversamplingValue(false)->SetValueNow(double(ROversamplingChoice::GetIndex(factor)));
  }
  int32_t GetController(int32_t slot) const { return midiControllers_[slot]; }
  void SetController(int32_t slot, int32_t number) { midiControllers_[slot] = number; }
  bool GetAGC() const { return agc_; }
  void SetAGC(bool on) { agc_ = on; }
  bool GetSleepOnSilence() const { return sleepOnSilence_; }
  void SetSleepOnSilence(bool on) { sleepOnSilence_ = on; }

  void PostLoad() override {
    ++postLoads;
    if (!renameOnLoad.empty()) GetSharedData().ReplacementLog += RString::FromUTF8(renameOnLoad);
  }
  void Setup() override {
    ++setups;
    RAudioPlugin::Setup();
  }
  void StoreParamLock(RStoreContext& context) override {
    if (failParamLock && context.IsReading()) throw RException(RString("param lock failed"));
    RAudioPlugin::StoreParamLock(context);
  }

  int32_t postLoads = 0;
  int32_t setups = 0;
  bool failParamLock = false;
  std::string renameOnLoad;
};

// A folder of its own below the system's temporary folder, removed with its content.
class RTemporaryFolder {
public:
  RTemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "quillon-state-XXXXXX").string();
    path_ = mkdtemp(pattern.data()) ? pattern + "/" : std::string();
  }
  ~RTemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  RTemporaryFolder(const RTemporaryFolder&) = delete;
  RTemporaryFolder& operator=(const RTemporaryFolder&) = delete;

  const std::string& Path() const { return path_; }
  RString Folder() const { return RString::FromUTF8(path_); }
  RString File(const char* name) const { return RString::FromUTF8(path_ + name); }

private:
  std::string path_;
};
