#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "dsp/effects/prims/VectorKernelTable.h"
#include "dsp/effects/prims/VectorKernels.h"

#include "basictools/simd/SimdTargets.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/effects/prims/FirKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Vantora::prims::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

template <class D>
using Vector = hn::Vec<D>;

constexpr std::size_t kManyTaps = 64;

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

// A vector that stays in its register: GCC would load it anew for each of its uses, and loads are the limit.
template <class V>
HWY_INLINE V Held(V vector) {
#if HWY_ARCH_X86 && HWY_COMPILER_GCC && HWY_TARGET != HWY_EMU128 && HWY_TARGET != HWY_SCALAR
  asm("" : "+v"(vector.raw));
#endif
  return vector;
}

// For many taps, at least kVectors vectors of them, the loads of samples are the limit: most of them straddle
// two cache lines. A vector of samples loaded at place r + lanes m serves all vectors of outputs, number v
// with tap r + lanes (m - v). `kGroup` such vectors, m and those behind it, share most of these taps.
// `kPlaces` neighbouring r run at once; their sums join the result before the next ones, so that no sum grows
// long.
template <std::size_t kVectors, std::size_t kPlaces, std::size_t kGroup, class D>
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
    const std::size_t full = whole - (kVectors == 1 ? 1 : 0);
    std::size_t m = kVectors - 1;
    for (; m + kGroup <= full; m += kGroup) {
      Unroll<kPlaces>([&](auto place) HWY_ATTR {
        Vector<D> loaded[kGroup];
        Unroll<kGroup>([&](auto i)
                           HWY_ATTR { loaded[i] = Held(hn::LoadU(d, x + place + kLanes * (m + i))); });
        // Taps from the one that only the first of the samples meet to the one that only the last do.
        Unroll<kVectors + kGroup - 1>([&](auto j) HWY_ATTR {
          const auto tap = hn::Set(d, h[place + kLanes * (m + 1 + j - kVectors)]);
          Unroll<kGroup>([&](auto i) HWY_ATTR {
            constexpr std::size_t after = kVectors - 1 + i;
            if constexpr (j <= after && after - j < kVectors) {
              auto& sum = sums[place * kVectors + after - j];
              sum = hn::MulAdd(tap, loaded[i], sum);
            }
          });
        });
      });
    }
    for (; m < full; ++m) {
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

// A tile of `kVectors` vectors of outputs, of which the first `count` lanes are wanted. With vectors of
// eight and sixteen lanes each tap is a load of its own, and many sums hide the latency of the fused
// multiply-add; with four a tap must be spread over the lanes first, which pays for eight vectors at once.
template <std::size_t kVectors, class D>
HWY_INLINE void FirTile(D d, const float* taps, std::size_t tapCount, const float* samples, float* out,
                        std::size_t count, bool adds) {
  constexpr std::size_t kLanes = hn::MaxLanes(D());
  constexpr std::size_t kGroup = kLanes <= 4 ? 8 : 2;
  constexpr std::size_t kPlaces = kLanes <= 4 ? 1 : kVectors <= 3 ? 4 : 2;
  const float* end = samples + tapCount - 1 + count;
  Vector<D> result[kVectors];
  if (kLanes >= 4 && tapCount >= kManyTaps) {
    FirManyTaps<kVectors, kPlaces, kGroup>(d, taps, tapCount, samples, end, result);
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
  // Whole tiles of the most vectors whose sums and samples find room in the registers, then what is left,
  // rounded up to a tile: lanes that nobody wants cost less than a narrower tile, which is held back by its
  // latency.
  constexpr bool isAvx2 = kLanes == 8, isAvx512 = kLanes == 16;
  const bool hasMany = tapCount >= kManyTaps;
  std::size_t i = 0;
  while (i < count) {
    const std::size_t wanted = count - i;
    const auto run = [&](auto vectors) HWY_ATTR {
      constexpr std::size_t kVectors = vectors;
      FirTile<kVectors>(d, taps, tapCount, samples + i, out + i, std::min(wanted, kVectors * kLanes), adds);
      i += kVectors * kLanes;
    };
    if constexpr (kLanes == kWidest) {  // narrower ones have less than two vectors to write
      if constexpr (isAvx2) {
        if (hasMany && wanted > 5 * kLanes && wanted != 8 * kLanes) {
          run(std::integral_constant<std::size_t, 6>());
          continue;
        }
      }
      if constexpr (isAvx512) {
        const bool areThrees = wanted <= 3 * kLanes || (wanted > 5 * kLanes && wanted <= 6 * kLanes);
        if (hasMany && wanted > 2 * kLanes && areThrees) {
          run(std::integral_constant<std::size_t, 3>());
          continue;
        }
      }
      if (wanted > 2 * kLanes && (!isAvx2 || wanted >= 4 * kLanes)) {
        run(std::integral_constant<std::size_t, 4>());
        continue;
      }
    }
    if (wanted > kLanes) {
      run(std::integral_constant<std::size_t, 2>());
    } else {
      run(std::integral_constant<std::size_t, 1>());
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

constexpr FirKernelTable kFirKernels{.fir = FirKernel, .add = FirAddKernel};

}  // namespace Vantora::prims::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vantora::prims {

const FirKernelTable& FirKernelsFor(SimdTarget target) noexcept {
  return *PRISMEL_KERNELS(target, kFirKernels);
}

namespace {

const FirKernelTable& Kernels() noexcept {
  static const FirKernelTable& table = FirKernelsFor(BurstSimdTarget());
  return table;
}

}  // namespace

void Fir(const float* reversedTaps, std::size_t tapCount, const float* samples, float* out,
         std::size_t count) noexcept {
  Kernels().fir(reversedTaps, tapCount, samples, out, count);
}

void FirAdd(const float* reversedTaps, std::size_t tapCount, const float* samples, float* out,
            std::size_t count) noexcept {
  Kernels().add(reversedTaps, tapCount, samples, out, count);
}

}  // namespace Vantora::prims
#endif  // HWY_ONCE
