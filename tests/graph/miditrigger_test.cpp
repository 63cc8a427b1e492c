// MIDI triggers of a slot: which events a slot sees, what a note on and a note off do, the
// velocity a note off gives the module, and the chance test with the process-wide generator.
#include <gtest/gtest.h>

#include "graph/miditrigger.h"
#include "modulation/random48.h"
#include "storetestmodules.h"

using namespace storetest;

namespace {

RMIDITriggerEvent Note(bool on, int32_t channel, int32_t note, double velocity, uint32_t time = 0) {
  RMIDITriggerEvent e;
  const uint32_t status = (on ? 0x90u : 0x80u) | uint32_t(channel);
  e.Message = status | (uint32_t(note) << 8) | (uint32_t(velocity * 127.0 + 0.5) << 16);
  e.Velocity = velocity;
  e.Time = time;
  e.Offset = 7;
  return e;
}

RMIDITriggerEvent Controller(int32_t number, double value) {
  RMIDITriggerEvent e;
  e.Message = 0xb0u | (uint32_t(number) << 8);
  e.Velocity = value;
  return e;
}

uint32_t VelocityOf(uint32_t message) { return (message >> 16) & 0x7fu; }

} // namespace

TEST(MIDITrigger, TheFilterChecksChannelNoteKindVelocityAndBypass) {
  RMIDITriggerSink sink;
  EXPECT_TRUE(sink.Accepts(Note(true, 3, 60, 0.5), false));
  EXPECT_FALSE(sink.Accepts(Note(true, 3, 60, 0.5), true));

  sink.MIDIChannel = 4;  // 1-based: the event's channel 3
  EXPECT_TRUE(sink.Accepts(Note(true, 3, 60, 0.5), false));
  EXPECT_FALSE(sink.Accepts(Note(true, 2, 60, 0.5), false));

  sink.NoteMin = 40;
  sink.NoteMax = 50;
  EXPECT_FALSE(sink.Accepts(Note(true, 3, 39, 0.5), false));
  EXPECT_TRUE(sink.Accepts(Note(true, 3, 40, 0.5), false));
  EXPECT_TRUE(sink.Accepts(Note(true, 3, 50, 0.5), false));
  EXPECT_FALSE(sink.Accepts(Note(true, 3, 51, 0.5), false));

  sink.VelocityMin = 64;
  EXPECT_FALSE(sink.Accepts(Note(true, 3, 45, 63.0 / 127.0), false));
  EXPECT_TRUE(sink.Accepts(Note(true, 3, 45, 64.0 / 127.0), false));

  // Kinds: a note on with velocity 0 is a note off; controllers by their flags.
  RMIDITriggerSink kinds;
  kinds.TNoteOn = false;
  EXPECT_FALSE(kinds.Accepts(Note(true, 0, 60, 0.5), false));
  EXPECT_FALSE(kinds.Accepts(Note(true, 0, 60, 0.0), false));
  kinds.TNoteOff = true;
  EXPECT_TRUE(kinds.Accepts(Note(true, 0, 60, 0.0), false));
  EXPECT_FALSE(kinds.Accepts(Controller(64, 1.0), false));
  kinds.TSustainOn = true;
  EXPECT_TRUE(kinds.Accepts(Controller(64, 1.0), false));
  EXPECT_FALSE(kinds.Accepts(Controller(64, 0.0), false));
  kinds.TCCOff = true;
  EXPECT_TRUE(kinds.Accepts(Controller(66, 0.0), false));
  EXPECT_FALSE(kinds.Accepts(Controller(66, 1.0), false));
  EXPECT_FALSE(kinds.Accepts(Controller(7, 0.0), false));
}

TEST(MIDITrigger, NoteOnsAreNotedAndPassOnlyWithTheirFlag) {
  RGainModule module;
  RMIDINoteTable notes;
  RMIDITriggerSink sink;
  EXPECT_TRUE(sink.Trigger(Note(true, 0, 60, 0.5, 1000), module, notes));
  EXPECT_DOUBLE_EQ(notes.Velocity[60], 0.5);
  EXPECT_EQ(notes.Time[60], 1000u);
  sink.TNoteOn = false;
  EXPECT_FALSE(sink.Trigger(Note(true, 0, 61, 0.25, 1100), module, notes));
  EXPECT_DOUBLE_EQ(notes.Velocity[61], 0.25);
  // A note off without its flag goes to the module as it is.
  EXPECT_TRUE(sink.Trigger(Note(false, 0, 60, 0.5), module, notes));
  EXPECT_TRUE(module.QueuedEvents().empty());
}

TEST(MIDITrigger, ANoteOffStartsTheModuleWithTheVelocityItsRulesGive) {
  RGainModule module;
  RMIDINoteTable notes;
  RMIDITriggerSink sink;
  sink.TNoteOff = true;
  sink.Trigger(Note(true, 5, 60, 100.0 / 127.0, 1000), module, notes);

  // Its own velocity when it has one.
  EXPECT_FALSE(sink.Trigger(Note(false, 5, 60, 40.0 / 127.0, 1500), module, notes));
  ASSERT_EQ(module.QueuedEvents().size(), 1u);
  const uint32_t first = module.QueuedEvents()[0].event;
  EXPECT_EQ(first & 0xffu, 0x95u);
  EXPECT_EQ((first >> 8) & 0x7fu, 60u);
  EXPECT_EQ(VelocityOf(first), 40u);

  // Without one: the note on's.
  sink.Trigger(Note(false, 5, 60, 0.0, 1500), module, notes);
  EXPECT_EQ(VelocityOf(module.QueuedEvents().back().event), 100u);
  // Overridden: full.
  sink.TVOOverride = true;
  sink.TVOBy = RMIDITriggerSink::kVelocityOne;
  sink.Trigger(Note(false, 5, 60, 40.0 / 127.0, 1500), module, notes);
  EXPECT_EQ(VelocityOf(module.QueuedEvents().back().event), 127u);
  // By hold time: 2 s at -0.1 per second is -0.2, raised by 1 to 0.8.
  sink.TVOBy = RMIDITriggerSink::kVelocityOfHoldTime;
  sink.Trigger(Note(false, 5, 60, 0.5, 3000), module, notes);
  EXPECT_EQ(VelocityOf(module.QueuedEvents().back().event), 102u);
  // 3 s at 0.25 per second is 0.75; 10 s at 0.25 is clamped to 1.
  sink.TVOIncPerSec = 0.25;
  sink.Trigger(Note(false, 5, 60, 0.5, 4000), module, notes);
  EXPECT_EQ(VelocityOf(module.QueuedEvents().back().event), 95u);
  sink.Trigger(Note(false, 5, 60, 0.5, 11000), module, notes);
  EXPECT_EQ(VelocityOf(module.QueuedEvents().back().event), 127u);
}

TEST(MIDITrigger, ProbabilityDropsEventsAsTheGeneratorDraws) {
  RGainModule module;
  RMIDINoteTable notes;
  RMIDITriggerSink sink;
  sink.TProbability = 0.5;
  const uint64_t seed = 0x123456789abcull;
  RRandom48::SetSeed(seed);
  uint64_t state = seed;
  int passed = 0;
  for (int i = 0; i < 64; ++i) {
    state = RRandom48::Step(state);
    const bool expected = !(0.5 < RRandom48::ToUnit(state));
    const bool result = sink.Trigger(Note(true, 0, 60, 0.5), module, notes);
    EXPECT_EQ(result, expected) << i;
    passed += result ? 1 : 0;
  }
  EXPECT_GT(passed, 10);
  EXPECT_LT(passed, 54);

  // A certain trigger never draws.
  sink.TProbability = 1.0;
  RRandom48::SetSeed(seed);
  EXPECT_TRUE(sink.Trigger(Note(true, 0, 60, 0.5), module, notes));
  EXPECT_EQ(RRandom48::GetSeed(), seed);
}
