#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "basictools/math/mapping/PotardMappingUtils.h"
#include "tools/CException.h"

namespace Vantora::MappingTools {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

PotardMappingHolder Make(uint32_t kind, float arg1 = 1.0f, float arg2 = 0.5f) {
  return MakePotardMapping(kind, 0xFFFFFFFFu, 2.0f, 3.0f, arg1, arg2);
}

/// One declared curve with its arguments, and the tag of the class it must hold.
struct Curve {
  uint32_t kind;
  float arg1, arg2;
  uint32_t tag;
};

const std::vector<Curve> kInvertible = {
    {Linear, 1.0f, 0.5f, 1},         {Polynomial, 2.5f, 0.5f, 3},
    {InvPolynomial, 3.0f, 0.5f, 4},  {Exponential, 6.0f, 0.5f, 5},
    {Exponential, -2.0f, 0.5f, 5},   {BipolarExp, 3.0f, 0.5f, 6},
    {BipolarPolynomial, 3, 0.5f, 7}, {BipolarPolynomial, 2, 0.5f, 7},
    {FixedExponential, 1, 0.5f, 5},  {BipolarVariableCenterInvPow, 2.0f, 0.3f, 8},
    {EnveloppeTime, 1, 0.5f, 9},     {MixerTime, 1, 0.5f, 10},
    {Harmonic, 4.0f, 0.5f, 12},      {Reverse, 1, 0.5f, 2},
    {PiecewiseLinear, 0.2f, 0, 13},  {Inverse, 10.0f, 100.0f, 14},
    {Inverse, -9.0f, -2.0f, 14},     {SemiToneToFreq, 440.0f, 25.0f, 15}};

TEST(Mapping, GoesThereAndBack) {
  for (const Curve& c : kInvertible) {
    const PotardMappingHolder curve = Make(c.kind, c.arg1, c.arg2);
    EXPECT_EQ(curve.Tag(), c.tag) << "kind " << c.kind;
    for (int i = 0; i <= 64; ++i) {
      const float x = static_cast<float>(i) / 64.0f;
      EXPECT_NEAR(curve.ToPosition(curve.ToValue(x)), x, 3e-5f) << "kind " << c.kind << " at " << x;
    }
  }
}

struct Point {
  uint32_t kind;
  float arg1, arg2, position, value;
};

TEST(Mapping, HasTheCurvesValues) {
  const float h = 0.5f / (std::exp(3.0f) - 1.0f);
  const std::vector<Point> points = {
      {Polynomial, 2.0f, 0, 0.5f, 0.25f},
      {InvPolynomial, 2.0f, 0, 0.25f, 1.0f - 0.5625f},
      {Exponential, 6.0f, 0, 0.0f, 0.0f},
      {Exponential, 6.0f, 0, 1.0f, 1.0f},
      {Exponential, 6.0f, 0, 0.5f, 0.0474259f},
      {BipolarExp, 3.0f, 0, 0.5f, 0.5f},
      {BipolarExp, 3.0f, 0, 0.75f, h * std::exp(1.5f) - h + 0.5f},
      {BipolarExp, 3.0f, 0, 0.25f, h - h * std::exp(1.5f) + 0.5f},
      {BipolarPolynomial, 2.0f, 0, 0.25f, 0.375f},  // an even power keeps the sign of its side
      {BipolarPolynomial, 2.0f, 0, 0.75f, 0.625f},
      {BipolarPolynomial, 3.0f, 0, 0.25f, 0.4375f},
      {BipolarVariableCenterInvPow, 2.0f, 0.25f, 0.125f, 0.0625f},
      {BipolarVariableCenterInvPow, 2.0f, 0.25f, 0.25f, 0.25f},
      {BipolarVariableCenterInvPow, 2.0f, 0.25f, 0.625f, 0.8125f},
      {Harmonic, 4.0f, 0, 0.0f, 0.25f},
      {Harmonic, 4.0f, 0, 0.25f, 0.4f},
      {Harmonic, 4.0f, 0, 0.5f, 1.0f},
      {Harmonic, 4.0f, 0, 1.0f, 4.0f},
      {Reverse, 0, 0, 0.25f, 0.75f},
      {PiecewiseLinear, 0.2f, 0, 0.375f, 0.1f},
      {PiecewiseLinear, 0.2f, 0, 0.75f, 0.2f},
      {PiecewiseLinear, 0.2f, 0, 0.875f, 0.6f},
      {Inverse, 10.0f, 100.0f, 0.0f, 1.0f},
      {Inverse, 10.0f, 100.0f, 1.0f, 0.0f},
      {Inverse, 10.0f, 100.0f, 0.5f, (1.0f / 0.055f - 10.0f) / 90.0f},
      {SemiToneToFreq, 440.0f, 13.0f, 1.0f, 880.0f},
      {SemiToneToFreq, 440.0f, 13.0f, 0.5f, 622.25397f}};
  for (const Point& p : points) {
    const float y = Make(p.kind, p.arg1, p.arg2).ToValue(p.position);
    EXPECT_NEAR(y, p.value, 2e-6f * std::max(1.0f, std::fabs(p.value))) << p.kind << " at " << p.position;
  }
}

TEST(Mapping, FixedExponentialTakesItsTwoLiteralsAsTheyStand) {
  const float curve = 4.4294891357421875f, scale = 0.012064392678439617f;
  EXPECT_EQ(Make(FixedExponential, 9.0f).ToValue(0.3f), scale * std::exp(curve * 0.3f) - scale);
  EXPECT_EQ(Make(FixedExponential).ToPosition(0.3f), std::log(0.3f / scale + 1.0f) / curve);
}

TEST(Mapping, InverseExponentialGivesBackExactlyOneAtTheTop) {
  // A low-pass at the top of its range is off only if its position comes back as 1 and not one step below.
  const PotardMappingHolder cutoff = MakePotardMapping(Exponential, 0, 20.0f, 20000.0f, 6.0f);
  EXPECT_EQ(cutoff.ToPosition((20000.0f - cutoff.min) / (cutoff.max - cutoff.min)), 1.0f);
}

TEST(Mapping, EndsOfTheTimeTablesHoldForEveryInput) {
  const PotardMappingHolder envelope = Make(EnveloppeTime), mixer = Make(MixerTime);
  for (const PotardMappingHolder* times : {&envelope, &mixer}) {
    for (const float x : {-0.1f, -1e30f, 0.0f, kNaN}) {
      EXPECT_EQ(times->ToValue(x), 0.0f) << x;
      EXPECT_EQ(times->ToPosition(x), 0.0f) << x;
    }
    for (const float x : {1.0f, 1.5f, std::numeric_limits<float>::infinity()}) {
      EXPECT_EQ(times->ToValue(x), 1.0f) << x;
      EXPECT_EQ(times->ToPosition(x), 1.0f) << x;
    }
    EXPECT_LE(times->ToValue(0.99999994f), 1.0f);
  }
}

/// The position that a table scales to exactly `segment`, so that it gives a point without interpolating.
float PositionOf(int segment, int segments) {
  float x = static_cast<float>(segment) / static_cast<float>(segments);
  for (const float direction : {0.0f, 1.0f}) {
    for (int i = 0; i < 3 && static_cast<float>(segments) * x != static_cast<float>(segment); ++i) {
      x = std::nextafter(x, direction);
    }
  }
  return x;
}

TEST(Mapping, TimeTablesHoldTheirPointsBitForBit) {
  const std::vector<float> envelope = {0,
                                       0.000275075639,
                                       0.00105028879,
                                       0.00217559841,
                                       0.00355097651,
                                       0.0055015129,
                                       0.00807722099,
                                       0.0119282799,
                                       0.017554827,
                                       0.0256820619,
                                       0.0378354043,
                                       0.0495386235,
                                       0.0779714435,
                                       0.0922503695,
                                       0.150191307,
                                       0.197279245,
                                       0.298081964,
                                       0.379829466,
                                       0.533371687,
                                       0.685788572,
                                       1};
  const std::vector<float> mixer = {0,
                                    0.00140653912,
                                    0.00419494137,
                                    0.00858729146,
                                    0.0192227028,
                                    0.0384207293,
                                    0.0917951912,
                                    0.28584823,
                                    0.552621841,
                                    1};
  for (const auto& [kind, table] : {std::pair{EnveloppeTime, envelope}, {MixerTime, mixer}}) {
    const PotardMappingHolder curve = Make(kind);
    const int segments = static_cast<int>(table.size()) - 1;
    for (int i = 0; i <= segments; ++i) {
      const float x = PositionOf(i, segments);
      EXPECT_EQ(curve.ToValue(x), table[i]) << kind << " point " << i;
      // A point belongs to the segment below it.
      EXPECT_EQ(curve.ToPosition(table[i]),
                i == segments ? 1.0f : static_cast<float>(i) * (kind == MixerTime ? 0.11111111f : 0.05f));
      if (i == segments) continue;
      const float halfway = (static_cast<float>(i) + 0.5f) / static_cast<float>(segments);
      EXPECT_NEAR(curve.ToValue(halfway), 0.5f * (table[i] + table[i + 1]), 1e-6f * table[i + 1]);
    }
  }
}

TEST(Mapping, VuMeterGoesOneWay) {
  const PotardMappingHolder meter = Make(VuMeter);
  EXPECT_EQ(meter.ToValue(0.0f), 0.0f);
  EXPECT_EQ(meter.ToValue(0.5f), 0.0f);
  EXPECT_EQ(meter.ToValue(1.0f), 1.0f);
  EXPECT_EQ(meter.ToPosition(0.25f), 0.375f);
  EXPECT_EQ(meter.ToPosition(2.0f), 1.0f);
  // The six segments meet at -20, -30, -40, -50, -60 and -70 dB.
  const float bends[6][2] = {{20, 0.5f}, {30, 0.7f}, {40, 0.85f}, {50, 0.925f}, {60, 0.95f}, {70, 1.0f}};
  for (const auto& [dB, place] : bends) {
    EXPECT_NEAR(meter.ToPosition(dB / 60.0f * 0.9999f), place, 2e-4f) << dB;
    EXPECT_NEAR(meter.ToPosition(dB / 60.0f * 1.0001f), place, 2e-4f) << dB;
  }
}

TEST(Mapping, PiecewiseLinearIsTheOnlyInverseThatClamps) {
  EXPECT_EQ(Make(PiecewiseLinear, 0.2f).ToPosition(7.0f), 1.0f);
  EXPECT_EQ(Make(PiecewiseLinear, 0.2f).ToPosition(-7.0f), 0.0f);
  EXPECT_EQ(Make(Reverse).ToPosition(7.0f), -6.0f);
}

TEST(Mapping, FractionalBipolarPowerIsNaNBelowTheCentre) {
  EXPECT_TRUE(std::isnan(Make(BipolarPolynomial, 2.5f).ToValue(0.25f)));
  EXPECT_FALSE(std::isnan(Make(BipolarPolynomial, 2.5f).ToValue(0.75f)));
}

TEST(MappingBlock, AgreesWithTheSingleForm) {
  for (const Curve& c : kInvertible) {
    if (c.kind == PiecewiseLinear || c.kind == Inverse || c.kind == SemiToneToFreq) continue;
    const PotardMappingHolder curve = Make(c.kind, c.arg1, c.arg2);
    std::vector<float> block;
    for (int i = 0; i <= 1000; ++i) block.push_back(static_cast<float>(i) / 1000.0f);
    block.insert(block.end(), {0.5f, 0.3f, 1.0f});  // 1004: whole groups
    const std::vector<float> positions = block;
    curve.ToValueBlock(block.data(), static_cast<uint32_t>(block.size()));
    for (size_t i = 0; i < block.size(); ++i) {
      const float y = curve.ToValue(positions[i]);
      EXPECT_NEAR(block[i], y, 1e-6f * std::max(1.0f, std::fabs(y))) << c.kind << " at " << positions[i];
    }
  }
}

TEST(MappingBlock, VectorFormsTakeWholeGroupsAndTheOthersEveryElement) {
  const auto changed = [](uint32_t kind, float arg1, uint32_t count) {
    std::vector<float> data(8, 0.25f);
    Make(kind, arg1).ToValueBlock(data.data(), count);
    return std::count_if(data.begin(), data.end(), [](float y) { return y != 0.25f; });
  };
  for (const uint32_t kind :
       {Reverse, Harmonic, Polynomial, InvPolynomial, Exponential, BipolarExp, BipolarVariableCenterInvPow}) {
    EXPECT_EQ(changed(kind, 3.0f, 6), 4) << kind;
    EXPECT_EQ(changed(kind, 3.0f, 3), 0) << kind;
  }
  for (const uint32_t kind : {BipolarPolynomial, EnveloppeTime, MixerTime, VuMeter}) {
    EXPECT_EQ(changed(kind, 3.0f, 6), 6) << kind;
  }
  // Intended gaps: these curves have no block form.
  EXPECT_EQ(changed(PiecewiseLinear, 0.2f, 8), 0);
  EXPECT_EQ(changed(SemiToneToFreq, 440.0f, 8), 0);
  std::vector<float> data(8, 0.25f);
  Make(Inverse, 10.0f, 100.0f).ToValueBlock(data.data(), 8);
  EXPECT_EQ(data, std::vector<float>(8, 0.25f));
}

TEST(MappingBlock, BaseOfZeroGivesAPowerOfZero) {
  for (const float exponent : {0.25f, 0.0f, 3.0f}) {
    float lower[4] = {0.0f, -1.0f, 0.0f, 0.0f}, upper[4] = {1.0f, 1.0f, 2.0f, 1.0f}, both[4] = {0, 0, 0, 1};
    Make(Polynomial, exponent).ToValueBlock(lower, 4);
    Make(InvPolynomial, exponent).ToValueBlock(upper, 4);
    Make(BipolarVariableCenterInvPow, exponent, 0.25f).ToValueBlock(both, 4);
    for (const float y : lower) EXPECT_EQ(y, 0.0f);
    for (const float y : upper) EXPECT_EQ(y, 1.0f);
    EXPECT_EQ(both[0], 0.0f);
    EXPECT_EQ(both[3], 1.0f);
  }
}

TEST(PotardMappingHolder, CopiesPointIntoThemselves) {
  PotardMappingHolder target;
  {
    PotardMappingHolder source = MakePotardMapping(Polynomial, 7u, 5.0f, 10.0f, 2.0f);
    source.reversed = true;
    const PotardMappingHolder copy(source);
    target = source;
    EXPECT_NE(copy.Mapping(), source.Mapping());
    EXPECT_EQ(copy.ToValue(0.5f), 0.25f);
    source = Make(Reverse);
  }
  const auto begin = reinterpret_cast<uintptr_t>(&target);
  const auto inside = reinterpret_cast<uintptr_t>(target.Mapping());
  EXPECT_TRUE(inside >= begin && inside < begin + sizeof(target));
  EXPECT_EQ(target.ToValue(0.5f), 0.25f);
  EXPECT_EQ(target.min, 5.0f);
  EXPECT_EQ(target.max, 10.0f);
  EXPECT_EQ(target.reserved0, 7u);
  EXPECT_EQ(target.reserved1, 7u);
  EXPECT_TRUE(target.reversed);
  EXPECT_FALSE(target.absolute);
  EXPECT_EQ(PotardMappingHolder().Tag(), 0u);
  EXPECT_EQ(PotardMappingHolder(PotardMappingHolder()).Mapping(), nullptr);
}

TEST(MakePotardMapping, OverwritesTheRangeOfAPositionAndKnowsWhatIsAbsolute) {
  const PotardMappingHolder position = MakePotardMapping(Normalized, 0, 5.0f, 10.0f);
  EXPECT_EQ(position.min, 0.0f);
  EXPECT_EQ(position.max, 1.0f);
  for (uint32_t kind = 0; kind <= 16; ++kind) {
    const PotardMappingHolder curve = Make(kind, 0.5f, 3.0f);
    EXPECT_EQ(curve.absolute, kind == Harmonic || kind == SemiToneToFreq) << kind;
    EXPECT_FALSE(curve.reversed);
  }
}

std::string TextOf(uint32_t kind, float arg1, float arg2) {
  try {
    Make(kind, arg1, arg2);
  } catch (const CException& e) {
    return e.what();
  }
  return "";
}

TEST(MakePotardMapping, RefusesUnknownKindsAndImpossibleBounds) {
  const std::string unknown = "Potard Mapping not found.(basictools/math/mapping/PotardMappingUtils:231)";
  for (const uint32_t kind : {17u, 18u, 0xFFFFFFFFu}) EXPECT_EQ(TextOf(kind, 1.0f, 0.5f), unknown);
  const std::string place = "(basictools/math/mapping/InversePotardMapping:";
  const std::string crossing = "Inverse Mapping range should not cross 0 value" + place + "28)";
  const std::string order = "Max value must be bigger than min value" + place + "31)";
  EXPECT_EQ(TextOf(Inverse, -1.0f, 1.0f), crossing);
  EXPECT_EQ(TextOf(Inverse, 0.0f, 1.0f), crossing);
  EXPECT_EQ(TextOf(Inverse, 1.0f, -1.0f), crossing);  // the sign comes first
  EXPECT_EQ(TextOf(Inverse, kNaN, 1.0f), crossing);
  EXPECT_EQ(TextOf(Inverse, 5.0f, 5.0f), order);
  EXPECT_EQ(TextOf(Inverse, -1.0f, -2.0f), order);
  EXPECT_EQ(TextOf(Inverse, -2.0f, -1.0f), "");
}

}  // namespace
}  // namespace Vantora::MappingTools
