#include "dsp/effects/prims/Oversampler.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "dsp/effects/prims/FIRUpDownsampler.h"
#include "dsp/effects/prims/SamplerTaps.h"
#include "dsp/effects/prims/ScalarUpDownsampler.h"
#include "tests/support/Signals.h"

namespace Vantora::prims {
namespace {

using test::Noise;

constexpr double kBaseRate = 48000.0;
constexpr std::uint32_t kFactors[] = {2, 4, 6, 8, 16, 32};
constexpr std::uint32_t kLatencies[] = {47, 51, 46, 48, 46, 44};

std::vector<float> Up(Oversampler& sampler, const std::vector<float>& in) {
  std::vector<float> out(in.size() * sampler.GetFactor());
  sampler.Upsample(in.data(), out.data(), static_cast<std::uint32_t>(in.size()));
  return out;
}

std::vector<float> Down(Oversampler& sampler, const std::vector<float>& in) {
  std::vector<float> out(in.size() / sampler.GetFactor());
  sampler.Downsample(in.data(), out.data(), static_cast<std::uint32_t>(out.size()));
  return out;
}

Oversampler MakeSampler(std::uint32_t factor, std::uint32_t kind, std::uint32_t maxBlockSize = 64) {
  Oversampler sampler(factor, kind);
  sampler.Init(maxBlockSize);
  return sampler;
}

// Impulse response of the way up, at the high rate, for unity gain at DC.
std::vector<double> UpResponse(std::uint32_t factor, std::uint32_t kind, std::size_t length) {
  Oversampler sampler = MakeSampler(factor, kind);
  std::vector<float> impulse(length);
  impulse[0] = 1.0f;
  const auto out = Up(sampler, impulse);
  std::vector<double> response(out.begin(), out.end());
  for (double& x : response) x /= factor;
  return response;
}

// Impulse response of the way down: an impulse at each place of a group shows every factor-th sample of it.
std::vector<double> DownResponse(std::uint32_t factor, std::uint32_t kind, std::size_t length) {
  std::vector<double> response(length * factor);
  for (std::uint32_t place = 0; place < factor; ++place) {
    Oversampler sampler = MakeSampler(factor, kind);
    std::vector<float> impulse(length * factor);
    impulse[place] = 1.0f;
    const auto out = Down(sampler, impulse);
    for (std::size_t i = place > 0 ? 1 : 0; i < length; ++i) response[i * factor - place] = out[i];
  }
  return response;
}

double ResponseDb(const std::vector<double>& response, double hz, double rate) {
  std::complex<double> sum = 0.0;
  for (std::size_t i = 0; i < response.size(); ++i) {
    sum += response[i] * std::polar(1.0, -2.0 * std::numbers::pi * hz / rate * static_cast<double>(i));
  }
  return 20.0 * std::log10(std::abs(sum) + 1e-12);
}

struct Limits {
  double passDb, passHz, stopDb, stopHz;
};

// Both ways at once: what the filter lets through, and what
// is left of images (up) and of what would alias (down).
void ExpectLowPass(std::uint32_t factor, std::uint32_t kind, std::size_t length, const Limits& limits) {
  SCOPED_TRACE(testing::Message() << "factor " << factor << ", kind " << kind);
  const double rate = kBaseRate * factor;
  for (const auto& response : {UpResponse(factor, kind, length), DownResponse(factor, kind, length)}) {
    double flatness = 0.0, rejection = 1e9;
    for (double hz = 0.0; hz <= limits.passHz; hz += 250.0) {
      flatness = std::max(flatness, std::abs(ResponseDb(response, hz, rate)));
    }
    for (double hz = limits.stopHz; hz <= 0.5 * rate; hz += factor > 8 ? 1170.0 : 270.0) {
      rejection = std::min(rejection, -ResponseDb(response, hz, rate));
    }
    EXPECT_LT(flatness, limits.passDb);
    EXPECT_GT(rejection, limits.stopDb);
  }
}

TEST(SamplerTaps, AreSymmetricLowPassesOfUnitSumWithZerosBehind) {
  const std::size_t counts[] = {95, 207, 279, 391, 743, 1431};
  for (std::size_t i = 0; i < 6; ++i) {
    const auto taps = DesignSamplerTaps(kFactors[i]);
    ASSERT_EQ(taps.size(), counts[i]);
    const std::size_t last = kFactors[i] * kLatencies[i];
    double sum = 0.0;
    for (const float tap : taps) sum += static_cast<double>(tap);
    EXPECT_NEAR(sum, 1.0, 1e-7);
    for (std::size_t k = 0; k <= last; ++k) ASSERT_EQ(taps[k], taps[last - k]);
    for (std::size_t k = last + 1; k < taps.size(); ++k) ASSERT_EQ(taps[k], 0.0f);
  }
  for (const std::uint32_t factor : {0u, 1u, 3u, 5u, 64u}) EXPECT_TRUE(DesignSamplerTaps(factor).empty());
}

TEST(Oversampler, OfLinearPhaseIsFlatTo20kHzAndRejects100DecibelsFrom27k5) {
  for (const std::uint32_t factor : kFactors) {
    ExpectLowPass(factor, 3, 64, {1.0e-4, 20000.0, 99.9, 27500.0});
    const double rate = kBaseRate * factor;
    const auto response = DownResponse(factor, 3, 64);
    EXPECT_GT(ResponseDb(response, 21000.0, rate), -0.01);
    EXPECT_NEAR(ResponseDb(response, 24000.0, rate), -6.02, 0.02);
  }
  ExpectLowPass(2, 2, 64, {1.0e-4, 20000.0, 99.9, 27500.0});
}

TEST(Oversampler, OfMinimumPhaseKeepsItsPassAndStopBands) {
  for (const std::uint32_t factor : kFactors) ExpectLowPass(factor, 0, 400, {0.05, 20000.0, 79.9, 28000.0});
  ExpectLowPass(2, 1, 400, {0.01, 20000.0, 69.9, 30000.0});
  EXPECT_NEAR(ResponseDb(UpResponse(2, 1, 400), 24000.0, 96000.0), -0.7, 0.1);
  EXPECT_EQ(MakeSampler(4, 0).GetLatency(), 0u);
  EXPECT_EQ(MakeSampler(2, 1).GetLatency(), 0u);
}

TEST(Oversampler, UpAndDownAgainIsADelayOfTheReportedLatency) {
  for (std::size_t f = 0; f < 6; ++f) {
    for (const std::uint32_t kind : {2u, 3u, 4u}) {
      SCOPED_TRACE(testing::Message() << "factor " << kFactors[f] << ", kind " << kind);
      Oversampler sampler = MakeSampler(kFactors[f], kind);
      ASSERT_EQ(sampler.GetLatency(), kLatencies[f]);
      const std::size_t latency = sampler.GetLatency();

      std::vector<float> in(1000);
      for (std::size_t i = 0; i < in.size(); ++i) {
        double sum = 0.0;
        for (const double hz : {0.0, 440.0, 5000.0, 12000.0, 19900.0}) {
          sum += 0.2 * std::cos(2.0 * std::numbers::pi * hz / kBaseRate * static_cast<double>(i) + hz);
        }
        in[i] = static_cast<float>(sum);
      }
      const auto out = Down(sampler, Up(sampler, in));
      for (std::size_t i = 2 * latency; i < in.size(); ++i) ASSERT_NEAR(out[i], in[i - latency], 3e-5) << i;

      // The impulse's image is largest where the latency says and the same on both sides of it.
      sampler.Reset();
      std::vector<float> impulse(200);
      impulse[0] = 1.0f;
      const auto response = Down(sampler, Up(sampler, impulse));
      for (std::size_t i = 0; i <= latency; ++i) {
        ASSERT_NEAR(response[latency - i], response[latency + i], 1e-6) << i;
        ASSERT_LE(std::abs(response[latency - i]), response[latency]);
      }
    }
  }
}

TEST(Oversampler, HasUnityGainBothWaysAndImagesOfASineStayBelow100Decibels) {
  for (const std::uint32_t kind : {0u, 1u, 2u, 3u, 4u}) {
    Oversampler sampler = MakeSampler(4, kind);
    const std::vector<float> in(3000, 0.5f);
    const auto high = Up(sampler, in);
    // The mean of a group: what is left of the images of DC has whole periods in it.
    const float mean = 0.25f * (high[11996] + high[11997] + high[11998] + high[11999]);
    EXPECT_NEAR(mean, 0.5f, 1e-6) << kind;
    EXPECT_NEAR(Down(sampler, high).back(), 0.5f, 1e-6) << kind;
  }
  // 18 kHz in, 4 times the rate: nothing may be left at 30 kHz.
  Oversampler sampler = MakeSampler(4, 3);
  std::vector<float> sine(4096);
  for (std::size_t i = 0; i < sine.size(); ++i) {
    sine[i] =
        static_cast<float>(std::sin(2.0 * std::numbers::pi * 18000.0 / kBaseRate * static_cast<double>(i)));
  }
  const auto high = Up(sampler, sine);
  const std::size_t start = 1024, length = 8192;  // whole periods of both tones, behind the start
  std::complex<double> tone = 0.0, image = 0.0;
  for (std::size_t i = start; i < start + length; ++i) {
    tone += std::polar(static_cast<double>(high[i]),
                       -2.0 * std::numbers::pi * 18.0 / 192.0 * static_cast<double>(i));
    image += std::polar(static_cast<double>(high[i]),
                        -2.0 * std::numbers::pi * 30.0 / 192.0 * static_cast<double>(i));
  }
  EXPECT_NEAR(2.0 * std::abs(tone) / length, 1.0, 1e-4);
  EXPECT_LT(20.0 * std::log10(std::abs(image) / std::abs(tone)), -100.0);
}

TEST(Oversampler, SoundsTheSameHoweverTheStreamIsCutIntoBlocks) {
  const auto in = Noise(700, 21);
  for (const std::uint32_t kind : {0u, 1u, 2u, 3u}) {
    for (const std::uint32_t factor : kFactors) {
      SCOPED_TRACE(testing::Message() << "factor " << factor << ", kind " << kind);
      Oversampler whole = MakeSampler(factor, kind, 700), cut = MakeSampler(factor, kind, 37);
      const auto expected = Up(whole, in);
      const auto expectedDown = Down(whole, expected);
      std::vector<float> high(expected.size()), low(in.size());
      std::mt19937 generator(22);
      for (std::uint32_t i = 0; i < in.size();) {
        const std::uint32_t n =
            std::min<std::uint32_t>(generator() % 100, static_cast<std::uint32_t>(in.size()) - i);
        cut.Upsample(&in[i], &high[i * factor], n);
        cut.Downsample(&high[i * factor], &low[i], n);
        i += n;
      }
      for (std::size_t i = 0; i < high.size(); ++i) ASSERT_NEAR(high[i], expected[i], 2e-6) << i;
      for (std::size_t i = 0; i < low.size(); ++i) ASSERT_NEAR(low[i], expectedDown[i], 2e-6) << i;
    }
  }
}

TEST(Oversampler, OfLinearPhaseGivesTheSameInEveryKind) {
  const auto in = Noise(300, 23);
  for (const std::uint32_t factor : kFactors) {
    Oversampler reference = MakeSampler(factor, 3);
    const auto high = Up(reference, in), low = Down(reference, high);
    for (const std::uint32_t kind : {2u, 4u}) {
      Oversampler other = MakeSampler(factor, kind);
      const auto otherHigh = Up(other, in), otherLow = Down(other, high);
      for (std::size_t i = 0; i < high.size(); ++i) ASSERT_NEAR(otherHigh[i], high[i], 2e-6) << factor;
      for (std::size_t i = 0; i < low.size(); ++i) ASSERT_NEAR(otherLow[i], low[i], 2e-6) << factor;
    }
  }
}

TEST(Oversampler, ForgetsEverythingOnResetAndOnInit) {
  for (const std::uint32_t kind : {0u, 1u, 2u, 3u}) {
    Oversampler sampler = MakeSampler(4, kind);
    const std::vector<float> silence(100);
    for (const bool init : {false, true}) {
      Down(sampler, Up(sampler, Noise(100, 24)));
      init ? sampler.Init(64) : sampler.Reset();
      for (const float x : Up(sampler, silence)) ASSERT_EQ(x, 0.0f) << kind;
      for (const float x : Down(sampler, std::vector<float>(400))) ASSERT_EQ(x, 0.0f) << kind;
    }
  }
}

TEST(Oversampler, GivesZerosForAnUnknownFactorOrKindAndTouchesNothingForFactorZero) {
  for (const std::uint32_t kind : {0u, 1u, 2u, 3u, 4u, 5u, 77u}) {
    for (const std::uint32_t factor : {0u, 3u, kind > 4 ? 2u : 5u}) {
      SCOPED_TRACE(testing::Message() << "factor " << factor << ", kind " << kind);
      Oversampler sampler = MakeSampler(factor, kind);
      EXPECT_EQ(sampler.GetLatency(), 0u);
      const std::vector<float> in(40, 1.0f);
      std::vector<float> high(21, 7.0f), low(5, 7.0f);
      sampler.Upsample(in.data(), high.data(), 4);
      sampler.Downsample(in.data(), low.data(), 4);
      for (std::size_t i = 0; i < high.size(); ++i) EXPECT_EQ(high[i], i < 4 * factor ? 0.0f : 7.0f);
      for (std::size_t i = 0; i < low.size(); ++i) EXPECT_EQ(low[i], i < 4 && factor > 0 ? 0.0f : 7.0f);
    }
  }
}

template <typename Sampler>
class UpDownsampler : public testing::Test {};
using Samplers = testing::Types<FIRUpDownsampler, ScalarUpDownsampler>;
TYPED_TEST_SUITE(UpDownsampler, Samplers);

TYPED_TEST(UpDownsampler, TakesAnyTapsPadsThemBehindAndReportsByItsOption) {
  // Taps 1 2 3 4 5 at factor 3, padded to six: up is the taps after each sample, down every third sum.
  const float taps[] = {1.0f, 2.0f, 3.0f, 4.0f, 5.0f};
  TypeParam sampler;
  sampler.Init(3, taps, 5, 1, 2);
  EXPECT_EQ(sampler.GetLatency(), 1u);
  const float in[] = {1.0f, 10.0f, 0.0f};
  float high[9] = {};
  sampler.Upsample(in, high, 3);
  const float expectedHigh[] = {3, 6, 9, 42, 75, 90, 120, 150, 0};
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(high[i], expectedHigh[i]) << i;

  const float ramp[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  float low[3] = {};
  sampler.Downsample(ramp, low, 3);
  // The sum over k of taps[k] * ramp[3 n - k].
  EXPECT_EQ(low[0], 1.0f);
  EXPECT_EQ(low[1], 4.0f + 2.0f * 3.0f + 3.0f * 2.0f + 4.0f * 1.0f);
  EXPECT_EQ(low[2], 7.0f + 2.0f * 6.0f + 3.0f * 5.0f + 4.0f * 4.0f + 5.0f * 3.0f);

  sampler.Init(3, taps, 5, 0, 2);
  EXPECT_EQ(sampler.GetLatency(), 2u) << "5 rounded up to 8, over 3";
  sampler.Init(2, taps, 5, 5, 2);
  EXPECT_EQ(sampler.GetLatency(), 2u) << "only the low two bits count";
  sampler.Init(0, taps, 5, 1, 2);
  EXPECT_EQ(sampler.GetLatency(), 0u);
  sampler.Init(2, taps, 0, 1, 2);
  EXPECT_EQ(sampler.GetLatency(), 0u);
}

}  // namespace
}  // namespace Vantora::prims
