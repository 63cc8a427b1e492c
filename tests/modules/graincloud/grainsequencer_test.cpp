// The pitch sequencer: a step's notes, each mode's choice with and without the range, the walk
// through the steps, and the generator the voices draw from.
#include <gtest/gtest.h>

#include <set>

#include "modules/graincloud/grainsequencer.h"

using namespace RGrainSequencer;

TEST(GrainSequencer, AStepHoldsNotesFromMinusToPlusTwentyFour) {
  uint64_t step = 0;
  for (int32_t s : {-24, -5, 0, 7, 24, 25, -30}) step = AddNote(step, s);
  EXPECT_TRUE(HasNote(step, -24));
  EXPECT_TRUE(HasNote(step, 0));
  EXPECT_TRUE(HasNote(step, 24));
  EXPECT_FALSE(HasNote(step, 1));
  EXPECT_FALSE(HasNote(step, 25));
  EXPECT_EQ(step & ~kNoteMask, 0u) << "notes out of range leave no bits";
}

TEST(GrainSequencer, EachModeChoosesAsItsNameSays) {
  const uint64_t step = AddNote(AddNote(AddNote(0, -5), 3), 7);
  RGrainRandom random;
  // Limited to 0..5: only 3 is in range.
  for (int32_t mode : {kRandomLimited, kLowestLimited, kHighestLimited}) {
    EXPECT_EQ(ChoosePitch(step, mode, 0.0, 5.0, random), 3.0) << mode;
  }
  EXPECT_EQ(ChoosePitch(step, kLowestUnlimited, 0.0, 5.0, random), -5.0);
  EXPECT_EQ(ChoosePitch(step, kHighestUnlimited, 0.0, 5.0, random), 7.0);
  std::set<double> seen;
  for (int i = 0; i < 200; ++i) seen.insert(ChoosePitch(step, kRandomUnlimited, 0.0, 5.0, random));
  EXPECT_EQ(seen, (std::set<double>{-5.0, 3.0, 7.0}));

  // Any pitch, a step without notes, or a limited mode with no note in range: even in lo..hi.
  for (auto [notes, mode] : {std::pair{step, int32_t(kAnyPitch)}, std::pair{uint64_t(0), int32_t(kHighestUnlimited)},
                             std::pair{step, int32_t(kLowestLimited)}}) {
    double lowest = 100, highest = -100;
    for (int i = 0; i < 500; ++i) {
      const double pitch = ChoosePitch(notes, mode, 8.0, 12.0, random);
      lowest = std::min(lowest, pitch);
      highest = std::max(highest, pitch);
    }
    EXPECT_GE(lowest, 8.0) << mode;
    EXPECT_LT(highest, 12.0) << mode;
    EXPECT_GT(highest - lowest, 3.5) << mode;
  }
}

TEST(GrainSequencer, EveryChoiceTakesExactlyOneDraw) {
  RGrainRandom a, b;
  ChoosePitch(AddNote(0, 3), kLowestUnlimited, 0, 1, a);
  ChoosePitch(0, kAnyPitch, 0, 1, b);
  EXPECT_EQ(a.GetState(), b.GetState());
}

TEST(GrainSequencer, ThePositionMovesOnAfterTheGrainsOfAStepAndWraps) {
  Position position;
  std::vector<int32_t> steps;
  for (int i = 0; i < 7; ++i) steps.push_back(position.Next(3, 2));
  EXPECT_EQ(steps, (std::vector<int32_t>{0, 0, 1, 1, 2, 2, 0}));
  // A count that shrinks below the position starts over.
  Position late;
  late.Step = 9;
  EXPECT_EQ(late.Next(4, 1), 0);
}

TEST(GrainRandom, DrawsFollowTheLinearFormAndStayBelowOne) {
  RGrainRandom random(1);
  // (1 * 214013 + 2531011) >> 16 is 41.
  EXPECT_DOUBLE_EQ(random.Next(), 41 * RGrainRandom::kScale);
  EXPECT_EQ(random.GetState(), 2745024u);
  RGrainRandom again(1);
  again.Next();
  EXPECT_EQ(again.GetState(), random.GetState());
  double highest = 0;
  for (int i = 0; i < 200000; ++i) highest = std::max(highest, random.Next());
  EXPECT_LT(highest, 1.0);
  EXPECT_GT(highest, 0.999);
}
