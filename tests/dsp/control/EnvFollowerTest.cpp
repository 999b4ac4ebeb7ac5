#include "dsp/control/EnvFollower.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "tests/support/ModuleRig.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::dsp {
namespace {

constexpr float kRate = 48000.0f;
using Signal = std::function<float(int)>;

float Silence(int) { return 0.0f; }

/// A follower, run in blocks of 48 without a break between calls.
class Rig : public test::EffectRig<EnvFollower> {
 public:
  explicit Rig(float sampleRate = kRate) : EffectRig(48, sampleRate) {}

  /// Times so short that the output is the detected level itself.
  void FollowAtOnce() {
    Set(EnvFollower::kAttack, 1e-9f);
    Set(EnvFollower::kRelease, 1e-9f);
    Set(EnvFollower::kFixedLinearGain, 1.0f);
  }

  std::vector<float> Run(int count, const Signal& left, const Signal& right = nullptr) {
    std::vector<float> all;
    inputs[1] = right ? inputBuffers[1].data() : nullptr;
    for (int done = 0; done < count; done += 48) {
      for (int i = 0; i < 48; ++i) {
        inputs[0][i] = left(done + i);
        if (right) inputs[1][i] = right(done + i);
      }
      const auto samples = static_cast<uint32_t>(std::min(48, count - done));
      auto violations = test::Watch([&] { Process(samples); });
      violations.pageFaults = 0;  // the first block touches code for the first time
      EXPECT_TRUE(violations.None()) << violations.Text();
      all.insert(all.end(), outputs[0], outputs[0] + samples);
    }
    return all;
  }
};

Signal Constant(float x) {
  return [x](int) { return x; };
}

TEST(EnvFollower, ReadsTheRmsOfASineAsItsPeak) {
  Rig rig;
  const auto y = rig.Run(48000, [](int i) { return 0.7f * std::sin(0.13f * static_cast<float>(i)); });
  EXPECT_NEAR(y.back(), 0.7f, 0.005f);
  Rig constant;
  EXPECT_NEAR(constant.Run(48000, Constant(-0.5f)).back(), 0.5f * 1.4142135f, 1e-5f);
}

TEST(EnvFollower, TimesAreFiveTimeConstants) {
  Rig rig;
  rig.Set(EnvFollower::kRmsWindow, 0.0f);
  rig.Set(EnvFollower::kFixedLinearGain, 1.0f);
  rig.Set(EnvFollower::kAttack, 0.1f);
  rig.Set(EnvFollower::kRelease, 0.05f);
  EXPECT_NEAR(rig.Run(4800, Constant(1.0f)).back(), 1.0f - std::exp(-5.0f), 1e-4f);
  rig.Run(48000, Constant(1.0f));
  EXPECT_NEAR(rig.Run(2400, Silence).back(), std::exp(-5.0f), 1e-4f);
}

TEST(EnvFollower, FallsToACleanZeroBelowMinus120dB) {
  for (const float window : {0.0f, 10.0f}) {
    Rig rig;
    rig.Set(EnvFollower::kRmsWindow, window);
    rig.Run(4800, Constant(1.0f));
    const auto tail = rig.Run(48000, Silence);
    EXPECT_EQ(tail.back(), 0.0f);
    for (const float y : tail) EXPECT_TRUE(y == 0.0f || y >= 1e-6f) << y;
  }
}

TEST(EnvFollower, WindowIsAWholeNumberOfSamplesLong) {
  for (const auto& [sampleRate, milliseconds, samples] :
       {std::tuple{44100.0f, 10.0f, 441}, {48000.0f, 10.0f, 480}, {48000.0f, 100.0f, 4800}}) {
    Rig rig(sampleRate);
    rig.FollowAtOnce();
    rig.Set(EnvFollower::kRmsWindow, milliseconds);
    const auto y = rig.Run(6000, [](int i) { return i == 7 ? 1.0f : 0.0f; });
    const auto sounding = std::count_if(y.begin(), y.end(), [](float v) { return v != 0.0f; });
    EXPECT_EQ(sounding, samples);
    EXPECT_NEAR(y[7], 1.0f / std::sqrt(static_cast<float>(samples)), 1e-6f);
    EXPECT_EQ(y[7 + samples], 0.0f);
  }
  Rig rig;
  EXPECT_EQ(rig.effect.GetRing().Size(), 4805u);
}

TEST(EnvFollower, WorksOnPeaksBelowAWindowOfTwoSamples) {
  Rig rig;
  rig.FollowAtOnce();
  rig.Set(EnvFollower::kRmsWindow, 1.9f / 48.0f);
  EXPECT_EQ(rig.Run(48, Constant(-5e-6f)).back(), 5e-6f);  // too soft for a running sum
  EXPECT_EQ(rig.Run(1, Silence).back(), 0.0f);             // no window holds it
}

TEST(EnvFollower, RunningSumLeavesNoRestBehind) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> noise(-100.0f, 100.0f);
  Rig rig;
  rig.FollowAtOnce();
  rig.Run(480000, [&](int) { return noise(random); });
  EXPECT_EQ(rig.Run(960, Silence).back(), 0.0f);
}

TEST(EnvFollower, AveragesBothSidesAndReadsMonoWithoutARight) {
  for (const float window : {0.0f, 10.0f}) {
    Rig rig;
    rig.FollowAtOnce();
    rig.Set(EnvFollower::kRmsWindow, window);
    EXPECT_NEAR(rig.Run(960, Constant(0.5f), Constant(-1.0f)).back(), 0.5f, 1e-6f);
    rig.Set(EnvFollower::kStereoInput, 1.0f);
    EXPECT_NEAR(rig.Run(960, Constant(0.5f), Constant(-1.0f)).back(), 0.75f, 1e-6f);
    EXPECT_NEAR(rig.Run(960, Constant(0.5f)).back(), 0.5f, 1e-6f);
  }
}

TEST(EnvFollower, GateComparesBehindTheGainForPeaksAndBeforeItForRms) {
  const float minus30dB = 0.0316228f;
  for (const bool rms : {false, true}) {
    Rig rig;
    rig.FollowAtOnce();
    rig.Set(EnvFollower::kRmsWindow, rms ? 10.0f : 0.0f);
    rig.Set(EnvFollower::kFixedLinearGain, 10.0f);
    rig.Set(EnvFollower::kThreshold, -20.0f);
    rig.Set(EnvFollower::kThresholdActive, 1.0f);
    EXPECT_NEAR(rig.Run(960, Constant(minus30dB)).back(), rms ? 0.0f : 10.0f * minus30dB, 1e-6f);
    EXPECT_NEAR(rig.Run(960, Constant(0.2f)).back(), 2.0f, 1e-5f);
    rig.Set(EnvFollower::kStereoInput, 1.0f);
    EXPECT_NEAR(rig.Run(960, Constant(minus30dB), Constant(minus30dB)).back(), rms ? 0.0f : 10.0f * minus30dB,
                1e-6f);
  }
}

TEST(EnvFollower, ANewWindowRestartsTheFollower) {
  Rig rig;
  EXPECT_GT(rig.Run(9600, Constant(1.0f)).back(), 1.4f);
  rig.Set(EnvFollower::kRmsWindow, 20.0f);
  EXPECT_LT(rig.Run(1, Constant(1.0f)).back(), 0.01f);
  EXPECT_GT(rig.Run(9600, Constant(1.0f)).back(), 1.4f);
  rig.effect.ResetState(false);
  EXPECT_EQ(rig.Run(1, Silence).back(), 0.0f);
}

TEST(EnvFollower, SkipsMissingPorts) {
  Rig rig;
  ProcessContext nothing;
  nothing.sampleCount = 48;
  EXPECT_EQ(rig.effect.Process(nothing), 0u);
}

TEST(EnvFollower, TwoAtOnceFollowAsOneAfterTheOther) {
  EnvFollower alone[2] = {EnvFollower("A"), EnvFollower("B")};
  EnvFollower both[2] = {EnvFollower("A"), EnvFollower("B")};
  for (auto* pair : {alone, both}) {
    for (int f = 0; f < 2; ++f) {
      pair[f].Init(48, kRate);
      pair[f].SetParamInternal(EnvFollower::kStereoInput, static_cast<float>(f));
      pair[f].SetParamInternal(EnvFollower::kRmsWindow, 7.3f + 20.0f * static_cast<float>(f));
      pair[f].SetParamInternal(EnvFollower::kAttack, 0.02f);
    }
  }
  std::minstd_rand draw(5);
  for (uint32_t round = 0; round < 400; ++round) {
    // A gate, a speed of its own, a detector of peaks: what two at once can share and what they can't.
    if (round == 100)
      both[0].SetParam(EnvFollower::kRelease, 0.3f), alone[0].SetParam(EnvFollower::kRelease, 0.3f);
    for (auto* pair : {alone, both}) {
      if (round == 200) pair[0].SetParam(EnvFollower::kThresholdActive, 1.0f);
      if (round == 200) pair[0].SetParam(EnvFollower::kThreshold, 0.7f);
      if (round == 300) pair[1].SetParam(EnvFollower::kRmsWindow, 0.0f);
    }
    const uint32_t count = round % 5 == 4 ? 1 + static_cast<uint32_t>(draw() % 48) : 48;
    float in[2][48], out[4][48] = {};
    for (auto& channel : in) {
      for (float& x : channel) x = round % 50 < 40 ? static_cast<float>(draw() % 2001) * 1e-3f - 1.0f : 0.0f;
    }
    float* inputs[2] = {in[0], in[1]};
    float* outputs[4] = {out[0], out[1], out[2], out[3]};
    ProcessContext contexts[4];
    for (int c = 0; c < 4; ++c) {
      contexts[c] = contexts[c].WithPorts(inputs, {&outputs[c], 1});
      contexts[c].sampleCount = count;
    }
    for (int f = 0; f < 2; ++f) alone[f].Process(contexts[f]);
    EnvFollower::ProcessBoth(both[0], contexts[2], both[1], contexts[3]);
    for (uint32_t i = 0; i < count; ++i) {
      ASSERT_EQ(out[2][i], out[0][i]) << "round " << round << ", sample " << i;
      ASSERT_EQ(out[3][i], out[1][i]) << "round " << round << ", sample " << i;
    }
  }
}

}  // namespace
}  // namespace Vantora::dsp
