#include "dsp/effects/BitCrusher.h"

#include <gtest/gtest.h>

#include <set>

#include "basictools/math/Xorshift.h"
#include "engine/IOSubset.h"
#include "tests/support/ModuleRig.h"

namespace Vantora::dsp {
namespace {

using namespace test;

using B = BitCrusher;

// Fully wet sample and hold, without filter and companding, at the full rate and 16 bits.
void Plain(B& crusher) {
  crusher.SetParam(B::kWet, 1.0f);
  crusher.SetParamInternal(B::kMode, 1.0f);
  crusher.SetParamInternal(B::kBitdepth, 16.0f);
}

uint32_t CountChanges(const Samples& x, size_t from = 1) {
  uint32_t changes = 0;
  for (size_t i = std::max<size_t>(from, 1); i < x.size(); ++i) changes += x[i] != x[i - 1] ? 1 : 0;
  return changes;
}

TEST(BitCrusher, ValuesSitOnTheMidpointsOfTheStepsOrInTheDeadband) {
  for (const float bits : {1.5f, 3.0f, 4.7f, 8.0f, 12.0f}) {
    B crusher("", 1);
    Plain(crusher);
    crusher.SetParamInternal(B::kBitdepth, bits);
    ModuleRig rig(crusher, 10, 4, 44100.0f);
    const float levels = std::exp2(bits);
    std::set<float> seen;
    for (const float y : rig.Run(Noise(20000, 5))) {
      seen.insert(y);
      if (y == 0.0f || std::fabs(y) == 1.0f) continue;
      const float place = std::fabs(y) * levels * 0.5f - 0.5f;  // k of the midpoint (k + 1/2) 2/levels
      ASSERT_NEAR(place, std::round(place), 1e-3f) << bits << ": " << y;
    }
    EXPECT_GE(seen.size(), static_cast<size_t>(bits < 9.0f ? levels : levels * 0.7f)) << bits;
  }
}

TEST(BitCrusher, HearsAWriteOfThePositionThatIsThereAlready) {
  B crusher("", 1);
  crusher.SetParam(B::kWet, 1.0f);
  crusher.SetParamInternal(B::kMode, 1.0f);
  ModuleRig rig(crusher, 10, 4, 44100.0f);
  const auto taken = [&] { return rig.Run(Samples(480, 0.3f)).back(); };
  taken();
  EXPECT_EQ(taken(), 0.5f / std::exp2(0.5f)) << "its start value, 1.5 bits";
  crusher.SetParam(B::kBitdepth, 0.0f);
  EXPECT_GT(std::fabs(taken() - 0.5f / std::exp2(0.5f)), 0.01f) << "its lowest position";
}

TEST(BitCrusher, TheDeadbandSilencesWhatIsBelowIt) {
  // 2^-8 up to eight bits, 2^-bits beyond.
  for (const auto& [bits, band] : {std::pair{4.0f, 1.0f / 256.0f}, {16.0f, 1.0f / 65536.0f}}) {
    const auto peak = [&, bits = bits](float amplitude) {
      B crusher("", 1);
      Plain(crusher);
      crusher.SetParamInternal(B::kBitdepth, bits);
      ModuleRig rig(crusher, 10, 4, 44100.0f);
      float highest = 0.0f;
      for (const float y : rig.Run(Sine(4410, 1000.0, 44100.0, static_cast<double>(amplitude)))) {
        highest = std::max(highest, std::fabs(y));
      }
      return highest;
    };
    EXPECT_EQ(peak(band * 0.98f), 0.0f);
    EXPECT_EQ(peak(band * 1.05f), std::exp2(-bits));
  }
}

TEST(BitCrusher, TheDivisorDivides44100AtEveryHostRate) {
  for (const float rate : {44100.0f, 48000.0f, 96000.0f, 192000.0f}) {
    for (const float divisor : {2.0f, 7.3f, 80.0f}) {
      B crusher("", 1);
      Plain(crusher);
      crusher.SetParamInternal(B::kDownsample, divisor);
      ModuleRig rig(crusher, 10, 4, rate);
      const auto second = static_cast<size_t>(rate);
      EXPECT_NEAR(CountChanges(rig.Run(Noise(second, 9))), 44100.0f / divisor, 3.0f)
          << divisor << " at " << rate;
      crusher.SetParamInternal(B::kConfDownSample, 1.0f);
      crusher.SetParamInternal(B::kFrequency, 1234.0f);
      EXPECT_NEAR(CountChanges(rig.Run(Noise(second, 9))), 1234.0f, 3.0f) << rate;
    }
  }
}

TEST(BitCrusher, APeriodOfOneTakesEverySampleButTheFirst) {
  for (const float rate : {44100.0f, 22050.0f}) {  // below 44100 Hz the period is held at one sample
    B crusher("", 1);
    Plain(crusher);
    ModuleRig rig(crusher, 10, 4, rate);
    const Samples x = Noise(480, 2, 0.5f);
    const Samples y = rig.Run(x);
    EXPECT_EQ(y[0], 0.0f);
    // A DC filter of 5 Hz and half a step of 16 bits stand between the two.
    for (size_t i = 1; i < y.size(); ++i) ASSERT_NEAR(y[i], x[i], 0.02f) << i;
  }
}

TEST(BitCrusher, TheGlideDrawsStraightLinesBetweenTheTakenSamples) {
  B crusher("", 1);
  Plain(crusher);
  crusher.SetParamInternal(B::kMode, 0.0f);
  crusher.SetParamInternal(B::kDownsample, 10.0f);
  ModuleRig rig(crusher, 10, 4, 44100.0f);
  const Samples y = rig.Run(Noise(4410, 4, 0.4f));
  uint32_t corners = 0;
  for (size_t i = 2; i < y.size(); ++i) {
    if (std::fabs(y[i] - 2.0f * y[i - 1] + y[i - 2]) > 4.0f / 32768.0f) ++corners;
  }
  EXPECT_NEAR(corners, 440, 8);
  EXPECT_GT(Rms(y), 0.1);
}

TEST(BitCrusher, TheAntiAliasFilterFallsFromHalfTheNewRateAndOpensWithAliasing) {
  const auto level = [](double hz, float aliasing) {
    B crusher("", 1);
    Plain(crusher);
    crusher.SetParam(B::kConfAliasing, 1.0f);
    crusher.SetParamInternal(B::kAliasing, aliasing);
    crusher.SetParamInternal(B::kDownsample, 10.0f);
    ModuleRig rig(crusher, 10, 4, 44100.0f);
    return Decibels(Rms(rig.Run(Sine(44100, hz, 44100.0, 0.9)), 4410) / (0.9 * std::sqrt(0.5)));
  };
  EXPECT_NEAR(level(200.0, 0.0f), 0.0, 0.3);
  EXPECT_NEAR(level(2200.0, 0.0f), -6.0, 0.7);   // two Butterworth sections at 2205 Hz
  EXPECT_NEAR(level(8800.0, 0.0f), -52.9, 0.5);  // 24 dB an octave, on the warped scale
  EXPECT_NEAR(level(8800.0, 1.0f), 0.0, 1.0);
  // Below 44.1 kHz the cutoff is held at the host's rate instead of turning the tangent over.
  B crusher("", 1);
  Plain(crusher);
  crusher.SetParam(B::kConfAliasing, 1.0f);
  ModuleRig rig(crusher, 10, 4, 22050.0f);
  EXPECT_NEAR(Decibels(Rms(rig.Run(Sine(22050, 1000.0, 22050.0, 0.5)), 2205) / (0.5 * std::sqrt(0.5))), 0.0,
              0.2);
}

TEST(BitCrusher, CompandingKeepsQuietSoundsAndTheLevel) {
  const auto run = [](float scale, float bits, double amplitude) {
    B crusher("", 1);
    Plain(crusher);
    crusher.SetParam(B::kConfScale, 1.0f);
    crusher.SetParamInternal(B::kScale, scale);
    crusher.SetParamInternal(B::kBitdepth, bits);
    ModuleRig rig(crusher, 10, 4, 44100.0f);
    return Rms(rig.Run(Sine(44100, 441.0, 44100.0, amplitude)), 4410) / (amplitude * std::sqrt(0.5));
  };
  EXPECT_EQ(run(0.1f, 8.0f, 0.002), 0.0);  // at its minimum companding is off
  EXPECT_NEAR(Decibels(run(255.0f, 8.0f, 0.002)), 0.0, 1.0);
  for (const double amplitude : {0.9, 0.1, 0.01}) {
    EXPECT_NEAR(Decibels(run(255.0f, 16.0f, amplitude)), 0.0, 0.15) << amplitude;
    EXPECT_NEAR(Decibels(run(16.0f, 16.0f, amplitude)), 0.0, 0.15) << amplitude;
  }
}

TEST(BitCrusher, BlockJitterStretchesThePeriodsThatItsGeneratorPicks) {
  constexpr uint32_t kSeed = 4711;
  B crusher("", kSeed);
  Plain(crusher);
  crusher.SetParamInternal(B::kDownsample, 4.0f);
  crusher.SetParamInternal(B::kJitter, 50.0f);
  crusher.SetParamInternal(B::kJitterMode, 1.0f);
  ModuleRig rig(crusher, 10, 4, 44100.0f, 400);
  uint32_t x = kSeed;
  const auto draw = [&] { return static_cast<double>(x = XorshiftStep(x)); };
  uint32_t stretched = 0;
  for (uint32_t block = 0; block < 200; ++block) {
    const uint32_t changes = CountChanges(rig.Run(Noise(400, block + 1)));
    double period = 4.0;
    if (draw() / 4294967296.0 * 100.0 < 50.0 * 0.9) {
      const double second = draw();
      const double third = draw();
      period *= 1.7 + (second - third) / 4294967296.0 * 0.6;
      ++stretched;
    }
    ASSERT_NEAR(changes, 400.0 / period, 2.0) << block;
  }
  EXPECT_NEAR(stretched, 90, 25);
}

TEST(BitCrusher, TimedJitterMovesTheRateByUpToHalfAfterEveryJitterPeriod) {
  constexpr uint32_t kSeed = 99;
  B crusher("", kSeed);
  Plain(crusher);
  crusher.SetParamInternal(B::kDownsample, 4.0f);
  crusher.SetParamInternal(B::kJitter, 100.0f);
  crusher.SetParamInternal(B::kJitterRate, 44100.0f / 800.0f);
  ModuleRig rig(crusher, 10, 4, 44100.0f, 400);
  uint32_t x = kSeed;
  const auto draw = [&] { return static_cast<double>(x = XorshiftStep(x)); };
  double offset = 0.0;
  for (uint32_t block = 0; block < 200; ++block) {
    if (block >= 2 && block % 2 == 0) {
      const double first = draw();
      const double second = draw();
      offset = (first - second) / 4294967296.0 * 0.5;
    }
    const uint32_t changes = CountChanges(rig.Run(Noise(400, block + 1)));
    ASSERT_NEAR(changes, 100.0 * (1.0 + offset), 4.0) << block;  // two alike in a row count as one
  }
}

TEST(BitCrusher, SeedsRepeatAndInstancesWithoutOneDiffer) {
  const auto run = [](uint32_t seed) {
    B crusher("", seed);
    Plain(crusher);
    crusher.SetParamInternal(B::kDownsample, 8.0f);
    crusher.SetParamInternal(B::kJitter, 100.0f);
    crusher.SetParamInternal(B::kJitterMode, 1.0f);
    ModuleRig rig(crusher, 10, 4);
    return rig.Run(Noise(9600, 1));
  };
  EXPECT_EQ(run(5), run(5));
  EXPECT_NE(run(5), run(6));
  EXPECT_NE(run(0), run(0));
}

TEST(BitCrusher, FeedbackPortsSendTheCrushedBlockAndAddTheReturn) {
  B crusher("", 1);
  Plain(crusher);
  crusher.SetParam(B::kWet, 0.0f);
  crusher.SetParam(B::kConfFeedbackOn, 1.0f);
  crusher.SetParamInternal(B::kStereo, 1.0f);
  ModuleRig rig(crusher, 10, 4, 44100.0f);
  rig.MakeLive(9, 0.25f);
  const Samples silence(48, 0.0f);
  EXPECT_EQ(rig.Run(silence, 1), silence);  // dry output
  EXPECT_NEAR(rig.outputs[3][10], 0.25f, 0.02f);
  EXPECT_EQ(rig.outputs[2][10], 0.0f);
  crusher.SetParam(B::kConfFeedbackOn, 0.0f);
  crusher.SetParam(B::kWet, 1.0f);
  crusher.ResetState(true);
  EXPECT_NEAR(rig.Run(Samples(480, 0.0f), 1)[479], 0.0f, 0.3f * 0.25f);
}

TEST(BitCrusher, InputGainIsUndoneBehindTheCrusher) {
  const auto run = [](float dB, double amplitude) {
    B crusher("", 1);
    Plain(crusher);
    crusher.SetParamInternal(B::kInGainCompensated, dB);
    ModuleRig rig(crusher, 10, 4, 44100.0f);
    const Samples y = rig.Run(Sine(4410, 441.0, 44100.0, amplitude));
    return *std::max_element(y.begin(), y.end());
  };
  EXPECT_NEAR(run(20.0f, 0.05), 0.05f, 5e-4f);
  EXPECT_NEAR(run(20.0f, 0.5), 0.1f, 1e-4f);  // clips at 1, ten times too loud
  EXPECT_NEAR(run(0.0f, 0.5), 0.5f, 5e-3f);
}

TEST(BitCrusher, DryIsTheInputAndSharedBuffersMakeNoDifference) {
  B crusher("", 1);
  Plain(crusher);
  crusher.SetParam(B::kWet, 0.0f);
  ModuleRig rig(crusher, 10, 4);
  const Samples x = Noise(480, 3);
  EXPECT_EQ(rig.Run(x), x);

  const auto half = [&x](bool shared) {
    B other("", 1);
    Plain(other);
    other.SetParam(B::kWet, 0.5f);
    other.SetParamInternal(B::kBitdepth, 3.0f);
    ModuleRig ports(other, 10, 4);
    std::copy_n(x.begin(), 48, ports.inputs[0]);
    if (shared) ports.outputs[0] = ports.inputs[0];
    ports.Process(48);
    return Samples(ports.outputs[0], ports.outputs[0] + 48);
  };
  EXPECT_EQ(half(true), half(false));
}

TEST(BitCrusher, SamplesBehindTheLastGroupOfFourGetNeitherGainNorMix) {
  B crusher("", 1);
  Plain(crusher);
  crusher.SetParam(B::kWet, 0.0f);
  ModuleRig rig(crusher, 10, 4, 44100.0f);
  std::fill_n(rig.inputs[0], 48, 0.5f);
  std::fill_n(rig.outputs[0], 48, 0.25f);
  rig.Process(10);
  const float* out = rig.outputs[0];
  EXPECT_EQ(out[7], 0.5f);
  EXPECT_NEAR(out[9], 0.25f, 0.01f);  // crushed as it stood
  EXPECT_EQ(out[10], 0.25f);
}

TEST(BitCrusher, AsAStageEffectItRunsWithTwoOutputs) {
  engine::IOSubset<BitCrusher, 10, 2> crusher("", 1u);
  Plain(crusher);
  crusher.SetParam(B::kConfFeedbackOn, 1.0f);
  ModuleRig rig(crusher, 10, 2, 44100.0f);
  EXPECT_GT(Rms(rig.Run(Noise(480, 3))), 0.3);
}

TEST(BitCrusher, BlocksInWhichNothingMovesAreThoseOfACrusherThatLooksAgain) {
  B still("", 5);
  B looking("", 5);
  std::vector<Samples> results;
  for (B* crusher : {&still, &looking}) {
    Plain(*crusher);
    crusher->SetParamInternal(B::kDownsample, 7.0f);
    ModuleRig rig(*crusher, 10, 4);
    Samples& y = results.emplace_back();
    const Samples x = Noise(48 * 400, 4);
    for (uint32_t round = 0; round < 400; ++round) {
      if (round == 60) crusher->SetParamInternal(B::kBitdepth, 5.0f);
      if (round == 100) crusher->SetParam(B::kWet, 0.6f);
      if (round == 200) crusher->SetParam(B::kJitter, 0.7f);
      if (round == 250) crusher->ResetState(false);
      for (const uint32_t port : {2u, 3u, 4u}) {  // wet, word length, rate: live for a while
        if (round == 120 + 40 * port) rig.MakeLive(port, -0.2f);
        if (round == 130 + 40 * port) rig.inputs[port][-1] = 0.0f;
      }
      if (crusher == &looking) {  // a knob that moves and comes back
        const float depth = crusher->Param(B::kBitdepth).GetValue();
        crusher->SetParamInternal(B::kBitdepth, depth + 1.0f);
        crusher->SetParamInternal(B::kBitdepth, depth);
      }
      const uint32_t count = round % 29 == 28 ? 20 : 48;
      std::copy_n(x.begin() + 48 * round, 48, rig.inputs[0]);
      rig.Process(count);
      y.insert(y.end(), rig.outputs[0], rig.outputs[0] + count);
    }
  }
  EXPECT_GT(Rms(results[0]), 0.05);
  EXPECT_EQ(results[0], results[1]);
}

}  // namespace
}  // namespace Vantora::dsp
