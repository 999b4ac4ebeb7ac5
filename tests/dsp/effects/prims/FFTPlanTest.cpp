#include "dsp/effects/prims/FFTPlan.h"

#include <gtest/gtest.h>
#include <kissfft/kiss_fftr.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <tuple>
#include <vector>
#include "tests/support/Signals.h"

namespace Vantora::prims {
namespace {

using test::Noise;

// Transform of a real signal by its definition's recursion, in double.
std::vector<std::complex<double>> Exact(const std::vector<std::complex<double>>& x) {
  const std::size_t size = x.size();
  if (size == 1) return x;
  std::vector<std::complex<double>> even(size / 2), odd(size / 2), spectrum(size);
  for (std::size_t i = 0; i < size / 2; ++i) {
    even[i] = x[2 * i];
    odd[i] = x[2 * i + 1];
  }
  even = Exact(even);
  odd = Exact(odd);
  for (std::size_t k = 0; k < size / 2; ++k) {
    const double angle = -2.0 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(size);
    const std::complex<double> turned = std::polar(1.0, angle) * odd[k];
    spectrum[k] = even[k] + turned;
    spectrum[k + size / 2] = even[k] - turned;
  }
  return spectrum;
}

std::vector<SimdTarget> Targets() {
  std::vector<SimdTarget> targets;
  for (int t = 0; t <= static_cast<int>(BestSimdTarget()); ++t) targets.push_back(static_cast<SimdTarget>(t));
  return targets;
}

using OrderAndTarget = std::tuple<int, SimdTarget>;
class FFTPlanOfOrder : public testing::TestWithParam<OrderAndTarget> {};

TEST_P(FFTPlanOfOrder, MeetsTheExactTransformAndComesBack) {
  const auto [order, target] = GetParam();
  const std::size_t size = std::size_t{1} << order;
  const double limit = 3e-7 * std::max(order, 1);
  const auto input = Noise(size, 11);
  FFTPlan plan(size, target);
  constexpr float kMark = 12345.0f;
  std::vector<float> spectrum(size + 4, kMark);
  plan.Forward(input.data(), spectrum.data());
  EXPECT_EQ(spectrum[size + 2], kMark) << "written behind the Nyquist bin";
  EXPECT_EQ(spectrum[1], 0.0f);
  if (size > 1) {
    EXPECT_EQ(spectrum[size + 1], 0.0f);
  }

  const auto exact = Exact(std::vector<std::complex<double>>(input.begin(), input.end()));
  double power = 0.0;
  for (std::size_t k = 0; k <= size / 2; ++k) power += std::norm(exact[k]);
  const double rms = std::sqrt(power / static_cast<double>(size / 2 + 1));
  double worst = 0.0;
  for (std::size_t k = 0; k <= size / 2; ++k) {
    worst = std::max(worst, std::abs(std::complex<double>(spectrum[2 * k], spectrum[2 * k + 1]) - exact[k]));
  }
  EXPECT_LT(worst, limit * rms);

  std::vector<float> inPlace(input);
  inPlace.resize(size + 4, kMark);
  plan.ForwardInPlace(inPlace.data());
  EXPECT_EQ(inPlace, spectrum);

  // What stands in the two imaginary parts that must be 0 isn't read.
  inPlace[1] = std::numeric_limits<float>::quiet_NaN();
  if (size > 1) inPlace[size + 1] = std::numeric_limits<float>::quiet_NaN();
  plan.InverseInPlace(inPlace.data());
  for (std::size_t i = 0; i < size; ++i) ASSERT_NEAR(inPlace[i], input[i], limit) << i;
  EXPECT_EQ(inPlace[size + 2], kMark);
}

INSTANTIATE_TEST_SUITE_P(Sizes, FFTPlanOfOrder,
                         testing::Combine(testing::Range(0, 18), testing::ValuesIn(Targets())));

TEST(FFTPlan, AgreesWithAnIndependentTransform) {
  for (const int size : {2, 4, 8, 64, 512, 2048, 32768}) {
    const auto input = Noise(static_cast<std::size_t>(size), 12);
    std::vector<kiss_fft_cpx> reference(static_cast<std::size_t>(size) / 2 + 1);
    kiss_fftr_cfg config = kiss_fftr_alloc(size, 0, nullptr, nullptr);
    kiss_fftr(config, input.data(), reference.data());
    kiss_fftr_free(config);
    FFTPlan plan(static_cast<std::size_t>(size));
    std::vector<float> spectrum(static_cast<std::size_t>(size) + 2);
    plan.Forward(input.data(), spectrum.data());
    const double limit = 4e-6 * std::sqrt(static_cast<double>(size));
    for (std::size_t k = 0; k < reference.size(); ++k) {
      ASSERT_NEAR(spectrum[2 * k], reference[k].r, limit) << size << " bin " << k;
      ASSERT_NEAR(spectrum[2 * k + 1], reference[k].i, limit) << size << " bin " << k;
    }
  }
}

TEST(FFTPlan, PutsAConstantIntoBinZeroAndAShiftedImpulseOnTheUnitCircle) {
  constexpr std::size_t kSize = 256;
  FFTPlan plan(kSize);
  std::vector<float> buffer(kSize + 2, 1.0f);
  plan.ForwardInPlace(buffer.data());
  EXPECT_EQ(buffer[0], 256.0f);
  for (std::size_t i = 1; i < buffer.size(); ++i) EXPECT_EQ(buffer[i], 0.0f);
  plan.InverseInPlace(buffer.data());
  for (std::size_t i = 0; i < kSize; ++i) EXPECT_EQ(buffer[i], 1.0f);

  std::vector<float> impulse(kSize);
  impulse[3] = 1.0f;
  plan.Forward(impulse.data(), buffer.data());
  for (std::size_t k = 0; k <= kSize / 2; ++k) {
    const double angle = -2.0 * std::numbers::pi * 3.0 * static_cast<double>(k) / kSize;
    EXPECT_NEAR(buffer[2 * k], std::cos(angle), 1e-6);
    EXPECT_NEAR(buffer[2 * k + 1], std::sin(angle), 1e-6);
  }
}

TEST(FFTPlan, TakesTheWholePartOfLogTwoForAnyOtherSizeAndRemembersWhatWasAsked) {
  FFTPlan plan(100);
  EXPECT_EQ(plan.GetSize(), 100u);
  const auto input = Noise(100, 13);
  std::vector<float> spectrum(102, 5.0f), expected(66);
  plan.Forward(input.data(), spectrum.data());
  EXPECT_EQ(spectrum[66], 5.0f);
  FFTPlan power(64);
  power.Forward(input.data(), expected.data());
  spectrum.resize(66);
  EXPECT_EQ(spectrum, expected);

  plan.SetSize(64);
  plan.Forward(input.data(), spectrum.data());
  EXPECT_EQ(spectrum, expected);
  FFTPlan copy(plan);
  plan.SetSize(0);
  EXPECT_EQ(plan.GetSize(), 0u);
  plan.ForwardInPlace(spectrum.data());
  plan.InverseInPlace(spectrum.data());
  EXPECT_EQ(spectrum, expected) << "an empty plan does nothing";
  copy.Forward(input.data(), spectrum.data());
  EXPECT_EQ(spectrum, expected) << "a copy is a plan of its own";
}

}  // namespace
}  // namespace Vantora::prims
