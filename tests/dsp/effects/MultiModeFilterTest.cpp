#include "dsp/effects/MultiModeFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "basictools/math/WholeQuads.h"
#include "basictools/math/mapping/PotardMappingUtils.h"
#include "tests/support/ModuleRig.h"

namespace Vantora::dsp {
namespace {

using namespace test;

using Complex = std::complex<double>;
using F = MultiModeFilter;

struct FilterSetting {
  uint32_t mode = 0;
  float frequency = 1000.0f;
  float q = 1.0f;
  float gainDb = 9.0f;
  float compensation = 0.0f;
};

void Apply(F& filter, const FilterSetting& s) {
  filter.SetParamInternal(F::kMode, static_cast<float>(s.mode));
  filter.SetParamInternal(F::kFreq, s.frequency);
  filter.SetParamInternal(F::kCombFreq, s.frequency);
  filter.SetParamInternal(F::kQ, s.q);
  filter.SetParamInternal(F::kGain, s.gainDb);
  filter.SetParam(F::kConfGainCompensationOn, s.compensation);
}

Samples ImpulseResponse(const FilterSetting& s, double rate, size_t length = 1 << 15) {
  F filter("");
  Apply(filter, s);
  ModuleRig rig(filter, 7, 2, static_cast<float>(rate));
  return rig.Run(Impulse(length));
}

// The bilinear transform maps the digital frequency w to the analogue
// one tan(w / 2), which prewarping counts in units of the cutoff's.
Complex Prototype(const FilterSetting& s, double hz, double rate) {
  const Complex p(0.0, std::tan(std::numbers::pi * hz / rate));
  const double g = std::tan(std::numbers::pi * double{s.frequency} / rate);
  const Complex x = p / g;
  const double k = 1.0 / double{s.q};
  const FilterMode& mode = kFilterModes[s.mode];
  if (mode.topology == FilterTopology::FirstOrder) {
    const Complex unwarped = p * rate / (std::numbers::pi * double{s.frequency});
    if (mode.use == FilterUse::LowPass) return 1.0 / (1.0 + x);
    if (mode.use == FilterUse::HighPass) return unwarped / (1.0 + unwarped);
    const double c = rate / (std::numbers::pi * double{s.frequency});
    const Complex z = std::polar(1.0, -2.0 * std::numbers::pi * hz / rate);
    const Complex second = c / (c + 1.0) * (1.0 - z) / (1.0 + (1.0 - c) / (c + 1.0) * 0.5 * z);
    return 1.0 / (1.0 + x) * 2.0 * second;
  }
  const Complex divisor = x * x + k * x + 1.0;
  Complex section;
  switch (mode.use) {
    case FilterUse::LowPass:
      section = 1.0 / divisor;
      break;
    case FilterUse::HighPass:
      section = x * x / divisor;
      break;
    case FilterUse::BandPass:
      section = x / divisor;
      break;
    case FilterUse::Notch:
      section = (x * x + 1.0) / divisor;
      break;
    default:
      section = (x * x + k * std::pow(10.0, double{s.gainDb} / 20.0) * x + 1.0) / divisor;
      break;
  }
  return std::pow(section, static_cast<int>(mode.order));
}

TEST(MultiModeFilter, EveryModeHasTheResponseOfItsPrototype) {
  for (const double rate : {44100.0, 96000.0}) {
    for (const float cutoff : {200.0f, 3000.0f, 15000.0f}) {
      for (const float q : {0.6f, 4.0f}) {
        for (uint32_t mode = 0; mode < 18; ++mode) {
          const FilterSetting s{mode, cutoff, q, 9.0f, 0.0f};
          const Samples h = ImpulseResponse(s, rate);
          for (const double hz : {60.0, 200.0, 1100.0, 3000.0, 9000.0, 15000.0, 20000.0}) {
            const double expected = std::abs(Prototype(s, hz, rate));
            ASSERT_NEAR(std::abs(ResponseAt(h, hz, rate)), expected, 2e-3 * expected + 2e-5)
                << "mode " << mode << " cutoff " << cutoff << " q " << q << " at " << hz << " rate " << rate;
          }
        }
      }
    }
  }
}

TEST(MultiModeFilter, CompensationIsTheTableOverResonanceAndGoesOnBeyondIt) {
  const auto compensationDb = [](uint32_t mode, float q) {
    F filter("");
    filter.ReDeclareParam(F::kQ, MappingTools::Linear, false, 0.1f, 30.0f);
    Apply(filter, {mode, 1000.0f, q, 9.0f, 1.0f});
    ModuleRig rig(filter, 7, 2);
    const double with = std::abs(ResponseAt(rig.Run(Impulse(1 << 14)), 1000.0, 48000.0));
    Apply(filter, {mode, 1000.0f, q, 9.0f, 0.0f});
    filter.ResetState(true);
    return Decibels(with / std::abs(ResponseAt(rig.Run(Impulse(1 << 14)), 1000.0, 48000.0)));
  };
  EXPECT_NEAR(compensationDb(1, 0.5f), 0.0, 0.01);
  EXPECT_NEAR(compensationDb(1, 2.5f), -2.0, 0.01);
  EXPECT_NEAR(compensationDb(6, 7.5f), -16.5, 0.01);  // half way between two points
  EXPECT_NEAR(compensationDb(11, 0.5f), 20.0, 0.01);
  EXPECT_NEAR(compensationDb(11, 15.0f), -48.0, 0.01);
  EXPECT_NEAR(compensationDb(11, 20.0f), -60.0, 0.01);  // the last line goes on
  EXPECT_NEAR(compensationDb(9, 1.25f), 4.0, 0.01);
  EXPECT_NEAR(compensationDb(0, 15.0f), 0.0, 0.0);
  EXPECT_NEAR(compensationDb(13, 15.0f), 0.0, 0.0);
  EXPECT_NEAR(compensationDb(16, 15.0f), 0.0, 0.0);
}

TEST(MultiModeFilter, StereoIsTwoMonoFiltersBitForBitAlsoWhileGliding) {
  for (const uint32_t mode : {0u, 2u, 8u, 11u, 16u, 18u, 19u}) {
    const Samples left = Noise(4800, 1);
    const Samples right = Noise(4800, 2);
    const auto run = [&](bool stereo, const Samples& a, const Samples& b, uint32_t port) {
      F filter("");
      filter.SetParam(F::kStereo, stereo ? 1.0f : 0.0f);
      Apply(filter, {mode, 500.0f, 3.0f, 6.0f, 1.0f});
      ModuleRig rig(filter, 7, 2);
      rig.Run(a, b, port);
      Apply(filter, {mode, 1900.0f, 9.0f, -6.0f, 1.0f});
      return rig.Run(a, b, port);
    };
    EXPECT_EQ(run(true, left, right, 0), run(false, left, left, 0)) << mode;
    EXPECT_EQ(run(true, left, right, 1), run(false, right, right, 0)) << mode;
  }
}

TEST(MultiModeFilter, CoefficientsGlideFromSampleToSampleWithinABlock) {
  // From silence the band-pass answers an impulse with g2 at once, wherever in its glide that stands.
  const auto answerAt = [](uint32_t sample) {
    F filter("");
    Apply(filter, {9, 300.0f, 0.8f, 0.0f, 0.0f});
    ModuleRig rig(filter, 7, 2);
    rig.Run(Samples(480, 0.0f));
    Apply(filter, {9, 9000.0f, 0.8f, 0.0f, 0.0f});
    Samples x(48, 0.0f);
    x[sample] = 1.0f;
    return double{rig.Run(x)[sample]};
  };
  const auto g2 = [](double hz) {
    const double g = std::tan(std::numbers::pi * hz / 48000.0);
    return g / (1.0 + g * (g + 1.0 / 0.8));
  };
  // One tick a block of 1 ms, five time constants in 10 ms.
  const double reached = 300.0 + 8700.0 * (1.0 - std::exp(-0.5));
  for (const uint32_t i : {0u, 1u, 23u, 47u}) {
    EXPECT_NEAR(answerAt(i), g2(300.0) + (g2(reached) - g2(300.0)) * (i + 1) / 48.0, 1e-5) << i;
  }
}

TEST(MultiModeFilter, AMovedBellGainMakesNoStep) {
  F filter("");
  Apply(filter, {15, 300.0f, 2.0f, 12.0f, 0.0f});
  ModuleRig rig(filter, 7, 2);
  rig.Run(Sine(4800, 300.0, 48000.0, 0.25));
  Apply(filter, {15, 300.0f, 2.0f, -12.0f, 0.0f});
  const Samples y = rig.Run(Sine(4800, 300.0, 48000.0, 0.25));
  // The sine itself moves by at most 0.04 a sample; a gain that jumped from block to block would add 0.16.
  for (size_t i = 1; i < y.size(); ++i) ASSERT_LT(std::fabs(y[i] - y[i - 1]), 0.045f) << i;
}

TEST(MultiModeFilter, FrequencyIsModulatedByControlAndBySignal) {
  F filter("");
  Apply(filter, {9, 1000.0f, 15.0f, 0.0f, 0.0f});
  ModuleRig rig(filter, 7, 2);
  const auto level = [&](double hz) {
    rig.Run(Sine(24000, hz, 48000.0));
    return Rms(rig.Run(Sine(24000, hz, 48000.0)));
  };
  EXPECT_NEAR(level(1000.0), 15.0 / std::sqrt(2.0), 0.05);
  filter.SetParam(F::kFmAmount, 0.5f);
  rig.MakeLive(2, 0.2f);  // 0.5 x 10 x 0.2 is one octave up
  EXPECT_NEAR(level(2000.0), 15.0 / std::sqrt(2.0), 0.05);
  rig.MakeLive(2, 100.0f);  // held at the top of the range
  EXPECT_NEAR(level(20000.0), 15.0 / std::sqrt(2.0), 0.3);
  filter.SetParam(F::kFmAmount, 0.0f);
  rig.MakeLive(3, 1.0f);
  EXPECT_NEAR(level(20000.0), 15.0 / std::sqrt(2.0), 0.3);
}

TEST(MultiModeFilter, AnOpenPassFilterIsBypassedAndWakesUpClean) {
  F filter("");
  filter.SetParam(F::kConfBypassOnOpen, 1.0f);
  Apply(filter, {3, 20000.0f, 1.0f, 0.0f, 1.0f});
  ModuleRig rig(filter, 7, 2);
  const Samples x = Noise(480, 7);
  EXPECT_EQ(rig.Run(x), x);
  EXPECT_EQ(rig.Run(x, 1), Samples(480, 0.0f));  // mono: the second channel isn't touched
  rig.MakeLive(3, -0.0f);
  EXPECT_NE(rig.Run(x), x);  // a live modulation keeps it running
  rig.inputs[3] = nullptr;
  EXPECT_EQ(rig.Run(x), x);
  Apply(filter, {3, 100.0f, 1.0f, 0.0f, 1.0f});
  for (const float y : rig.Run(Samples(480, 0.0f))) ASSERT_EQ(y, 0.0f);  // nothing of the noise is left
  Apply(filter, {6, 20.0f, 1.0f, 0.0f, 1.0f});
  filter.ResetState(true);
  EXPECT_EQ(rig.Run(x), x);
  Apply(filter, {10, 20.0f, 1.0f, 0.0f, 1.0f});
  filter.ResetState(true);
  EXPECT_NE(rig.Run(x), x);  // no open position for a band-pass
}

TEST(MultiModeFilter, AModeChangeFadesOutOver25BlocksAndInOver25More) {
  F filter("");
  filter.SetParam(F::kConfFadeOnModeChange, 1.0f);
  filter.SetParam(F::kQ, 0.0f);  // combs without feedback pass the input
  filter.SetParamInternal(F::kMode, 19.0f);
  ModuleRig rig(filter, 7, 2, 48000.0f, 40);
  const Samples ones(1000, 1.0f);  // 25 blocks
  EXPECT_EQ(rig.Run(ones), ones);
  filter.SetParamInternal(F::kMode, 18.0f);
  const Samples out = rig.Run(ones);
  for (size_t i = 0; i < 1000; ++i) ASSERT_NEAR(out[i], 1.0 - static_cast<double>(i) / 999.0, 1e-6) << i;
  // A third mode asked for during the fade-in waits for its end.
  filter.SetParamInternal(F::kMode, 19.0f);
  const Samples in = rig.Run(ones);
  for (size_t i = 0; i < 1000; ++i) ASSERT_NEAR(in[i], 1.00086 * static_cast<double>(i) / 999.0, 1e-5) << i;
  EXPECT_NEAR(rig.Run(ones)[500], 1.00086 * (1.0 - 500.0 / 999.0), 1e-5);
  rig.Run(ones);
  EXPECT_EQ(rig.Run(ones), ones);
  // With the switch off the change is immediate.
  filter.SetParam(F::kConfFadeOnModeChange, 0.0f);
  filter.SetParamInternal(F::kMode, 18.0f);
  EXPECT_NEAR(rig.Run(ones)[0], 1.00086, 1e-5);
}

TEST(MultiModeFilter, CombsEchoAtTheTruncatedPeriodOfTheirPitch) {
  for (const bool forward : {false, true}) {
    F filter("");
    Apply(filter, {forward ? 19u : 18u, 441.7f, 0.0f, 0.0f, 0.0f});
    filter.SetParam(F::kQ, 0.5f);
    ModuleRig rig(filter, 7, 2, 44100.0f);
    const Samples h = rig.Run(Impulse(480));
    for (size_t i = 0; i < h.size(); ++i) {  // 44100 / 441.7 = 99.8
      float expected = i == 0 ? 1.0f : 0.0f;
      if (i % 99 == 0 && i > 0 && (!forward || i == 99)) {
        expected = std::pow(0.495f, static_cast<float>(i / 99));
      }
      ASSERT_NEAR(h[i], expected, 1e-6f) << i;
    }
  }
}

TEST(MultiModeFilter, TheCombsCompensationFollowsTheFeedback) {
  F filter("");
  Apply(filter, {18, 100.0f, 0.0f, 0.0f, 1.0f});
  filter.SetParam(F::kQ, 1.0f);
  ModuleRig rig(filter, 7, 2);
  const Samples h = rig.Run(Impulse(1000));
  EXPECT_NEAR(h[0], 0.21875f, 1e-4f);
  EXPECT_NEAR(h[480] / h[0], 0.99f, 1e-4f);
}

// Delays that stand and move, shorter than a vector and longer than a block, across the ring's end and behind
// a clear.
TEST(MultiModeFilter, CombsRunSideBySideHasTheBitsOfOneSampleAfterTheOther) {
  constexpr uint32_t kMost = 100, kSize = 264, kRoom = kMost + kVectorPadding;
  for (const auto target :
       {SimdTarget::Baseline, SimdTarget::Ssse3, SimdTarget::Sse4, SimdTarget::Avx2, SimdTarget::Avx512}) {
    const CombKernelTable& kernels = CombKernelsFor(std::min(target, BestSimdTarget()));
    std::minstd_rand draw(7);
    const auto below = [&](uint32_t end) { return static_cast<uint32_t>(draw() >> 8) % end; };
    const auto unit = [&] { return static_cast<float>(below(1u << 16)) / 65536.0f; };
    DelayLine line, plain;
    line.Resize(kSize);
    plain.Resize(kSize);
    for (uint32_t round = 0; round < 4000; ++round) {
      if (below(20) == 0) line.Clear(), plain.Clear();
      const uint32_t count = below(8) == 0 ? 1 + below(kMost) : 4 * (1 + below(kMost / 4));
      const uint32_t moving = below(3) == 0 ? below(count + 1) : below(2) * std::min(count, below(5));
      const float stands = 1.0f + unit() * (below(3) == 0 ? 170.0f : below(2) == 0 ? 50.0f : 9.0f);
      const float slope = (unit() - 0.5f) * (stands - 1.0f) / kMost;
      float in[kMost], gain[kMost], out[kRoom], delays[kRoom];
      std::fill_n(delays, kRoom, stands);
      for (uint32_t i = 0; i < moving; ++i) delays[i] = stands + slope * static_cast<float>(moving - i);
      for (uint32_t i = 0; i < count; ++i) in[i] = unit() - 0.5f, gain[i] = unit();
      std::fill_n(out, kRoom, 5.0f);
      const bool isInPlace = below(10) == 0;
      if (isInPlace) std::copy_n(in, count, out);
      const CombBlock block = {.line = &line,
                               .delays = delays,
                               .moving = moving,
                               .isFedBack = below(4) != 0,
                               .feedback = 0.99f * unit(),
                               .gain = gain,
                               .in = isInPlace ? out : in,
                               .out = out};
      kernels.run(block, count);
      for (uint32_t i = 0; i < count; ++i) {
        const float sum = in[i] + block.feedback * plain.Read(static_cast<uint32_t>(delays[i]));
        plain.Write(block.isFedBack ? sum : in[i]);
        ASSERT_EQ(out[i], block.isFedBack ? sum * gain[i] : sum) << round << ", sample " << i;
        ASSERT_EQ(line.Read(count - i), block.isFedBack ? sum : in[i]) << round << ", sample " << i;
      }
      for (uint32_t i = count; i < kRoom; ++i) ASSERT_EQ(out[i], 5.0f) << round;
    }
  }
}

TEST(MultiModeFilter, LowSampleRatesAreHeldWhereTheFilterStaysFinite) {
  for (const float rate : {16000.0f, 22050.0f, 32000.0f}) {
    for (uint32_t mode = 0; mode < kFilterModeCount; ++mode) {
      F filter("");
      filter.ReDeclareParam(F::kCombFreq, MappingTools::Exponential, false, 20.0f, 20000.0f, 8.0f);
      Apply(filter, {mode, 20000.0f, 0.5f, 0.0f, 1.0f});
      ModuleRig rig(filter, 7, 2, rate);
      const Samples y = rig.Run(Noise(9600, 3));
      EXPECT_LT(Rms(y), 100.0) << mode << " at " << rate;
      if (mode == 18) {
        filter.SetParam(F::kQ, 1.0f);
        filter.ResetState(true);
        const Samples h = rig.Run(Impulse(48));
        EXPECT_NEAR(h[1] / h[0], 0.99f, 1e-4f) << "the shortest delay is one sample";
      }
    }
  }
}

TEST(MultiModeFilter, AllowedModesGiveTheModeParameterItsSteps) {
  F filter("");
  filter.SetAllowedModes({11, 18, 2});
  EXPECT_EQ(filter.Param(F::kMode).GetStepCount(), 3u);
  EXPECT_EQ(filter.IndexOfMode(18), 1);
  EXPECT_EQ(filter.IndexOfMode(3), -1);
  filter.SetParamInternal(F::kCombFreq, 480.0f);
  filter.SetParam(F::kQ, 1.0f);
  filter.SetParam(F::kConfGainCompensationOn, 0.0f);
  filter.SetParam(F::kMode, 0.5f);
  ModuleRig rig(filter, 7, 2);
  EXPECT_NEAR(rig.Run(Impulse(480))[100], 0.99f, 1e-5f);
}

}  // namespace
}  // namespace Vantora::dsp
