#pragma once
// RMIDITriggerSink: how MIDI notes and controllers start the module of a slot. Each slot of a
// graph is a sink; the graph hands every note event of its module-trigger list to the slots
// that accept it (Accepts), and each one decides what its module gets (Trigger):
//
//   I.   A note on is noted in the graph's per-note tables (velocity, time) and goes to the
//        module when TNoteOn is set.
//   II.  A note off with TNoteOff set starts the module as a note on of its own, with a
//        velocity from the note off, from the note on, 1, or from how long the key was held.
//   III. With TProbability below 1, a draw of the process-wide generator drops events at random.
//
// The events are short MIDI messages packed into 32 bits as hosts hand them over: status in the
// low byte, then the two data bytes. [host-thread], before the block the events belong to:
// Trigger queues into the module with ScheduleMIDIEvent.

#include <cstdint>

class RAudioPlugin;
class RStoreContext;

// What a graph remembers per note for the note-off triggers: the velocity of its last note on
// and the time it came, in milliseconds.
struct RMIDINoteTable {
  static constexpr int32_t kNotes = 128;
  double Velocity[kNotes] = {};
  uint32_t Time[kNotes] = {};
};

// One event of the module-trigger list.
struct RMIDITriggerEvent {
  int32_t Offset = 0;      // sample offset in the block
  uint32_t Message = 0;    // status | data1 << 8 | data2 << 16
  double Velocity = 0.0;   // 0..1: the note's velocity or the controller's value
  uint32_t Time = 0;       // milliseconds clock when it arrived

  uint8_t Status() const noexcept { return uint8_t(Message & 0xf0u); }
  int32_t Channel() const noexcept { return int32_t(Message & 0x0fu); }
  int32_t Data1() const noexcept { return int32_t((Message >> 8) & 0x7fu); }
};

class RMIDITriggerSink {
public:
  enum Kind : int32_t { kNoteOn, kNoteOff, kSustainOn, kSustainOff, kControllerOn, kControllerOff, kOther };
  // The TVOBy choices: where a note off that starts the module takes its velocity.
  enum VelocitySource : int32_t { kVelocityOfNoteOn = 0, kVelocityOne = 1, kVelocityOfHoldTime = 2 };
  static constexpr int32_t kSustainController = 64;
  // Probabilities from this up never draw: the event always passes.
  static constexpr double kCertain = 0.9999999999;
  // Velocities below this count as none (a note on with velocity 0 is a note off).
  static constexpr double kNoVelocity = 1e-05;

  virtual ~RMIDITriggerSink() = default;

  // The MIDI gate of the module; the compile hands it on to the module.
  bool EnableMIDIInput = false;
  int32_t MIDIChannel = 0;  // 0: all, else 1..16
  int32_t NoteMin = 0;
  int32_t NoteMax = 127;

  // What triggers the module.
  bool TNoteOn = true;
  bool TNoteOff = false;
  bool TSustainOn = false;
  bool TSustainOff = false;
  bool TCCOn = false;
  bool TCCOff = false;
  int32_t TCC = 66;
  double TProbability = 1.0;
  double TVOIncPerSec = -0.1;
  bool TVOOverride = false;
  int32_t TVOBy = kVelocityOfNoteOn;
  // Velocity window, as 0..127: a drum-machine host stores it; every other host keeps it open.
  int32_t VelocityMin = 0;
  int32_t VelocityMax = 127;

  // The kind of an event as this sink reads it (TCC names its trigger controller).
  Kind KindOf(const RMIDITriggerEvent& event) const noexcept;
  // Whether this slot sees the event at all: channel, note range, the flag of its kind, the
  // velocity window and the module's bypass. A note off also passes for a sink triggered by
  // note ons, so that the note ends in the module it started.
  bool Accepts(const RMIDITriggerEvent& event, bool moduleBypassed) const noexcept;
  // Runs the trigger tests on an accepted event. Returns true when the caller should pass the
  // event to the module unchanged; false when it was dropped or already queued as a new note on.
  bool Trigger(const RMIDITriggerEvent& event, RAudioPlugin& module, RMIDINoteTable& notes);

  // The trigger keys of a slot, both directions. drumMachine: the host stores the velocity
  // window and its own sustain defaults instead of the T group.
  void StoreTriggers(RStoreContext& context, bool drumMachine);

  // Whether the probability test drops this event; draws from the process-wide generator.
  bool DropsByChance() const;
};
