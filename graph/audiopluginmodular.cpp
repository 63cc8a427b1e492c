#include "graph/audiopluginmodular.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/format.h"

namespace {
constexpr size_t kLaneAlignment = 32;
}  // namespace

RAudioPluginModular::RAudioPluginModular(const RString& name, int32_t laneCount, bool sideChain,
                                         const Options& options)
    : RAudioPlugin(name, options), lanes_(std::clamp(laneCount, 1, kMaxLanes)) {
  inputNames_.push_back(RString("Input"));
  if (sideChain) inputNames_.push_back(RString("Side-chain"));
  inputBuses_ = int32_t(inputNames_.size());
  catalogue_ = std::make_unique<RCatalogue>(sideChain);
  grid_.assign(size_t(lanes_ * rows_), nullptr);
  outputEnabled_.assign(size_t(lanes_), 1);
  directCopy_.assign(size_t(lanes_), 0);
  mixedOutputLanes_.assign(size_t(lanes_), 0);
  neededLanes_.assign(size_t(rows_ + 1), 0);
  stolenLanes_.assign(size_t(rows_ + 1), 0);
  rowOutputs_.assign(size_t(rows_ + 1), 0);
}

RAudioPluginModular::~RAudioPluginModular() {
  // Processors point at slots, slots' modules at this graph: tear down in that order.
  processors_.clear();
  std::fill(grid_.begin(), grid_.end(), nullptr);
  slots_.clear();
  FreeLaneBuffers();
}

RPluginSlot* RAudioPluginModular::GetCell(int32_t x, int32_t y) const noexcept {
  if (x < 0 || x >= lanes_ || y < 0 || y >= rows_) return nullptr;
  return grid_[size_t(x * rows_ + y)];
}

int32_t RAudioPluginModular::GetSlotIndex(const RPluginSlot* slot) const noexcept {
  for (size_t i = 0; i < slots_.size(); ++i) {
    if (slots_[i].get() == slot) return int32_t(i);
  }
  return -1;
}

RPluginSlot* RAudioPluginModular::FindSlot(const RString& fullName) const noexcept {
  for (const auto& slot : slots_) {
    if (slot->FullName == fullName) return slot.get();
  }
  return nullptr;
}

RPluginSlot& RAudioPluginModular::PlaceSlot(std::unique_ptr<RPluginSlot> slot) {
  const int32_t x = slot->GetX(), y = slot->GetY();
  if (x < 0 || x >= lanes_ || y < 0 || y >= rows_) {
    throw RException(RFormat("Cell {0}, {1} lies outside the grid.") << x << y);
  }
  RemoveSlot(x, y);
  slots_.push_back(std::move(slot));
  grid_[size_t(x * rows_ + y)] = slots_.back().get();
  return *slots_.back();
}

void RAudioPluginModular::RemoveSlot(int32_t x, int32_t y) {
  RPluginSlot* old = GetCell(x, y);
  if (!old) return;
  // The compiled lists and the parameter table may point at it until they are rebuilt.
  ClearCompiled();
  ClearParameters();
  grid_[size_t(x * rows_ + y)] = nullptr;
  slots_.erase(std::find_if(slots_.begin(), slots_.end(), [&](const auto& s) { return s.get() == old; }));
}

void RAudioPluginModular::DeleteAllSlots() {
  ClearCompiled();
  // The table holds the slots' Enabled and Bank values: drop it before they go.
  ClearParameters();
  std::fill(grid_.begin(), grid_.end(), nullptr);
  slots_.clear();
}

RAudioPluginModular& RAudioPluginModular::GetRootModular() noexcept {
  RAudioPluginModular* root = this;
  for (RAudioPluginBase* p = GetParent(); p; p = p->GetParent()) {
    if (auto* graph = dynamic_cast<RAudioPluginModular*>(p)) root = graph;
  }
  return *root;
}

void RAudioPluginModular::FreeLaneBuffers() noexcept {
  std::free(laneStorage_);
  laneStorage_ = nullptr;
  laneStorageFloats_ = 0;
  laneFrames_ = 0;
  laneChannels_ = 0;
  for (auto& pointers : laneBuffers_) pointers.clear();
}

void RAudioPluginModular::PrepareLaneBuffers(int32_t channels, int32_t frames) {
  channels = std::max({channels, 2, channelStride_});
  int32_t wanted = std::max(frames, kMinLaneFrames);
  int32_t size = std::max(laneFrames_, kMinLaneFrames);
  while (size < wanted) size *= 2;
  if (size != laneFrames_ || channels > laneChannels_) {
    const size_t floats = size_t(2) * size_t(lanes_) * size_t(channels) * size_t(size);
    const size_t bytes = (floats * sizeof(float) + kLaneAlignment - 1) / kLaneAlignment * kLaneAlignment;
    auto* storage = static_cast<float*>(std::aligned_alloc(kLaneAlignment, bytes));
    if (!storage) throw RException(RString("Out of memory for the lane buffers."));
    std::memset(storage, 0, bytes);
    ClearCompiled();
    std::free(laneStorage_);
    laneStorage_ = storage;
    laneStorageFloats_ = floats;
    laneFrames_ = size;
    laneChannels_ = channels;
  }
  // Pointers at the present stride: channel c of lane L is entry L × stride + c.
  const int32_t stride = std::max(channelStride_, 1);
  for (int32_t select = 0; select < 2; ++select) {
    auto& pointers = laneBuffers_[size_t(select)];
    pointers.assign(size_t(lanes_ * std::max(stride, laneChannels_)), nullptr);
    for (int32_t lane = 0; lane < lanes_; ++lane) {
      for (int32_t c = 0; c < std::min(stride, laneChannels_); ++c) {
        const size_t buffer = (size_t(select) * size_t(lanes_) + size_t(lane)) * size_t(laneChannels_) + size_t(c);
        pointers[size_t(lane * stride + c)] = laneStorage_ + buffer * size_t(laneFrames_);
      }
    }
  }
}

void RAudioPluginModular::SetUpModule(RPluginSlot& slot) {
  RAudioPlugin& module = slot.GetModule();
  module.SetHostFormat(sampleRate_, std::max(maxHostBlock_, 1) * std::max(oversampling_, 1), channels_,
                       slot.InputCountUsed, std::max(slot.OutputCountUsed, 1));
}

void RAudioPluginModular::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  PrepareLaneBuffers(channels_, std::max(maxHostBlock_, 1) * std::max(oversampling_, 1));
  if (this == &GetRootModular()) {
    const int32_t floats = std::max(channels_, 1) * std::max(laneFrames_, 1);
    for (FeedbackEntry& entry : feedback_) {
      entry.Samples.assign(size_t(floats), 0.0f);
      entry.Channels = 0;
      entry.Frames = 0;
    }
  }
  for (auto& slot : slots_) {
    if (slot->IsEnabled()) ResolveRouting(*slot, slot->GetX());
    SetUpModule(*slot);
  }
  RebuildProcessors(true);
  // This level's Setup sized the dry paths and told the host before the compile knew the
  // graph's latency.
  PrepareDryPaths();
}

void RAudioPluginModular::DeliverPendingChanges() {
  DeliverSlotChanges();
  RAudioPlugin::DeliverPendingChanges();
}

void RAudioPluginModular::DeliverSlotChanges() {
  // A delivery may recompile and so rebuild the slot list's processors, never the slots.
  for (size_t i = 0; i < slots_.size(); ++i) {
    RPluginSlot& slot = *slots_[i];
    if (slot.Enabled) {
      while (slot.Enabled->Changed.ExecutePendingEvent()) {
      }
    }
    if (slot.Bank) {
      while (slot.Bank->Changed.ExecutePendingEvent()) {
      }
    }
    if (auto* nested = dynamic_cast<RAudioPluginModular*>(&slot.GetModule())) nested->DeliverSlotChanges();
  }
}

void RAudioPluginModular::ClearState() {
  for (auto& slot : slots_) slot->GetModule().ClearState();
}

void RAudioPluginModular::Reset() {
  for (auto& slot : slots_) slot->GetModule().Reset();
}

void RAudioPluginModular::UpdateMaxBlockSize(int32_t maxBlock) {
  RAudioPlugin::UpdateMaxBlockSize(maxBlock);
  for (auto& slot : slots_) slot->GetModule().UpdateMaxBlockSize(maxBlock);
}
