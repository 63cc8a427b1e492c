#include "graph/miditrigger.h"

#include <algorithm>
#include <cmath>

#include "base/tagitem.h"
#include "kernel/audioplugin.h"
#include "kernel/storecontext.h"
#include "modulation/random48.h"

namespace {

constexpr uint8_t kNoteOffStatus = 0x80;
constexpr uint8_t kNoteOnStatus = 0x90;
constexpr uint8_t kControllerStatus = 0xb0;
// Setting this bit in a note off's status makes it a note on of the same channel.
constexpr uint32_t kNoteOnBit = 0x10;

// TVOBy is stored by the name of its choice; older states carry the index.
constexpr const char* kVelocitySourceNames[] = {"Note on", "Full", "Hold time"};
constexpr int32_t kVelocitySourceCount = 3;

int32_t Velocity127(double velocity) noexcept { return int32_t(std::lround(velocity * 127.0)); }

void StoreVelocitySource(RStoreContext& context, int32_t& source) {
  RTagItem& element = context.GetElement();
  const RHashedString key{RShortString::FromLatin1("TVOBy")};
  if (context.IsWriting()) {
    if (source != RMIDITriggerSink::kVelocityOfNoteOn && source >= 0 && source < kVelocitySourceCount)
      element.SetAttribute(key, RString::FromLatin1(kVelocitySourceNames[source]));
    else
      element.RemoveAttribute(key);
    return;
  }
  source = RMIDITriggerSink::kVelocityOfNoteOn;
  const RVariant* stored = element.FindAttribute(key);
  if (!stored) return;
  if (stored->GetType() != RVariant::kText) {
    source = std::clamp(stored->ToInt32(), 0, kVelocitySourceCount - 1);
    return;
  }
  const RString text = stored->ToText();
  for (int32_t i = 0; i < kVelocitySourceCount; ++i)
    if (text == RString::FromLatin1(kVelocitySourceNames[i])) source = i;
}

} // namespace

RMIDITriggerSink::Kind RMIDITriggerSink::KindOf(const RMIDITriggerEvent& event) const noexcept {
  switch (event.Status()) {
    case kNoteOnStatus:
      return event.Velocity < kNoVelocity ? kNoteOff : kNoteOn;
    case kNoteOffStatus:
      return kNoteOff;
    case kControllerStatus: {
      const bool on = Velocity127(event.Velocity) >= 64;
      if (event.Data1() == kSustainController) return on ? kSustainOn : kSustainOff;
      if (event.Data1() == TCC) return on ? kControllerOn : kControllerOff;
      return kOther;
    }
    default:
      return kOther;
  }
}

bool RMIDITriggerSink::Accepts(const RMIDITriggerEvent& event, bool moduleBypassed) const noexcept {
  if (moduleBypassed) return false;
  if (MIDIChannel != 0 && MIDIChannel != event.Channel() + 1) return false;
  const Kind kind = KindOf(event);
  const bool isNote = kind == kNoteOn || kind == kNoteOff;
  if (isNote && (event.Data1() < NoteMin || event.Data1() > NoteMax)) return false;
  bool flag = false;
  switch (kind) {
    case kNoteOn: flag = TNoteOn; break;
    case kNoteOff: flag = TNoteOff || TNoteOn; break;
    case kSustainOn: flag = TSustainOn; break;
    case kSustainOff: flag = TSustainOff; break;
    case kControllerOn: flag = TCCOn; break;
    case kControllerOff: flag = TCCOff; break;
    case kOther: flag = false; break;
  }
  if (!flag) return false;
  // A note off carries no velocity worth windowing: its note on passed the window already.
  if (kind == kNoteOff) return true;
  const int32_t velocity = Velocity127(event.Velocity);
  return velocity >= VelocityMin && velocity <= VelocityMax;
}

bool RMIDITriggerSink::DropsByChance() const {
  if (TProbability >= kCertain) return false;
  return TProbability < RRandom48::Next();
}

bool RMIDITriggerSink::Trigger(const RMIDITriggerEvent& event, RAudioPlugin& module, RMIDINoteTable& notes) {
  if (DropsByChance()) return false;
  const Kind kind = KindOf(event);
  const int32_t note = event.Data1();
  if (kind == kNoteOn) {
    notes.Velocity[note] = event.Velocity;
    notes.Time[note] = event.Time;
    return TNoteOn;
  }
  if (kind != kNoteOff) return true;
  if (!TNoteOff) return true;

  double velocity = event.Velocity;
  if (velocity < kNoVelocity || TVOOverride) {
    switch (TVOBy) {
      case kVelocityOne:
        velocity = 1.0;
        break;
      case kVelocityOfHoldTime: {
        // The clock wraps: the difference of two times is the elapsed time all the same.
        const double held = double(uint32_t(event.Time - notes.Time[note]));
        velocity = held * TVOIncPerSec * 0.001;
        if (velocity < 0.0) velocity += 1.0;
        velocity = std::clamp(velocity, 0.0, 1.0);
        break;
      }
      default:
        velocity = notes.Velocity[note];
        break;
    }
  }
  const uint32_t status = (event.Message & 0xffu) | kNoteOnBit;
  const uint32_t message = status | (uint32_t(note) << 8) | (uint32_t(std::clamp(Velocity127(velocity), 0, 127)) << 16);
  module.ScheduleMIDIEvent(event.Offset, message);
  return false;
}

void RMIDITriggerSink::StoreTriggers(RStoreContext& context, bool drumMachine) {
  if (drumMachine) {
    context.Int("TVelocityOn", VelocityMin, 0);
    context.Int("TVelocityMax", VelocityMax, 127);
    context.Bool("TSustainOn", TSustainOn, true);
    context.Bool("TSustainOff", TSustainOff, true);
    return;
  }
  context.Bool("TNoteOn", TNoteOn, true);
  context.Bool("TNoteOff", TNoteOff, false);
  context.Bool("TSustainOn", TSustainOn, false);
  context.Bool("TSustainOff", TSustainOff, false);
  context.Bool("TCCOn", TCCOn, false);
  context.Bool("TCCOff", TCCOff, false);
  context.Int("TCC", TCC, 66);
  context.Double("TProbability", TProbability, 1.0);
  context.Double("TVOIncPerSec", TVOIncPerSec, -0.1);
  context.Bool("TVOOverride", TVOOverride, false);
  StoreVelocitySource(context, TVOBy);
}
