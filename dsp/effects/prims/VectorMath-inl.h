// Operations on vectors of floats that x86 has as one instruction and that Highway's own, the same on every
// machine to the last case, make several of. Compiled anew for each instruction set: included inside a file
// that includes itself by hwy/foreach_target.h, before its own HWY_BEFORE_NAMESPACE.
#include <cstdint>

#include <hwy/highway.h>

#if defined(PRISMEL_VECTOR_MATH_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef PRISMEL_VECTOR_MATH_INL
#undef PRISMEL_VECTOR_MATH_INL
#else
#define PRISMEL_VECTOR_MATH_INL
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// a < b ? a : b, and a > b ? a : b: `b` where one of them isn't a number.
template <class D>
HWY_INLINE hn::Vec<D> LesserOf(D, hn::Vec<D> a, hn::Vec<D> b) {
#if HWY_ARCH_X86 && HWY_TARGET != HWY_EMU128
  return hn::Min(a, b);
#else
  return hn::IfThenElse(hn::Lt(a, b), a, b);
#endif
}
template <class D>
HWY_INLINE hn::Vec<D> GreaterOf(D, hn::Vec<D> a, hn::Vec<D> b) {
#if HWY_ARCH_X86 && HWY_TARGET != HWY_EMU128
  return hn::Max(a, b);
#else
  return hn::IfThenElse(hn::Gt(a, b), a, b);
#endif
}

// Towards zero, of numbers that fit 32 bits: no limit is looked for.
template <class D>
HWY_INLINE hn::Vec<hn::RebindToSigned<D>> TruncateFitting(D, hn::Vec<D> x) {
#if HWY_ARCH_X86 && HWY_TARGET != HWY_EMU128
  constexpr std::size_t kLanes = hn::MaxLanes(D());
#if HWY_CAP_GE512
  if constexpr (kLanes == 16) return hn::Vec<hn::RebindToSigned<D>>{_mm512_cvttps_epi32(x.raw)};
#endif
#if HWY_CAP_GE256
  if constexpr (kLanes == 8) return hn::Vec<hn::RebindToSigned<D>>{_mm256_cvttps_epi32(x.raw)};
#endif
  if constexpr (kLanes == 4) return hn::Vec<hn::RebindToSigned<D>>{_mm_cvttps_epi32(x.raw)};
#else
  return hn::ConvertTo(hn::RebindToSigned<D>(), x);
#endif
}

#if HWY_TARGET != HWY_EMU128
template <class D>
struct VectorPair {
  hn::Vec<D> first, second;
};

// data[index] and data[index + 1] of every lane of a whole vector, fetched as pairs of 64 bits. An index
// without a sign is below 2^31, and takes less time.
template <class D, class Index>
HWY_INLINE VectorPair<D> GatherPairs(D d, const float* data, Index index) {
  const hn::RebindToSigned<D> di;
#if HWY_ARCH_X86 && !HWY_CAP_GE256
  // By way of memory, which hands the places over sooner than one shuffle each.
  (void)di;
  alignas(16) hn::TFromV<Index> at[4];
  hn::Store(index, hn::Rebind<hn::TFromV<Index>, D>(), at);
  const auto pair = [&](uint32_t lane) HWY_ATTR {
    const __m128 low = _mm_castsi128_ps(_mm_loadu_si64(data + at[lane]));
    return hn::Vec<D>{_mm_loadh_pi(low, reinterpret_cast<const __m64*>(data + at[lane + 1]))};
  };
  const hn::Vec<D> low = pair(0);
  const hn::Vec<D> high = pair(2);
#else
  using Wide = hn::Repartition<int64_t, D>;
  const hn::Half<hn::RebindToSigned<D>> half;
  const auto gather = [&](auto places) HWY_ATTR {
#if HWY_CAP_GE512
    return hn::Vec<Wide>{_mm512_i32gather_epi64(places.raw, data, 4)};
#elif HWY_CAP_GE256
    return hn::Vec<Wide>{_mm256_i32gather_epi64(reinterpret_cast<const long long*>(data), places.raw, 4)};
#else
    return hn::GatherOffset(Wide(), reinterpret_cast<const int64_t*>(data),
                            hn::ShiftLeft<2>(hn::PromoteTo(Wide(), places)));
#endif
  };
  const hn::Vec<D> low = hn::BitCast(d, gather(hn::LowerHalf(half, hn::BitCast(di, index))));
  const hn::Vec<D> high = hn::BitCast(d, gather(hn::UpperHalf(half, hn::BitCast(di, index))));
#endif
  return {hn::ConcatEven(d, high, low), hn::ConcatOdd(d, high, low)};
}
#endif

#if HWY_CAP_GE256
// Each lane the number at its index, 0 to twice the lanes less one, of `low` with `high` behind it.
template <class D>
HWY_INLINE hn::Vec<D> LookUpTwo(D d, hn::Vec<D> low, hn::Vec<D> high, hn::Vec<hn::RebindToSigned<D>> index) {
#if HWY_CAP_GE512
  (void)d;
  return hn::Vec<D>{_mm512_permutex2var_ps(low.raw, index.raw, high.raw)};
#else
  // The look-up in eight lanes takes the last three bits of an index.
  const auto places = hn::IndicesFromVec(d, index);
  const auto isHigh = hn::RebindMask(d, hn::Gt(index, hn::Set(hn::RebindToSigned<D>(), 7)));
  return hn::IfThenElse(isHigh, hn::TableLookupLanes(high, places), hn::TableLookupLanes(low, places));
#endif
}
#endif

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
