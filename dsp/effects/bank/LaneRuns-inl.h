// LaneRuns: an effect's loop over the samples of a block or over clones, in whatever lanes there are.
// Compiled anew for each instruction set, as LaneNumber-inl.h is.
#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "dsp/effects/bank/LaneFrames-inl.h"
#include "dsp/effects/bank/LaneNumber-inl.h"

#if defined(PRISMEL_LANE_RUNS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef PRISMEL_LANE_RUNS_INL
#undef PRISMEL_LANE_RUNS_INL
#else
#define PRISMEL_LANE_RUNS_INL
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {

// Calls `run` at each place of a block whose samples don't depend on each other: T as a template argument of
// its call operator, the first sample and how many. What is left behind the last whole vector takes one more
// where a machine masks loads and stores; else fours, then one by one.
template <typename Run>
HWY_INLINE void ForEachPlace(uint32_t count, Run run) {
  uint32_t i = 0;
#if HWY_TARGET != HWY_EMU128
  constexpr uint32_t kMany = LanesOf<LaneNumber<ManyLanes>>::kCount;
  if constexpr (kMany < 16) {
    using Pair = NumberPair<LaneNumber<ManyLanes>>;
    for (; i + 2 * kMany <= count; i += 2 * kMany) run.template operator()<Pair>(i, 2 * kMany);
  }
  for (; i + kMany <= count; i += kMany) run.template operator()<LaneNumber<ManyLanes>>(i, kMany);
#if HWY_CAP_GE512
  if (i < count) run.template operator()<LaneNumber<ManyLanes>>(i, count - i);
  return;
#endif
  if constexpr (kMany > 4) {
    for (; i + 4 <= count; i += 4) run.template operator()<LaneNumber<FewLanes>>(i, 4);
  }
#endif
  for (; i < count; ++i) run.template operator()<float>(i, 1);
}

// All lanes, from or to aligned memory in which the vectors lie `stride` floats apart.
template <typename T>
HWY_INLINE T LoadLanes(const float* from, uint32_t stride) {
  if constexpr (kIsPair<T>) {
    using Half = typename LanesOf<T>::Half;
    constexpr uint32_t kVectors = LanesOf<Half>::kCount / LanesOf<T>::kVector;
    return {LoadLanes<Half>(from, stride), LoadLanes<Half>(from + kVectors * stride, stride)};
  } else {
    return {hn::Load(typename LanesOf<T>::Tag(), from)};
  }
}
template <typename T>
HWY_INLINE void StoreLanes(T x, float* to, uint32_t stride) {
  if constexpr (kIsPair<T>) {
    using Half = typename LanesOf<T>::Half;
    constexpr uint32_t kVectors = LanesOf<Half>::kCount / LanesOf<T>::kVector;
    StoreLanes(x.low, to, stride);
    StoreLanes(x.high, to + kVectors * stride, stride);
  } else {
    hn::Store(x.v, typename LanesOf<T>::Tag(), to);
  }
}

// A field of each clone's record as a number, and back. Lanes without a clone hold `spare` and are dropped.
template <typename T, typename Read>
HWY_INLINE T Collect(uint32_t clones, Read read, float spare = 0.0f) {
  if constexpr (std::is_same_v<T, float>) {
    (void)clones;
    (void)spare;
    return read(0);
  } else {
    HWY_ALIGN float numbers[LanesOf<T>::kCount];
    for (uint32_t lane = 0; lane < LanesOf<T>::kCount; ++lane)
      numbers[lane] = lane < clones ? read(lane) : spare;
    return LoadLanes<T>(numbers, LanesOf<T>::kVector);
  }
}

template <typename T, typename Write>
HWY_INLINE void Distribute(T x, uint32_t clones, Write write) {
  if constexpr (std::is_same_v<T, float>) {
    (void)clones;
    write(0, x);
  } else {
    HWY_ALIGN float numbers[LanesOf<T>::kCount];
    StoreLanes(x, numbers, LanesOf<T>::kVector);
    for (uint32_t lane = 0; lane < clones; ++lane) write(lane, numbers[lane]);
  }
}

// The first `kCount` floats of each clone's record as numbers, and back: four by four, where `Collect` and
// `Distribute` take one by one. Lanes without a clone hold 0 and are dropped.
template <uint32_t kCount, typename T, typename Row>
HWY_INLINE void CollectRows(uint32_t clones, Row row, T (&numbers)[kCount]) {
  static_assert(kCount >= 4);
  if constexpr (std::is_same_v<T, float>) {
    (void)clones;
    std::copy_n(row(0), kCount, numbers);
  } else {
    constexpr uint32_t kLanes = LanesOf<T>::kCount;
    constexpr uint32_t kVector = LanesOf<T>::kVector;
    HWY_ALIGN float frames[kCount * kLanes];
    HWY_ALIGN const float spare[kCount] = {};
    const float* rows[kLanes];
    for (uint32_t lane = 0; lane < kLanes; ++lane) rows[lane] = lane < clones ? row(lane) : spare;
    for (uint32_t lane = 0; lane < kLanes; lane += kVector) {
      for (uint32_t i = 0; i < kCount; i += 4)
        QuadToFrames<kVector>(rows + lane, std::min(i, kCount - 4), frames + lane * kCount);
    }
    for (uint32_t i = 0; i < kCount; ++i) numbers[i] = LoadLanes<T>(frames + i * kVector, kCount * kVector);
  }
}
template <uint32_t kCount, typename T, typename Row>
HWY_INLINE void DistributeRows(const T (&numbers)[kCount], uint32_t clones, Row row) {
  static_assert(kCount >= 4);
  if constexpr (std::is_same_v<T, float>) {
    (void)clones;
    std::copy_n(numbers, kCount, row(0));
  } else {
    constexpr uint32_t kLanes = LanesOf<T>::kCount;
    constexpr uint32_t kVector = LanesOf<T>::kVector;
    HWY_ALIGN float frames[kCount * kLanes];
    HWY_ALIGN float spare[kCount];
    float* rows[kLanes];
    for (uint32_t lane = 0; lane < kLanes; ++lane) rows[lane] = lane < clones ? row(lane) : spare;
    for (uint32_t i = 0; i < kCount; ++i) StoreLanes(numbers[i], frames + i * kVector, kCount * kVector);
    for (uint32_t lane = 0; lane < kLanes; lane += kVector) {
      for (uint32_t i = 0; i < kCount; i += 4)
        QuadToRows<kVector>(frames + lane * kCount, std::min(i, kCount - 4), rows + lane);
    }
  }
}

// Calls `chunk` with pieces of `count` samples of `clones` streams: how many samples, then two functions that
// read the input's number at one of them and write the output's, which may take its place. One clone lies
// sample by sample, several in frames of which each holds a sample of every clone.
template <typename T, typename In, typename Out, typename Chunk>
HWY_INLINE void RunChunks(uint32_t clones, uint32_t count, In in, Out out, Chunk chunk) {
  if constexpr (std::is_same_v<T, float>) {
    (void)clones;
    const float* from = in(0);
    float* to = out(0);
    chunk(
        count, [&](uint32_t i) { return from[i]; }, [&](uint32_t i, float y) { to[i] = y; });
  } else {
    constexpr uint32_t kLanes = LanesOf<T>::kCount;
    constexpr uint32_t kVector = LanesOf<T>::kVector;
    constexpr uint32_t kStride = kFrames * kVector;  // the frames of a vector's clones, then the next one's
    HWY_ALIGN float frames[kFrames * kLanes];
    HWY_ALIGN float spare[kFrames] = {};  // lanes without a clone share a row that nobody hears
    const float* from[kLanes];
    float* to[kLanes];
    for (uint32_t start = 0; start < count; start += kFrames) {
      const uint32_t length = count - start < kFrames ? count - start : kFrames;
      for (uint32_t lane = 0; lane < kLanes; ++lane) {
        from[lane] = lane < clones ? in(lane) + start : spare;
        to[lane] = lane < clones ? out(lane) + start : spare;
      }
      for (uint32_t lane = 0; lane < kLanes; lane += kVector)
        ToFrames<kVector>(from + lane, length, frames + lane * kFrames);
      chunk(
          length, [&](uint32_t i) HWY_ATTR { return LoadLanes<T>(frames + i * kVector, kStride); },
          [&](uint32_t i, T y) HWY_ATTR { StoreLanes(y, frames + i * kVector, kStride); });
      for (uint32_t lane = 0; lane < kLanes; lane += kVector)
        ToRows<kVector>(frames + lane * kFrames, length, to + lane);
    }
  }
}

// Runs `tick`, a function from the input's number to the output's, over `count` samples of `clones` streams.
template <typename T, typename In, typename Out, typename Tick>
HWY_INLINE void RunStreams(uint32_t clones, uint32_t count, In in, Out out, Tick tick) {
  RunChunks<T>(clones, count, in, out, [&](uint32_t length, auto read, auto write) HWY_ATTR {
    for (uint32_t i = 0; i < length; ++i) write(i, tick(read(i)));
  });
}

// Calls `run` with groups of clones: T as a template argument of its call operator, the first clone and how
// many. Where the machine has no vectors that are a gain, each runs alone. With `kInPairs` more clones than a
// vector holds share a loop, which is a gain while what the loop remembers stays in registers. With
// `kInHalves` five to eight clones take vectors of eight where there are wider ones, which is a gain where
// the way to lanes and back is much of the loop.
template <bool kInPairs = false, bool kInHalves = false, typename Run>
HWY_INLINE void ForEachGroup(uint32_t clones, Run run) {
  uint32_t first = 0;
#if HWY_TARGET != HWY_EMU128
  constexpr uint32_t kMany = LanesOf<LaneNumber<ManyLanes>>::kCount;
  if constexpr (kInPairs && kMany < 16) {  // a vector of sixteen holds all clones there are
    using Pair = NumberPair<LaneNumber<ManyLanes>>;
    for (; clones - first > kMany; first += std::min(2 * kMany, clones - first))
      run.template operator()<Pair>(first, std::min(2 * kMany, clones - first));
  }
  if constexpr (kInHalves && kMany > 8) {
    if (clones > 4 && clones <= 8) {
      run.template operator()<LaneNumber<HalfLanes>>(0, clones);
      return;
    }
  }
  for (; clones - first > 4; first += std::min(kMany, clones - first))
    run.template operator()<LaneNumber<ManyLanes>>(first, std::min(kMany, clones - first));
  if (clones - first > 1) {
    run.template operator()<LaneNumber<FewLanes>>(first, clones - first);
    return;
  }
#endif
  for (; first < clones; ++first) run.template operator()<float>(first, 1);
}

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
