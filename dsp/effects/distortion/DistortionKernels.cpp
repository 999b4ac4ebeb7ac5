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

#include "dsp/effects/distortion/ExpLog-inl.h"

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {
namespace {

// The formulas are free of branches and stand in headers; here they are only compiled for each width.

template <std::size_t kAlgorithm>
void Shape(float* HWY_RESTRICT data, uint32_t count) {
  using Curve = std::tuple_element_t<kAlgorithm, ShapingCurves>;
  for (uint32_t i = 0; i < count; ++i) data[i] = Curve::template Curve<curves::Lane>(curves::Lane{data[i]}).x;
}

void FoldSine(float* HWY_RESTRICT data, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i)
    data[i] = SineFloat4(data[i] * 1.5707964f);  // full scale is a quarter turn
}

void FoldTriangle(float* HWY_RESTRICT data, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    const float x = data[i];
    const float shifted = x * 0.5f + 0.5f;
    const float truncated = ToFloat4(Truncate(shifted));
    const float u = truncated > shifted ? truncated - 1.0f : truncated;
    const float a = u * 2.0f;
    data[i] = (Truncate(u) & 1) != 0 ? a - x : x - a;
  }
}

float Peak(const float* HWY_RESTRICT data, uint32_t count) {
  // As bits: numbers without a sign are in the order of their bits, and NaN lies above infinity.
  int32_t peak = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const int32_t size = BitsOf(data[i]) & 0x7FFFFFFF;
    const int32_t number = size <= 0x7F800000 ? size : 0;
    peak = number > peak ? number : peak;
  }
  return FromBits(peak);
}

constexpr float kNepersPerDb = 0.115129255f;  // ln(10) / 20

void DriveGains(const float* HWY_RESTRICT dB, float* HWY_RESTRICT gain, uint32_t count) {
  ForAllPlaces(dB, gain, count,
               [](auto x, auto) HWY_ATTR { return ExpOf(x * Number<decltype(x)>(kNepersPerDb)); });
}

// Step by step over all blocks: each step of a sample waits for the one before, and a processor looks ahead
// by a few vectors only.
void RunFoldGains(const FoldGains* blocks, uint32_t blockCount) {
  const auto apply = [&](auto from, float* FoldGains::*to, auto formula) HWY_ATTR {
    for (const FoldGains* b = blocks; b < blocks + blockCount; ++b)
      ForAllPlaces(b->*from, b->*to, WholeVectors(b->different), formula);  // the buffers have room
  };
  apply(&FoldGains::dB, &FoldGains::gain,
        [](auto dB, auto) HWY_ATTR { return ExpOf(dB * Number<decltype(dB)>(kNepersPerDb)); });
  // The fourth root, in the steps of PowFloat4.
  apply(&FoldGains::gain, &FoldGains::root,
        [](auto gain, auto) HWY_ATTR { return LogOf(gain) * Number<decltype(gain)>(0.25f); });
  apply(&FoldGains::gain, &FoldGains::root, [](auto gain, auto power) HWY_ATTR {
    return OrZero(gain > Number<decltype(gain)>(0.0f), ExpOf(power));
  });
  // A drive so low that g is 0 is silence, not 0 times infinity.
  apply(&FoldGains::root, &FoldGains::inverse, [](auto root, auto) HWY_ATTR {
    using T = decltype(root);
    return OrZero(root > Number<T>(0.0f), Number<T>(1.0f) / root);
  });
  for (const FoldGains* b = blocks; b < blocks + blockCount; ++b) {
    if (b->different < b->count) {
      for (float* numbers : {b->gain, b->root, b->inverse})
        std::fill(numbers + b->different, numbers + b->count, numbers[0]);
    }
    const float* HWY_RESTRICT wet = b->wet;
    const float* HWY_RESTRICT inverse = b->inverse;
    const float* HWY_RESTRICT compensation = b->compensation;
    float* HWY_RESTRICT wetGain = b->wetGain;
    for (uint32_t i = 0; i < b->count; ++i) wetGain[i] = wet[i] * wetGain[i] * inverse[i] * compensation[i];
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

void MixFolded(const float* in, const float* HWY_RESTRICT wet, const float* HWY_RESTRICT gain,
               const float* HWY_RESTRICT folded, float* out, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) out[i] = in[i] - in[i] * wet[i] + gain[i] * folded[i];
}

template <std::size_t... Index>
constexpr DistortionKernelTable MakeTable(std::index_sequence<Index...>) {
  return {.shape = {Shape<Index>...},
          .foldSine = FoldSine,
          .foldTriangle = FoldTriangle,
          .peak = Peak,
          .driveGains = DriveGains,
          .foldGains = RunFoldGains,
          .multiply = Multiply,
          .multiplyTwice = MultiplyTwice,
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
