#include "dsp/control/IGenerator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/dsp/control/LfoRig.h"

namespace Vantora::dsp {
namespace {

using testing::ElementsAre;

TEST(Generator, FreeRateTriggersOnTheFirstSampleAndOncePerCycle) {
  LfoRig rig;
  rig.SetFree(10.0f);
  rig.Run(4800 * 4);
  EXPECT_THAT(rig.triggers, ElementsAre(0, 4800, 9600, 14400));
  EXPECT_EQ(rig.cycles[4799], 0.0f);
  EXPECT_EQ(rig.cycles[4800], 1.0f);
  EXPECT_NEAR(rig.phases[1200], 0.25f, 1e-6f);
}

TEST(Generator, EveryStartPhaseAndRateFiresExactlyOnceAtTheStart) {
  std::mt19937 random(42);
  std::uniform_real_distribution<float> degrees(0.0f, 360.0f), hertz(5.0f, 45.0f);
  for (int round = 0; round < 3000; ++round) {
    LfoRig rig;
    const bool sync = round % 3 == 0;
    rig.Set(LFO::kMode, round % 2 == 0 ? LFO::kOneShot : LFO::kFree);
    rig.Set(LFO::kPhaseInit, degrees(random));
    const float rate = hertz(random);
    if (sync) {
      rig.tempo = 15.0f * rate;  // a sixteenth lasts as long
      rig.SetSynced(8.0f);
    } else {
      rig.SetFree(rate);
    }
    rig.Run(960);  // short of a cycle
    ASSERT_THAT(rig.triggers, ElementsAre(0)) << "round " << round << " rate " << rate;
    ASSERT_EQ(rig.cycles[0], 0.0f);
  }
}

TEST(Generator, SyncedPeriodIsTheNoteLength) {
  struct Case {
    float entry, type;
    int samples;
  };
  // At 120 a quarter lasts 24000 samples. A trigger may come one step late, never early.
  for (const Case& c : {Case{6, 0, 24000}, {6, 1, 16000}, {6, 2, 36000}, {5, 0, 48000}, {9, 0, 3000}}) {
    for (const bool playing : {false, true}) {
      LfoRig rig;
      rig.playing = playing;
      rig.SetSynced(c.entry);
      rig.Set(LFO::kRateSyncedType, c.type);
      rig.Run(static_cast<uint32_t>(3 * c.samples + 100));
      ASSERT_EQ(rig.triggers.size(), 4u) << c.entry << " " << c.type;
      for (int i = 0; i < 4; ++i) EXPECT_NEAR(rig.triggers[i], i * c.samples, 1) << c.entry << " " << c.type;
    }
  }
}

TEST(Generator, OneShotRunsOnceAndParksBeforeItsStartPhase) {
  for (const bool sync : {false, true}) {
    LfoRig rig;
    rig.Set(LFO::kMode, LFO::kOneShot);
    rig.Set(LFO::kPhaseInit, 90.0f);
    if (sync) {
      rig.SetSynced(9.0f);  // 3000 samples
    } else {
      rig.SetFree(16.0f);
    }
    rig.Run(12000);
    EXPECT_THAT(rig.triggers, ElementsAre(0));
    EXPECT_NEAR(rig.phases[1500], 0.75f, 1e-3f);
    for (int i = 3002; i < 12000; ++i) ASSERT_NEAR(rig.phases[i], 0.25f - 1e-6f, 1e-7f) << i;

    rig.Forget();
    rig.Set(LFO::kGateIn, 1.0f);
    rig.Run(1008);
    EXPECT_THAT(rig.triggers, ElementsAre(0));
    rig.Set(LFO::kGateIn, 0.0f);  // a falling gate does nothing
    rig.Run(1008);
    EXPECT_THAT(rig.triggers, ElementsAre(0));
    EXPECT_NEAR(rig.phases[2000], 0.25f + 2000.0f / 3000.0f, 1e-3f);
  }
}

TEST(Generator, SwingAlternatesLongAndShortCycles) {
  LfoRig synced;
  synced.SetSynced(8.0f);  // 6000 samples
  synced.Set(LFO::kSwing, 75.0f);
  synced.Run(24100);
  ASSERT_EQ(synced.triggers.size(), 5u);
  for (const auto& [i, expected] : {std::pair{1, 9000}, {2, 12000}, {3, 21000}, {4, 24000}}) {
    EXPECT_NEAR(synced.triggers[i], expected, 1);
  }
  EXPECT_NEAR(synced.phases[4500], 0.5f, 1e-3f);
  EXPECT_NEAR(synced.phases[10500], 0.5f, 1e-3f);

  LfoRig free;
  free.SetFree(8.0f);
  free.Set(LFO::kSwing, 75.0f);
  free.Run(24100);
  ASSERT_EQ(free.triggers.size(), 5u);
  EXPECT_EQ(free.triggers[0], 0);
  EXPECT_EQ(free.triggers[1], 8998);  // intended: the step before the first trigger counts as an odd cycle's
  EXPECT_NEAR(free.triggers[2] - free.triggers[1], 3000, 1);
  EXPECT_NEAR(free.triggers[3] - free.triggers[2], 9000, 1);
}

TEST(Generator, SongLockedStartsWhereTheSongStands) {
  LfoRig rig;
  rig.Set(LFO::kMode, LFO::kSongLocked);
  rig.SetSynced(4.0f);  // 4 quarter notes
  rig.Run(4800);
  rig.Forget();
  rig.playing = true;
  rig.song = 9.0;
  rig.Run(9600);  // 0.4 quarter notes
  EXPECT_NEAR(rig.phases[0], 0.25f, 1e-6f);
  EXPECT_NEAR(rig.phases[9599], 0.35f, 1e-4f);
  EXPECT_EQ(rig.cycles[0], 2.0f);
  rig.Set(LFO::kWaveform, LFO::kSampleAndHold);
  rig.Run(48);
  rig.Set(LFO::kGateIn, 1.0f);  // of no concern here: no restart, no new value
  rig.Run(48);
  EXPECT_EQ(rig.out0[9648], rig.out0[9647]);
}

TEST(Generator, HardFollowMovesThePhaseWithTheSong) {
  struct Case {
    uint32_t mode;
    float hard, moved;
  };
  for (const Case& c : {Case{LFO::kSongLocked, 1, 0.25f}, {LFO::kSongLocked, 0, 0}, {LFO::kFree, 1, 0}}) {
    LfoRig rig;
    rig.Set(LFO::kMode, static_cast<float>(c.mode));
    rig.SetSynced(4.0f);
    rig.Set(LFO::kSppHardFollow, c.hard);
    rig.playing = true;
    rig.Run(4800);  // 0.2 quarter notes
    const float before = rig.phases.back();
    rig.song += 1.0;
    rig.Run(48);
    EXPECT_NEAR(rig.phases[4800] - before, c.moved, 1e-4f) << c.mode << " " << c.hard;
  }
  // A free one that starts while the song plays counts its cycles from the song's start.
  LfoRig rig;
  rig.SetSynced(4.0f);
  rig.Set(LFO::kSppHardFollow, 1.0f);
  rig.playing = true;
  rig.song = 9.0;
  rig.Run(48);
  EXPECT_EQ(rig.cycles[0], 2.0f);
}

TEST(Generator, AJumpBackKeepsAFreePhase) {
  LfoRig rig;
  rig.SetSynced(6.0f);  // a quarter
  rig.playing = true;
  rig.Run(48 * 700);
  const float before = rig.phases.back();
  rig.song -= 0.7;
  rig.Run(48 * 700);
  EXPECT_NEAR(rig.phases[48 * 700] - before, 1.0f / 24000.0f, 2e-5f);
  EXPECT_EQ(rig.triggers.size(), 3u);  // 67200 samples of 24000 each, as if nothing had been
}

TEST(Generator, APreRollHoldsTheSongAtItsStart) {
  LfoRig rig;
  rig.SetSynced(6.0f);
  rig.Run(480);
  rig.Forget();
  rig.playing = true;
  rig.song = -2.0;
  rig.Run(24000);  // a whole quarter before the start
  EXPECT_TRUE(rig.triggers.empty());
  for (const float phase : rig.phases) ASSERT_TRUE(phase >= 0.0f && phase <= 1.0f);
}

TEST(Generator, ControlRateTakesOneStepABlockAtTheSamePace) {
  for (const bool sync : {false, true}) {
    LfoRig rig(1, true);
    if (sync) {
      rig.SetSynced(7.0f);  // 12000 samples
    } else {
      rig.SetFree(4.0f);
    }
    rig.Run(24000);
    ASSERT_EQ(rig.phases.size(), 500u);
    ASSERT_EQ(rig.triggers.size(), 2u);
    EXPECT_EQ(rig.triggers[0], 0);
    EXPECT_NEAR(rig.triggers[1], 250, 1);
    EXPECT_NEAR(rig.phases[125], 0.5f, 0.005f);
  }
}

TEST(Generator, NewStartPhaseMovesThePhaseByTheDifference) {
  LfoRig rig;
  rig.SetFree(1.0f);
  rig.Run(4800);
  const float before = rig.phases.back();
  rig.Set(LFO::kPhaseInit, 72.0f);
  rig.Run(48);
  EXPECT_NEAR(rig.phases[4800] - before, 0.2f + 1.0f / 48000.0f, 1e-6f);
}

TEST(Generator, MidiSyncTwoAloneTakesTheDottedAndTripletLengths) {
  LfoRig rig;
  EXPECT_EQ(rig.lfo.Param(LFO::kAllRateSynced).GetStepCount(), 30u);
  const auto lengthOf = [&](float sync, float entry, float type) {
    rig.Set(LFO::kMidiSync, sync);
    rig.Set(LFO::kRateSynced, entry);
    rig.Set(LFO::kAllRateSynced, entry);
    rig.Set(LFO::kRateSyncedType, type);
    rig.Run(48);
    return rig.tempo / 240.0f / rig.lfo.GetRateHz();
  };
  EXPECT_FLOAT_EQ(lengthOf(1, 4, 2), 1.5f);
  EXPECT_FLOAT_EQ(lengthOf(2, 0, 2), 24.0f);  // the type plays no part
  EXPECT_FLOAT_EQ(lengthOf(2, 29, 0), 0.020833334f);
  EXPECT_FLOAT_EQ(lengthOf(2, 1, 0), 16.0f);
  EXPECT_FLOAT_EQ(lengthOf(2, 2, 0), 12.0f);
  EXPECT_FLOAT_EQ(lengthOf(1, 9, 1), 0.020833334f);
}

TEST(Generator, AShorterTableNeverReadsBeyondItsEnd) {
  // The new table is in force at once, while the long one's parameter is read until the next "MidiSync".
  LfoRig rig;
  rig.Set(LFO::kMidiSync, 2.0f);
  rig.Run(48);
  rig.lfo.SetRateTable({4.0f, 2.0f});
  rig.Set(LFO::kAllRateSynced, 5.0f);
  rig.Run(48);
  EXPECT_FLOAT_EQ(rig.tempo / 240.0f / rig.lfo.GetRateHz(), 2.0f);
}

TEST(Generator, RateInputMovesTheRateByBlockOrBySample) {
  LfoRig rig;
  rig.lfo.ReDeclareParam(LFO::kRateUnSynced, MappingTools::Linear, false, 0.0f, 10.0f);
  rig.SetFree(2.0f);
  std::vector<float> ramp(LfoRig::kBlock);
  for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = 0.1f + 0.01f * static_cast<float>(i);
  rig.Connect(0, ramp);
  rig.Run(48);
  EXPECT_NEAR(rig.lfo.GetRateHz(47), 3.0f, 1e-5f);  // the first sample's, all along
  rig.lfo.SetRateInput(true, 0);
  rig.RunBlock(47);  // not a whole number of groups of four
  EXPECT_NEAR(rig.lfo.GetRateHz(0), 3.0f, 1e-5f);
  EXPECT_NEAR(rig.lfo.GetRateHz(46), 7.6f, 1e-5f);
  rig.ports[0][0] = 0.0f;  // the mark says: not live
  rig.Run(48);
  EXPECT_NEAR(rig.lfo.GetRateHz(10), 2.0f, 1e-6f);
  EXPECT_NEAR(rig.lfo.GetRateHz(), 2.0f, 1e-6f);
}

TEST(Generator, KeyTrackingDoublesAnOctaveUpAndMovesSyncedRatesInOctaves) {
  const auto stepAt = [](bool sync, float frequency, float on) {
    LfoRig rig;
    rig.lfo.ReDeclareParam(LFO::kKbTrackingAmount, MappingTools::Linear, false, 0.0f, 100.0f);
    rig.Set(LFO::kKbTrackingAmount, 100.0f);
    rig.Set(LFO::kKbTrackingFreq, frequency);
    rig.Set(LFO::kKbTracking, on);
    if (sync) {
      rig.SetSynced(5.0f);  // 1 Hz at 120
    } else {
      rig.SetFree(1.0f);
    }
    rig.Run(4800);
    return (rig.phases[4000] - rig.phases[1000]) * 16.0f;  // Hz
  };
  EXPECT_NEAR(stepAt(false, 2.0f * 261.6256f, 1.0f), 2.0f, 1e-3f);
  EXPECT_NEAR(stepAt(false, 2.0f * 261.6256f, 0.5f), 1.0f, 1e-3f);  // on above the half only
  EXPECT_NEAR(stepAt(false, 392.0f, 1.0f), 1.4983f, 1e-3f);
  EXPECT_NEAR(stepAt(true, 392.0f, 1.0f), 2.0f, 1e-3f);
  EXPECT_NEAR(stepAt(true, 350.0f, 1.0f), 1.0f, 1e-3f);
}

TEST(Generator, AnEmptyBlockLeavesTheStartPending) {
  LfoRig rig;
  rig.SetFree(1.0f);
  rig.RunBlock(0);
  rig.Run(48);
  EXPECT_THAT(rig.triggers, ElementsAre(0));
}

}  // namespace
}  // namespace Vantora::dsp
