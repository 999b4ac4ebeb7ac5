#include "dsp/effects/prims/FFTKernels.h"

#include <cstddef>
#include <utility>

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/prims/FFTKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Vantora::prims::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// Complex numbers with their parts in vectors of their own --------------------------------------------------

template <class V>
struct Complex {
  V re, im;
};

template <class V>
HWY_INLINE Complex<V> Sum(Complex<V> a, Complex<V> b) {
  return {hn::Add(a.re, b.re), hn::Add(a.im, b.im)};
}

template <class V>
HWY_INLINE Complex<V> Difference(Complex<V> a, Complex<V> b) {
  return {hn::Sub(a.re, b.re), hn::Sub(a.im, b.im)};
}

// a - i b and a + i b.
template <class V>
HWY_INLINE Complex<V> MinusI(Complex<V> a, Complex<V> b) {
  return {hn::Add(a.re, b.im), hn::Sub(a.im, b.re)};
}

template <class V>
HWY_INLINE Complex<V> PlusI(Complex<V> a, Complex<V> b) {
  return {hn::Sub(a.re, b.im), hn::Add(a.im, b.re)};
}

template <class V>
HWY_INLINE Complex<V> Product(Complex<V> a, Complex<V> b) {
  return {hn::NegMulAdd(a.im, b.im, hn::Mul(a.re, b.re)), hn::MulAdd(a.im, b.re, hn::Mul(a.re, b.im))};
}

template <class V>
HWY_INLINE Complex<V> ConjugateProduct(Complex<V> a, Complex<V> b) {  // a conj(b)
  return {hn::MulAdd(a.im, b.im, hn::Mul(a.re, b.re)), hn::NegMulAdd(a.re, b.im, hn::Mul(a.im, b.re))};
}

// Butterflies: a becomes its own discrete Fourier transform, in natural order -------------------------------

template <class V>
HWY_INLINE void Butterfly(Complex<V> (&a)[2]) {
  const auto sum = Sum(a[0], a[1]);
  a[1] = Difference(a[0], a[1]);
  a[0] = sum;
}

template <class V>
HWY_INLINE void Butterfly(Complex<V> (&a)[4]) {
  const auto b0 = Sum(a[0], a[2]), b1 = Difference(a[0], a[2]);
  const auto b2 = Sum(a[1], a[3]), b3 = Difference(a[1], a[3]);
  a[0] = Sum(b0, b2);
  a[1] = MinusI(b1, b3);
  a[2] = Difference(b0, b2);
  a[3] = PlusI(b1, b3);
}

template <class V>
HWY_INLINE void Butterfly(Complex<V> (&a)[8]) {
  Complex<V> even[4] = {a[0], a[2], a[4], a[6]};
  Complex<V> odd[4] = {a[1], a[3], a[5], a[7]};
  Butterfly(even);
  Butterfly(odd);
  const auto root = hn::Set(hn::DFromV<V>(), 0.70710678118654752f);  // of one half
  // exp(-i pi / 4) odd 1 and exp(-3 i pi / 4) odd 3, before the factor of root.
  const Complex<V> one = {hn::Add(odd[1].re, odd[1].im), hn::Sub(odd[1].im, odd[1].re)};
  const Complex<V> three = {hn::Sub(odd[3].im, odd[3].re), hn::Add(odd[3].re, odd[3].im)};
  a[0] = Sum(even[0], odd[0]);
  a[4] = Difference(even[0], odd[0]);
  a[1] = {hn::MulAdd(root, one.re, even[1].re), hn::MulAdd(root, one.im, even[1].im)};
  a[5] = {hn::NegMulAdd(root, one.re, even[1].re), hn::NegMulAdd(root, one.im, even[1].im)};
  a[2] = MinusI(even[2], odd[2]);
  a[6] = PlusI(even[2], odd[2]);
  a[3] = {hn::MulAdd(root, three.re, even[3].re), hn::NegMulAdd(root, three.im, even[3].im)};
  a[7] = {hn::NegMulAdd(root, three.re, even[3].re), hn::MulAdd(root, three.im, even[3].im)};
}

// Passes ----------------------------------------------------------------------------------------------------

struct Rows {
  float* re;
  float* im;
};

// Stores four vectors so that their first 4-float blocks
// follow one another, then their second ones, and so on.
template <class D, class V>
HWY_INLINE void StoreBlocksInTurn(D d, V a, V b, V c, V e, float* out) {
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  if constexpr (kLanes == 16) {
    const auto ab0 = hn::OddEvenBlocks(hn::SwapAdjacentBlocks(b), a),
               ab1 = hn::OddEvenBlocks(b, hn::SwapAdjacentBlocks(a));
    const auto ce0 = hn::OddEvenBlocks(hn::SwapAdjacentBlocks(e), c),
               ce1 = hn::OddEvenBlocks(e, hn::SwapAdjacentBlocks(c));
    hn::Store(hn::ConcatLowerLower(d, ce0, ab0), d, out);
    hn::Store(hn::ConcatLowerLower(d, ce1, ab1), d, out + 16);
    hn::Store(hn::ConcatUpperUpper(d, ce0, ab0), d, out + 32);
    hn::Store(hn::ConcatUpperUpper(d, ce1, ab1), d, out + 48);
  } else if constexpr (kLanes == 8) {
    hn::Store(hn::ConcatLowerLower(d, b, a), d, out);
    hn::Store(hn::ConcatLowerLower(d, e, c), d, out + 8);
    hn::Store(hn::ConcatUpperUpper(d, b, a), d, out + 16);
    hn::Store(hn::ConcatUpperUpper(d, e, c), d, out + 24);
  } else {
    static_assert(kLanes == 4);
    hn::Store(a, d, out);
    hn::Store(b, d, out + 4);
    hn::Store(c, d, out + 8);
    hn::Store(e, d, out + 12);
  }
}

// Stores four vectors so that their first lanes follow one another, then their second ones, and so on.
template <class D, class V>
HWY_INLINE void StoreLanesInTurn(D d, V a, V b, V c, V e, float* out) {
  if constexpr (hn::MaxLanes(D()) == 8) {
    // Half a vector goes to memory as it is; putting two halves together would take another shuffle each.
    const hn::RepartitionToWide<hn::RebindToUnsigned<D>> pairs;
    const hn::Half<D> half;
    const auto ab0 = hn::BitCast(pairs, hn::InterleaveLower(d, a, b));
    const auto ce0 = hn::BitCast(pairs, hn::InterleaveLower(d, c, e));
    const auto ab1 = hn::BitCast(pairs, hn::InterleaveUpper(d, a, b));
    const auto ce1 = hn::BitCast(pairs, hn::InterleaveUpper(d, c, e));
    const V rows[4] = {hn::BitCast(d, hn::InterleaveLower(pairs, ab0, ce0)),
                       hn::BitCast(d, hn::InterleaveUpper(pairs, ab0, ce0)),
                       hn::BitCast(d, hn::InterleaveLower(pairs, ab1, ce1)),
                       hn::BitCast(d, hn::InterleaveUpper(pairs, ab1, ce1))};
    for (std::size_t i = 0; i < 4; ++i) {
      hn::Store(hn::LowerHalf(half, rows[i]), half, out + 4 * i);
      hn::Store(hn::UpperHalf(half, rows[i]), half, out + 16 + 4 * i);
    }
  } else {
    hn::StoreInterleaved4(a, b, c, e, d, out);
  }
}

// Stride 1: the lanes are p. Reads interleaved pairs (real input) or rows.
template <bool kPairs, class D>
HWY_INLINE void FirstPass(D d, const FFTTables& tables, const float* pairs, Rows from, Rows to) {
  using V = hn::Vec<D>;
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  const std::size_t count = tables.half / 4;
  for (std::size_t p = 0; p < count; p += kLanes) {
    Complex<V> a[4];
    for (std::size_t j = 0; j < 4; ++j) {
      const std::size_t place = p + count * j;
      if (kPairs) {
        hn::LoadInterleaved2(d, pairs + 2 * place, a[j].re, a[j].im);
      } else {
        a[j] = {hn::Load(d, from.re + place), hn::Load(d, from.im + place)};
      }
    }
    Butterfly(a);
    constexpr std::size_t kBlock = FFTTables::kBlock;
    const float* factor = tables.factors.Data(p / kBlock * 6 * kBlock + p % kBlock);
    for (std::size_t k = 1; k < 4; ++k) {
      const Complex<V> root = {hn::Load(d, factor), hn::Load(d, factor + kBlock)};
      a[k] = Product(a[k], root);
      factor += 2 * kBlock;
    }
    StoreLanesInTurn(d, a[0].re, a[1].re, a[2].re, a[3].re, to.re + 4 * p);
    StoreLanesInTurn(d, a[0].im, a[1].im, a[2].im, a[3].im, to.im + 4 * p);
  }
}

// One factor for each block of four lanes: factor[0] four times, then factor[1] four times, and so on.
template <class D>
HWY_INLINE hn::Vec<D> LoadForBlocks(D d, const float* factor) {
  if constexpr (hn::MaxLanes(D()) == 4) {
    return hn::Set(d, *factor);
  } else if constexpr (hn::MaxLanes(D()) == 8) {
    return hn::ConcatUpperLower(d, hn::Set(d, factor[1]), hn::Set(d, factor[0]));
  } else {
    alignas(64) static constexpr std::int32_t kSpread[16] = {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3};
    return hn::TableLookupLanes(hn::LoadDup128(d, factor), hn::SetTableIndices(d, kSpread));
  }
}

// Stride 4: a vector holds the four q of one p or of several.
template <class D>
HWY_INLINE void SecondPass(D d, const FFTTables& tables, Rows from, Rows to) {
  using V = hn::Vec<D>;
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  const std::size_t quarter = tables.half / 4;
  for (std::size_t i = 0; i < quarter; i += kLanes) {
    Complex<V> a[4];
    for (std::size_t j = 0; j < 4; ++j) {
      a[j] = {hn::Load(d, from.re + i + quarter * j), hn::Load(d, from.im + i + quarter * j)};
    }
    Butterfly(a);
    const float* factor = tables.factors.Data(tables.second + i / 4);
    for (std::size_t k = 1; k < 4; ++k) {
      a[k] = Product(a[k], {LoadForBlocks(d, factor), LoadForBlocks(d, factor + tables.secondStride)});
      factor += 2 * tables.secondStride;
    }
    StoreBlocksInTurn(d, a[0].re, a[1].re, a[2].re, a[3].re, to.re + 4 * i);
    StoreBlocksInTurn(d, a[0].im, a[1].im, a[2].im, a[3].im, to.im + 4 * i);
  }
}

// Stride 16 and more: the lanes are q.
template <std::size_t kRadix, class D>
HWY_INLINE void MiddlePass(D d, const FFTTables& tables, const FFTPass& pass, Rows from, Rows to) {
  using V = hn::Vec<D>;
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  const std::size_t stride = pass.stride, step = pass.stride * pass.count;
  const float* factor = tables.factors.Data(pass.twiddles);
  for (std::size_t p = 0; p < pass.count; ++p) {
    Complex<V> roots[kRadix];
    for (std::size_t k = 1; k < kRadix; ++k) {
      roots[k] = {hn::Set(d, factor[2 * k - 2]), hn::Set(d, factor[2 * k - 1])};
    }
    factor += 2 * (kRadix - 1);
    for (std::size_t q = 0; q < stride; q += kLanes) {
      const std::size_t in = q + stride * p, out = q + stride * kRadix * p;
      Complex<V> a[kRadix];
      for (std::size_t j = 0; j < kRadix; ++j) {
        a[j] = {hn::Load(d, from.re + in + step * j), hn::Load(d, from.im + in + step * j)};
      }
      Butterfly(a);
      hn::Store(a[0].re, d, to.re + out);
      hn::Store(a[0].im, d, to.im + out);
      for (std::size_t k = 1; k < kRadix; ++k) {
        a[k] = Product(a[k], roots[k]);
        hn::Store(a[k].re, d, to.re + out + stride * k);
        hn::Store(a[k].im, d, to.im + out + stride * k);
      }
    }
  }
}

// The last pass has a single butterfly a lane and nothing to multiply by. Writes rows or interleaved pairs.
template <std::size_t kRadix, bool kPairs, class D>
HWY_INLINE void LastPass(D d, const FFTPass& pass, Rows from, Rows to, float* pairs) {
  using V = hn::Vec<D>;
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  const std::size_t stride = pass.stride;
  for (std::size_t q = 0; q < stride; q += kLanes) {
    Complex<V> a[kRadix];
    for (std::size_t j = 0; j < kRadix; ++j) {
      a[j] = {hn::Load(d, from.re + q + stride * j), hn::Load(d, from.im + q + stride * j)};
    }
    Butterfly(a);
    for (std::size_t k = 0; k < kRadix; ++k) {
      const std::size_t place = q + stride * k;
      if (kPairs) {
        // Only the inverse transform ends here: its parts come out exchanged.
        hn::StoreInterleaved2(a[k].im, a[k].re, d, pairs + 2 * place);
      } else {
        hn::Store(a[k].re, d, to.re + place);
        hn::Store(a[k].im, d, to.im + place);
      }
    }
  }
}

template <bool kPairs, class D>
HWY_INLINE void LastPass(D d, const FFTPass& pass, Rows from, Rows to, float* pairs) {
  switch (pass.radix) {
    case 8:
      return LastPass<8, kPairs>(d, pass, from, to, pairs);
    case 4:
      return LastPass<4, kPairs>(d, pass, from, to, pairs);
    default:
      return LastPass<2, kPairs>(d, pass, from, to, pairs);
  }
}

// Everything between the first pass, whose result is in
// `from`, and the last one. Returns where the result is.
template <class D>
HWY_INLINE Rows InnerPasses(D d, const FFTTables& tables, Rows from, Rows to) {
  SecondPass(d, tables, from, to);
  for (std::size_t i = 0; i + 1 < tables.passes.size(); ++i) {
    std::swap(from, to);
    const FFTPass& pass = tables.passes[i];
    if (pass.radix == 8) {
      MiddlePass<8>(d, tables, pass, from, to);
    } else {
      MiddlePass<4>(d, tables, pass, from, to);
    }
  }
  return to;
}

// Between the spectrum Z of the pairs and the spectrum X of the real signal ---------------------------------
//
// Z holds the even samples' spectrum E plus i times the odd ones' O, and
//
//     X[k] = E[k] + exp(-pi i k / half) O[k].
//
// With the mirror image M = conj(Z[half - k]), E = (Z + M) / 2 and O = -i (Z - M) / 2; so for
//
//     T = -i / 2 exp(-pi i k / half):    X[k] = (Z + M) / 2 + T (Z - M),
//                         conj(X[half - k]) = (Z + M) / 2 - T (Z - M).
//
// The way back has the same form with conj(T).

// `row` ends with a copy of its element 0 at `half`, the mirror image of bin 0.
template <class D>
HWY_INLINE void WriteSpectrum(D d, const FFTTables& tables, Rows rows, float* spectrum) {
  using V = hn::Vec<D>;
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  const std::size_t half = tables.half;
  const float* factor = tables.factors.Data(tables.real);
  rows.re[half] = rows.re[0];
  rows.im[half] = rows.im[0];
  const V oneHalf = hn::Set(d, 0.5f);
  for (std::size_t k = 0; k < half / 2; k += kLanes) {
    const std::size_t mirrored = half - k - (kLanes - 1);
    const Complex<V> z = {hn::Load(d, rows.re + k), hn::Load(d, rows.im + k)};
    const Complex<V> m = {hn::Reverse(d, hn::LoadU(d, rows.re + mirrored)),
                          hn::Reverse(d, hn::LoadU(d, rows.im + mirrored))};  // not yet conjugated
    const Complex<V> sum = {hn::Add(z.re, m.re), hn::Sub(z.im, m.im)};
    const Complex<V> difference = {hn::Sub(z.re, m.re), hn::Add(z.im, m.im)};
    const Complex<V> turned =
        Product(difference, {hn::Load(d, factor + k), hn::Load(d, factor + half / 2 + k)});
    hn::StoreInterleaved2(hn::MulAdd(oneHalf, sum.re, turned.re), hn::MulAdd(oneHalf, sum.im, turned.im), d,
                          spectrum + 2 * k);
    const V upperRe = hn::MulSub(oneHalf, sum.re, turned.re);
    const V upperIm = hn::NegMulAdd(oneHalf, sum.im, turned.im);
    hn::StoreInterleaved2(hn::Reverse(d, upperRe), hn::Reverse(d, upperIm), d, spectrum + 2 * mirrored);
  }
  spectrum[half] = rows.re[half / 2];
  spectrum[half + 1] = -rows.im[half / 2];
  spectrum[1] = 0.0f;
  spectrum[2 * half + 1] = 0.0f;
}

// Scaled by 1 / half, which is exact.
template <class D>
HWY_INLINE void ReadSpectrum(D d, const FFTTables& tables, const float* spectrum, Rows rows) {
  using V = hn::Vec<D>;
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  const std::size_t half = tables.half;
  const float* factor = tables.factors.Data(tables.real);
  const float scaling = 1.0f / static_cast<float>(half);
  const V scale = hn::Set(d, scaling), halfScale = hn::Set(d, 0.5f * scaling);
  for (std::size_t k = 0; k < half / 2; k += kLanes) {
    const std::size_t mirrored = half - k - (kLanes - 1);
    Complex<V> x, m;
    hn::LoadInterleaved2(d, spectrum + 2 * k, x.re, x.im);
    hn::LoadInterleaved2(d, spectrum + 2 * mirrored, m.re, m.im);
    m = {hn::Reverse(d, m.re), hn::Reverse(d, m.im)};  // not yet conjugated
    const Complex<V> sum = {hn::Add(x.re, m.re), hn::Sub(x.im, m.im)};
    const Complex<V> difference = {hn::Mul(scale, hn::Sub(x.re, m.re)), hn::Mul(scale, hn::Add(x.im, m.im))};
    const Complex<V> turned =
        ConjugateProduct(difference, {hn::Load(d, factor + k), hn::Load(d, factor + half / 2 + k)});
    hn::Store(hn::MulAdd(halfScale, sum.re, turned.re), d, rows.re + k);
    hn::Store(hn::MulAdd(halfScale, sum.im, turned.im), d, rows.im + k);
    const V upperRe = hn::MulSub(halfScale, sum.re, turned.re);
    const V upperIm = hn::NegMulAdd(halfScale, sum.im, turned.im);
    hn::StoreU(hn::Reverse(d, upperRe), d, rows.re + mirrored);
    hn::StoreU(hn::Reverse(d, upperIm), d, rows.im + mirrored);
  }
  rows.re[half / 2] = scaling * spectrum[half];
  rows.im[half / 2] = -scaling * spectrum[half + 1];
  // Bin 0 and the Nyquist bin are real whatever stands in their imaginary parts.
  rows.re[0] = 0.5f * scaling * (spectrum[0] + spectrum[2 * half]);
  rows.im[0] = 0.5f * scaling * (spectrum[0] - spectrum[2 * half]);
}

// Whole transforms ------------------------------------------------------------------------------------------

template <class D>
HWY_INLINE void Forward(D d, const FFTTables& tables, const float* input, float* spectrum, float* work) {
  const Rows one = {work, work + tables.rowStride};
  const Rows other = {work + 2 * tables.rowStride, work + 3 * tables.rowStride};
  FirstPass<true>(d, tables, input, one, one);
  const Rows from = InnerPasses(d, tables, one, other);
  const Rows to = from.re == one.re ? other : one;
  LastPass<false>(d, tables.passes.back(), from, to, nullptr);
  WriteSpectrum(d, tables, to, spectrum);
}

// The inverse transform is the forward one with real and
// imaginary parts exchanged on the way in and on the way out.
template <class D>
HWY_INLINE void Inverse(D d, const FFTTables& tables, const float* spectrum, float* output, float* work) {
  const Rows one = {work, work + tables.rowStride};
  const Rows other = {work + 2 * tables.rowStride, work + 3 * tables.rowStride};
  ReadSpectrum(d, tables, spectrum, other);
  FirstPass<false>(d, tables, nullptr, {other.im, other.re}, one);
  const Rows from = InnerPasses(d, tables, one, other);
  LastPass<true>(d, tables.passes.back(), from, {}, output);
}

// The first pass needs a whole vector in a quarter of the points.
bool FillsVectors(const FFTTables& tables) { return tables.half / 4 >= hn::Lanes(hn::ScalableTag<float>()); }

void ForwardKernel(const FFTTables& tables, const float* input, float* spectrum, float* work) {
  if (FillsVectors(tables)) {
    Forward(hn::ScalableTag<float>(), tables, input, spectrum, work);
  } else {
    Forward(hn::CappedTag<float, 4>(), tables, input, spectrum, work);
  }
}

void InverseKernel(const FFTTables& tables, const float* spectrum, float* output, float* work) {
  if (FillsVectors(tables)) {
    Inverse(hn::ScalableTag<float>(), tables, spectrum, output, work);
  } else {
    Inverse(hn::CappedTag<float, 4>(), tables, spectrum, output, work);
  }
}

}  // namespace

// Eight complex numbers fill sixteen vector registers, and without a fused multiply-add that reads memory
// the factors go through registers as well.
#if HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_SSSE3
constexpr std::size_t kWidestRadix = 4;
#else
constexpr std::size_t kWidestRadix = 8;
#endif

constexpr FFTKernels kFFTKernels{
    .forward = ForwardKernel, .inverse = InverseKernel, .widestRadix = kWidestRadix};

}  // namespace Vantora::prims::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::prims {

const FFTKernels& FFTKernelsFor(SimdTarget target) noexcept { return *PRISMEL_KERNELS(target, kFFTKernels); }

}  // namespace Vantora::prims
#endif  // HWY_ONCE
