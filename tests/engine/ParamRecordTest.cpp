#include "engine/ParamRecord.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

namespace Vantora::dsp {
namespace {

using namespace MappingTools;

TEST(ParamRecord, StartsAtItsMinimumAndAtPositionZeroEvenWhereTheCurveDisagrees) {
  ParamRecord bits("Bits", Reverse, false, 1.5f, 16.0f);
  EXPECT_EQ(bits.GetValue(), 1.5f);
  EXPECT_EQ(bits.GetNormalized(), 0.0f);
  bits.SetNormalized(0.0f);
  EXPECT_EQ(bits.GetValue(), 16.0f) << "the first write settles the disagreement";
  ParamRecord falling("Falling", 3u, 4.0f, -1.0f);
  EXPECT_EQ(falling.GetValue(), 2.0f);
  EXPECT_EQ(falling.ToValue(0.0f), 4.0f);
  ParamRecord depth("Depth", BipolarExp, false, -1.0f, 1.0f, 3.0f, 0.5f);
  EXPECT_EQ(depth.GetValue(), -1.0f);
}

TEST(ParamRecord, SteppedTakesTheStepThatThePositionHasReached) {
  ParamRecord onOff("Switch", 2u, 0.0f, 1.0f);
  EXPECT_EQ(onOff.ToValue(0.49f), 0.0f);
  EXPECT_EQ(onOff.ToValue(0.5f), 1.0f);
  EXPECT_EQ(onOff.ToValue(1.0f), 1.0f) << "the last value, not one beyond it";
  ParamRecord voices("Voices", 8u, 1.0f, 1.0f);
  for (int v = 1; v <= 8; ++v) {
    voices.SetValue(static_cast<float>(v));
    EXPECT_EQ(voices.ToValue(voices.GetNormalized()), static_cast<float>(v)) << v;
  }
  ParamRecord one("One", 1u, 0.0f, 1.0f);
  EXPECT_EQ(one.ToNormalized(0.0f), 0.0f) << "an empty range is no division";
}

TEST(ParamRecord, ConvertsLazilyAndEachFormIsTrustedAfterItsWrite) {
  ParamRecord hz("Freq", Exponential, false, 20.0f, 20000.0f, 6.0f);
  hz.SetNormalized(0.5f);
  EXPECT_NEAR(hz.GetValue(), 20.0f + 19980.0f * 0.0474f, 1.0f);
  EXPECT_EQ(hz.GetNormalized(), 0.5f);
  hz.SetValue(20000.0f);
  EXPECT_EQ(hz.GetNormalized(), 1.0f) << "exactly: a low-pass at its top is off";
  hz.SetValue(1e9f);
  EXPECT_EQ(hz.GetNormalized(), 1.0f) << "clamped into the range";
}

TEST(ParamRecord, ModulationNeedsALivePortAndIsHeldInZeroToOne) {
  ParamRecord mix("Mix", Linear, false, 10.0f, 20.0f);
  mix.SetNormalized(0.75f);
  std::array<float, 2> port = {0.0f, 0.5f};  // mark, then the first sample
  float* ports[] = {nullptr, &port[1]};
  ProcessContext context;
  context = context.WithInputs(ports);
  EXPECT_EQ(mix.ReadValueModulated(context, 0), 17.5f) << "null";
  EXPECT_EQ(mix.ReadValueModulated(context, 1), 17.5f) << "not live";
  EXPECT_EQ(mix.ReadValueModulated(context, 2), 17.5f) << "beyond the count";
  port[0] = kLiveMark;
  EXPECT_EQ(mix.ReadValueModulated(context, 1), 20.0f);
  EXPECT_EQ(mix.ReadNormalizedModulated(context, 1), 1.0f);
  EXPECT_EQ(mix.GetValue(), 17.5f) << "the record's own value stays";
  EXPECT_EQ(mix.ValueAtOffset(-2.0f), 10.0f);
}

TEST(ParamRecord, BlockFormFollowsToValueInWholeGroupsOfFourSaveForTheCurvesWithoutOne) {
  const std::array<float, 7> positions = {-0.5f, 0.0f, 0.25f, 0.5f, 0.8f, 1.0f, 1.5f};
  const auto check = [&](const ParamRecord& record, float tolerance) {
    std::array<float, 7> out;
    out.fill(-7.0f);
    record.ToValueBlock(out.data(), positions.data(), 7);
    for (uint32_t i = 0; i < 4; ++i) EXPECT_NEAR(out[i], record.ToValue(positions[i]), tolerance) << i;
    for (uint32_t i = 4; i < 7; ++i) EXPECT_EQ(out[i], -7.0f) << "behind the last whole group";
  };
  check(ParamRecord("", Exponential, true, 20.0f, 20000.0f, 6.0f), 2e-2f);
  check(ParamRecord("", Harmonic, false, 0.0f, 1.0f, 4.0f), 1e-5f);
  check(ParamRecord("", 5u, 0.0f, 1.0f), 0.0f);
  // A curve without a block form scales the clamped position straight into the range.
  std::array<float, 4> out{};
  ParamRecord("", PiecewiseLinear, false, 0.0f, 10.0f, 0.2f).ToValueBlock(out.data(), positions.data(), 4);
  EXPECT_EQ(out[2], 2.5f);
}

TEST(ParamRecord, NanEndsOnABound) {
  const ParamRecord record("", Linear, false, 2.0f, 3.0f);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(record.ToValue(nan), 2.0f);
  EXPECT_EQ(record.ToNormalized(nan), 0.0f);
}

}  // namespace
}  // namespace Vantora::dsp
