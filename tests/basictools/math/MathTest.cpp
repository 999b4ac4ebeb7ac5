#include <gtest/gtest.h>

#include <cmath>

#include "basictools/math/Decibels.h"
#include "basictools/math/VectorExpLog.h"
#include "basictools/math/VectorSine.h"
#include "basictools/math/Xorshift.h"
#include "basictools/math/XorshiftJump.h"

namespace Vantora {
namespace {

TEST(VectorExpLog, ExponentialHoldsItsStatedError) {
  double worst = 0.0, nearZero = 0.0;
  for (int i = -87000; i <= 88000; i += 3) {
    const float x = static_cast<float>(i) * 0.001f;
    const double exact = std::exp(static_cast<double>(x));
    const double error = std::fabs(static_cast<double>(ExpFloat4(MakeFloat4(x))[1]) / exact - 1.0);
    worst = std::max(worst, error);
    if (std::fabs(x) <= 1.0f) nearZero = std::max(nearZero, error);
  }
  EXPECT_LT(worst, 5e-6);
  EXPECT_LT(nearZero, 2e-7);
}

TEST(VectorExpLog, ExponentialStaysFiniteWhateverComes) {
  const Float4 y = ExpFloat4(Float4{1e30f, -1e30f, 88.4f, 0.0f});
  EXPECT_TRUE(std::isfinite(y[0]));
  EXPECT_EQ(y[0], y[2]);
  EXPECT_EQ(y[1], 0.0f);
  EXPECT_EQ(y[3], 1.0f);
}

TEST(VectorExpLog, LogarithmHoldsItsStatedError) {
  for (float x = 1.2e-38f; x < 1e38f; x *= 1.0007f) {
    const double exact = std::log(static_cast<double>(x));
    const double error = std::fabs(static_cast<double>(LogFloat4(MakeFloat4(x))[2]) - exact);
    ASSERT_LT(error, std::max(1e-7, 3e-7 * std::fabs(exact))) << x;
  }
  EXPECT_EQ(LogFloat4(MakeFloat4(1.0f))[0], 0.0f);
  EXPECT_LT(LogFloat4(MakeFloat4(-5.0f))[0], -80.0f);  // held at 0, which is far down and finite
}

TEST(VectorExpLog, ExponentialLessOneHoldsItsStatedError) {
  for (int i = -50000; i <= 50000; ++i) {
    const float x = static_cast<float>(i) * 1e-4f;
    const double exact = std::expm1(static_cast<double>(x));
    ASSERT_NEAR(static_cast<double>(Expm1Float4(MakeFloat4(x))[3]), exact, 3e-7 * std::fabs(exact)) << x;
  }
  EXPECT_EQ(Expm1Float4(MakeFloat4(-1e30f))[0], -1.0f);
}

TEST(VectorSine, HoldsItsStatedErrors) {
  for (int i = -157080; i <= 157080; ++i) {
    const float x = static_cast<float>(i) * 1e-5f;
    ASSERT_NEAR(static_cast<double>(SineWithinQuarterTurn(MakeFloat4(x))[0]),
                std::sin(static_cast<double>(x)), 1.5e-7)
        << x;
  }
  for (float x = 1e-6f; x <= kSineFloat4Limit; x = x * 1.0001f + 1e-5f) {
    ASSERT_NEAR(static_cast<double>(SineFloat4(MakeFloat4(x))[1]), std::sin(static_cast<double>(x)), 2e-7)
        << x;
    ASSERT_EQ(SineFloat4(MakeFloat4(-x))[2], -SineFloat4(MakeFloat4(x))[2]) << x;
  }
}

TEST(Xorshift, RunsThroughThePublishedSequence) {
  uint32_t x = 1;
  for (const uint32_t expected : {270369u, 67634689u, 2647435461u, 307599695u}) {
    x = XorshiftStep(x);
    EXPECT_EQ(x, expected);
  }
  EXPECT_EQ(ToBipolar(x), -0.85676277f);
  EXPECT_EQ(ToBipolar(0xFFFFFFFFu), 1.0f);
  EXPECT_EQ(ToUnipolar(0xFFFFFFFFu), 1.0f);
  EXPECT_EQ(ToBipolar(0), -1.0f);
}

TEST(Xorshift, JumpsToWhereStepsLead) {
  for (const uint32_t start : {1u, 2023u, 0xFFFFFFFFu, 0x80000000u}) {
    uint32_t x = start;
    for (uint32_t steps = 0; steps < 1024; ++steps, x = XorshiftStep(x)) {
      ASSERT_EQ(XorshiftJump::Apply(start, steps), x) << steps << " steps from " << start;
    }
  }
}

TEST(Decibels, SixDecibelsDouble) {
  EXPECT_EQ(DbToGain(0.0f), 1.0f);
  EXPECT_NEAR(DbToGain(6.0206f), 2.0f, 2e-6f);
  EXPECT_NEAR(DbToGain(-20.0f), 0.1f, 1e-7f);
}

}  // namespace
}  // namespace Vantora
