#include "dsp/effects/prims/VectorKernels.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "dsp/effects/prims/VectorKernelTable.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/prims/VectorKernels.cpp"
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

// FIR -----

// What may be read of `samples` ends at `end`; only the last loads of a tile come near it.
template <class D>
HWY_INLINE Vector<D> LoadBefore(D d, const float* from, const float* end) {
  constexpr std::ptrdiff_t kLanes = hn::MaxLanes(D());
  const std::ptrdiff_t present = end - from;
  if (HWY_LIKELY(present >= kLanes)) return hn::LoadU(d, from);
  if (present <= 0) return hn::Zero(d);
  if constexpr (kLanes >= 8) return hn::MaskedLoad(hn::FirstN(d, static_cast<std::size_t>(present)), d, from);
  HWY_ALIGN float lanes[kLanes] = {};
  for (std::ptrdiff_t i = 0; i < present; ++i) lanes[i] = from[i];
  return hn::Load(d, lanes);
}

// The outputs are the lanes. For few taps: `kVectors` vectors of outputs share each tap, and `kTaps` taps at
// a time have sums of their own, which hides the latency of the multiply-add.
template <std::size_t kVectors, std::size_t kTaps, class D>
HWY_INLINE void FirFewTaps(D d, const float* taps, std::size_t tapCount, const float* samples,
                           const float* end, Vector<D>* result) {
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  Vector<D> sums[kVectors * kTaps];
  for (std::size_t s = 0; s < kVectors * kTaps; ++s) sums[s] = hn::Zero(d);
  std::size_t k = 0;
  for (; k + kTaps <= tapCount; k += kTaps) {
    for (std::size_t t = 0; t < kTaps; ++t) {
      const auto tap = hn::Set(d, taps[k + t]);
      for (std::size_t v = 0; v < kVectors; ++v) {
        auto& sum = sums[t * kVectors + v];
        sum = hn::MulAdd(tap, LoadBefore(d, samples + k + t + v * kLanes, end), sum);
      }
    }
  }
  for (; k < tapCount; ++k) {
    const auto tap = hn::Set(d, taps[k]);
    for (std::size_t v = 0; v < kVectors; ++v) {
      sums[v] = hn::MulAdd(tap, LoadBefore(d, samples + k + v * kLanes, end), sums[v]);
    }
  }
  for (std::size_t v = 0; v < kVectors; ++v) {
    result[v] = sums[v];
    for (std::size_t t = 1; t < kTaps; ++t) result[v] = hn::Add(result[v], sums[t * kVectors + v]);
  }
}

// Calls `step` with the constants 0 to kSteps - 1. A loop that the compiler leaves as it is would keep its
// sums in memory.
template <typename Step, std::size_t... kIndex>
HWY_INLINE void UnrollOver(std::index_sequence<kIndex...>, const Step& step) {
  (step(std::integral_constant<std::size_t, kIndex>()), ...);
}
template <std::size_t kSteps, typename Step>
HWY_INLINE void Unroll(const Step& step) {
  UnrollOver(std::make_index_sequence<kSteps>(), step);
}

// For many taps, at least kVectors vectors of them, the loads of samples are the limit: most of them straddle
// two cache lines. A vector of samples loaded at place r + lanes m serves all vectors of outputs, number v
// with tap r + lanes (m - v). `kPlaces` neighbouring r run at once; their sums join the result before the
// next ones, so that no sum grows long.
template <std::size_t kVectors, std::size_t kPlaces, class D>
HWY_INLINE void FirManyTaps(D d, const float* taps, std::size_t tapCount, const float* samples,
                            const float* end, Vector<D>* result) {
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  static_assert(kLanes % kPlaces == 0);
  for (std::size_t v = 0; v < kVectors; ++v) result[v] = hn::Zero(d);
  const std::size_t whole = tapCount / kLanes, rest = tapCount % kLanes;
  for (std::size_t r = 0; r < kLanes; r += kPlaces) {
    Vector<D> sums[kPlaces * kVectors];
    Unroll<kPlaces * kVectors>([&](auto s) HWY_ATTR { sums[s] = hn::Zero(d); });
    const float* h = taps + r;
    const float* x = samples + r;
    // The first vectors of samples don't reach all outputs yet, the last ones no longer.
    Unroll<kVectors - 1>([&](auto m) HWY_ATTR {
      Unroll<kPlaces>([&](auto place) HWY_ATTR {
        const auto loaded = hn::LoadU(d, x + place + kLanes * m);
        Unroll<decltype(m)::value + 1>([&](auto v) HWY_ATTR {
          auto& sum = sums[place * kVectors + v];
          sum = hn::MulAdd(hn::Set(d, h[place + kLanes * (m - v)]), loaded, sum);
        });
      });
    });
    // A single vector of outputs may be wanted in part only; its last samples then end within the vector.
    for (std::size_t m = kVectors - 1; m < whole - (kVectors == 1 ? 1 : 0); ++m) {
      Unroll<kPlaces>([&](auto place) HWY_ATTR {
        const auto loaded = hn::LoadU(d, x + place + kLanes * m);
        Unroll<kVectors>([&](auto v) HWY_ATTR {
          auto& sum = sums[place * kVectors + v];
          sum = hn::MulAdd(hn::Set(d, h[place + kLanes * (m - v)]), loaded, sum);
        });
      });
    }
    if constexpr (kVectors == 1) {
      Unroll<kPlaces>([&](auto place) HWY_ATTR {
        const std::size_t last = kLanes * (whole - 1) + place;
        sums[place] = hn::MulAdd(hn::Set(d, h[last]), LoadBefore(d, x + last, end), sums[place]);
      });
    }
    Unroll<kVectors - 1>([&](auto beyond) HWY_ATTR {
      Unroll<kPlaces>([&](auto place) HWY_ATTR {
        const auto loaded = LoadBefore(d, x + place + kLanes * (whole + beyond), end);
        Unroll<kVectors - 1 - decltype(beyond)::value>([&](auto later) HWY_ATTR {
          constexpr std::size_t v = decltype(beyond)::value + 1 + decltype(later)::value;
          auto& sum = sums[place * kVectors + v];
          sum = hn::MulAdd(hn::Set(d, h[place + kLanes * (whole + beyond - v)]), loaded, sum);
        });
      });
    });
    Unroll<kVectors>([&](auto v) HWY_ATTR {
      Unroll<kPlaces - 1>([&](auto before)
                              HWY_ATTR { sums[v] = hn::Add(sums[v], sums[(before + 1) * kVectors + v]); });
      result[v] = hn::Add(result[v], sums[v]);
    });
  }
  if (rest == 0) return;
  Vector<D> last[kVectors];
  FirFewTaps<kVectors, 1>(d, taps + whole * kLanes, rest, samples + whole * kLanes, end, last);
  for (std::size_t v = 0; v < kVectors; ++v) result[v] = hn::Add(result[v], last[v]);
}

// A tile of `kVectors` vectors of outputs, of which the first `count` lanes are wanted. Vectors of four lanes
// are those of machines with sixteen registers and without a fused multiply-add, where two places would
// spill.
template <std::size_t kVectors, class D>
HWY_INLINE void FirTile(D d, const float* taps, std::size_t tapCount, const float* samples, float* out,
                        std::size_t count, bool adds) {
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  constexpr std::size_t kPlaces = kLanes <= 4 ? 1 : kVectors <= 2 ? 4 : 2;
  const float* end = samples + tapCount - 1 + count;
  Vector<D> result[kVectors];
  if (kLanes >= 4 && tapCount >= 64) {
    FirManyTaps<kVectors, kPlaces>(d, taps, tapCount, samples, end, result);
  } else {
    FirFewTaps<kVectors, kVectors == 1   ? 8
                         : kVectors <= 4 ? 8 / kVectors
                                         : 1>(d, taps, tapCount, samples, end, result);
  }
  for (std::size_t v = 0; v < kVectors && v * kLanes < count; ++v) {
    float* to = out + v * kLanes;
    const std::size_t wanted = count - v * kLanes;
    if (wanted >= kLanes) {
      hn::StoreU(adds ? hn::Add(result[v], hn::LoadU(d, to)) : result[v], d, to);
    } else {
      HWY_ALIGN float lanes[kLanes];
      hn::Store(result[v], d, lanes);
      for (std::size_t i = 0; i < wanted; ++i) to[i] = adds ? to[i] + lanes[i] : lanes[i];
    }
  }
}

constexpr std::size_t kWidest = hn::MaxLanes(hn::ScalableTag<float>());

template <std::size_t kLanes>
HWY_INLINE void FirRun(const float* taps, std::size_t tapCount, const float* samples, float* out,
                       std::size_t count, bool adds) {
  const hn::CappedTag<float, kLanes> d;
  if (count < kLanes) {
    if constexpr (kLanes > 1) FirRun<kLanes / 2>(taps, tapCount, samples, out, count, adds);
    return;
  }
  // Whole tiles of four vectors, then what is left, rounded up to a tile. Save for vectors of eight, lanes
  // that nobody wants cost less than a narrower tile, which is held back by its latency.
  std::size_t i = 0;
  while (i < count) {
    const std::size_t wanted = count - i;
    if constexpr (kLanes == kWidest) {  // narrower ones have less than two vectors to write
      if (wanted > 2 * kLanes && (kLanes != 8 || wanted >= 4 * kLanes)) {
        FirTile<4>(d, taps, tapCount, samples + i, out + i, std::min(wanted, 4 * kLanes), adds);
        i += 4 * kLanes;
        continue;
      }
    }
    if (wanted > kLanes) {
      FirTile<2>(d, taps, tapCount, samples + i, out + i, std::min(wanted, 2 * kLanes), adds);
      i += 2 * kLanes;
    } else {
      FirTile<1>(d, taps, tapCount, samples + i, out + i, wanted, adds);
      return;
    }
  }
}

// One body for both: a tile asks once what to do with its result, which costs nothing beside its taps, and
// the tiles of all widths are most of what this file takes to compile.
HWY_NOINLINE void FirEither(const float* taps, std::size_t tapCount, const float* samples, float* out,
                            std::size_t count, bool adds) {
  FirRun<kWidest>(taps, tapCount, samples, out, count, adds);
}

void FirKernel(const float* taps, std::size_t tapCount, const float* samples, float* out, std::size_t count) {
  FirEither(taps, tapCount, samples, out, count, false);
}

void FirAddKernel(const float* taps, std::size_t tapCount, const float* samples, float* out,
                  std::size_t count) {
  FirEither(taps, tapCount, samples, out, count, true);
}

}  // namespace

constexpr VectorKernelTable kVectorKernels{.mulSpectrum = MulSpectrumKernel,
                                           .mulAddSpectrum = MulAddSpectrumKernel,
                                           .add = AddKernel,
                                           .scale = ScaleKernel,
                                           .interleave = InterleaveKernel,
                                           .deinterleave = DeinterleaveKernel,
                                           .fir = FirKernel,
                                           .firAdd = FirAddKernel};

}  // namespace Vantora::prims::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::prims {

const VectorKernelTable& VectorKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kVectorKernels);
}

namespace {

const VectorKernelTable& Kernels() noexcept {
  static const VectorKernelTable& table = VectorKernelsFor(BestSimdTarget());
  return table;
}

}  // namespace

void MulSpectrum(const float* a, const float* b, float* destination, std::size_t count) noexcept {
  if (destination != nullptr) Kernels().mulSpectrum(a, b, destination, count);
}

void MulAddSpectrum(const float* a, const float* b, float* destination, std::size_t count) noexcept {
  if (destination != nullptr) Kernels().mulAddSpectrum(a, b, destination, count);
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

void Fir(const float* reversedTaps, std::size_t tapCount, const float* samples, float* out,
         std::size_t count) noexcept {
  Kernels().fir(reversedTaps, tapCount, samples, out, count);
}

void FirAdd(const float* reversedTaps, std::size_t tapCount, const float* samples, float* out,
            std::size_t count) noexcept {
  Kernels().firAdd(reversedTaps, tapCount, samples, out, count);
}

}  // namespace Vantora::prims
#endif  // HWY_ONCE
