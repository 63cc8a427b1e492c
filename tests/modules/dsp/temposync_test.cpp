// Tempo sync: note lengths in samples at 120 bpm for every length, type, count and modifier.
#include <gtest/gtest.h>

#include "modules/dsp/temposync.h"

namespace {

void SetIndex(RChoiceValue& value, int32_t index, int32_t count) {
  value.SetProcessing(double(index) / double(count - 1));
}

} // namespace

TEST(TempoSync, NoteLengthsAt120Bpm) {
  RTempoSync sync(nullptr, RTempoSync::kCount | RTempoSync::kModify | RTempoSync::kPhase);
  EXPECT_EQ(sync.Samples(120.0, 48000.0), 0) << "off by default";
  sync.GetSync().SetProcessing(1.0);
  sync.Refresh();
  // The default is a quarter note: half a second at 120 bpm.
  EXPECT_EQ(sync.Samples(120.0, 48000.0), 24000);
  EXPECT_EQ(sync.Samples(120.0, 44100.0), 22050);
  const int64_t straight[RTempoSync::kLengthCount] = {12288000, 6144000, 3072000, 1536000, 768000, 384000, 192000,
                                                      96000,    48000,   24000,   12000,   6000,    3000,   1500,
                                                      750};
  for (int32_t index = 0; index < RTempoSync::kLengthCount; ++index) {
    SetIndex(sync.GetLength(), index, RTempoSync::kLengthCount);
    sync.Refresh();
    EXPECT_EQ(sync.Samples(120.0, 48000.0), straight[index]) << index;
  }
  SetIndex(sync.GetLength(), 9, RTempoSync::kLengthCount);
  const int64_t typed[] = {24000, 16000, 18000, 19200};  // straight, triplets, dotted, tuplets
  for (int32_t type = 0; type < 4; ++type) {
    SetIndex(sync.GetType(), type, 4);
    sync.Refresh();
    EXPECT_EQ(sync.Samples(120.0, 48000.0), typed[type]) << type;
  }
  SetIndex(sync.GetType(), 0, 4);
  sync.GetCount()->SetProcessing(3.0 / 63.0);  // 4 notes
  sync.Refresh();
  EXPECT_EQ(sync.Samples(120.0, 48000.0), 96000);
  sync.GetCount()->SetProcessing(0.0);
  sync.GetModify()->SetProcessing(1.0);  // the divisor divided by 2: twice the time
  sync.Refresh();
  EXPECT_EQ(sync.Samples(120.0, 48000.0), 48000);
  sync.GetModify()->SetProcessing(0.0);  // by 0.5: half the time
  sync.Refresh();
  EXPECT_EQ(sync.Samples(120.0, 48000.0), 12000);
  EXPECT_EQ(sync.Samples(0.0, 48000.0), 0);
  EXPECT_EQ(sync.Samples(-1.0, 48000.0), 0);
}

TEST(TempoSync, ValuesCarryTheirKeysAndTexts) {
  RTempoSync plain(nullptr);
  EXPECT_EQ(plain.GetPhaseValue(), nullptr);
  EXPECT_EQ(plain.GetModify(), nullptr);
  EXPECT_EQ(plain.GetCount(), nullptr);
  EXPECT_EQ(plain.GetSync().GetKey().ToUTF8(), "sync");
  EXPECT_EQ(plain.GetSync().GetDescription().ToUTF8(), "Synchronization");
  EXPECT_EQ(plain.GetLength().GetKey().ToUTF8(), "synclength__");
  EXPECT_EQ(plain.GetType().GetKey().ToUTF8(), "synctype");
  RChoiceRange& lengths = plain.GetLength().GetChoiceRange();
  EXPECT_EQ(lengths.GetItemCount(), RTempoSync::kLengthCount);
  EXPECT_EQ(lengths.GetItemText(9).ToUTF8(), "1 / 4");
  EXPECT_EQ(lengths.GetItemText(10).ToUTF8(), "1 / 8");
  EXPECT_EQ(lengths.GetItemText(7).ToUTF8(), "1 / 1");
  EXPECT_EQ(lengths.GetItemText(0).ToUTF8(), "128 / 1");
  EXPECT_EQ(plain.GetType().GetChoiceRange().GetItemText(1).ToUTF8(), "Triplets");
}
