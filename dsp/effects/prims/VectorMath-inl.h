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
