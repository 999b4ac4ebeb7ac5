#include "dsp/effects/prims/VectorKernels.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "dsp/effects/prims/VectorKernelTable.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/prims/VectorKernels.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Vantora::prims::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

template <class D>
using Vector = hn::Vec<D>;

// Spectra ---------------------------------------------------------------------------------------------------

// (re a re b - im a im b, re a im b + im a re b) + sum, in interleaved order.
template <class D>
HWY_INLINE Vector<D> ComplexMulAdd(D d, const float* a, const float* b, Vector<D> signs, Vector<D> sum) {
  const auto x = hn::LoadU(d, a);
  const auto y = hn::LoadU(d, b);
  const auto cross = hn::Xor(hn::Shuffle2301(y), signs);
  return hn::MulAdd(hn::DupEven(x), y, hn::MulAdd(hn::DupOdd(x), cross, sum));
}

// Runs over whole vectors of `d` from `start` on and returns where it stopped.
template <bool kAdd, class D>
HWY_INLINE std::size_t SpectrumRun(D d, const float* a, const float* b, float* destination, std::size_t start,
                                   std::size_t count) {
  const auto signs = hn::OddEven(hn::Zero(d), hn::Set(d, -0.0f));
  const std::size_t lanes = hn::Lanes(d);
  std::size_t i = start;
  for (; i + lanes <= count; i += lanes) {
    const auto sum = kAdd ? hn::LoadU(d, destination + i) : hn::Zero(d);
    hn::StoreU(ComplexMulAdd(d, a + i, b + i, signs, sum), d, destination + i);
  }
  return i;
}

// The same two vectors at a time, with real and imaginary parts in vectors of their own on the way. Without a
// fused multiply-add that takes fewer operations.
template <bool kAdd, class D>
HWY_INLINE std::size_t SpectrumPairs(D d, const float* a, const float* b, float* destination,
                                     std::size_t count) {
  const std::size_t lanes = hn::Lanes(d);
  std::size_t i = 0;
  for (; i + 2 * lanes <= count; i += 2 * lanes) {
    const auto a0 = hn::LoadU(d, a + i), a1 = hn::LoadU(d, a + i + lanes);
    const auto b0 = hn::LoadU(d, b + i), b1 = hn::LoadU(d, b + i + lanes);
    const auto aRe = hn::ConcatEven(d, a1, a0), aIm = hn::ConcatOdd(d, a1, a0);
    const auto bRe = hn::ConcatEven(d, b1, b0), bIm = hn::ConcatOdd(d, b1, b0);
    const auto re = hn::Sub(hn::Mul(aRe, bRe), hn::Mul(aIm, bIm));
    const auto im = hn::Add(hn::Mul(aRe, bIm), hn::Mul(aIm, bRe));
    auto low = hn::InterleaveLower(d, re, im), high = hn::InterleaveUpper(d, re, im);
    if (kAdd) {
      low = hn::Add(low, hn::LoadU(d, destination + i));
      high = hn::Add(high, hn::LoadU(d, destination + i + lanes));
    }
    hn::StoreU(low, d, destination + i);
    hn::StoreU(high, d, destination + i + lanes);
  }
  return i;
}

template <bool kAdd>
HWY_INLINE void Spectrum(const float* a, const float* b, float* destination, std::size_t count) {
  const std::size_t end = count & ~std::size_t{3};
  const hn::ScalableTag<float> d;
  std::size_t rest = 0;
  if constexpr (hn::MaxLanes(hn::ScalableTag<float>()) == 4) {
    rest = SpectrumPairs<kAdd>(d, a, b, destination, end);
  } else {
    rest = SpectrumRun<kAdd>(d, a, b, destination, 0, end);
  }
  SpectrumRun<kAdd>(hn::CappedTag<float, 4>(), a, b, destination, rest, end);
}

void MulSpectrumKernel(const float* a, const float* b, float* destination, std::size_t count) {
  Spectrum<false>(a, b, destination, count);
}

void MulAddSpectrumKernel(const float* a, const float* b, float* destination, std::size_t count) {
  Spectrum<true>(a, b, destination, count);
}

// destination += the sum of `kPairs` products, whole vectors of `d` from `start` on; returns where it
// stopped. With y = (re b, im b), the products by re a and by im a are summed apart: the second sum's parts
// change places once, in the end.
template <std::size_t kPairs, class D>
HWY_INLINE std::size_t SpectraRun(D d, const float* const* a, const float* const* b, float* destination,
                                  std::size_t start, std::size_t count) {
  const auto signs = hn::OddEven(hn::Zero(d), hn::Set(d, -0.0f));
  const std::size_t lanes = hn::Lanes(d);
  std::size_t i = start;
  for (; i + lanes <= count; i += lanes) {
    auto byReal = hn::LoadU(d, destination + i), byImaginary = hn::Zero(d);
    for (std::size_t k = 0; k < kPairs; ++k) {
      const auto x = hn::LoadU(d, a[k] + i), y = hn::LoadU(d, b[k] + i);
      byReal = hn::MulAdd(hn::DupEven(x), y, byReal);
      byImaginary = k == 0 ? hn::Mul(hn::DupOdd(x), y) : hn::MulAdd(hn::DupOdd(x), y, byImaginary);
    }
    hn::StoreU(hn::Add(byReal, hn::Xor(hn::Shuffle2301(byImaginary), signs)), d, destination + i);
  }
  return i;
}

void MulAddSpectraKernel(const float* const* a, const float* const* b, float* destination,
                         std::size_t count) {
  const std::size_t end = count & ~std::size_t{3};
  const float* const as[kSpectra] = {a[0], a[1], a[2], a[3]};
  const float* const bs[kSpectra] = {b[0], b[1], b[2], b[3]};
  const std::size_t rest = SpectraRun<kSpectra>(hn::ScalableTag<float>(), as, bs, destination, 0, end);
  SpectraRun<kSpectra>(hn::CappedTag<float, 4>(), as, bs, destination, rest, end);
}

void SumSpectraKernel(const float* a, std::size_t first, const float* b, std::size_t spectra,
                      std::size_t used, float* destination, std::size_t rows) {
  const hn::CappedTag<float, kSpectrumRow> d;
  constexpr std::size_t kVectors = kSpectrumRow / hn::MaxLanes(d);
  const std::size_t lanes = hn::Lanes(d);
  const auto signs = hn::OddEven(hn::Zero(d), hn::Set(d, -0.0f));
  const std::size_t untilWrap = std::min(used, spectra - first);
  for (std::size_t row = 0; row < rows; ++row) {
    Vector<decltype(d)> byReal[kVectors], byImaginary[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) byReal[v] = byImaginary[v] = hn::Zero(d);
    const auto run = [&](const float* from, const float* factor, std::size_t count) HWY_ATTR {
      for (const float* const end = from + count * kSpectrumRow; from < end;
           from += kSpectrumRow, factor += kSpectrumRow) {
        for (std::size_t v = 0; v < kVectors; ++v) {
          const auto x = hn::Load(d, from + v * lanes), y = hn::Load(d, factor + v * lanes);
          byReal[v] = hn::MulAdd(hn::DupEven(x), y, byReal[v]);
          byImaginary[v] = hn::MulAdd(hn::DupOdd(x), y, byImaginary[v]);
        }
      }
    };
    const float* const inputs = a + row * spectra * kSpectrumRow;
    const float* const factors = b + row * spectra * kSpectrumRow;
    run(inputs + first * kSpectrumRow, factors, untilWrap);
    run(inputs, factors + untilWrap * kSpectrumRow, used - untilWrap);
    for (std::size_t v = 0; v < kVectors; ++v) {
      hn::Store(hn::Add(byReal[v], hn::Xor(hn::Shuffle2301(byImaginary[v]), signs)), d,
                destination + row * kSpectrumRow + v * lanes);
    }
  }
}

// Buffers ---------------------------------------------------------------------------------------------------

void AddKernel(const float* source, float* destination, std::size_t count) {
  const hn::ScalableTag<float> d;
  const std::size_t lanes = hn::Lanes(d);
  std::size_t i = 0;
  for (; i + lanes <= count; i += lanes) {
    hn::StoreU(hn::Add(hn::LoadU(d, destination + i), hn::LoadU(d, source + i)), d, destination + i);
  }
  for (; i < count; ++i) destination[i] += source[i];
}

void ScaleKernel(float gain, const float* source, float* destination, std::size_t count) {
  const hn::ScalableTag<float> d;
  const std::size_t lanes = hn::Lanes(d);
  const auto factor = hn::Set(d, gain);
  std::size_t i = 0;
  for (; i + lanes <= count; i += lanes)
    hn::StoreU(hn::Mul(factor, hn::LoadU(d, source + i)), d, destination + i);
  for (; i < count; ++i) destination[i] = gain * source[i];
}

void InterleaveKernel(const float* rows, std::size_t rowStride, std::size_t rowCount, float* out,
                      std::size_t count) {
  const hn::ScalableTag<float> d;
  const std::size_t lanes = hn::Lanes(d);
  std::size_t i = 0;
  if (rowCount == 2) {
    for (; i + lanes <= count; i += lanes) {
      hn::StoreInterleaved2(hn::LoadU(d, rows + i), hn::LoadU(d, rows + rowStride + i), d, out + 2 * i);
    }
  } else if (rowCount == 4) {
    for (; i + lanes <= count; i += lanes) {
      hn::StoreInterleaved4(hn::LoadU(d, rows + i), hn::LoadU(d, rows + rowStride + i),
                            hn::LoadU(d, rows + 2 * rowStride + i), hn::LoadU(d, rows + 3 * rowStride + i), d,
                            out + 4 * i);
    }
  }
  for (; i < count; ++i) {
    for (std::size_t r = 0; r < rowCount; ++r) out[i * rowCount + r] = rows[r * rowStride + i];
  }
}

void DeinterleaveKernel(const float* in, std::size_t rowCount, float* rows, std::size_t rowStride,
                        std::size_t count) {
  const hn::ScalableTag<float> d;
  const std::size_t lanes = hn::Lanes(d);
  hn::Vec<decltype(d)> r0, r1, r2, r3;
  std::size_t i = 0;
  if (rowCount == 2) {
    for (; i + lanes <= count; i += lanes) {
      hn::LoadInterleaved2(d, in + 2 * i, r0, r1);
      hn::StoreU(r0, d, rows + i);
      hn::StoreU(r1, d, rows + rowStride + i);
    }
  } else if (rowCount == 4) {
    for (; i + lanes <= count; i += lanes) {
      hn::LoadInterleaved4(d, in + 4 * i, r0, r1, r2, r3);
      hn::StoreU(r0, d, rows + i);
      hn::StoreU(r1, d, rows + rowStride + i);
      hn::StoreU(r2, d, rows + 2 * rowStride + i);
      hn::StoreU(r3, d, rows + 3 * rowStride + i);
    }
  }
  for (; i < count; ++i) {
    for (std::size_t r = 0; r < rowCount; ++r) rows[r * rowStride + i] = in[i * rowCount + r];
  }
}

}  // namespace

constexpr VectorKernelTable kVectorKernels{.mulSpectrum = MulSpectrumKernel,
                                           .mulAddSpectrum = MulAddSpectrumKernel,
                                           .mulAddSpectra = MulAddSpectraKernel,
                                           .sumSpectra = SumSpectraKernel,
                                           .add = AddKernel,
                                           .scale = ScaleKernel,
                                           .interleave = InterleaveKernel,
                                           .deinterleave = DeinterleaveKernel};

}  // namespace Vantora::prims::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::prims {

const VectorKernelTable& VectorKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kVectorKernels);
}

namespace {

const VectorKernelTable& Kernels() noexcept {
  static const VectorKernelTable& table = VectorKernelsFor(BurstSimdTarget());
  return table;
}

}  // namespace

void MulSpectrum(const float* a, const float* b, float* destination, std::size_t count) noexcept {
  if (destination != nullptr) Kernels().mulSpectrum(a, b, destination, count);
}

void MulAddSpectrum(const float* a, const float* b, float* destination, std::size_t count) noexcept {
  if (destination != nullptr) Kernels().mulAddSpectrum(a, b, destination, count);
}

void MulAddSpectra(const float* const* a, const float* const* b, float* destination,
                   std::size_t count) noexcept {
  if (destination != nullptr) Kernels().mulAddSpectra(a, b, destination, count);
}

void SumSpectra(const float* a, std::size_t first, const float* b, std::size_t spectra, std::size_t used,
                float* destination, std::size_t rows) noexcept {
  Kernels().sumSpectra(a, first, b, spectra, used, destination, rows);
}

void MulSpectrum(const AlignedBuffer& a, const AlignedBuffer& b, AlignedBuffer& destination) noexcept {
  MulSpectrum(a.Data(), b.Data(), destination.Data(), destination.Count());
}

void MulAddSpectrum(const AlignedBuffer& a, const AlignedBuffer& b, AlignedBuffer& destination) noexcept {
  MulAddSpectrum(a.Data(), b.Data(), destination.Data(), destination.Count());
}

void Zero(float* destination, std::size_t count) noexcept { std::fill_n(destination, count, 0.0f); }

void Set(float value, float* destination, std::size_t count) noexcept {
  std::fill_n(destination, count, value);
}

void Copy(const float* source, float* destination, std::size_t count) noexcept {
  std::copy_n(source, count, destination);
}

void Move(const float* source, float* destination, std::size_t count) noexcept {
  if (count > 0) std::memmove(destination, source, count * sizeof(float));
}

void Prefetch(const float* source, std::size_t count) noexcept {
  constexpr std::size_t kLineFloats = 16;  // of a cache line
  for (std::size_t i = 0; i < count; i += kLineFloats) hwy::Prefetch(source + i);
}

void Add(const float* source, float* destination, std::size_t count) noexcept {
  Kernels().add(source, destination, count);
}

void Scale(float gain, const float* source, float* destination, std::size_t count) noexcept {
  Kernels().scale(gain, source, destination, count);
}

void Interleave(const float* rows, std::size_t rowStride, std::size_t rowCount, float* out,
                std::size_t count) noexcept {
  Kernels().interleave(rows, rowStride, rowCount, out, count);
}

void Deinterleave(const float* in, std::size_t rowCount, float* rows, std::size_t rowStride,
                  std::size_t count) noexcept {
  Kernels().deinterleave(in, rowCount, rows, rowStride, count);
}

}  // namespace Vantora::prims
#endif  // HWY_ONCE
