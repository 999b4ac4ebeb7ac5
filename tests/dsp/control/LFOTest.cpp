#include "dsp/control/LFO.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/dsp/control/LfoRig.h"

namespace Vantora::dsp {
namespace {

TEST(LFO, DrawsItsWaveforms) {
  const std::vector<std::array<float, 5>> shapes = {
      // at phases 0, 1/8, 3/8, 5/8, 7/8
      {0.0f, 0.70710678f, 0.70710678f, -0.70710678f, -0.70710678f},
      {0.0f, 0.5f, 0.5f, -0.5f, -0.5f},
      {1.0f, 0.75f, 0.25f, -0.25f, -0.75f},
      {-1.0f, -0.75f, -0.25f, 0.25f, 0.75f},
      {1.0f, 1.0f, 1.0f, -1.0f, -1.0f}};
  for (size_t w = 0; w < shapes.size(); ++w) {
    LfoRig rig;
    rig.SetFree(10.0f);
    rig.Set(LFO::kWaveform, static_cast<float>(w));
    rig.Run(4800);
    for (const auto& [at, k] : {std::pair{0, 0}, {600, 1}, {1800, 2}, {3000, 3}, {4200, 4}}) {
      EXPECT_NEAR(rig.out0[at], shapes[w][k], 2e-5f) << "waveform " << w << " sample " << at;
    }
    // The read-outs are those of the last block's start.
    const size_t start = 4800 - LfoRig::kBlock;
    EXPECT_EQ(rig.lfo.Param(LFO::kCurrentValueLFeedback).GetValue(), rig.out0[start]);
    EXPECT_NEAR(rig.lfo.Param(LFO::kCurrentPhaseFeedback).GetValue(), rig.phases[start], 1e-7f);
  }
}

TEST(LFO, UnipolarSineAtHalfAmpRunsFromZeroToAHalf) {
  LfoRig rig;
  rig.SetFree(10.0f);
  rig.Set(LFO::kUnipolar, 1.0f);
  rig.Set(LFO::kAmp, 0.5f);
  rig.Run(4800);
  const auto [low, high] = std::minmax_element(rig.out0.begin(), rig.out0.end());
  EXPECT_NEAR(*low, 0.0f, 1e-6f);
  EXPECT_NEAR(*high, 0.5f, 1e-6f);
}

TEST(LFO, PortsModulateAmpAndPhase) {
  LfoRig rig;
  rig.SetFree(10.0f);
  rig.Set(LFO::kWaveform, LFO::kRisingSaw);
  rig.Set(LFO::kAmp, 0.25f);
  rig.Connect(1, {0.5f});
  rig.Connect(2, {0.25f});
  rig.Run(48);
  EXPECT_NEAR(rig.out0[0], 0.75f * (2.0f * 0.25f - 1.0f), 1e-6f);
  rig.Connect(1, {5.0f});  // held at 1
  rig.Run(48);
  EXPECT_NEAR(rig.out0[48], 2.0f * (0.25f + 0.01f) - 1.0f, 1e-5f);
}

TEST(LFO, FadesInExponentiallyFromSilence) {
  LfoRig rig;
  rig.SetFree(0.025f);
  rig.Set(LFO::kWaveform, LFO::kSquare);
  rig.Set(LFO::kFade, 1.0f);
  rig.Run(48480);
  EXPECT_EQ(rig.out0[0], 0.0f);
  EXPECT_NEAR(rig.out0[24000], 147.41f / 22025.5f, 1e-5f);
  EXPECT_NEAR(rig.out0[43200], 0.36788f, 1e-3f);
  EXPECT_NEAR(rig.out0[47999], 1.0f, 1e-3f);
  EXPECT_EQ(rig.out0[48400], 1.0f);
  rig.Set(LFO::kGateIn, 1.0f);
  rig.Run(48);
  EXPECT_EQ(rig.out0[48480], 0.0f);  // from silence again
}

TEST(LFO, AFadeThatEndsWithinABlockRunsOnToTheBlocksEnd) {
  LfoRig rig;
  rig.SetFree(0.025f);
  rig.Set(LFO::kWaveform, LFO::kSquare);
  rig.Set(LFO::kFade, 504.0f / 48000.0f);
  rig.Run(576);
  EXPECT_NEAR(rig.out0[503], std::exp(10.0 * (503.0 / 504.0 - 1.0)), 2e-3);
  EXPECT_NEAR(rig.out0[524], std::exp(10.0 * (524.0 / 504.0 - 1.0)), 2e-3);  // 1.49 times full
  EXPECT_EQ(rig.out0[528], 1.0f);
}

TEST(LFO, ShortestFadeStaysFinite) {
  LfoRig rig;
  rig.SetFree(1.0f);
  rig.Set(LFO::kWaveform, LFO::kSquare);
  rig.Set(LFO::kFade, 1e-7f);
  rig.Run(96);
  for (const float y : rig.out0) EXPECT_TRUE(std::isfinite(y));
  EXPECT_EQ(rig.out0[48], 1.0f);
}

TEST(LFO, RandomSequenceIsFixedByTheSeed) {
  LfoRig rig(1);
  rig.SetFree(40.0f);
  rig.Set(LFO::kWaveform, LFO::kSampleAndHold);
  rig.Run(4800);
  // Three draws are spent on restarts before the first cycle.
  EXPECT_EQ(rig.out0[0], -0.85676277f);
  ASSERT_EQ(rig.triggers.size(), 4u);
  for (size_t i = 0; i < 4800; ++i) {
    const bool isTrigger = std::find(rig.triggers.begin(), rig.triggers.end(), i) != rig.triggers.end();
    EXPECT_EQ(i == 0 || rig.out0[i] != rig.out0[i - 1], isTrigger) << i;
  }
}

TEST(LFO, SecondChannelRunsAheadByTheSpread) {
  LfoRig rig;
  rig.SetFree(10.0f);
  rig.Set(LFO::kStereo, 1.0f);
  rig.Set(LFO::kStereoSpread, 90.0f);
  rig.Run(4800);
  for (const int i : {0, 700, 3600, 4700}) {
    EXPECT_NEAR(rig.out1[i], std::cos(6.2831853f * rig.phases[i]), 2e-5f) << i;
  }
  LfoRig mono;
  mono.buffers[1].fill(7.0f);
  mono.RunBlock(48);
  EXPECT_EQ(mono.out1[0], 0.0f);  // cleared, not rendered
}

TEST(LFO, SampleAndHoldLagsByTwiceTheSpread) {
  LfoRig rig;
  rig.SetFree(10.0f);
  rig.Set(LFO::kWaveform, LFO::kSampleAndHold);
  rig.Set(LFO::kStereo, 1.0f);
  rig.Set(LFO::kStereoSpread, 45.0f);  // a quarter of a cycle late
  rig.Run(14400);
  for (int i = 4800; i < 14400 - 1300; ++i) {
    if (i % 4800 > 4700) continue;  // the step itself may fall a sample to either side
    if (i % 4800 < 100) continue;
    EXPECT_EQ(rig.out1[i + 1200], rig.out0[i]) << i;
  }

  LfoRig whole;
  whole.SetFree(10.0f);
  whole.Set(LFO::kWaveform, LFO::kSampleAndHold);
  whole.Set(LFO::kStereo, 1.0f);
  whole.Set(LFO::kStereoSpread, 180.0f);
  whole.Run(14400);
  for (int i = 4800; i < 14400; ++i) ASSERT_EQ(whole.out1[i], whole.out0[i - 4800]) << i;

  LfoRig mirrored;
  mirrored.SetFree(10.0f);
  mirrored.Set(LFO::kWaveform, LFO::kSampleAndHold);
  mirrored.Set(LFO::kStereo, 1.0f);
  mirrored.Set(LFO::kSnHStereoMode, 1.0f);
  mirrored.Run(14400);
  for (int i = 0; i < 14400; ++i) ASSERT_EQ(mirrored.out1[i], -mirrored.out0[i]) << i;
}

TEST(LFO, SmoothingCountsInSecondsOrInPeriods) {
  // A square settles 99.3 % of its step in the smoothing time.
  const auto restAfter = [](float linked, float smooth, bool controlRate, int samples) {
    LfoRig rig(1, controlRate);
    rig.SetFree(4.0f);  // 12000 samples
    rig.Set(LFO::kWaveform, LFO::kSquare);
    rig.Set(LFO::kSmooth, smooth);
    rig.Set(LFO::kSmoothRateLinked, linked);
    rig.Run(24000);
    const int step = controlRate ? 48 : 1;
    return 1.0f - rig.out0[(12000 + samples) / step - 1];  // the step up from -1 at 12000
  };
  const float rest = 2.0f * std::exp(-5.0f);
  EXPECT_NEAR(restAfter(0.0f, 0.05f, false, 2400), rest, 2e-4f);
  EXPECT_NEAR(restAfter(1.0f, 0.2f, false, 2400), rest, 2e-4f);
  EXPECT_NEAR(restAfter(1.0f, 0.2f, true, 2400), rest, 2e-3f);
  EXPECT_EQ(restAfter(0.0f, 0.0f, false, 1), 0.0f);
}

TEST(LFO, ASharedOutputHoldsTheSecondChannel) {
  LfoRig shared, apart;
  for (LfoRig* rig : {&shared, &apart}) {
    rig->SetFree(10.0f);
    rig->Set(LFO::kStereo, 1.0f);
    rig->Set(LFO::kStereoSpread, 90.0f);
    rig->aliased = rig == &shared;
    rig->Run(4800);
  }
  EXPECT_EQ(shared.out0, apart.out1);
}

TEST(LFO, RunsWithoutPorts) {
  LfoRig rig;
  rig.SetFree(10.0f);
  rig.Set(LFO::kStereo, 1.0f);
  ProcessContext nothing;
  nothing.sampleCount = LfoRig::kBlock;
  for (const float waveform : {0.0f, 5.0f}) {
    rig.Set(LFO::kWaveform, waveform);
    EXPECT_EQ(rig.lfo.Process(nothing), 1u);
  }
}

TEST(LFO, AHardResetSoundsLikeANewOneButForItsRandomState) {
  LfoRig fresh, used;
  for (LfoRig* rig : {&fresh, &used}) {
    rig->SetFree(7.0f);
    rig->Set(LFO::kMode, LFO::kSongLocked);
  }
  used.playing = true;
  used.Run(5000);
  used.lfo.ResetState(true);
  used.Forget();
  fresh.playing = true;
  fresh.Run(4800);
  used.Run(4800);
  EXPECT_EQ(fresh.phases, used.phases);
  EXPECT_EQ(fresh.out0, used.out0);
}

}  // namespace
}  // namespace Vantora::dsp
