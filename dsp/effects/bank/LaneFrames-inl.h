// Rows and frames, compiled anew for each instruction set: included inside a file that includes itself by
// hwy/foreach_target.h, before its own HWY_BEFORE_NAMESPACE.
#include <algorithm>
#include <cstdint>

#include <hwy/highway.h>

#include "basictools/math/WholeQuads.h"

#if defined(PRISMEL_LANE_FRAMES_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef PRISMEL_LANE_FRAMES_INL
#undef PRISMEL_LANE_FRAMES_INL
#else
#define PRISMEL_LANE_FRAMES_INL
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

inline constexpr uint32_t kFrames = 16;  // samples turned from rows into frames at a time

template <uint32_t kLanes>
using FrameTag = hn::CappedTag<float, kLanes>;

// Four samples of every fourth row, from row `first` on: a block of four lanes of the vector for each.
template <uint32_t kLanes>
HWY_INLINE hn::Vec<FrameTag<kLanes>> LoadBlocks(const float* const* rows, uint32_t first, uint32_t sample) {
  const hn::CappedTag<float, 4> quad;
  const auto block = [&](uint32_t b) HWY_ATTR { return hn::LoadU(quad, rows[first + 4 * b] + sample); };
  if constexpr (kLanes == 4) {
    return block(0);
  } else if constexpr (kLanes == 8) {
    return hn::Combine(FrameTag<8>(), block(1), block(0));
  } else {
    const FrameTag<8> half;
    return hn::Combine(FrameTag<16>(), hn::Combine(half, block(3), block(2)),
                       hn::Combine(half, block(1), block(0)));
  }
}

template <uint32_t kLanes>
HWY_INLINE void StoreBlocks(hn::Vec<FrameTag<kLanes>> x, float* const* rows, uint32_t first,
                            uint32_t sample) {
  const hn::CappedTag<float, 4> quad;
  const auto store = [&](uint32_t b, auto block)
                         HWY_ATTR { hn::StoreU(block, quad, rows[first + 4 * b] + sample); };
  if constexpr (kLanes == 4) {
    store(0, x);
  } else if constexpr (kLanes == 8) {
    store(0, hn::LowerHalf(quad, x));
    store(1, hn::UpperHalf(quad, x));
  } else {
    const FrameTag<8> half;
    const auto low = hn::LowerHalf(half, x);
    const auto high = hn::UpperHalf(half, x);
    store(0, hn::LowerHalf(quad, low));
    store(1, hn::UpperHalf(quad, low));
    store(2, hn::LowerHalf(quad, high));
    store(3, hn::UpperHalf(quad, high));
  }
}

// Turns four by four numbers in each block of four lanes: what was a sample's becomes a lane's, and the other
// way round.
template <class D, typename Store>
HWY_INLINE void TransposeBlocks(D d, hn::Vec<D> a, hn::Vec<D> b, hn::Vec<D> c, hn::Vec<D> e, Store store) {
  const auto lowAC = hn::InterleaveLower(d, a, c);
  const auto lowBE = hn::InterleaveLower(d, b, e);
  const auto highAC = hn::InterleaveUpper(d, a, c);
  const auto highBE = hn::InterleaveUpper(d, b, e);
  store(0, hn::InterleaveLower(d, lowAC, lowBE));
  store(1, hn::InterleaveUpper(d, lowAC, lowBE));
  store(2, hn::InterleaveLower(d, highAC, highBE));
  store(3, hn::InterleaveUpper(d, highAC, highBE));
}

// Four samples from `sample` on of what follows.
template <uint32_t kLanes>
HWY_INLINE void QuadToFrames(const float* const* rows, uint32_t sample, float* HWY_RESTRICT frames) {
  const FrameTag<kLanes> d;
  TransposeBlocks(d, LoadBlocks<kLanes>(rows, 0, sample), LoadBlocks<kLanes>(rows, 1, sample),
                  LoadBlocks<kLanes>(rows, 2, sample), LoadBlocks<kLanes>(rows, 3, sample),
                  [&](uint32_t k, auto frame)
                      HWY_ATTR { hn::StoreU(frame, d, frames + (sample + k) * kLanes); });
}
template <uint32_t kLanes>
HWY_INLINE void QuadToRows(const float* HWY_RESTRICT frames, uint32_t sample, float* const* rows) {
  const FrameTag<kLanes> d;
  const float* frame = frames + sample * kLanes;
  TransposeBlocks(d, hn::LoadU(d, frame), hn::LoadU(d, frame + kLanes), hn::LoadU(d, frame + 2 * kLanes),
                  hn::LoadU(d, frame + 3 * kLanes),
                  [&](uint32_t k, auto row) HWY_ATTR { StoreBlocks<kLanes>(row, rows, k, sample); });
}

// frames[sample][lane] from rows[lane][sample]. Whole frames are stored, as a load of one that was stored in
// parts would wait for them.
template <uint32_t kLanes>
HWY_INLINE void ToFrames(const float* const* rows, uint32_t count, float* HWY_RESTRICT frames) {
  const uint32_t quads = WholeQuads(count);
  for (uint32_t i = 0; i < quads; i += 4) QuadToFrames<kLanes>(rows, i, frames);
  for (uint32_t i = quads; i < count; ++i) {
    for (uint32_t lane = 0; lane < kLanes; ++lane) frames[i * kLanes + lane] = rows[lane][i];
  }
}

// rows[lane][sample] from frames[sample][lane].
template <uint32_t kLanes>
HWY_INLINE void ToRows(const float* HWY_RESTRICT frames, uint32_t count, float* const* rows) {
  const uint32_t quads = WholeQuads(count);
  for (uint32_t i = 0; i < quads; i += 4) QuadToRows<kLanes>(frames, i, rows);
  for (uint32_t i = quads; i < count; ++i) {
    for (uint32_t lane = 0; lane < kLanes; ++lane) rows[lane][i] = frames[i * kLanes + lane];
  }
}

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
