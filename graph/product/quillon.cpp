#include "graph/product/quillon.h"

#include <algorithm>

#include "base/exception.h"
#include "base/format.h"
#include "base/tagitem.h"
#include "graph/nestedgraph.h"
#include "graph/product/embeddedtree.h"
#include "kernel/storecontext.h"
#include "modulation/multiparameter.h"
#include "modules/registermodules.h"

namespace {

// A multi-parameter's value under the name every multi-parameter's has in a table.
RString PositionName(RMultiParameter& multi) { return multi.GetPrefix() + multi.GetValue().GetName(); }

// The steps after construction, in the order a host's instance takes them.
std::unique_ptr<RQuillon> Prepared(std::unique_ptr<RQuillon> product) {
  product->CreateProcessors();
  product->InitParameters();
  product->ResetToDefaults();
  return product;
}

} // namespace

// A graph copies the registered creators when it is built: they are registered first.
std::unique_ptr<RQuillon> RQuillon::Create() {
  RegisterModules();
  return Prepared(std::make_unique<RQuillon>());
}

std::unique_ptr<RQuillon> RQuillon::Create(const RTagItem& definition) {
  RegisterModules();
  return Prepared(std::make_unique<RQuillon>(definition));
}

RQuillon::RQuillon() : definition_(std::make_unique<RProductDefinition>()) {
  className_ = RString("Quillon");
  // The definition is expanded once; only its tree stays.
  RTagItem plugin;
  ReadEmbeddedTree(kProductDefinitionTree, plugin);
  definition_->Read(plugin);
}

RQuillon::RQuillon(const RTagItem& definition) : definition_(std::make_unique<RProductDefinition>()) {
  className_ = RString("Quillon");
  definition_->Read(definition);
}

void RQuillon::CreateProcessors() {
  RSwitchyard::CreateProcessors();
  const RProductDefinition& definition = *definition_;
  // Only a count the definition gives replaces the class's.
  if (const int32_t multi = definition.GetMultiParameterCount(); multi > 0)
    SetMultiParameterCount(std::min(multi, kMaxMultiParameters));
  modulatorCount_ = std::clamp(definition.GetModulatorCount(), 0, kActiveModulators);
  midiParameterCount_ = std::max(definition.GetMIDIParameterCount(), 0);
  resetOnPreset_ = definition.GetResetOnPreset();
  SetMaxOversampling(definition.GetMaxOversampling());

  // Without a side-chain bus lane 3 reads the main input, as every lane does.
  const bool sideChain = definition.HasSideChain();
  inputBuses_ = 2 - (sideChain ? 0 : 1);
  if (sideChain)
    SetInputNames({RString("Input"), RString("Sidechain")});
  else
    SetInputNames({RString("Input")});

  const int32_t interval = std::max(definition.GetSmartInterpolation(), 1);
  GetSharedData().MaxLFOBlockSize = interval;
  GetSharedData().MaxLFOBlockSizeOffline = interval;

  publicMultiParameters_ = std::clamp(definition.GetPublicMultiParameterCount(), 0, GetMultiParameterCount());
  publicNames_.assign(size_t(publicMultiParameters_), RString());
}

void RQuillon::NamePublicMultiParameters() {
  publicNames_.assign(size_t(publicMultiParameters_), RString());
  for (int32_t i = 0; i < publicMultiParameters_; ++i) {
    RMultiParameter& multi = *GetMultiParameter(i);
    if (multi.Name.IsEmpty()) {
      publicNames_[size_t(i)] = PositionName(multi);
      continue;
    }
    bool unique = true;
    for (int32_t j = 0; j < publicMultiParameters_ && unique; ++j)
      unique = j == i || !(GetMultiParameter(j)->Name == multi.Name);
    publicNames_[size_t(i)] = unique || multi.Group.IsEmpty() ? multi.Name : multi.Group + RString(" ") + multi.Name;
  }
}

void RQuillon::InitParameters() {
  // The kernel's order, except that the public multi-parameters' values come first, under
  // the names a host shows, and only there.
  NamePublicMultiParameters();
  for (int32_t i = 0; i < publicMultiParameters_; ++i) {
    RMultiParameterValue& value = GetMultiParameter(i)->GetValue();
    value.SetAltName(publicNames_[size_t(i)]);
    RegisterParameter(&value);
  }
  RAudioPluginBase::InitParameters();
  RegisterKernelValues();
  for (int32_t i = 0; i < GetMultiParameterCount(); ++i) {
    RMultiParameter& multi = *GetMultiParameter(i);
    if (i >= publicMultiParameters_) {
      multi.RegisterValues();
      continue;
    }
    const RString prefix = multi.GetPrefix();
    RegisterParameter(&multi.GetEnabled(), prefix);
    RegisterParameter(&multi.GetVisible(), prefix);
  }
}

int32_t RQuillon::GetAutomatableCount() const {
  if (publicMultiParameters_ <= 0) return RSwitchyard::GetAutomatableCount();
  return std::min(publicMultiParameters_, GetParameterCount());
}

bool RQuillon::TranslateParameterName(RString& name) {
  if (RSwitchyard::TranslateParameterName(name)) return true;
  const int32_t count = std::min(publicMultiParameters_, int32_t(publicNames_.size()));
  for (int32_t i = 0; i < count; ++i) {
    if (name == PositionName(*GetMultiParameter(i))) {
      name = publicNames_[size_t(i)];
      return true;
    }
  }
  return false;
}

void RQuillon::Store(RStoreContext& context) {
  RSwitchyard::Store(context);
  if (context.IsWriting()) return;
  // The graph rebuilt the table before the multi-parameters were read: their names, which
  // the public records carry, came only now.
  RefreshParameterTables(*this);
  FindDefinedParts(false);
}

void RQuillon::ResetToDefaults() {
  Reset();
  struct LoadingFlag {
    bool& flag;
    const bool previous;
    explicit LoadingFlag(bool& f) : flag(f), previous(f) { flag = true; }
    ~LoadingFlag() { flag = previous; }
  };
  {
    LoadingFlag loading(loadingDefaults_);
    // Expanded afresh each time: only the compressed bytes stay in memory.
    RTagItem state;
    ReadEmbeddedTree(kProductDefaultStateTree, state);
    LoadStateTree(state);
    PostLoad();
  }
  if (definition_->Has("latencyreporting")) enableLatencyReporting_ = definition_->GetInt("latencyreporting", 1) != 0;
  FindDefinedParts(true);
}

void RQuillon::FindDefinedParts(bool required) {
  storedModules_.clear();
  for (const RProductDefinition::StoreModule& entry : definition_->GetStoreModules()) {
    RPluginSlot* slot = FindSlot(entry.Name);
    if (!slot && required) throw RException(RFormat("Module with id {0} has not been found.") << entry.Name);
    storedModules_.push_back({entry.Name, slot ? &slot->GetModule() : nullptr, entry.Presets});
  }

  ceilingIndex_ = -1;
  const RString ceiling = definition_->GetCeilingParam();
  if (ceiling.IsEmpty()) return;
  ceilingIndex_ = FindParameterQuietly(ceiling);
  if (ceilingIndex_ < 0 && required) throw RException(RString("Ceiling parameter has not been found."));
}

int32_t RQuillon::FindParameterQuietly(const RString& name) const {
  for (int32_t i = 0; i < GetParameterCount(); ++i) {
    const Parameter* record = GetParameter(i);
    if (record->Name && RString::FromUTF8(record->Name) == name) return i;
  }
  return -1;
}

double RQuillon::GetOutputCeiling() const {
  const Parameter* record = ceilingIndex_ >= 0 ? GetParameter(ceilingIndex_) : nullptr;
  const auto* level = record ? dynamic_cast<const RRangedValue*>(record->Value) : nullptr;
  return level ? level->GetProcessing() : -1.0;
}
