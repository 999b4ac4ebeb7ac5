#include "host/CallKernels.h"

#include <cstring>

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "host/CallKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Vantora::host::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

struct Places {
  const float *left, *right;
  float *outLeft, *outRight, *place;
  size_t stride;
};

/// From `begin` on as many whole vectors as fit; answers the first sample behind them. The inputs' bits are
/// laid over each other into `over`.
template <class D>
HWY_INLINE size_t MoveVectors(D d, const Places& at, size_t begin, size_t count, hn::Vec<D>& over) {
  size_t i = begin;
  for (; i + hn::Lanes(d) <= count; i += hn::Lanes(d)) {
    float* const place = at.place + i;
    const auto left = hn::LoadU(d, at.left + i), right = hn::LoadU(d, at.right + i);
    const auto leftBefore = hn::LoadU(d, place + 2 * at.stride);
    const auto rightBefore = hn::LoadU(d, place + 3 * at.stride);
    over = hn::Or(over, hn::Or(left, right));
    hn::StoreU(left, d, place);
    hn::StoreU(right, d, place + at.stride);
    hn::StoreU(leftBefore, d, at.outLeft + i);
    hn::StoreU(rightBefore, d, at.outRight + i);
  }
  return i;
}

/// The highest bit of the exponent is set from 2 on, and in what is no number.
template <class D>
HWY_INLINE bool HasTwoOrMore(D d, hn::Vec<D> over) {
  const auto two = hn::Set(d, 2.0f);
  return !hn::AllFalse(d, hn::Eq(hn::And(over, two), two));
}

/// What is left of a piece behind the whole vectors. Apart: with hosts' usual buffers there is nothing.
HWY_NOINLINE bool ExchangeRest(const Places& at, size_t begin, size_t count) {
  const hn::CappedTag<float, 4> four;
  auto overFours = hn::Zero(four);
  begin = MoveVectors(four, at, begin, count, overFours);
  const hn::CappedTag<float, 1> one;
  auto overOnes = hn::Zero(one);
  MoveVectors(one, at, begin, count, overOnes);
  return HasTwoOrMore(four, overFours) || HasTwoOrMore(one, overOnes);
}

HWY_NOINLINE bool ExchangeLoop(const float* left, const float* right, float* outLeft, float* outRight,
                               float* place, size_t stride, size_t count) {
  const Places at{left, right, outLeft, outRight, place, stride};
  const hn::ScalableTag<float> wide;
  auto over = hn::Zero(wide);
  const size_t moved = MoveVectors(wide, at, 0, count, over);
  const bool isLoud = HasTwoOrMore(wide, over);
  if (moved == count) return isLoud;
  return ExchangeRest(at, moved, count) || isLoud;
}

#if HWY_TARGET == HWY_AVX3
/// A piece of at most 48 samples without a jump: with a host's buffers each piece has another length than the
/// one before, which no processor foresees, and to be wrong costs as much as the copying.
bool Exchange(const float* left, const float* right, float* outLeft, float* outRight, float* place,
              size_t stride, size_t count) {
  constexpr size_t kMost = 48;
  if (count > kMost) return ExchangeLoop(left, right, outLeft, outRight, place, stride, count);
  const hn::FixedTag<float, 16> d;
  auto over = hn::Zero(d);
  for (size_t i = 0; i < kMost; i += 16) {
    const auto some = hn::FirstN(d, count > i ? count - i : 0);
    const auto l = hn::MaskedLoad(some, d, left + i), r = hn::MaskedLoad(some, d, right + i);
    const auto leftBefore = hn::MaskedLoad(some, d, place + 2 * stride + i);
    const auto rightBefore = hn::MaskedLoad(some, d, place + 3 * stride + i);
    over = hn::Or(over, hn::Or(l, r));
    hn::BlendedStore(l, some, d, place + i);
    hn::BlendedStore(r, some, d, place + stride + i);
    hn::BlendedStore(leftBefore, some, d, outLeft + i);
    hn::BlendedStore(rightBefore, some, d, outRight + i);
  }
  return HasTwoOrMore(d, over);
}
#else
constexpr auto Exchange = ExchangeLoop;
#endif

bool AreSame(const float* one, const float* other, size_t count) {
  const hn::ScalableTag<uint32_t> d;
  const hn::Rebind<float, decltype(d)> floats;
  const size_t lanes = hn::Lanes(d);
  const auto difference = [&](size_t i) HWY_ATTR {
    return hn::Xor(hn::BitCast(d, hn::LoadU(floats, one + i)), hn::BitCast(d, hn::LoadU(floats, other + i)));
  };
  if (count < lanes) return std::memcmp(one, other, count * sizeof(float)) == 0;
  auto all = difference(count - lanes);  // the last ones, some of them twice
  for (size_t i = 0; i + lanes < count; i += lanes) all = hn::Or(all, difference(i));
  return hn::AllTrue(d, hn::Eq(all, hn::Zero(d)));
}

}  // namespace

constexpr CallKernels kCallKernels{.exchange = Exchange, .areSame = AreSame};

}  // namespace Vantora::host::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::host {

const CallKernels& CallKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kCallKernels);
}

}  // namespace Vantora::host
#endif  // HWY_ONCE
