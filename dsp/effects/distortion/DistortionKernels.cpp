#include "dsp/effects/distortion/DistortionKernels.h"

#include <algorithm>
#include <array>
#include <utility>

#include "basictools/math/VectorExpLog.h"
#include "basictools/math/VectorSine.h"
#include "basictools/math/WholeQuads.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/distortion/DistortionKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "dsp/effects/distortion/CurveLanes-inl.h"
#include "dsp/effects/distortion/DrivenFold-inl.h"
#include "dsp/effects/distortion/ExpLog-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

// The formulas are free of branches and stand in headers; here they are only compiled for each width.

template <std::size_t kAlgorithm>
void Shape(float* HWY_RESTRICT data, uint32_t count) {
  using Curve = std::tuple_element_t<kAlgorithm, ShapingCurves>;
  uint32_t i = 0;
  if constexpr (kHasCurveLanes<Curve>) i = ShapeVectors<Curve>(data, count);
  for (; i < count; ++i) data[i] = Curve::template Curve<curves::Lane>(curves::Lane{data[i]}).x;
}

struct SineFold {
  static HWY_INLINE float Of(float x) { return SineFloat4(x * 1.5707964f); }  // full scale is a quarter turn
};

struct TriangleFold {
  static HWY_INLINE float Of(float x) {
    const float shifted = x * 0.5f + 0.5f;
    const float truncated = ToFloat4(Truncate(shifted));
    const float u = truncated > shifted ? truncated - 1.0f : truncated;
    const float a = u * 2.0f;
    return (Truncate(u) & 1) != 0 ? a - x : x - a;
  }
};

template <typename Curve>
void Fold(float* HWY_RESTRICT data, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) data[i] = Curve::Of(data[i]);
}

// Sizes as bits: numbers without a sign are in the order of their bits, and NaN lies above infinity.
HWY_INLINE int32_t SizeBits(float x) {
  const int32_t size = BitsOf(x) & 0x7FFFFFFF;
  return size <= 0x7F800000 ? size : 0;
}

float Peak(const float* HWY_RESTRICT data, uint32_t count) {
  int32_t peak = 0;
  for (uint32_t i = 0; i < count; ++i) peak = std::max(peak, SizeBits(data[i]));
  return FromBits(peak);
}

template <typename Curve>
HWY_INLINE int32_t FoldVectors(const float* HWY_RESTRICT in, const FoldGains& gains, float* HWY_RESTRICT out,
                               uint32_t start, uint32_t count) {
  const float* HWY_RESTRICT gain = gains.gain + start;
  const float* HWY_RESTRICT root = gains.root + start;
  const float* HWY_RESTRICT wet = gains.wet + start;
  const float* HWY_RESTRICT wetGain = gains.wetGain + start;
  int32_t peak = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const float driven = in[i] * gain[i] * root[i];
    peak = std::max(peak, SizeBits(driven));
    out[i] = in[i] - in[i] * wet[i] + wetGain[i] * Curve::Of(driven);
  }
  return peak;
}

template <typename Curve>
float FoldThrough(const float* in, const FoldGains& gains, float* out, uint32_t count) {
  const uint32_t whole = count / kVectorPadding * kVectorPadding;
  int32_t peak = FoldVectors<Curve>(in, gains, out, 0, whole);
  if (whole < count) {
    float restIn[kVectorPadding] = {};  // silence in front of gains that nobody wrote
    float restOut[kVectorPadding];
    std::copy(in + whole, in + count, restIn);
    peak = std::max(peak, FoldVectors<Curve>(restIn, gains, restOut, whole, kVectorPadding));
    std::copy(restOut, restOut + count - whole, out + whole);
  }
  return FromBits(peak);
}

constexpr float kNepersPerDb = 0.115129255f;  // ln(10) / 20

// Calls `step` with two blocks at a time and the first places of vectors that cover what differs in them: T,
// a pair with a vector of either, as a template argument of its call operator. What waits for one block works
// on the other. Some places more may be covered, which any row has room for; a last block goes alone, as its
// own twin.
template <typename Block, typename Step>
HWY_INLINE void ForTwins(const Block* blocks, uint32_t blockCount, Step step) {
  const Block* const end = blocks + blockCount;
#if HWY_TARGET != HWY_EMU128
  using One = LaneNumber<ManyLanes>;
  for (; end - blocks >= 2; blocks += 2) {
    const Block a = blocks[0];
    const Block b = blocks[1];
    const uint32_t count = std::max(a.different, b.different);
    for (uint32_t i = 0; i < count; i += LanesOf<One>::kCount)
      step.template operator()<NumberPair<One>>(a, b, i);
  }
#else
  using One = float;
#endif
  for (; blocks < end; ++blocks) {
    const Block a = blocks[0];
    for (uint32_t i = 0; i < a.different; i += LanesOf<One>::kCount) step.template operator()<One>(a, a, i);
  }
}

template <typename T>
HWY_INLINE T LoadTwins(const float* a, const float* b) {
  if constexpr (kIsPair<T>) {
    using Half = typename LanesOf<T>::Half;
    return {LoadAll<Half>(a), LoadAll<Half>(b)};
  } else {
    return LoadAll<T>(a);
  }
}
template <typename T>
HWY_INLINE void StoreTwins(T x, float* a, float* b) {
  if constexpr (kIsPair<T>) {
    StoreAll(x.low, a);
    StoreAll(x.high, b);
  } else {
    StoreAll(x, a);
  }
}

template <typename Block>
void RunDecibels(const Block* blocks, uint32_t blockCount) {
  ForTwins(blocks, blockCount, []<typename T>(const Block& a, const Block& b, uint32_t i) HWY_ATTR {
    const T x = LoadTwins<T>(a.dB + i, b.dB + i) * Number<T>(kNepersPerDb);
    StoreTwins(ExpOf(x), a.gain + i, b.gain + i);
  });
}

void RunDriveGains(const DriveGainsRun* blocks, uint32_t blockCount) {
  RunDecibels(blocks, blockCount);
  for (const DriveGainsRun* b = blocks; b < blocks + blockCount; ++b) {
    if (b->different < b->count) std::fill(b->gain + b->different, b->gain + b->count, b->gain[0]);
  }
}

template <typename T>
HWY_INLINE T CompensationAt(CompensationLine line, uint32_t i) {
  const T place = Number<T>(static_cast<float>(static_cast<int32_t>(i))) + LoadAll<T>(kFirstPlaces);
  return Number<T>(line.from) + Number<T>(line.step) * place;
}
template <typename T>
HWY_INLINE T CompensationAt(CompensationLine a, CompensationLine b, uint32_t i) {
  if constexpr (kIsPair<T>) {
    using Half = typename LanesOf<T>::Half;
    return {CompensationAt<Half>(a, i), CompensationAt<Half>(b, i)};
  } else {
    return CompensationAt<T>(a, i);
  }
}

// The logarithm of the root, in the steps of PowFloat4. Of what a gain of 0 has for one, nothing is left
// later.
void LogRoots(const FoldGainsRun* blocks, uint32_t blockCount) {
  ForTwins(blocks, blockCount,
           []<typename T>(const FoldGainsRun& a, const FoldGainsRun& b, uint32_t i) HWY_ATTR {
             const T gain = LoadTwins<T>(a.gain + i, b.gain + i);
             StoreTwins(LogOf(gain) * Number<T>(0.25f), a.root + i, b.root + i);
           });
}

// From the logarithms on.
void RootsAndWetGains(const FoldGainsRun* blocks, uint32_t blockCount) {
  ForTwins(blocks, blockCount,
           []<typename T>(const FoldGainsRun& a, const FoldGainsRun& b, uint32_t i) HWY_ATTR {
             const auto isHeard = LoadTwins<T>(a.gain + i, b.gain + i) > Number<T>(0.0f);
             const T root = ExpWithin(LoadTwins<T>(a.root + i, b.root + i));
             StoreTwins(OrZero(isHeard, root), a.root + i, b.root + i);
             // A drive so low that the gain is 0 is silence, not 0 times infinity.
             const T inverse = OrZero(isHeard, Number<T>(1.0f) / root);
             const T level = LoadTwins<T>(a.level + i, b.level + i);
             StoreTwins(level * inverse * CompensationAt<T>(a.compensation, b.compensation, i), a.wetGain + i,
                        b.wetGain + i);
           });
}

// Step by step over all blocks: each step of a sample waits for the one before, and a processor looks ahead
// by a few vectors only.
void RunFoldGains(const FoldGainsRun* blocks, uint32_t blockCount) {
  RunDecibels(blocks, blockCount);
  LogRoots(blocks, blockCount);
  RootsAndWetGains(blocks, blockCount);
  for (const FoldGainsRun* b = blocks; b < blocks + blockCount; ++b) {
    if (b->different >= b->count) continue;
    for (float* numbers : {b->gain, b->root})
      std::fill(numbers + b->different, numbers + b->count, numbers[0]);
    const float inverse = b->root[0] > 0.0f ? 1.0f / b->root[0] : 0.0f;
    for (uint32_t i = b->different; i < b->count; ++i)
      b->wetGain[i] = b->level[i] * inverse * CompensationAt<float>(b->compensation, i);
  }
}

void Multiply(const float* HWY_RESTRICT a, const float* HWY_RESTRICT b, float* HWY_RESTRICT out,
              uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) out[i] = a[i] * b[i];
}

void MultiplyTwice(const float* a, const float* HWY_RESTRICT b, const float* HWY_RESTRICT c, float* out,
                   uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) out[i] = a[i] * b[i] * c[i];
}

void Compensate(const float* HWY_RESTRICT data, CompensationLine compensation, const float* HWY_RESTRICT gain,
                float* HWY_RESTRICT out, uint32_t count) {
  const auto [from, step] = compensation;
  if (step == 0.0f) {
    for (uint32_t i = 0; i < count; ++i) out[i] = data[i] * from * gain[i];
    return;
  }
  for (int32_t i = 0, end = static_cast<int32_t>(count); i < end; ++i)
    out[i] = data[i] * (from + step * static_cast<float>(i + 1)) * gain[i];
}

void MixFolded(const float* in, const float* HWY_RESTRICT wet, const float* HWY_RESTRICT gain,
               const float* HWY_RESTRICT folded, float* out, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) out[i] = in[i] - in[i] * wet[i] + gain[i] * folded[i];
}

template <std::size_t... Index>
constexpr DistortionKernelTable MakeTable(std::index_sequence<Index...>) {
  return {.shape = {Shape<Index>...},
          .fold = {Fold<SineFold>, Fold<TriangleFold>},
          .foldThrough = {FoldThrough<SineFold>, FoldThrough<TriangleFold>},
          .peak = Peak,
          .driveGains = RunDriveGains,
          .foldGains = RunFoldGains,
          .driveAndFold = RunDrivenFolds,
          .multiply = Multiply,
          .multiplyTwice = MultiplyTwice,
          .compensate = Compensate,
          .mixFolded = MixFolded};
}

}  // namespace

constexpr DistortionKernelTable kDistortionKernels =
    MakeTable(std::make_index_sequence<kShapingCurveCount>{});

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::dsp {

const DistortionKernelTable& DistortionKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kDistortionKernels);
}

namespace {
const DistortionKernelTable& kBest = DistortionKernelsFor(BestSimdTarget());
}  // namespace

const DistortionKernelTable& DistortionKernels() noexcept { return kBest; }

}  // namespace Vantora::dsp
#endif  // HWY_ONCE
