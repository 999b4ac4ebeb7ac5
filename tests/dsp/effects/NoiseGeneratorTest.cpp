#include "dsp/effects/NoiseGenerator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "dsp/effects/prims/FFTPlan.h"
#include "tests/support/ModuleRig.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::dsp {
namespace {

constexpr float kRates[] = {44100.0f, 48000.0f, 96000.0f, 192000.0f};

class Noise : public test::EffectRig<NoiseGenerator> {
 public:
  explicit Noise(uint32_t type, float rate = 48000.0f, uint32_t seed = 1, uint32_t blockSize = 64)
      : EffectRig(blockSize, rate, seed) {
    Set(NoiseGenerator::kNoiseType, static_cast<float>(type));
  }
  std::vector<float> Run(uint32_t count) {
    return EffectRig::Run(count, [](uint32_t) { return 0.0; });
  }
};

/// Power density by frequency, averaged over a minute and a half, with Hann windows that overlap by half.
class Density {
 public:
  Density(uint32_t type, float sampleRate)
      : size(sampleRate > 64000.0f ? (sampleRate > 128000.0f ? 131072 : 65536) : 32768),
        binHz(static_cast<double>(sampleRate) / size),
        bins(size / 2 + 1, 0.0) {
    Noise noise(type, sampleRate, 20240901, 1024);
    noise.Run(65536);  // the lowest pole of the bank has settled
    prims::FFTPlan plan(size);
    std::vector<double> window(size);
    for (uint32_t i = 0; i < size; ++i)
      window[i] = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * (i + 0.5) / size);
    std::vector<float> signal = noise.Run(size), spectrum(size + 2);
    const auto windows = static_cast<uint32_t>(180.0 * binHz);
    for (uint32_t w = 0; w < windows; ++w) {
      for (uint32_t i = 0; i < size; ++i) spectrum[i] = static_cast<float>(signal[i] * window[i]);
      plan.ForwardInPlace(spectrum.data());
      for (uint32_t k = 0; k <= size / 2; ++k) {
        const double power = std::pow(spectrum[2 * k], 2.0) + std::pow(spectrum[2 * k + 1], 2.0);
        bins[k] += 2.0 * power / (0.375 * size * size) / windows / binHz;
      }
      const std::vector<float> next = noise.Run(size / 2);
      std::copy(signal.begin() + size / 2, signal.end(), signal.begin());
      std::copy(next.begin(), next.end(), signal.begin() + size / 2);
    }
  }

  /// dB per Hz, the mean over a third of an octave.
  double DbAt(double hz) const {
    const auto first = static_cast<uint32_t>(std::ceil(hz * std::exp2(-1.0 / 6.0) / binHz));
    const auto last = static_cast<uint32_t>(std::floor(hz * std::exp2(1.0 / 6.0) / binHz));
    double sum = 0.0;
    for (uint32_t k = first; k <= last; ++k) sum += bins[k];
    return 10.0 * std::log10(sum / (last - first + 1));
  }

  /// Largest distance in dB from the line of `slope` dB per octave that fits best.
  double DistanceFromSlope(double slope, double low, double high) const {
    double least = 1e9, most = -1e9;
    for (double hz = low; hz <= high * 1.001; hz *= std::exp2(1.0 / 3.0)) {
      const double rest = DbAt(hz) - slope * std::log2(hz);
      least = std::min(least, rest);
      most = std::max(most, rest);
    }
    return 0.5 * (most - least);
  }

 private:
  uint32_t size;
  double binHz;
  std::vector<double> bins;
};

TEST(NoiseGenerator, WhiteIsTheXorshiftSequence) {
  Noise noise(NoiseGenerator::kWhite, 48000.0f, 0x9E3779B9u);
  uint32_t x = 0x9E3779B9u;
  for (const float y : noise.Run(640)) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    ASSERT_EQ(y, static_cast<float>(x) * 4.656613e-10f - 1.0f);
  }
  Noise one(NoiseGenerator::kWhite, 48000.0f, 1);
  EXPECT_FLOAT_EQ(one.Run(64)[0], 270369.0f * 4.656613e-10f - 1.0f);
}

TEST(NoiseGenerator, AResetGoesOnWithTheSequenceAndClearsTheColours) {
  Noise noise(NoiseGenerator::kWhite);
  Noise reference(NoiseGenerator::kWhite);
  noise.Run(64);
  noise.effect.ResetState(true);
  EXPECT_EQ(noise.Run(64)[0], reference.Run(128)[64]);
  // Brown walks away from zero; a reset, and a change of type, take it back to the first step.
  Noise brown(NoiseGenerator::kBrown);
  const float step = std::fabs(brown.Run(64)[0]);
  brown.Run(48000);
  brown.effect.ResetState(false);
  EXPECT_LT(std::fabs(brown.Run(64)[0]), 0.032f);
  EXPECT_LT(step, 0.032f);
  brown.Run(6400);
  brown.Set(NoiseGenerator::kNoiseType, NoiseGenerator::kDark);
  EXPECT_LT(std::fabs(brown.Run(64)[0]), 0.032f);
}

TEST(NoiseGenerator, SeedZeroDiffersFromInstanceToInstance) {
  Noise a(NoiseGenerator::kWhite, 48000.0f, 0), b(NoiseGenerator::kWhite, 48000.0f, 0);
  EXPECT_NE(a.Run(64), b.Run(64));
}

TEST(NoiseGenerator, SoundsTheSameHoweverTheStreamIsCutIntoBlocks) {
  for (uint32_t type = 0; type < NoiseGenerator::kTypeCount; ++type) {
    Noise whole(type, 48000.0f, 5, 64), cut(type, 48000.0f, 5, 64);
    whole.Set(NoiseGenerator::kNoiseColor, 0.6f);
    cut.Set(NoiseGenerator::kNoiseColor, 0.6f);
    const auto expected = whole.Run(640);
    std::vector<float> pieces;
    for (uint32_t n = 1; pieces.size() < 640; n = n % 61 + 4) {
      cut.Process(n);
      pieces.insert(pieces.end(), cut.outputs[0], cut.outputs[0] + n);
    }
    pieces.resize(640);
    EXPECT_EQ(pieces, expected) << NoiseGenerator::kTypeNames[type];
  }
}

// How far third octaves lie from a line of the colour's slope. Violet: below 100 Hz the clamp's own noise
// shows. Pink: poles two octaves apart leave a ripple, and the last of them lies where the rate puts it.
// Brown: one sample's sum is no integral near half the rate, and its high-pass bends the low end.
TEST(NoiseGenerator, FallsAsItsColourSays) {
  struct Case {
    uint32_t type;
    double slope, low, high, distance;
  };
  const Case cases[] = {{NoiseGenerator::kViolet, 6.02, 100.0, 6000.0, 0.5},
                        {NoiseGenerator::kWhite, 0.0, 40.0, 16000.0, 0.5},
                        {NoiseGenerator::kPink, -3.01, 40.0, 1250.0, 0.5},
                        {NoiseGenerator::kPink, -3.01, 40.0, 16000.0, 1.75},
                        {NoiseGenerator::kBrown, -6.02, 100.0, 6000.0, 0.5}};
  for (const Case& c : cases) {
    for (const float rate : kRates) {
      const Density density(c.type, rate);
      const double distance = density.DistanceFromSlope(c.slope, c.low, c.high);
      std::printf(
          "%-8s %6.0f Hz: %.2f dB from %+.2f dB per octave, %.0f to %.0f Hz; 16 kHz: %+.2f dB; 1 kHz: %.1f "
          "dB/Hz\n",
          NoiseGenerator::kTypeNames[c.type].data(), static_cast<double>(rate), distance, c.slope, c.low,
          c.high, density.DbAt(16000.0) - density.DbAt(1000.0) - 4.0 * c.slope, density.DbAt(1000.0));
      EXPECT_LT(distance, c.distance);
    }
  }
}

TEST(NoiseGenerator, IsAboutAsLoudAtEveryRate) {
  double level[NoiseGenerator::kTypeCount][4];
  for (uint32_t type = 0; type < NoiseGenerator::kVariable; ++type) {
    std::printf("%-8s", NoiseGenerator::kTypeNames[type].data());
    for (int i = 0; i < 4; ++i) {
      Noise noise(type, kRates[i], 77, 1024);
      noise.Run(65536);
      level[type][i] = 10.0 * std::log10(test::MeanSquare(noise.Run(1 << 20)));
      std::printf(" %6.2f", level[type][i]);
    }
    std::printf(" dB RMS\n");
  }
  for (const uint32_t type : {NoiseGenerator::kViolet, NoiseGenerator::kWhite, NoiseGenerator::kPink}) {
    for (int i = 1; i < 4; ++i)
      EXPECT_NEAR(level[type][i], level[type][0], 1.3) << NoiseGenerator::kTypeNames[type];
  }
  // Intended: the integrators grow with the rate, until the clamp holds them.
  EXPECT_NEAR(level[NoiseGenerator::kBrown][2] - level[NoiseGenerator::kBrown][1], 6.0, 0.7);
}

/// White noise made into a colour as the formulas say, in double precision.
std::vector<float> ByFormula(std::vector<float> noise, uint32_t type, double rate) {
  const double ratio = rate / 44100.0;
  const bool isPink = type == NoiseGenerator::kPink || type == NoiseGenerator::kDark;
  const bool isBrown = type == NoiseGenerator::kBrown || type == NoiseGenerator::kDark;
  if (type == NoiseGenerator::kViolet) {  // the difference, below 20 kHz with Q 0.7071
    const double g = std::exp2(rate <= 44100.0   ? 0.0
                               : rate >= 48000.0 ? std::log2(ratio) * 1.07962668 + 0.215925321
                                                 : rate * 5.53654609e-05 - 2.44161701);
    const double w = 2.0 * std::numbers::pi * std::min(20000.0 / rate, 0.495),
                 a = std::sin(w) * std::sqrt(0.5);
    double x[3] = {}, y[3] = {}, last = 0.0;
    for (float& sample : noise) {
      x[2] = x[1], x[1] = x[0], x[0] = double{sample} - last, last = double{sample};
      y[2] = y[1], y[1] = y[0];
      y[0] = (0.5 * (1.0 - std::cos(w)) * (x[0] + 2.0 * x[1] + x[2]) + 2.0 * std::cos(w) * y[1] -
              (1.0 - a) * y[2]) /
             (1.0 + a);
      sample = static_cast<float>(0.421696514 * g * y[0]);
    }
  }
  if (isPink) {  // one-poles two octaves apart, each 6 dB below the one before
    std::vector<double> corners, states;
    double sum = 0.0;
    for (double f = 1.7; f < rate / (2.0 * std::numbers::pi) - 1.0; f *= 4.0) {
      sum += std::pow(10.0, -0.3 * static_cast<double>(corners.size()));
      corners.push_back(f);
    }
    states.resize(corners.size());
    const double levelDb = rate <= 88200.0 ? 3.5 * std::log2(ratio) : std::log2(ratio / 2.0) + 3.5;
    for (float& sample : noise) {
      double y = 0.0;
      for (std::size_t k = 0; k < corners.size(); ++k) {
        states[k] += (double{sample} - states[k]) * 2.0 * std::numbers::pi * corners[k] / rate;
        y += states[k] * std::pow(10.0, -0.3 * static_cast<double>(k));
      }
      sample = static_cast<float>(std::pow(10.0, (levelDb + 23.0) / 20.0) / sum * y);
    }
  }
  if (isBrown) {  // the sum, above 20 Hz
    const double k = rate / (20.0 * std::numbers::pi);
    double y = 0.0;
    for (float& sample : noise) {
      y = (k * double{sample} + (k - 1.0) * y) / (k + 1.0);
      sample = static_cast<float>(0.0298538245 * std::sqrt(ratio) * y);
    }
  }
  if (type == NoiseGenerator::kDark) {
    for (float& sample : noise) sample *= static_cast<float>(0.223872095 * std::sqrt(ratio));
  }
  for (float& sample : noise) sample = std::clamp(sample, -1.0f, 1.0f);
  return noise;
}

TEST(NoiseGenerator, EveryColourHasTheLevelOfItsFormulaAtEveryRate) {
  for (const float rate : {22050.0f, 44100.0f, 46000.0f, 47999.0f, 48000.0f, 96000.0f, 192000.0f}) {
    const std::vector<float> white = Noise(NoiseGenerator::kWhite, rate, 5).Run(1 << 18);
    for (uint32_t type = 0; type < NoiseGenerator::kVariable; ++type) {
      const double level = test::MeanSquare(Noise(type, rate, 5).Run(1 << 18), 1 << 16);
      const double expected = test::MeanSquare(ByFormula(white, type, static_cast<double>(rate)), 1 << 16);
      EXPECT_NEAR(10.0 * std::log10(level / expected), 0.0, 0.05)
          << NoiseGenerator::kTypeNames[type] << " at " << rate;
    }
  }
}

TEST(NoiseGenerator, TheVariableColourPassesThroughItsNeighbours) {
  const struct {
    float color;
    uint32_t type;
  } stations[] = {{0.0f, NoiseGenerator::kBrown},
                  {0.25f, NoiseGenerator::kPink},
                  {0.5f, NoiseGenerator::kWhite},
                  {1.0f, NoiseGenerator::kViolet}};
  for (const auto& [color, type] : stations) {
    Noise variable(NoiseGenerator::kVariable), plain(type);
    variable.Set(NoiseGenerator::kNoiseColor, color);
    const auto expected = plain.Run(640);
    const auto actual = variable.Run(640);
    for (uint32_t i = 0; i < 640; ++i) EXPECT_NEAR(actual[i], expected[i], 1e-6) << color;
    // The control port gets there too, and the sum is clamped.
    Noise driven(NoiseGenerator::kVariable);
    driven.Set(NoiseGenerator::kNoiseColor, 0.5f);
    driven.MakeLive(0, color == 0.0f ? -3.0f : color - 0.5f);
    driven.Process();
    for (uint32_t i = 0; i < 64; ++i) EXPECT_NEAR(driven.outputs[0][i], expected[i], 1e-6) << color;
  }
}

TEST(NoiseGenerator, VioletAndVariableStayNoiseBelowTwiceTheirCorner) {
  for (const float rate : {8000.0f, 11025.0f, 22050.0f, 32000.0f, 40000.0f}) {
    for (const uint32_t type : {uint32_t{NoiseGenerator::kViolet}, uint32_t{NoiseGenerator::kVariable}}) {
      Noise noise(type, rate);
      noise.Set(NoiseGenerator::kNoiseColor, 1.0f);
      noise.Run(48000);
      double power = 0.0;
      const std::vector<float> late = noise.Run(4800);
      for (const float y : late) power += static_cast<double>(y * y) / static_cast<double>(late.size());
      EXPECT_GT(power, 0.05) << rate << " Hz, type " << type;
      EXPECT_LT(power, 0.5) << rate << " Hz, type " << type;
    }
  }
}

TEST(NoiseGenerator, PinkIsSilentWhereItsBankIsEmptyAndEveryColourIsBoundedAnywhere) {
  for (const float rate : {1.0f, 16.0f, 100.0f, 8000.0f, 768000.0f}) {
    for (uint32_t type = 0; type < NoiseGenerator::kTypeCount; ++type) {
      Noise noise(type, rate);
      for (const float y : noise.Run(6400)) {
        ASSERT_LE(std::fabs(y), 1.0f);
        if (rate < 17.0f && type == NoiseGenerator::kPink) {
          ASSERT_EQ(y, 0.0f);
        }
      }
    }
  }
}

TEST(NoiseGenerator, IsRealTime) {
  for (uint32_t type = 0; type < NoiseGenerator::kTypeCount; ++type) {
    Noise noise(type);
    noise.Process();
    EXPECT_REAL_TIME(noise.Process());
  }
}

}  // namespace
}  // namespace Vantora::dsp
