#include "dsp/effects/MultiDist.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <stdexcept>

#include "engine/IOSubset.h"
#include "tests/support/ModuleRig.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::dsp {
namespace {

class Shaper : public test::EffectRig<MultiDist> {
 public:
  explicit Shaper(uint32_t algorithm = 3, uint32_t blockSize = 48) : EffectRig(blockSize) {
    for (uint32_t dB : {MultiDist::kDrive, MultiDist::kGainStagingIn, MultiDist::kGainStagingOut})
      Set(dB, 0.0f);
    Set(MultiDist::kAutoComp, 0.0f);
    Set(MultiDist::kDistType, static_cast<float>(algorithm));
  }
};

double CurveOf(uint32_t algorithm, double x) {
  double y = 0.0;
  VisitShapingCurve(algorithm, [&](auto curve) { y = decltype(curve)::template Curve<double>(x); });
  return y;
}

TEST(MultiDist, StartsAtZeroOutputGainWithCompensation) {
  MultiDist fresh("");
  EXPECT_EQ(fresh.Param(MultiDist::kOutputGain).GetValue(), 0.0f);
  EXPECT_EQ(fresh.Param(MultiDist::kAutoComp).GetValue(), 1.0f);
}

TEST(MultiDist, AtZeroDriveIsTheCurveTimesTheOutputGain) {
  for (uint32_t algorithm = 0; algorithm < kShapingCurveCount; ++algorithm) {
    SCOPED_TRACE(std::string(kShapingCurveNames[algorithm]));
    Shaper shaper(algorithm);
    shaper.Set(MultiDist::kOutputGain, -4.0f);
    shaper.Set(MultiDist::kGainStagingOut, -2.0f);
    shaper.effect.ResetState(true);
    const auto source = [](uint32_t i) { return -2.5 + i * 0.0101; };
    const auto out = shaper.Run(480, source);
    const double gain = std::pow(2.0, -6.0 * 0.1660964);
    for (uint32_t i = 0; i < 480; ++i) {
      EXPECT_NEAR(out[i], gain * CurveOf(algorithm, static_cast<float>(source(i))), 4e-6);
    }
  }
}

TEST(MultiDist, CompensationKeepsTheLevelOfAFullScaleSineAtAnyDrive) {
  for (uint32_t algorithm = 0; algorithm < kShapingCurveCount; ++algorithm) {
    for (const float dB : {-14.0f, -12.0f, -1.5f, 0.0f, 9.0f, 10.0f, 36.0f}) {
      Shaper shaper(algorithm);
      shaper.effect.ReDeclareParam(MultiDist::kDrive, MappingTools::Linear, false, -14.0f, 36.0f);
      shaper.Set(MultiDist::kDrive, dB);
      shaper.Set(MultiDist::kAutoComp, 1.0f);
      const auto out = shaper.Run(
          4800, [](uint32_t i) { return std::sin(2.0 * std::numbers::pi * (i + 0.5) * 7 / 4800.0); });
      // Exact at the table's entries; between them a bent loss leaves a little over.
      EXPECT_NEAR(10.0 * std::log10(test::MeanSquare(out) / 0.5), 0.0,
                  std::fmod(dB, 3.0f) == 0.0f ? 0.02 : 1.0)
          << kShapingCurveNames[algorithm] << " at " << dB << " dB";
    }
  }
}

TEST(MultiDist, CompensationSwitchedOnAfterAResetRampsFromNone) {
  Shaper shaper(0);  // off; below full scale this curve is a wire
  shaper.Set(MultiDist::kDrive, -12.0f);
  std::fill_n(shaper.inputs[0], 48, 0.5f);
  shaper.Process();
  const float plain = shaper.outputs[0][47];
  shaper.Set(MultiDist::kAutoComp, 1.0f);
  shaper.Process();
  const float gain = shaper.outputs[0][47] / plain;
  EXPECT_NEAR(gain, 3.98107f, 1e-3f);
  EXPECT_NEAR(shaper.outputs[0][0], plain * (1.0f + (gain - 1.0f) / 48.0f), 1e-5f);
}

TEST(MultiDist, OffersTheAllowedAlgorithmsInTheirOrder) {
  MultiDist shaper("");
  shaper.SetAllowedAlgorithms({3, 4, 14});
  EXPECT_EQ(shaper.EntryOf(3), 0);
  EXPECT_EQ(shaper.EntryOf(14), 2);
  EXPECT_EQ(shaper.EntryOf(0), -1);
  EXPECT_EQ(shaper.Param(MultiDist::kDistType).GetStepCount(), 3u);
  EXPECT_THROW(shaper.SetAllowedAlgorithms({}), std::runtime_error);
  EXPECT_THROW(shaper.SetAllowedAlgorithms({16}), std::runtime_error);
  Shaper rig;
  rig.effect.SetAllowedAlgorithms({3, 4, 14});
  for (uint32_t entry = 0; entry < 3; ++entry) {
    rig.Set(MultiDist::kDistType, static_cast<float>(entry));
    std::fill_n(rig.inputs[0], 48, 0.125f);
    rig.Process();
    EXPECT_NEAR(rig.outputs[0][5], CurveOf(entry == 0 ? 3 : entry == 1 ? 4 : 14, 0.125), 1e-6);
  }
}

// A driven 2.4 kHz sine: what is not a harmonic of it is alias.
TEST(MultiDist, AntiderivativesAndOversamplingLowerTheAliasesOfEveryCurve) {
  std::printf("%-16s %8s %8s %8s %8s  aliases in dB\n", "", "plain", "ADAA", "2x", "both");
  for (uint32_t algorithm = 0; algorithm < kShapingCurveCount; ++algorithm) {
    const auto aliases = [&](bool antiAlias, bool upsample) {
      Shaper shaper(algorithm, 64);
      shaper.Set(MultiDist::kDrive, 9.0f);
      shaper.Set(MultiDist::kAntiAl, antiAlias ? 1.0f : 0.0f);
      shaper.Set(MultiDist::kUpsamp, upsample ? 1.0f : 0.0f);
      auto out = shaper.Run(
          8192, [](uint32_t i) { return 0.7 * std::sin(2.0 * std::numbers::pi * 203 * i / 4096.0 + 0.1); });
      out.erase(out.begin(), out.begin() + 4096);
      return test::AliasDb(out, 203);
    };
    const double plain = aliases(false, false), mended = aliases(true, false), doubled = aliases(false, true),
                 both = aliases(true, true);
    std::printf("%-16s %8.1f %8.1f %8.1f %8.1f\n", kShapingCurveNames[algorithm].data(), plain, mended,
                doubled, both);
    EXPECT_LT(mended, plain - 3.0) << kShapingCurveNames[algorithm];
    // The stairs' many kinks keep most of their power above twice the band.
    EXPECT_LT(doubled, plain + (kShapingCurveNames[algorithm] == "Stairs" ? 1.0 : -3.0))
        << kShapingCurveNames[algorithm];
    EXPECT_LT(both, mended - 1.5) << kShapingCurveNames[algorithm];
  }
}

TEST(MultiDist, AntiAliasingStandsStillOnAConstantAndJumpsNowhereWhenItIsSwitched) {
  for (uint32_t algorithm = 0; algorithm < kShapingCurveCount; ++algorithm) {
    SCOPED_TRACE(std::string(kShapingCurveNames[algorithm]));
    Shaper shaper(algorithm);
    std::fill_n(shaper.inputs[0], 48, 0.4f);
    shaper.Process();
    const float direct = shaper.outputs[0][47];
    shaper.Set(MultiDist::kAntiAl, 1.0f);
    shaper.Process();
    EXPECT_NEAR(shaper.outputs[0][0], direct, 1e-6);  // the last input was kept in the direct form too
    // Another curve starts from its own antiderivative.
    shaper.Set(MultiDist::kDistType, static_cast<float>((algorithm + 1) % kShapingCurveCount));
    shaper.Process();
    EXPECT_NEAR(shaper.outputs[0][0], CurveOf((algorithm + 1) % kShapingCurveCount, 0.4f), 1e-6);
    // After a reset the first sample is the mean on the way from 0.
    shaper.effect.ResetState(false);
    std::fill_n(shaper.inputs[0], 48, 0.0f);
    shaper.Process();
    EXPECT_NEAR(shaper.outputs[0][0], 0.0f, 1e-7);
  }
}

TEST(MultiDist, FeedbackEntersBehindTheDriveAndIsSentBeforeTheGains) {
  Shaper shaper;
  shaper.Set(MultiDist::kOutputGain, -20.0f);
  shaper.effect.ResetState(true);
  std::fill_n(shaper.inputs[0], 48, 0.3f);
  std::fill_n(shaper.inputs[3], 48, 0.2f);
  shaper.Process();
  EXPECT_EQ(shaper.outputs[2][4], 0.0f);
  shaper.Set(MultiDist::kFeedbackOn, 1.0f);
  shaper.Process();
  EXPECT_NEAR(shaper.outputs[2][4], CurveOf(3, 0.5), 1e-6);
  EXPECT_NEAR(shaper.outputs[0][4], 0.1 * CurveOf(3, 0.5), 1e-5);
}

TEST(MultiDist, AsASubsetWithTwoOutputsItSkipsTheFeedbackSend) {
  test::EffectRig<engine::IOSubset<MultiDist, 5, 2>> rig;
  rig.Set(MultiDist::kFeedbackOn, 1.0f);
  rig.Set(MultiDist::kStereo, 1.0f);
  EXPECT_EQ(rig.Process(), 1u);
  rig.inputs[1] = nullptr;
  rig.outputs[1] = nullptr;
  EXPECT_EQ(rig.Process(), 1u);
}

TEST(MultiDist, ADriveUnderWayGoesOnByAllSamplesOfABlock) {
  Shaper shaper;
  shaper.Set(MultiDist::kDrive, 0.0f);
  shaper.effect.ResetState(true);
  shaper.Process();
  shaper.Set(MultiDist::kDrive, 12.0f);
  SmootherInterpLPF drive(0.01f);
  drive.Setup(1, 48, 48000.0f);
  drive.SetValue(0.0);
  drive.SetTarget(12.0);
  std::fill_n(shaper.inputs[0], 48, 0.125f);
  for (const uint32_t count : {47u, 45u, 3u, 48u, 1u, 46u, 48u}) {
    std::array<float, 48> dB{};
    drive.Render(dB.data(), count);
    shaper.Process(count);
    for (uint32_t i = 0; i < WholeQuads(count); ++i) {
      const double driven = 0.125 * std::pow(10.0, static_cast<double>(dB[i]) / 20.0);
      ASSERT_NEAR(shaper.outputs[0][i], CurveOf(3, driven), 1e-5) << i << " of " << count;
    }
  }
}

TEST(MultiDist, LeavesWhatLiesBehindTheLastGroupOfFour) {
  Shaper shaper;
  std::fill_n(shaper.outputs[0], 48, 9.0f);
  shaper.Process(6);
  EXPECT_EQ(shaper.outputs[0][3], 0.0f);
  EXPECT_EQ(shaper.outputs[0][4], 9.0f);
  shaper.Process(0);
}

TEST(MultiDist, IsRealTimeInEveryForm) {
  for (uint32_t algorithm = 0; algorithm < kShapingCurveCount; ++algorithm) {
    for (int form = 0; form < 4; ++form) {
      Shaper shaper(algorithm);
      shaper.Set(MultiDist::kStereo, 1.0f);
      shaper.Set(MultiDist::kAutoComp, 1.0f);
      shaper.Set(MultiDist::kAntiAl, static_cast<float>(form & 1));
      shaper.Set(MultiDist::kUpsamp, static_cast<float>(form >> 1));
      shaper.Process();
      shaper.Set(MultiDist::kDrive, 20.0f);
      shaper.Set(MultiDist::kDistType, static_cast<float>((algorithm + 5) % kShapingCurveCount));
      EXPECT_REAL_TIME(shaper.Process());
    }
  }
}

}  // namespace
}  // namespace Vantora::dsp
