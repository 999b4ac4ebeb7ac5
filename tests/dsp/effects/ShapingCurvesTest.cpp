#include "dsp/effects/ShapingCurves.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "basictools/BitCast.h"
#include "dsp/effects/LevelLoss.h"
#include "dsp/effects/distortion/DistortionKernels.h"

namespace Vantora::dsp {
namespace {

template <typename Check>
void ForEachCurve(Check&& check) {
  for (uint32_t algorithm = 0; algorithm < kShapingCurveCount; ++algorithm) {
    SCOPED_TRACE(std::string(kShapingCurveNames[algorithm]));
    VisitShapingCurve(algorithm, check);
  }
}

TEST(ShapingCurves, AreSilentAtSilenceBoundedAndWithoutSteps) {
  ForEachCurve([](auto curve) {
    EXPECT_EQ(curve.template Curve<double>(0.0), 0.0);
    double before = curve.template Curve<double>(-6.0);
    for (int i = 1; i <= 120000; ++i) {
      const double x = -6.0 + 1e-4 * i;
      const double y = curve.template Curve<double>(x);
      EXPECT_LE(std::fabs(y), 1.0105) << x;
      EXPECT_LE(std::fabs(y - before), 32.0 * 0.9 * 1e-4) << x;  // the steepest piece has a slope of 28
      before = y;
    }
    EXPECT_LE(std::fabs(curve.template Curve<double>(1e30)), 1.0105);
    EXPECT_LE(std::fabs(curve.template Curve<double>(-1e30)), 1.0105);
  });
}

TEST(ShapingCurves, AreTheSlopesOfTheirAntiderivatives) {
  ForEachCurve([](auto curve) {
    // Simpson over short steps: a wrong piece, sign or joining constant shows at its place.
    constexpr double kStep = 1.0 / 1024.0;
    for (int i = -4096; i < 4096; ++i) {
      const double a = i * kStep + 1e-5, b = a + kStep;
      const double area =
          kStep / 6.0 *
          (curve.template Curve<double>(a) + 4.0 * curve.template Curve<double>(0.5 * (a + b)) +
           curve.template Curve<double>(b));
      EXPECT_NEAR(curve.Integral(b) - curve.Integral(a), area, 3e-6) << "from " << a;
    }
    EXPECT_NEAR(curve.Integral(50.0) - curve.Integral(49.0), curve.template Curve<double>(50.0), 1e-6);
    EXPECT_NEAR(curve.Integral(-49.0) - curve.Integral(-50.0), curve.template Curve<double>(-50.0), 1e-6);
  });
}

TEST(ShapingCurves, ComputeTheSameInFourLanesInFloatAndInDouble) {
  ForEachCurve([](auto curve) {
    for (int i = -40000; i < 40000; i += 4) {
      const Float4 x = {1e-4f * i, 1e-4f * (i + 1), 1e-4f * (i + 2), 1e-4f * (i + 3)};
      const Float4 lanes = curve.template Curve<Float4>(x);
      for (int lane = 0; lane < 4; ++lane) {
        // The ends of a piece move with the rounding of x: allow for its slope.
        EXPECT_NEAR(lanes[lane], curve.template Curve<double>(x[lane]), 4e-6) << x[lane];
        EXPECT_NEAR(curve.template Curve<float>(x[lane]), lanes[lane], 1e-6) << x[lane];
      }
    }
  });
}

TEST(ShapingCurves, HaveTheSameBitsOnEveryInstructionSet) {
  // All sizes, both signs, infinities and what isn't a number among them; then closely about full scale. A
  // length that no vector divides.
  std::vector<float> inputs;
  for (uint64_t bits = 0; bits < (uint64_t{1} << 32); bits += 39119)
    inputs.push_back(BitCast<float>(static_cast<uint32_t>(bits)));
  for (int i = -12000; i < 12001; ++i) inputs.push_back(1e-4f * static_cast<float>(i));
  inputs.resize(inputs.size() / 16 * 16 - 3);
  for (uint32_t algorithm = 0; algorithm < kShapingCurveCount; ++algorithm) {
    SCOPED_TRACE(std::string(kShapingCurveNames[algorithm]));
    std::vector<float> plain = inputs;
    DistortionKernelsFor(SimdTarget::Baseline)
        .shape[algorithm](plain.data(), static_cast<uint32_t>(plain.size()));
    for (const auto target : {SimdTarget::Ssse3, SimdTarget::Sse4, SimdTarget::Avx2, SimdTarget::Avx512}) {
      std::vector<float> shaped = inputs;
      DistortionKernelsFor(std::min(target, BestSimdTarget()))
          .shape[algorithm](shaped.data(), static_cast<uint32_t>(shaped.size()));
      for (std::size_t i = 0; i < inputs.size(); ++i)
        ASSERT_EQ(BitCast<uint32_t>(shaped[i]), BitCast<uint32_t>(plain[i])) << inputs[i];
    }
  }
}

TEST(ShapingCurves, OneSidedLimitCutsThePositiveSideOnly) {
  using Curve = curves::OneSidedLimit;
  EXPECT_EQ(Curve::Curve<double>(1.0), 1.0);
  EXPECT_EQ(Curve::Curve<double>(3.0), 1.0);
  EXPECT_NEAR(Curve::Curve<double>(-1.0), -1.0, 1e-12);
  EXPECT_NEAR(Curve::Curve<double>(-2.0), -1.01027, 1e-5);
  EXPECT_NEAR(Curve::Curve<double>(0.5), (1.0 - std::exp(-4.5781655 * 0.5)) / (1.0 - std::exp(-4.5781655)),
              1e-12);
  EXPECT_NEAR(Curve::Integral(2.0), 2.0126477, 1e-7);
  EXPECT_NEAR(Curve::Integral(0.0), 0.2184281 / 0.98972627, 1e-7);
}

TEST(ShapingCurves, ColdTubeLeansAndIncludesTheLowerEndOfEachPiece) {
  using Curve = curves::ColdTube;
  EXPECT_EQ(Curve::Curve<float>(0.0f), 0.0f);
  EXPECT_NEAR(Curve::Curve<double>(1e-6) / 1e-6, 5.4193144, 1e-4);
  EXPECT_NEAR(Curve::Curve<double>(-1e-6) / -1e-6, 5.7394, 1e-3);
  const double at[][2] = {{-2.0, -0.5821325},     {-1.0, -0.5821325}, {-0.9375, -0.6023055}, {-0.25, -1.0},
                          {-0.125, -0.5952},      {0.05, 0.27096572}, {0.058495, 0.3170028}, {0.718663, 1.0},
                          {0.9999999, 0.9052924}, {1.0, 0.9052924},   {7.0, 0.9052924}};
  for (const auto& [x, y] : at) EXPECT_NEAR(Curve::Curve<double>(x), y, 1e-4) << x;
  EXPECT_NEAR(Curve::Integral(-3.0), -0.5821325 * -3.0 + 0.11944218, 1e-9);
  EXPECT_NEAR(Curve::Integral(3.0), 0.9052924 * 3.0 - 0.116572425, 1e-6);
}

TEST(ShapingCurves, SineFoldHoldsBeyondOneAndAHalfPeriods) {
  using Curve = curves::SineFold;
  EXPECT_NEAR(Curve::Curve<float>(0.25f), 1.0f, 1e-7f);
  EXPECT_NEAR(Curve::Curve<float>(0.5f), 0.0f, 1e-7f);
  EXPECT_NEAR(Curve::Curve<float>(0.75f), -1.0f, 1e-7f);
  EXPECT_NEAR(Curve::Curve<float>(0.7500001f), -1.0f, 1e-7f);
  EXPECT_NEAR(Curve::Curve<float>(-0.9f), 1.0f, 1e-7f);
  EXPECT_NEAR(Curve::Integral(2.0), -1.25, 1e-12);
}

// Constants and method are held together here; scripts/tables writes the constants.
TEST(LevelLoss, TablesAreWhatTheMethodMeasures) {
  const auto sine = MeasureSineFoldCompensation();
  const auto triangle = MeasureTriangleFoldCompensation();
  for (uint32_t k = 0; k < kCompensationCount; ++k) {
    EXPECT_NEAR(kSineFoldCompensation[k], sine[k], 5e-6) << k;
    EXPECT_NEAR(kTriangleFoldCompensation[k], triangle[k], 5e-6) << k;
  }
  for (uint32_t algorithm = 0; algorithm < kShapingCurveCount; ++algorithm) {
    const auto table = MeasureShaperCompensation(algorithm);
    for (uint32_t k = 0; k < kCompensationCount; ++k) {
      EXPECT_NEAR(kShaperCompensation[algorithm][k], table[k], 5e-6) << kShapingCurveNames[algorithm] << k;
    }
  }
}

TEST(LevelLoss, KeepsTheFirstAndLastEntriesThatWereMeasuredOnce) {
  EXPECT_FLOAT_EQ(kSineFoldCompensation[3], 46.880257f);
  EXPECT_FLOAT_EQ(kSineFoldCompensation[19], 0.223578f);
  EXPECT_FLOAT_EQ(kTriangleFoldCompensation[2], 52.442211f);
  EXPECT_FLOAT_EQ(kShaperCompensation[3][0], 46.713342f);
  EXPECT_FLOAT_EQ(kShaperCompensation[3][43], -3.055071f);
  EXPECT_FLOAT_EQ(kShaperCompensation[4][20], -0.882800f);
  EXPECT_FLOAT_EQ(kShaperCompensation[14][18], 1.098122f);
}

TEST(LevelLoss, LooksUpBetweenEntriesAndHoldsAtTheEnds) {
  const CompensationTable& table = kShaperCompensation[3];
  EXPECT_FLOAT_EQ(LookUpCompensation(table, 0.0f), table[20]);
  EXPECT_FLOAT_EQ(LookUpCompensation(table, 1.5f), 0.5f * (table[20] + table[21]));
  EXPECT_FLOAT_EQ(LookUpCompensation(table, -61.0f), table[0]);
  EXPECT_FLOAT_EQ(LookUpCompensation(table, 69.0f), table[43]);
  EXPECT_FLOAT_EQ(LookUpCompensation(table, 1e30f), table[43]);
  EXPECT_FLOAT_EQ(LookUpCompensation(table, NAN), table[0]);
}

}  // namespace
}  // namespace Vantora::dsp
