#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "dsp/control/SmootherInterp.h"
#include "dsp/control/SmootherInterpLPF.h"
#include "dsp/control/SmootherLPF.h"
#include "dsp/control/SmootherSRL.h"

namespace Vantora::dsp {
namespace {

struct SRLProbe : SmootherSRL {
  using SmootherSRL::SmootherSRL;
  using SmootherSRL::step;
};
struct InterpProbe : SmootherInterp {
  using SmootherInterp::counter;
  using SmootherInterp::increment;
  using SmootherInterp::steps;
};
struct LPFProbe : SmootherLPF {
  using SmootherLPF::SmootherLPF;
  using SmootherLPF::threshold;
};
struct InterpLPFProbe : SmootherInterpLPF {
  using SmootherInterpLPF::counter;
  using SmootherInterpLPF::increment;
  using SmootherInterpLPF::ramp;
  using SmootherInterpLPF::SmootherInterpLPF;
  using SmootherInterpLPF::threshold;
};

/// Renders `count` samples with both forms of the same smoother and returns the largest difference.
template <typename S>
float BlockAgainstTicks(S& block, S& ticks, uint32_t count) {
  std::vector<float> out(count);
  block.Render(out.data(), count);
  float worst = 0.0f;
  for (const float y : out) worst = std::max(worst, std::fabs(y - ticks.Tick()));
  return worst;
}

TEST(SmootherSRL, CoversItsRangeInItsTimeAndStopsExactlyOnTheTarget) {
  SRLProbe fade(0.01f, 1.0f);
  fade.Setup(1, 48000.0f);
  EXPECT_FLOAT_EQ(fade.step, 1.0f / 480.0f);
  for (const float end : {0.5f, -0.25f}) {
    const float from = fade.Current();
    fade.SetTarget(end);
    int ticks = 0;
    for (; !fade.IsSettled() && ticks < 1000; ++ticks) fade.Tick();
    EXPECT_NEAR(ticks, std::fabs(end - from) * 480.0f,
                1.0f);  // one more where the sum of the steps rounds down
    EXPECT_EQ(fade.Current(), end);
  }
  fade.SetRange(2.0f);
  EXPECT_FLOAT_EQ(fade.step, 2.0f / 480.0f);
}

TEST(SmootherSRL, BlockFormFollowsTheTicksAndNeverPassesTheTarget) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> value(-2.0f, 2.0f);
  SmootherSRL block(0.004f), ticks(0.004f);
  block.Setup(1, 44100.0f);
  ticks.Setup(1, 44100.0f);
  std::array<float, 64> out;
  for (int round = 0; round < 2000; ++round) {
    if (round % 5 == 0) {
      const float target = value(random);
      block.SetTarget(target);
      ticks.SetTarget(target);
    }
    const float before = block.Current();
    const uint32_t count = 4 * (1 + random() % 16);
    const uint32_t moving = block.Render(out.data(), count);
    for (uint32_t i = 0; i < count; ++i) {
      if (i >= moving) {
        ASSERT_EQ(out[i], block.Target()) << "round " << round << " sample " << i << " of a landed block";
      }
      ASSERT_NEAR(out[i], ticks.Tick(), 2e-5f) << "round " << round << " sample " << i;
      ASSERT_GE((out[i] - before) * (block.Target() - out[i]), 0.0f) << "beyond the target";
    }
    if (moving > 0) {
      ASSERT_NE(out[moving - 1], block.Target()) << "round " << round;
    }
  }
}

TEST(SmootherSRL, LandsAtOnceWithoutASampleRate) {
  SmootherSRL ticked(0.01f), rendered(0.01f);
  ticked.SetTarget(-3.0f);
  rendered.SetTarget(-3.0f);
  EXPECT_EQ(ticked.Tick(), -3.0f);
  std::array<float, 4> out{};
  rendered.Render(out.data(), 4);
  EXPECT_EQ(out, (std::array<float, 4>{-3.0f, -3.0f, -3.0f, -3.0f}));
}

TEST(SmootherInterp, TakesTheSameTimeWhateverTheDistance) {
  for (const float target : {0.001f, 5.0f, -700.0f}) {
    SmootherInterp glide;
    glide.Setup(1, 32, 48000.0f);
    glide.SetTarget(target);
    for (int i = 0; i < 31; ++i) {
      glide.Tick();
      EXPECT_FALSE(glide.IsSettled());
    }
    EXPECT_EQ(glide.Tick(), target);
  }
}

TEST(SmootherInterp, SnapTakesItsCounterFromTheDecimation) {
  InterpProbe glide;
  glide.Setup(4, 64, 48000.0f);
  glide.SetValue(2.0f);
  EXPECT_EQ(glide.counter, 3u);
  EXPECT_EQ(glide.steps, 16u);
  EXPECT_EQ(glide.Tick(), 2.0f);
  EXPECT_EQ(glide.counter, 4u);
  // A ramp between different ends keeps the counter and increment it finds: none starts here.
  glide.SetRamp(1.0f, 3.0f);
  EXPECT_EQ(glide.counter, 4u);
  EXPECT_EQ(glide.increment, 0.0f);
  EXPECT_EQ(glide.Tick(), 1.0f);
  glide.SetRamp(5.0f, 5.0f);
  EXPECT_EQ(glide.counter, 3u);
}

TEST(SmootherInterp, BlockRunsBeyondAShortRampAndTheNextOneLands) {
  InterpProbe glide;
  glide.Setup(1, 8, 48000.0f);
  glide.SetTarget(8.0f);
  std::array<float, 16> out;
  glide.Render(out.data(), 16);
  for (int k = 1; k <= 16; ++k) EXPECT_EQ(out[k - 1], static_cast<float>(k));
  EXPECT_EQ(glide.Current(), 16.0f);
  EXPECT_EQ(glide.counter, 16u);
  glide.Render(out.data(), 16);
  for (const float y : out) EXPECT_EQ(y, 8.0f);
}

TEST(SmootherLPF, TimeIsFiveTimeConstants) {
  SmootherLPF glide(0.1f);
  glide.Setup(1, 48000.0f);
  glide.SetTarget(1.0f);
  for (int i = 0; i < 4800; ++i) glide.Tick();
  EXPECT_NEAR(1.0 - glide.Current(), std::exp(-5.0), 1e-7);
  // Ticked once a block of 48, a hundred ticks go as far.
  SmootherLPF slow(0.1f);
  slow.Setup(48, 48000.0f);
  slow.SetTarget(1.0f);
  for (int i = 0; i < 100; ++i) slow.Tick();
  EXPECT_NEAR(slow.Current(), glide.Current(), 1e-12);
}

TEST(SmootherLPF, BlockFormFollowsTheTicks) {
  std::mt19937 random(11);
  std::uniform_real_distribution<float> value(-100.0f, 100.0f);
  for (const float time : {0.0005f, 0.01f, 0.1f}) {
    SmootherLPF block(time), ticks(time);
    block.Setup(1, 48000.0f);
    ticks.Setup(1, 48000.0f);
    for (int round = 0; round < 300; ++round) {
      const float target = value(random);
      block.SetTarget(target);
      ticks.SetTarget(target);
      ASSERT_LE(BlockAgainstTicks(block, ticks, 4 * (1 + random() % 64)), 1e-5f);
      ASSERT_NEAR(block.Current(), ticks.Current(), 1e-11);
    }
  }
}

/// Samples until a smoother rests on its target, by ticks and by blocks of four.
template <typename S>
std::pair<int, int> SamplesToLand(S block, S ticks) {
  std::array<float, 4> out;
  int rendered = 0, ticked = 0;
  for (; !block.IsSettled() && rendered < 10'000'000; rendered += 4) block.Render(out.data(), 4);
  for (; !ticks.IsSettled() && ticked < 10'000'000; ++ticked) ticks.Tick();
  return {rendered, ticked};
}

TEST(SmootherLPF, BothFormsSnapAtTheSameSample) {
  for (const float time : {0.0007f, 0.003f, 0.05f}) {
    for (const float target : {0.0f, 1.0f, -440.0f, 1e-6f}) {
      SmootherLPF glide(time);
      glide.Setup(1, 44100.0f);
      glide.SetValue(target + 1.0f);
      glide.SetTarget(target);
      const auto [rendered, ticked] = SamplesToLand(glide, glide);
      EXPECT_GE(rendered, ticked) << time << " to " << target;
      EXPECT_LT(rendered - ticked, 4) << time << " to " << target;
    }
  }
}

TEST(SmootherLPF, TailToZeroEndsInACleanZero) {
  SmootherLPF glide(0.001f);
  glide.Setup(1, 48000.0f);
  glide.SetValue(1.0f);
  glide.SetTarget(0.0f);
  std::array<float, 64> out;
  float smallest = 1.0f;
  for (int i = 0; i < 100 && !glide.IsSettled(); ++i) {
    glide.Render(out.data(), 64);
    for (const float y : out) smallest = y != 0.0f ? std::min(smallest, std::fabs(y)) : smallest;
  }
  EXPECT_EQ(glide.Current(), 0.0);
  EXPECT_LT(smallest, 2e-19f);
  EXPECT_GT(smallest, 5e-20f);  // far above the denormal numbers
}

TEST(SmootherLPF, SnapDistanceBelongsToTheTargetThatWasGlidedTo) {
  LPFProbe glide(0.01f);
  glide.Setup(1, 48000.0f);
  EXPECT_EQ(glide.threshold, 1e-12);
  glide.SetTarget(100.0f);
  EXPECT_EQ(glide.threshold, 100.0 * 1e-12);
  glide.SetValue(3.0f);
  EXPECT_EQ(glide.threshold, 100.0 * 1e-12);
  glide.SetRamp(1.0f, 0.0f);
  EXPECT_EQ(glide.threshold, 100.0 * 1e-12);
  glide.SetTarget(-0.0f);  // equal to the target: nothing
  EXPECT_EQ(glide.threshold, 100.0 * 1e-12);
}

TEST(SmootherLPF, FollowsAtOnceWithoutASampleRateOrWithATimeOfZero) {
  SmootherLPF fresh(0.1f), instant(0.0f);
  instant.Setup(1, 48000.0f);
  for (SmootherLPF* glide : {&fresh, &instant}) {
    glide->SetTarget(0.7f);
    EXPECT_EQ(glide->Tick(), 0.7f);
    glide->SetTarget(0.2f);
    std::array<float, 4> out;
    glide->Render(out.data(), 4);
    EXPECT_EQ(out[0], 0.2f);
    EXPECT_EQ(glide->Current(), static_cast<double>(0.2f));
  }
}

TEST(SmootherInterpLPF, BlockFormFollowsTheTicksWhenARampLastsOneBlock) {
  std::mt19937 random(13);
  std::uniform_real_distribution<float> value(-10.0f, 10.0f);
  for (const uint32_t size : {4u, 44u, 256u}) {
    SmootherInterpLPF block(0.005f), ticks(0.005f);
    block.Setup(1, size, 44100.0f);
    ticks.Setup(1, size, 44100.0f);
    for (int round = 0; round < 400; ++round) {
      if (round % 3 != 2) {
        const float target = value(random);
        block.SetTarget(target);
        ticks.SetTarget(target);
      }
      ASSERT_LE(BlockAgainstTicks(block, ticks, size), 2e-6f) << size << " round " << round;
    }
  }
}

TEST(SmootherInterpLPF, LagsARampByItsConstant) {
  // Far into a long ramp the low-pass runs behind it by p / (1 - p) steps.
  SmootherInterpLPF glide(0.001f);
  glide.Setup(1, 4096, 48000.0f);
  glide.SetTarget(4096.0f);
  std::vector<float> out(2048);
  glide.Render(out.data(), 2048);
  const double p = std::exp(-5.0 / 48.0);
  EXPECT_NEAR(out[2047], 2048.0 - p / (1.0 - p), 1e-3);
}

TEST(SmootherInterpLPF, ComparesANewTargetWithTheRamp) {
  InterpLPFProbe glide(0.01f);
  glide.Setup(1, 64, 48000.0f);
  glide.SetTarget(1.0f);
  glide.SetTarget(0.0f);  // the ramp still stands there
  EXPECT_EQ(glide.Target(), 1.0);
  std::array<float, 64> out;
  glide.Render(out.data(), 64);
  EXPECT_EQ(glide.ramp, 1.0);
  EXPECT_EQ(glide.counter, 64u);
  glide.SetTarget(1.0f);  // the ramp has landed there, though the low-pass hasn't: nothing restarts
  EXPECT_EQ(glide.counter, 64u);
  EXPECT_FALSE(glide.IsSettled());
}

TEST(SmootherInterpLPF, ShortBlocksRampOnBeyondTheTarget) {
  // Intended: the ramp counts as landed after the first block while the counter goes on.
  InterpLPFProbe glide(1e-9f);  // the low-pass out of the way
  glide.Setup(1, 64, 48000.0f);
  glide.SetTarget(64.0f);
  std::array<float, 16> out;
  glide.Render(out.data(), 16);
  EXPECT_FLOAT_EQ(out[15], 16.0f);
  EXPECT_EQ(glide.ramp, 64.0);
  glide.Render(out.data(), 16);
  EXPECT_FLOAT_EQ(out[15], 80.0f);
  for (int i = 0; i < 3; ++i) glide.Render(out.data(), 16);
  EXPECT_FLOAT_EQ(out[15], 64.0f);
}

TEST(SmootherInterpLPF, RampBetweenEqualEndsIsASnap) {
  InterpLPFProbe glide(0.01f);
  glide.Setup(1, 64, 48000.0f);
  glide.SetTarget(5.0f);
  glide.SetRamp(2.0f, 2.0f);
  EXPECT_TRUE(glide.IsSettled());
  EXPECT_EQ(glide.Tick(), 2.0f);
  EXPECT_EQ(glide.increment, 0.0);
  glide.SetRamp(2.0f, 4.0f);
  EXPECT_EQ(glide.increment, 2.0 / 64.0);
  EXPECT_EQ(glide.counter, 0u);
  EXPECT_EQ(glide.threshold, 4e-12);
}

/// What a block of six leaves behind in a buffer of 9s, settled or gliding from 0 to 1.
template <typename S>
std::array<float, 8> RenderSix(S& smoother, bool gliding) {
  smoother.SetValue(gliding ? 0.0f : 1.0f);
  smoother.SetTarget(1.0f);
  std::array<float, 8> out;
  out.fill(9.0f);
  smoother.Render(out.data(), 6);
  return out;
}

template <typename S>
void ExpectWholeGroupsOnly(S smoother) {
  for (const bool gliding : {true, false}) {
    const auto out = RenderSix(smoother, gliding);
    for (int i = 0; i < 4; ++i) EXPECT_LE(out[i], 1.0f);
    for (int i = 4; i < 8; ++i) EXPECT_EQ(out[i], 9.0f) << "gliding " << gliding << " sample " << i;
  }
}

TEST(Smoothers, RenderWholeGroupsOfFourAndLeaveTheRest) {
  SmootherSRL srl(0.1f);
  SmootherInterp interp;
  SmootherLPF lpf(0.1f);
  SmootherInterpLPF interpLpf(0.1f);
  srl.Setup(1, 48000.0f);
  interp.Setup(1, 64, 48000.0f);
  lpf.Setup(1, 48000.0f);
  interpLpf.Setup(1, 64, 48000.0f);
  ExpectWholeGroupsOnly(srl);
  ExpectWholeGroupsOnly(interp);
  ExpectWholeGroupsOnly(lpf);
  ExpectWholeGroupsOnly(interpLpf);

  RenderSix(srl, true);
  EXPECT_EQ(srl.Current(), 9.0f);  // reads the last element whether written or not
  const auto out = RenderSix(lpf, true);
  EXPECT_EQ(static_cast<float>(lpf.Current()), out[3]);
  float none[3] = {};
  lpf.Render(none, 3);
  EXPECT_EQ(lpf.Current(), 0.0);
  RenderSix(interpLpf, true);
  interpLpf.Render(none, 3);
  EXPECT_EQ(interpLpf.Current(), 0.0);
  EXPECT_EQ(none[0], 0.0f);
}

TEST(Smoothers, AnEmptyBlockTouchesNoMemory) {
  SmootherSRL srl(0.1f);
  SmootherInterp interp;
  interp.Setup(1, 64, 48000.0f);
  for (int round = 0; round < 2; ++round) {
    srl.Render(nullptr, 0);
    interp.Render(nullptr, 0);
    srl.SetTarget(1.0f);
    interp.SetTarget(1.0f);
  }
  EXPECT_EQ(srl.Current(), 0.0f);
  EXPECT_EQ(interp.Current(), 0.0f);

  // A glide goes on behind it as if it had not been.
  std::vector<float> plain(8), interrupted(8);
  for (std::vector<float>* out : {&plain, &interrupted}) {
    SmootherLPF lpf(0.1f);
    SmootherInterpLPF interpLpf(0.1f);
    lpf.Setup(1, 48000.0f);
    interpLpf.Setup(1, 64, 48000.0f);
    for (SmootherLPF* smoother : {&lpf, static_cast<SmootherLPF*>(&interpLpf)}) {
      smoother->SetValue(1.0f);
      smoother->SetTarget(0.5f);
    }
    if (out == &interrupted) {
      lpf.Render(nullptr, 0);
      interpLpf.Render(nullptr, 0);
    }
    lpf.Render(out->data(), 4);
    interpLpf.Render(out->data() + 4, 4);
  }
  EXPECT_EQ(plain, interrupted);
  EXPECT_GT(plain[0], 0.9f);
}

TEST(SmootherInterpLPF, SideBySideGivesTheBitsOfOneAfterTheOther) {
  constexpr uint32_t kCount = 19;  // more than go together, and odd
  std::vector<SmootherInterpLPF> alone(kCount, SmootherInterpLPF(0.01f));
  std::vector<SmootherInterpLPF> together = alone;
  std::minstd_rand draw(3);
  for (auto* all : {&alone, &together}) {
    for (auto& smoother : *all) smoother.Setup(1, 48, 48000.0f);
  }
  for (int round = 0; round < 300; ++round) {
    const uint32_t count = round % 7 == 6 ? 1 + static_cast<uint32_t>(draw() % 48) : 48;
    std::vector<std::array<float, 48>> expected(kCount), actual(kCount);
    std::vector<SmootherInterpLPF*> smoothers;
    std::vector<float*> outs;
    for (uint32_t i = 0; i < kCount; ++i) {
      if (draw() % 3 == 0) {
        const float aim = static_cast<float>(draw() % 1000) * 0.01f;
        alone[i].SetTarget(aim);
        together[i].SetTarget(aim);
      }
      alone[i].Render(expected[i].data(), count);
      smoothers.push_back(&together[i]);
      outs.push_back(actual[i].data());
    }
    SmootherInterpLPF::RenderSideBySide(smoothers.data(), outs.data(), kCount, count);
    for (uint32_t i = 0; i < kCount; ++i) {
      for (uint32_t k = 0; k < (count & ~3u); ++k)
        ASSERT_EQ(actual[i][k], expected[i][k]) << round << ", " << i;
      ASSERT_EQ(together[i].Current(), alone[i].Current()) << round << ", " << i;
    }
  }
}

// A pair of glides may be known to stay away from their lines, or to do no more than decay: short cuts with
// the bits of the long way, which each goes that may land within the block.
TEST(SmootherInterpLPF, AllCoursesOfAPairHaveTheBitsOfTheLongWay) {
  std::minstd_rand draw(11);
  const auto unit = [&] { return static_cast<double>(draw() >> 8) / 8388608.0; };
  const auto below = [&](uint32_t end) { return static_cast<uint32_t>(unit() * end) % end; };
  uint32_t landings = 0;
  for (const auto target :
       {SimdTarget::Baseline, SimdTarget::Ssse3, SimdTarget::Sse4, SimdTarget::Avx2, SimdTarget::Avx512}) {
    for (uint32_t round = 0; round < 5000; ++round) {
      const uint32_t count = round % 10 == 0 ? 4 + 4 * below(40) : 48;
      std::array<LineAndDecay, 3> runs{};
      std::array<std::array<float, 176>, 3> outs{};
      const uint32_t kind = below(4);
      for (uint32_t r = 0; r < 3; ++r) {
        LineAndDecay& run = runs[r];
        const bool isLine = kind == 0 || (kind == 1 && r == 1);
        const double pole = below(3) == 0 ? unit() : 1.0 - 0.02 * unit();
        run.start = 100.0 * (unit() - 0.5);
        run.slope = isLine ? unit() - 0.5 : -0.0;
        run.lag = isLine ? run.slope * pole / (1.0 - pole) : 0.0;
        run.pole4 = pole * pole * pole * pole;
        run.snap = 1e-11 * unit();
        // From afar, or so near that it lands.
        double distance = (unit() - 0.5) * (below(2) == 0 ? 40.0 : below(2) == 0 ? 1e-9 : 4.0 * run.snap);
        for (double& decay : run.decay) decay = distance = distance * pole;
        run.out = outs[r].data();
      }
      const auto asked = runs;
      SmootherKernelsFor(std::min(target, BestSimdTarget())).renderLines(runs.data(), 3, count);
      for (uint32_t r = 0; r < 3; ++r) {
        LineAndDecay run = asked[r];
        for (uint32_t k = 0; k < count; ++k) {
          const double line = run.start + static_cast<double>(k + 1) * run.slope;
          const double rest = run.decay[k % 4] - run.lag;
          const bool hasLanded = !(std::fabs(rest) >= run.snap);
          run.last = hasLanded ? line : line + rest;
          if (hasLanded) ++landings;
          ASSERT_EQ(outs[r][k], static_cast<float>(run.last)) << round << ", " << r << ", sample " << k;
          run.decay[k % 4] *= run.pole4;
        }
        ASSERT_EQ(runs[r].last, run.last) << round << ", " << r;
      }
    }
  }
  EXPECT_GT(landings, 1000u);
}

}  // namespace
}  // namespace Vantora::dsp
