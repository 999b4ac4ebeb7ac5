#include "dsp/effects/PitchShifter.h"

#include <gtest/gtest.h>

#include "tests/support/ModuleRig.h"

namespace Vantora::dsp {
namespace {

using namespace test;

using P = PitchShifter;
constexpr double kRate = 48000.0;

struct Shift {
  float semitones = 0.0f;
  float sprayMs = 0.0f;
  uint32_t seed = 0;
  float preDelayMs = 0.0f;
};

Samples Shifted(const Shift& s, const Samples& x, float rate = static_cast<float>(kRate)) {
  P shifter("", s.seed);
  shifter.SetParamInternal(P::kPitchShift, s.semitones);
  shifter.SetParamInternal(P::kSpray, s.sprayMs);
  shifter.SetParamInternal(P::kPreDelay, s.preDelayMs);
  ModuleRig rig(shifter, 5, 2, rate);
  return rig.Run(x);
}

struct Burst {
  double hz = 0.0;
  double strength = 0.0;  // 1: full amplitude throughout
};

/// The strongest burst in `y`: its frequency from the turn of its phase against `guess` between two windows.
Burst FindBurst(const Samples& y, double guess, double length) {
  const auto window = static_cast<size_t>(length * 0.3);
  const auto at = [&](size_t start) {
    std::complex<double> sum = 0.0;
    for (size_t i = 0; i < window; ++i) {
      const double hann = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * (static_cast<double>(i) + 0.5) /
                                               static_cast<double>(window));
      sum += hann * double{y[start + i]} *
             std::polar(1.0, -2.0 * std::numbers::pi * guess * static_cast<double>(start + i) / kRate);
    }
    return sum;
  };
  size_t best = 0;
  double strongest = 0.0;
  for (size_t start = 0; start + 2 * window < y.size(); start += std::max<size_t>(window / 4, 1)) {
    const double strength = std::min(std::abs(at(start)), std::abs(at(start + window)));
    if (strength > strongest) {
      strongest = strength;
      best = start;
    }
  }
  const double turn = std::arg(at(best + window) / at(best));
  return {guess + turn / (2.0 * std::numbers::pi) * kRate / static_cast<double>(window),
          strongest * 4.0 / static_cast<double>(window)};
}

TEST(PitchShifter, InsideAGrainTheFrequencyIsTheIntervalsWithinTwoCents) {
  for (float semitones = -24.0f; semitones <= 24.0f; semitones += 1.0f) {
    if (semitones == 0.0f) continue;
    const double ratio = std::exp2(double{semitones} / 12.0);
    // A burst shorter than the way between the heads is never heard by both at once.
    constexpr double kCarrier = 3000.0;
    const double burstLength = 0.012 * kRate;
    Burst best;
    for (const double start : {0.3, 0.31, 0.33, 0.36, 0.4}) {
      Samples x(36000);
      for (size_t i = 0; i < static_cast<size_t>(burstLength); ++i) {
        x[static_cast<size_t>(start * kRate) + i] =
            static_cast<float>(std::sin(2.0 * std::numbers::pi * kCarrier * static_cast<double>(i) / kRate));
      }
      const Burst burst = FindBurst(Shifted({semitones}, x), kCarrier * ratio, burstLength / ratio);
      if (burst.strength > best.strength) best = burst;
    }
    EXPECT_GT(best.strength, 0.4) << semitones;
    EXPECT_NEAR(1200.0 * std::log2(best.hz / (kCarrier * ratio)), 0.0, 2.0) << semitones;
  }
}

TEST(PitchShifter, TheDelayShrinksByWhatTheIntervalAsksForAtEveryRate) {
  for (const float rate : {44100.0f, 48000.0f, 96000.0f}) {
    for (float semitones = -24.0f; semitones <= 24.0f; semitones += 0.25f) {
      const GrainShape grain = GrainShape::ForInterval(semitones, rate);
      const double ratio = 1.0 + double{grain.rate} * double{grain.length} / double{rate};
      EXPECT_NEAR(12.0 * std::log2(ratio), double{semitones}, 1e-4) << semitones;
      EXPECT_LE(grain.width, 0.5f);
    }
  }
  EXPECT_NEAR(GrainShape::ForInterval(2.6f, 48000.0f).length, 0.029985627f * 48000.0f, 0.1f);
  EXPECT_NEAR(GrainShape::ForInterval(-12.0f, 48000.0f).length, 0.12f * 48000.0f, 50.0f);
  EXPECT_NEAR(GrainShape::ForInterval(24.0f, 48000.0f).length, 0.24f * 48000.0f, 50.0f);
}

TEST(PitchShifter, ARestartMakesNoClick) {
  for (const float semitones : {-24.0f, -12.0f, -5.0f, -0.3f, 0.3f, 4.0f, 7.0f, 12.0f, 24.0f}) {
    constexpr double kHz = 200.0;
    const Samples y = Shifted({semitones, 200.0f, 3}, Sine(96000, kHz, kRate));
    // Two heads, each a sine of the shifted frequency under a gain that moves
    // slowly against it. The bend of the curve shows a click long before its
    // height does. A linear read bends at every sample that it passes.
    const double w = 2.0 * std::numbers::pi * kHz / kRate;
    const double bound = 2.0 * std::max(std::exp2(double{semitones} / 6.0), 1.0) * w * w * 1.6 + 2e-4;
    for (size_t i = 26000; i < y.size(); ++i) {
      ASSERT_LT(std::fabs(double{y[i]} - 2.0 * double{y[i - 1]} + double{y[i - 2]}), bound)
          << semitones << " at " << i;
    }
  }
}

TEST(PitchShifter, AtIntervalZeroBothHeadsStandAtTheirPlacesWithFullGain) {
  const Samples y = Shifted({0.0f, 500.0f, 77}, Impulse(4800));
  // 0.029985627 s is 1439.31 samples; the heads read at that plus one and at half of it plus one.
  for (size_t i = 0; i < y.size(); ++i) {
    float expected = 0.0f;
    if (i == 1440) expected = 0.69f;
    if (i == 1441) expected = 0.31f;
    if (i == 720) expected = 0.345f;
    if (i == 721) expected = 0.655f;
    ASSERT_NEAR(y[i], expected, 1e-3f) << i;
  }
}

TEST(PitchShifter, SprayFollowsTheSeedAndStaysWithinItsSize) {
  const Samples x = Impulse(24000);
  EXPECT_EQ(Shifted({7.0f, 100.0f, 5}, x), Shifted({7.0f, 100.0f, 5}, x));
  EXPECT_NE(Shifted({7.0f, 100.0f, 5}, x), Shifted({7.0f, 100.0f, 6}, x));
  EXPECT_EQ(Shifted({7.0f, 100.0f, 0}, x), Shifted({7.0f, 100.0f, 2023}, x));
  EXPECT_EQ(Shifted({7.0f, 0.0f, 5}, x), Shifted({7.0f, 0.0f, 6}, x));
  const GrainShape grain = GrainShape::ForInterval(7.0f, 48000.0f);
  const auto farthest = static_cast<size_t>(grain.length + 0.1f * 48000.0f) + 3;
  bool beyondGrain = false;
  for (uint32_t seed = 1; seed <= 20; ++seed) {
    const Samples y = Shifted({7.0f, 100.0f, seed}, x);
    for (size_t i = farthest; i < y.size(); ++i) ASSERT_EQ(y[i], 0.0f) << seed;
    for (size_t i = static_cast<size_t>(grain.length) + 600; i < farthest; ++i) beyondGrain |= y[i] != 0.0f;
  }
  EXPECT_TRUE(beyondGrain);
}

TEST(PitchShifter, AHeadDrawsItsOffsetOnlyAsItRestarts) {
  // A slow ramp at the input shows each head's delay; it may jump only where that head is silent.
  for (const float semitones : {-12.0f, 12.0f}) {
    Samples ramp(96000);
    for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<float>(i) * 1e-4f;
    const Samples y = Shifted({semitones, 300.0f, 9}, ramp);
    // A jump by up to 14400 samples at gain 1 would be a step of 1.44.
    for (size_t i = 30000; i < y.size(); ++i) ASSERT_LT(std::fabs(y[i] - y[i - 1]), 0.02f) << i;
  }
}

TEST(PitchShifter, PreDelayDelaysTheInputAndReadsItBetweenSamplesWhileItMoves) {
  const Samples x = Noise(9600, 8);
  const Samples direct = Shifted({5.0f}, x);
  const Samples delayed = Shifted({5.0f, 0.0f, 0, 10.0f}, x);
  // The heads move alike, so the delayed input is heard as a delayed input would be.
  Samples later(9600);
  std::copy(x.begin(), x.end() - 480, later.begin() + 480);
  EXPECT_EQ(delayed, Shifted({5.0f}, later));
  EXPECT_NE(delayed, direct);

  P shifter("");
  shifter.SetParam(P::kModDelayConnected, 1.0f);
  shifter.SetParamInternal(P::kPitchShift, 5.0f);
  ModuleRig rig(shifter, 5, 2);
  EXPECT_EQ(rig.Run(x), direct);  // at a whole number of samples both reads agree
  shifter.SetParamInternal(P::kPreDelay, 3.0f);
  const Samples moved = rig.Run(Sine(48000, 100.0, kRate));
  for (size_t i = 3000; i < moved.size(); ++i) ASSERT_LT(std::fabs(moved[i] - moved[i - 1]), 0.05f) << i;
}

TEST(PitchShifter, SettledBlocksLeaveBehindWhatAShortBlockLooksAt) {
  // What stands behind a block's last group of four is where the heads were in the blocks before. A shifter
  // whose pre-delay counts as moving takes the other path, at a whole number of samples with the same
  // results.
  P settled("", 5);
  P plain("", 5);
  plain.SetParam(P::kModDelayConnected, 1.0f);
  std::vector<Samples> results;
  for (P* shifter : {&settled, &plain}) {
    shifter->SetParamInternal(P::kPitchShift, -5.0f);
    shifter->SetParamInternal(P::kSpray, 20.0f);
    ModuleRig rig(*shifter, 5, 2);
    Samples& y = results.emplace_back(rig.Run(Noise(4800, 4)));
    for (int round = 0; round < 40; ++round) {
      for (const uint32_t count : {48u, 20u, 46u, 48u, 3u, 24u, 2u, 48u, 45u}) {
        rig.Process(count);  // of whatever stands in the input
        y.insert(y.end(), rig.outputs[0], rig.outputs[0] + count);
      }
    }
  }
  EXPECT_EQ(results[0], results[1]);
}

TEST(PitchShifter, BlocksInWhichNothingMovesAreThoseOfAShifterThatLooksAgain) {
  P still("", 5);
  P looking("", 5);
  std::vector<Samples> results;
  constexpr uint32_t kRounds = 3500;
  for (P* shifter : {&still, &looking}) {
    ModuleRig rig(*shifter, 5, 2);
    Samples& y = results.emplace_back();
    const Samples x = Noise(48 * kRounds, 4);
    for (uint32_t round = 0; round < kRounds; ++round) {
      if (round == 0) shifter->SetParamInternal(P::kPitchShift, 7.0f);
      if (round == 60) shifter->SetParamInternal(P::kSpray, 30.0f);
      if (round == 200) shifter->SetParamInternal(P::kPreDelay, 5.0f);
      if (round == 330) shifter->ResetState(false);
      if (round == 400) shifter->SetParamInternal(P::kPitchShift, -12.0f);
      // A control port lives until all has settled, and goes dead while no knob moves.
      if (round == 440) rig.MakeLive(2, 0.25f);
      if (round == 2843) rig.inputs[2][-1] = 0.0f;
      if (shifter == &looking) {  // a knob that moves and comes back
        const float length = shifter->Param(P::kSpray).GetValue();
        shifter->SetParamInternal(P::kSpray, length + 1.0f);
        shifter->SetParamInternal(P::kSpray, length);
      }
      const uint32_t count = round % 29 == 28 ? 20 : 48;
      std::copy_n(x.begin() + 48 * round, 48, rig.inputs[0]);
      rig.Process(count);
      y.insert(y.end(), rig.outputs[0], rig.outputs[0] + count);
    }
  }
  EXPECT_GT(Rms(results[0]), 0.01);
  EXPECT_EQ(results[0], results[1]);
}

TEST(PitchShifter, AChangedIntervalGlidesAndArrivesWhereAFreshOneStands) {
  P shifter("");
  shifter.SetParamInternal(P::kPitchShift, -7.0f);
  ModuleRig rig(shifter, 5, 2);
  rig.Run(Sine(24000, 200.0, kRate));
  shifter.SetParamInternal(P::kPitchShift, 12.0f);
  const Samples y = rig.Run(Sine(480000, 200.0, kRate));
  for (size_t i = 1; i < y.size(); ++i) ASSERT_LT(std::fabs(y[i] - y[i - 1]), 0.12f) << i;
  // Settled, it moves with the grain of 12 semitones: the output repeats with the head's half turn, up to the
  // input's own phase. 200 Hz is a whole number of its periods in 240 samples.
  const double level = Rms(Samples(y.end() - 48000, y.end()));
  EXPECT_NEAR(level, Rms(Shifted({12.0f}, Sine(96000, 200.0, kRate)), 48000), 0.02);
}

TEST(PitchShifter, StereoRunsBothChannelsOnTheSameHeads) {
  P shifter("", 3);
  shifter.SetParam(P::kStereo, 1.0f);
  shifter.SetParamInternal(P::kPitchShift, 7.0f);
  shifter.SetParamInternal(P::kSpray, 50.0f);
  ModuleRig rig(shifter, 5, 2);
  const Samples right = Noise(24000, 2);
  EXPECT_EQ(rig.Run(Noise(24000, 1), right, 1), Shifted({7.0f, 50.0f, 3}, right));
}

}  // namespace
}  // namespace Vantora::dsp
