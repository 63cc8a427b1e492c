// The compile: grid and masks into the flat processor list the audio walk runs, with every
// buffer pointer resolved, dead modules left out, rows aligned in latency and, where it can
// be proven safe, the last writer of a lane writing straight into the host's output.
#include <algorithm>
#include <array>

#include "graph/audiopluginmodular.h"
#include "graph/plugindescriptor.h"

namespace {
constexpr uint64_t Bit(int32_t lane) noexcept { return uint64_t(1) << lane; }

// Clears the re-entry guard however the compile ends.
struct GuardRelease {
  std::atomic<int32_t>& guard;
  ~GuardRelease() { guard.store(0, std::memory_order_release); }
};
}  // namespace

RAudioPluginModular::Processor::Processor(RAudioPluginModular& graph, RPluginSlot& slot, int32_t inputs,
                                          int32_t outputs, int32_t stride)
    : Graph(&graph), Slot(&slot), InputCount(inputs), OutputCount(outputs), Stride(stride),
      InputPointers(size_t(inputs * stride), nullptr), OutputPointers(size_t(outputs * stride), nullptr),
      InputLane(size_t(inputs), -1), InputSelect(size_t(inputs), 0), OutputLane(size_t(outputs), -1),
      OutputSelect(size_t(outputs), 0), InputHostIndex(size_t(inputs * stride), -1),
      OutputHostIndex(size_t(outputs * stride), -1) {}

void RAudioPluginModular::ClearCompiled() {
  processors_.clear();
  mix_.clear();
  wires_.clear();
  std::fill(directCopy_.begin(), directCopy_.end(), 0);
  clearOutputs_ = 0;
}

int32_t RAudioPluginModular::HostLaneOf(int32_t lane) const noexcept {
  const int32_t inputLanes = GetInputLaneCount();
  if (inputLanes <= 1) return 0;
  // With a side-chain, lane 3 is where the product's graph carries it.
  if (inputLanes == 2) return lane == 3 ? 1 : 0;
  return lane % inputLanes;
}

void RAudioPluginModular::MarkNeededLanes(uint64_t finalMask) {
  neededLanes_[size_t(rows_)] = finalMask;
  stolenLanes_[size_t(rows_)] = 0;
  rowOutputs_[size_t(rows_)] = 0;
  for (int32_t y = rows_ - 1; y >= 0; --y) {
    const uint64_t need = neededLanes_[size_t(y + 1)];
    uint64_t needed = 0, stolen = 0, outputs = 0;
    for (int32_t x = 0; x < lanes_; ++x) {
      RPluginSlot* slot = GetCell(x, y);
      if (!slot || !slot->Active) {
        needed |= need & Bit(x);
        continue;
      }
      ResolveRouting(*slot, x);
      // A slot whose outputs nobody needs doesn't run, and what only it read isn't needed.
      if (slot->MaskOut & need) {
        needed |= slot->MaskIn;
        stolen |= slot->MaskInSteal;
        outputs |= slot->MaskOut;
      }
    }
    neededLanes_[size_t(y)] = needed;
    stolenLanes_[size_t(y)] = stolen;
    rowOutputs_[size_t(y)] = outputs;
  }
}

uint64_t RAudioPluginModular::DropUnfedSlots() {
  uint64_t have = 0;
  for (int32_t y = 0; y < rows_; ++y) {
    for (int32_t x = 0; x < lanes_; ++x) {
      RPluginSlot* slot = GetCell(x, y);
      if (!slot || !slot->Active) continue;
      const bool source = slot->MaskIn == 0 && slot->GetDescriptorInputCount() == 0;
      if ((slot->MaskIn & ~have) == 0 || source) {
        have |= slot->MaskOut;
      } else {
        slot->Active = false;
        have &= ~slot->MaskOut;
      }
    }
    neededLanes_[size_t(y + 1)] &= have;
  }
  return have;
}

void RAudioPluginModular::RebuildProcessors(bool resetModules) {
  if (!HasLaneBuffers()) return;
  int32_t idle = 0;
  if (!compileGuard_.compare_exchange_strong(idle, 1, std::memory_order_acq_rel)) return;
  GuardRelease release{compileGuard_};
  RAudioPluginModular& root = GetRootModular();
  RLockGuard audio(root.GetAudioLock());
  RLockGuard automation(root.GetAutomationLock());

  ClearCompiled();
  const int32_t stride = std::max(channelStride_, 1);
  const int32_t inputLanes = GetInputLaneCount();
  const int32_t outputLanes = std::max(GetOutputLaneCount(), 1);
  int32_t latency = 0;

  bool anyActive = false;
  for (auto& slot : slots_) {
    slot->Active = slot->IsEnabled();
    anyActive = anyActive || slot->Active;
  }

  if (!anyActive) {
    wires_.push_back(WireEntry{0, kInputRow, 0, rows_, 0.5, 0.5, 0});
    std::fill(directCopy_.begin(), directCopy_.end(), 1);
    for (int32_t lane = 0; lane < outputLanes; ++lane) {
      if (lane >= inputLanes) clearOutputs_ |= Bit(lane);
    }
  } else {
    uint64_t finalMask = 0;
    for (int32_t lane = 0; lane < lanes_; ++lane) {
      if (outputEnabled_[size_t(lane)]) finalMask |= Bit(lane);
    }
    MarkNeededLanes(finalMask);
    if (inputLanes == 0) {
      // Without a host input an unwritten lane holds nothing: a slot reading one can't run.
      DropUnfedSlots();
      const uint64_t fed = neededLanes_[size_t(rows_)];
      MarkNeededLanes(fed);
    }

    std::array<int32_t, kMaxLanes> select{};
    std::array<uint8_t, kMaxLanes> written{};
    std::array<uint8_t, kMaxLanes> readSinceWrite{};
    std::array<Processor*, kMaxLanes> lastWriter{};
    std::array<int32_t, kMaxLanes> lastWriterOutput{};
    std::array<int32_t, kMaxLanes> lastWriterRow{};
    lastWriterRow.fill(kInputRow);

    for (int32_t y = 0; y < rows_; ++y) {
      const uint64_t need = neededLanes_[size_t(y + 1)];
      const uint64_t live = neededLanes_[size_t(y)];
      std::array<int32_t, kMaxLanes> rowLatency{};
      rowOutputs_[size_t(y)] = 0;
      int32_t rowMaximum = 0;
      // Lanes a slot of this row writes count as written for the rows below only: the slots
      // right of the writer in the same row still read what came from above.
      uint64_t writtenInRow = 0;

      for (int32_t x = 0; x < lanes_; ++x) {
        RPluginSlot* slot = GetCell(x, y);
        if (!slot || !slot->Active || !(slot->MaskOut & need)) continue;
        if (!(slot->MaskIn & live) && slot->GetDescriptorInputCount() != 0) continue;
        rowOutputs_[size_t(y)] |= slot->MaskOut;
        SetUpModule(*slot);
        const int32_t inputs = slot->InputCountUsed;
        const int32_t outputs = slot->OutputCountUsed;
        processors_.push_back(std::make_unique<Processor>(*this, *slot, inputs, outputs, stride));
        Processor& processor = *processors_.back();
        RAudioPlugin& module = slot->GetModule();
        if (resetModules) {
          module.ClearState();
          module.Reset();
        }

        const int32_t slotLatency =
            CompensateLatency ? std::max(module.GetLatency(), 0) / std::max(module.GetOversampling(), 1) : 0;
        slot->LatencyUsed = slotLatency;
        rowMaximum = std::max(rowMaximum, slotLatency);

        int32_t previous = x;
        for (int32_t i = 0; i < inputs; ++i) {
          int32_t lane = slot->InputIndex[size_t(i)];
          if (lane < 0) lane = (i > 0 && slot->GetDescriptorInputCount() == 2) ? previous : x;
          lane = std::min(lane, lanes_ - 1);
          previous = lane;
          processor.InputLane[size_t(i)] = lane * stride;
          processor.InputSelect[size_t(i)] = select[size_t(lane)];
          if (!written[size_t(lane)] && inputLanes > 0) {
            const int32_t host = HostLaneOf(lane);
            for (int32_t c = 0; c < stride; ++c) processor.InputHostIndex[size_t(i * stride + c)] = host * stride + c;
          } else {
            readSinceWrite[size_t(lane)] = 1;
            for (int32_t c = 0; c < stride; ++c) {
              processor.InputPointers[size_t(i * stride + c)] = GetLaneBuffer(lane, c, select[size_t(lane)]);
            }
          }
          const Processor* source = lastWriter[size_t(lane)];
          const int32_t sourceOutputs = source ? std::max(source->OutputCount, 1) : 1;
          const int32_t sourceOutput = source ? lastWriterOutput[size_t(lane)] : 0;
          wires_.push_back(WireEntry{lane, lastWriterRow[size_t(lane)], x, y,
                                     (sourceOutput + 0.5) / sourceOutputs, (i + 0.5) / std::max(inputs, 1),
                                     uint8_t(i)});
        }

        for (int32_t j = 0; j < outputs; ++j) {
          const int32_t lane = slot->OutputIndex[size_t(j)] >= 0 ? slot->OutputIndex[size_t(j)] : x;
          rowLatency[size_t(lane)] = slotLatency;
          lastWriter[size_t(lane)] = &processor;
          lastWriterOutput[size_t(lane)] = j;
          lastWriterRow[size_t(lane)] = y;
          readSinceWrite[size_t(lane)] = 0;
          // Never the buffer this row reads: the other slots of the row see the lane as it was.
          const int32_t target = select[size_t(lane)] ^ 1;
          processor.OutputLane[size_t(j)] = lane * stride;
          processor.OutputSelect[size_t(j)] = target;
          for (int32_t c = 0; c < stride; ++c) {
            processor.OutputPointers[size_t(j * stride + c)] = GetLaneBuffer(lane, c, target);
          }
          writtenInRow |= Bit(lane);
        }

        RPluginSlot::MIDIGate& gate = slot->Gate;
        gate.Enabled = slot->EnableMIDIInput;
        if (gate.Enabled) {
          gate.ChannelMask = slot->MIDIChannel < 1 ? uint16_t(0xffff) : uint16_t(1u << (slot->MIDIChannel - 1));
          gate.NoteMin = slot->NoteMin;
          gate.NoteMax = slot->NoteMax;
        }
      }

      for (int32_t lane = 0; lane < lanes_; ++lane) {
        if (rowOutputs_[size_t(y)] & Bit(lane)) select[size_t(lane)] ^= 1;
        if (writtenInRow & Bit(lane)) written[size_t(lane)] = 1;
      }

      if (rowMaximum > 0) {
        std::vector<RLaneAligner::Lane> alignerLanes(static_cast<size_t>(lanes_));
        for (int32_t lane = 0; lane < lanes_; ++lane) {
          RLaneAligner::Lane& entry = alignerLanes[size_t(lane)];
          entry.Delay = rowMaximum - rowLatency[size_t(lane)];
          entry.LaneIndex = lane * stride;
          entry.Select = select[size_t(lane)];
          // An unwritten lane is copied in from the host once here, then delayed like the rest.
          if (!written[size_t(lane)] && inputLanes > 0) {
            entry.HostIndex = HostLaneOf(lane) * stride;
            written[size_t(lane)] = 1;
          }
        }
        auto aligner = std::make_unique<RLaneAligner>(alignerLanes, stride);
        for (int32_t lane = 0; lane < lanes_; ++lane) {
          for (int32_t c = 0; c < stride; ++c) aligner->SetBuffer(lane, c, GetLaneBuffer(lane, c, select[size_t(lane)]));
        }
        processors_.back()->Aligner = std::move(aligner);
        latency += rowMaximum;
      }

      // Lanes stolen here and not rewritten end in this row.
      neededLanes_[size_t(y + 1)] &= (live & ~stolenLanes_[size_t(y)]) | rowOutputs_[size_t(y)];
    }

    bool direct = false;
    const uint64_t outputNeed = neededLanes_[size_t(rows_)];
    for (int32_t x = 0; x < lanes_; ++x) {
      if (!(outputNeed & Bit(x))) continue;
      if (outputLanes == 1) {
        if (x != 0 && !written[size_t(x)]) continue;
        wires_.push_back(WireEntry{x, lastWriterRow[size_t(x)], x, rows_, 0.5, 0.5, 0});
        if (latency > 0 || direct || readSinceWrite[size_t(x)]) {
          mix_.push_back(MixEntry{x, select[size_t(x)], x});
        } else if (x == 0 && !lastWriter[0]) {
          if (inputLanes > 0) {
            directCopy_[0] = 1;
            // The copy fills the host output whole: a later lane must add, not overwrite.
            direct = true;
          }
        } else {
          Processor& writer = *lastWriter[size_t(x)];
          const int32_t output = lastWriterOutput[size_t(x)];
          for (int32_t c = 0; c < stride; ++c) writer.OutputHostIndex[size_t(output * stride + c)] = c;
          direct = true;
        }
      } else {
        if (!written[size_t(x)]) continue;
        wires_.push_back(WireEntry{x, lastWriterRow[size_t(x)], x, rows_, 0.5, 0.5, 0});
        if (latency > 0 || readSinceWrite[size_t(x)] || x >= outputLanes || !lastWriter[size_t(x)]) {
          mix_.push_back(MixEntry{x, select[size_t(x)], x});
        } else {
          Processor& writer = *lastWriter[size_t(x)];
          const int32_t output = lastWriterOutput[size_t(x)];
          for (int32_t c = 0; c < stride; ++c) writer.OutputHostIndex[size_t(output * stride + c)] = x * stride + c;
        }
      }
    }

    // The mix list adds: an output bus that neither a direct writer nor the input copy fills
    // whole must start silent. With latency the clear after the processors does it.
    if (latency == 0) {
      uint64_t filled = directCopy_[0] ? Bit(0) : 0;
      for (const auto& processor : processors_) {
        for (int32_t k = 0; k < processor->OutputCount * stride; ++k) {
          const int32_t host = processor->OutputHostIndex[size_t(k)];
          if (host >= 0) filled |= Bit(std::min(host / stride, kMaxLanes - 1));
        }
      }
      for (int32_t bus = 0; bus < outputLanes; ++bus) {
        if (!(filled & Bit(bus))) clearOutputs_ |= Bit(bus);
      }
    }
  }

  totalLatency_ = latency;
  clearOutputFirst_ = latency > 0;
  if (latency == 0) FindSoleReaders();
  graphVersion_.fetch_add(1, std::memory_order_acq_rel);
  if (resetModules) PostReset();
  PostCompile();
}

void RAudioPluginModular::Recompile(bool resetModules) {
  const int32_t before = totalLatency_;
  RebuildProcessors(resetModules);
  if (totalLatency_ != before) {
    LatencyChanged.ExecuteImmediately(REventPayload::Of(totalLatency_));
    GetRootModular().RequestLatencyReport(0);
  }
}

void RAudioPluginModular::FindSoleReaders() {
  for (size_t i = 0; i < processors_.size(); ++i) {
    Processor& writer = *processors_[i];
    writer.Readers.clear();
    const RPluginSlot& slot = *writer.Slot;
    bool alone = slot.FeedbackChannel < 0 && !writer.Aligner && writer.OutputCount > 0;
    for (int32_t k = 0; alone && k < int32_t(writer.OutputHostIndex.size()); ++k) alone = writer.OutputHostIndex[size_t(k)] < 0;
    for (int32_t o = 0; alone && o < writer.OutputCount; ++o) {
      const int32_t lane = writer.OutputLane[size_t(o)], select = writer.OutputSelect[size_t(o)];
      // The buffer is read until a later processor writes it again; if none does, what the
      // mix list takes from it is a reader we can't ask.
      bool rewritten = false;
      for (size_t j = i + 1; j < processors_.size() && !rewritten; ++j) {
        Processor& later = *processors_[j];
        for (int32_t k = 0; k < later.InputCount; ++k) {
          if (later.InputLane[size_t(k)] == lane && later.InputSelect[size_t(k)] == select &&
              later.InputHostIndex[size_t(k * later.Stride)] < 0)
            writer.Readers.push_back(Processor::Reader{&later, k});
        }
        for (int32_t k = 0; k < later.OutputCount; ++k)
          rewritten |= later.OutputLane[size_t(k)] == lane && later.OutputSelect[size_t(k)] == select;
      }
      if (!rewritten) {
        for (const MixEntry& entry : mix_) alone &= !(entry.Lane * writer.Stride == lane && entry.BufferSelect == select);
      }
    }
    if (!alone) writer.Readers.clear();
  }
}
