// Rows and frames, compiled anew for each instruction set: included inside a file that includes itself by
// hwy/foreach_target.h, before its own HWY_BEFORE_NAMESPACE.
#include <algorithm>
#include <cstdint>

#include <hwy/highway.h>

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

// Four samples of four lanes: rows with a lane each become frames with a sample each, or the other way round.
template <typename Load, typename Store>
HWY_INLINE void Transpose4(Load load, Store store) {
  const hn::FixedTag<float, 4> d;
  const auto a = load(0);
  const auto b = load(1);
  const auto c = load(2);
  const auto e = load(3);
  const auto lowAC = hn::InterleaveLower(d, a, c);
  const auto lowBE = hn::InterleaveLower(d, b, e);
  const auto highAC = hn::InterleaveUpper(d, a, c);
  const auto highBE = hn::InterleaveUpper(d, b, e);
  store(0, hn::InterleaveLower(d, lowAC, lowBE));
  store(1, hn::InterleaveUpper(d, lowAC, lowBE));
  store(2, hn::InterleaveLower(d, highAC, highBE));
  store(3, hn::InterleaveUpper(d, highAC, highBE));
}

// frames[sample][lane] from rows[lane][sample].
template <uint32_t kLanes>
HWY_INLINE void ToFrames(const float* const* rows, uint32_t count, float* HWY_RESTRICT frames) {
  const hn::FixedTag<float, 4> d;
  const uint32_t quads = count & ~3u;
  for (uint32_t lane = 0; lane < kLanes; lane += 4) {
    for (uint32_t i = 0; i < quads; i += 4) {
      Transpose4([&](uint32_t k) HWY_ATTR { return hn::LoadU(d, rows[lane + k] + i); },
                 [&](uint32_t k, auto x) HWY_ATTR { hn::StoreU(x, d, frames + (i + k) * kLanes + lane); });
    }
  }
  for (uint32_t i = quads; i < count; ++i) {
    for (uint32_t lane = 0; lane < kLanes; ++lane) frames[i * kLanes + lane] = rows[lane][i];
  }
}

// rows[lane][sample] from frames[sample][lane].
template <uint32_t kLanes>
HWY_INLINE void ToRows(const float* HWY_RESTRICT frames, uint32_t count, float* const* rows) {
  const hn::FixedTag<float, 4> d;
  const uint32_t quads = count & ~3u;
  for (uint32_t lane = 0; lane < kLanes; lane += 4) {
    for (uint32_t i = 0; i < quads; i += 4) {
      Transpose4([&](uint32_t k) HWY_ATTR { return hn::LoadU(d, frames + (i + k) * kLanes + lane); },
                 [&](uint32_t k, auto x) HWY_ATTR { hn::StoreU(x, d, rows[lane + k] + i); });
    }
  }
  for (uint32_t i = quads; i < count; ++i) {
    for (uint32_t lane = 0; lane < kLanes; ++lane) rows[lane][i] = frames[i * kLanes + lane];
  }
}

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
