#include "dsp/effects/prims/VectorKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <vector>

#include "dsp/effects/prims/AlignedBuffer.h"
#include "dsp/effects/prims/VectorKernelTable.h"
#include "tests/support/Signals.h"

namespace Vantora::prims {
namespace {

using test::Noise;

TEST(AlignedBuffer, StartsOnACacheLineHoldsZerosAndCopiesItsContents) {
  AlignedBuffer buffer(37);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.Data()) % 64, 0u);
  for (std::size_t i = 0; i < buffer.Count(); ++i) EXPECT_EQ(buffer[i], 0.0f);
  buffer.Fill(2.0f);
  AlignedBuffer copy(buffer);
  EXPECT_NE(copy.Data(), buffer.Data());
  copy[0] = 3.0f;
  EXPECT_EQ(buffer[0], 2.0f);
  EXPECT_EQ(*copy.Data(36), 2.0f);
  buffer.Resize(37);
  EXPECT_EQ(buffer[36], 2.0f) << "the present size keeps the contents";
  buffer.Resize(64);
  for (std::size_t i = 0; i < buffer.Count(); ++i) EXPECT_EQ(buffer[i], 0.0f);
  buffer = std::move(copy);
  EXPECT_EQ(buffer[0], 3.0f);
  buffer.Resize(0);
  EXPECT_EQ(buffer.Data(), nullptr);
  EXPECT_EQ(AlignedBuffer().Data(5), nullptr);
}

// Every instruction set of this machine.
class Kernels : public testing::TestWithParam<SimdTarget> {
 protected:
  const VectorKernelTable& kernels = VectorKernelsFor(GetParam());
  const FirKernelTable& fir = FirKernelsFor(GetParam());
};

std::vector<SimdTarget> Targets() {
  std::vector<SimdTarget> targets;
  for (int t = 0; t <= static_cast<int>(BestSimdTarget()); ++t) targets.push_back(static_cast<SimdTarget>(t));
  return targets;
}
INSTANTIATE_TEST_SUITE_P(Targets, Kernels, testing::ValuesIn(Targets()));

TEST_P(Kernels, AddFourProductsOfSpectraInOnePass) {
  for (const std::size_t count : {3u, 4u, 7u, 12u, 36u, 260u, 1030u}) {
    std::array<std::vector<float>, kSpectra> a, b;
    std::array<const float*, kSpectra> as, bs;
    for (std::size_t k = 0; k < kSpectra; ++k) {
      a[k] = Noise(count, static_cast<unsigned>(10 + k));
      b[k] = Noise(count, static_cast<unsigned>(20 + k));
      as[k] = a[k].data();
      bs[k] = b[k].data();
    }
    const auto before = Noise(count, 3);
    auto sum = before;
    kernels.mulAddSpectra(as.data(), bs.data(), sum.data(), count);
    const std::size_t end = count / 4 * 4;
    for (std::size_t i = 0; i < end; i += 2) {
      std::complex<double> exact(before[i], before[i + 1]);
      for (std::size_t k = 0; k < kSpectra; ++k) {
        exact += std::complex<double>(a[k][i], a[k][i + 1]) * std::complex<double>(b[k][i], b[k][i + 1]);
      }
      EXPECT_NEAR(sum[i], exact.real(), 1e-6) << count << " " << i;
      EXPECT_NEAR(sum[i + 1], exact.imag(), 1e-6);
    }
    for (std::size_t i = end; i < count; ++i) EXPECT_EQ(sum[i], before[i]) << "the tail is left alone";
  }
}

TEST_P(Kernels, SumTheProductsOfALinesSpectraRowByRow) {
  constexpr std::size_t kRows = 3;
  for (const std::size_t spectra : {1u, 2u, 15u}) {
    AlignedBuffer a(kRows * spectra * kSpectrumRow), b(a.Count()), sum(kRows * kSpectrumRow);
    const auto noiseA = Noise(a.Count(), 1), noiseB = Noise(b.Count(), 2);
    std::copy(noiseA.begin(), noiseA.end(), a.Data());
    std::copy(noiseB.begin(), noiseB.end(), b.Data());
    for (std::size_t first = 0; first < spectra; ++first) {
      for (const std::size_t used : {std::size_t{0}, std::size_t{1}, spectra}) {
        kernels.sumSpectra(a.Data(), first, b.Data(), spectra, used, sum.Data(), kRows);
        for (std::size_t f = 0; f < sum.Count(); f += 2) {
          std::complex<double> exact;
          for (std::size_t i = 0; i < used; ++i) {
            const auto at = [&](const AlignedBuffer& from, std::size_t place) {
              const std::size_t k = (f / kSpectrumRow * spectra + place) * kSpectrumRow + f % kSpectrumRow;
              return std::complex<double>(from[k], from[k + 1]);
            };
            exact += at(a, (first + i) % spectra) * at(b, i);
          }
          ASSERT_NEAR(sum[f], exact.real(), 3e-6) << spectra << " " << first << " " << used << " " << f;
          ASSERT_NEAR(sum[f + 1], exact.imag(), 3e-6);
        }
      }
    }
  }
}

TEST_P(Kernels, MultiplySpectraInWholeGroupsOfFourFloats) {
  for (const std::size_t count : {3u, 4u, 7u, 8u, 12u, 31u, 36u, 66u, 260u, 1030u}) {
    const auto a = Noise(count, 1), b = Noise(count, 2), before = Noise(count, 3);
    auto product = before, sum = before;
    kernels.mulSpectrum(a.data(), b.data(), product.data(), count);
    kernels.mulAddSpectrum(a.data(), b.data(), sum.data(), count);
    const std::size_t end = count / 4 * 4;
    for (std::size_t i = 0; i < end; i += 2) {
      const std::complex<double> exact =
          std::complex<double>(a[i], a[i + 1]) * std::complex<double>(b[i], b[i + 1]);
      EXPECT_NEAR(product[i], exact.real(), 3e-7) << count << " " << i;
      EXPECT_NEAR(product[i + 1], exact.imag(), 3e-7);
      EXPECT_NEAR(sum[i], before[i] + exact.real(), 3e-7);
      EXPECT_NEAR(sum[i + 1], before[i + 1] + exact.imag(), 3e-7);
    }
    for (std::size_t i = end; i < count; ++i) {
      EXPECT_EQ(product[i], before[i]) << "the tail is left alone";
      EXPECT_EQ(sum[i], before[i]);
    }
  }
}

TEST(SpectrumProduct, DoesNothingWithoutADestinationOrWithLessThanFourFloats) {
  float destination[3] = {1.0f, 2.0f, 3.0f};
  const float operand[3] = {4.0f, 5.0f, 6.0f};
  MulAddSpectrum(operand, operand, destination, 3);
  MulSpectrum(operand, operand, destination, 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(destination[i], static_cast<float>(i + 1));
  MulSpectrum(nullptr, nullptr, nullptr, 8);
  AlignedBuffer empty;
  MulAddSpectrum(empty, empty, empty);
}

TEST(SpectrumProduct, MayHaveBothOperandsAsItsDestination) {
  AlignedBuffer a(20), b(20);
  for (std::size_t i = 0; i < 20; ++i) a[i] = b[i] = static_cast<float>(i) - 7.0f;
  AlignedBuffer expected(20);
  MulSpectrum(b, b, expected);
  MulSpectrum(a, a, a);
  for (std::size_t i = 0; i < 20; ++i) EXPECT_EQ(a[i], expected[i]);
  a = b;
  for (std::size_t i = 0; i < 20; ++i) expected[i] += b[i];
  MulAddSpectrum(a, a, a);
  for (std::size_t i = 0; i < 20; ++i) EXPECT_NEAR(a[i], expected[i], 1e-4f);
}

TEST_P(Kernels, InterleaveAnyNumberOfRowsAndPartThemAgain) {
  for (const std::size_t rowCount : {1u, 2u, 3u, 4u, 6u, 8u, 16u, 32u}) {
    for (const std::size_t count : {0u, 1u, 5u, 16u, 44u, 67u}) {
      const std::size_t stride = count + 3;
      const auto rows = Noise(rowCount * stride, 31);
      std::vector<float> out(rowCount * count + 1, 9.0f);
      kernels.interleave(rows.data(), stride, rowCount, out.data(), count);
      for (std::size_t i = 0; i < rowCount * count; ++i) {
        ASSERT_EQ(out[i], rows[i % rowCount * stride + i / rowCount]) << rowCount << " rows of " << count;
      }
      EXPECT_EQ(out.back(), 9.0f);
      auto back = rows;
      for (std::size_t r = 0; r < rowCount; ++r) Set(0.0f, &back[r * stride], count);
      kernels.deinterleave(out.data(), rowCount, back.data(), stride, count);
      EXPECT_EQ(back, rows) << rowCount << " rows of " << count;
    }
  }
}

TEST_P(Kernels, AddAndScaleExactlyTheirCount) {
  for (const std::size_t count : {0u, 1u, 5u, 16u, 47u}) {
    const auto source = Noise(count + 1, 4), before = Noise(count + 1, 5);
    auto sum = before, scaled = before;
    kernels.add(source.data(), sum.data(), count);
    kernels.scale(0.75f, source.data(), scaled.data(), count);
    for (std::size_t i = 0; i < count; ++i) {
      EXPECT_EQ(sum[i], before[i] + source[i]);
      EXPECT_EQ(scaled[i], 0.75f * source[i]);
    }
    EXPECT_EQ(sum[count], before[count]);
    EXPECT_EQ(scaled[count], before[count]);
  }
}

TEST(BufferOperations, CoverExactlyTheirCount) {
  for (const std::size_t count : {0u, 1u, 5u, 16u, 47u}) {
    const auto source = Noise(count + 1, 4), before = Noise(count + 1, 5);
    auto copy = before, moved = before, set = before;
    Copy(source.data(), copy.data(), count);
    if (count > 0) Move(moved.data(), moved.data() + 1, count);
    Set(0.5f, set.data(), count);
    for (std::size_t i = 0; i < count; ++i) {
      EXPECT_EQ(copy[i], source[i]);
      EXPECT_EQ(moved[i + 1], before[i]);
      EXPECT_EQ(set[i], 0.5f);
    }
    for (const auto* result : {&copy, &set}) EXPECT_EQ((*result)[count], before[count]);
    Zero(set.data(), count);
    for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(set[i], 0.0f);
    EXPECT_EQ(set[count], before[count]);
  }
}

TEST_P(Kernels, FilterToTheExactSumForAnyTapAndSampleCountAndWritesNothingElse) {
  for (const std::size_t tapCount : {0u, 1u, 2u, 7u, 47u, 63u, 64u, 65u, 128u, 500u, 2048u}) {
    for (const std::size_t count : {0u, 1u, 2u, 3u, 4u, 7u, 15u, 17u, 33u, 44u, 48u, 64u, 96u, 100u, 133u}) {
      const auto taps = Noise(tapCount, 6);
      // Exactly as long as promised, so that a read beyond it is seen by the address sanitizer.
      const auto samples = Noise((tapCount > 0 ? tapCount - 1 : 0) + count, 7);
      const auto before = Noise(count + 1, 8);
      auto out = before, sum = before;
      fir.fir(taps.data(), tapCount, samples.data(), out.data(), count);
      fir.add(taps.data(), tapCount, samples.data(), sum.data(), count);
      const double limit =
          1e-5 * std::sqrt(static_cast<double>(tapCount) / 9.0) + 1e-7;  // of the output's RMS
      for (std::size_t i = 0; i < count; ++i) {
        double exact = 0.0;
        for (std::size_t k = 0; k < tapCount; ++k) exact += static_cast<double>(taps[k]) * samples[i + k];
        ASSERT_NEAR(out[i], exact, limit) << tapCount << " taps, sample " << i << " of " << count;
        ASSERT_NEAR(sum[i], before[i] + exact, limit) << tapCount << " taps, sample " << i << " of " << count;
      }
      EXPECT_EQ(out[count], before[count]);
      EXPECT_EQ(sum[count], before[count]);
    }
  }
}

TEST(Fir, SumsALongRunOfEqualTermsInPartsNotInOneRow) {
  // A single running sum of 2^14 terms near 1 is off by more
  // than this: each step rounds to the size of the sum.
  constexpr std::size_t kTaps = 1 << 14;
  const std::vector<float> taps(kTaps, 1.1f);
  const std::vector<float> samples(kTaps + 15, 0.9f);
  float out[16];
  Fir(taps.data(), kTaps, samples.data(), out, 16);
  const double exact = kTaps * static_cast<double>(1.1f) * static_cast<double>(0.9f);
  for (const float x : out) EXPECT_NEAR(x, exact, 1e-5 * exact);
}

}  // namespace
}  // namespace Vantora::prims
