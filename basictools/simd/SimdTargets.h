#pragma once

#include <type_traits>

#include "basictools/simd/SimdTarget.h"

// Included before hwy/highway.h by every source file with vector kernels: which
// instruction sets a kernel is compiled for, and how one is picked at run time. Highway's
// own run-time choice sits in its shared library; picking from its compile-time list
// ourselves leaves the processor's library without that dependency at load.

// Vectors of unknown length can't be members or array elements, which the kernels rely on.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
// The debug checks inside Highway's operations would call into its shared library.
#define HWY_IS_DEBUG_BUILD 0
// The baseline of four lanes in plain C++ is off by default for GCC 12.2
// because of a compiler bug with the high halves of integer products (GCC
// 106322). Kernels compute in floats, and the alternative has a single lane.
#define HWY_BROKEN_EMU128 0

namespace Vantora {

/// The kernel for `target` out of one for each instruction set, where null means not compiled for.
template <typename Kernel>
constexpr const Kernel* ChooseKernel(SimdTarget target, std::type_identity_t<const Kernel*> avx512,
                                     std::type_identity_t<const Kernel*> avx2,
                                     std::type_identity_t<const Kernel*> sse4,
                                     std::type_identity_t<const Kernel*> ssse3,
                                     const Kernel* baseline) noexcept {
  if (target >= SimdTarget::Avx512 && avx512 != nullptr) return avx512;
  if (target >= SimdTarget::Avx2 && avx2 != nullptr) return avx2;
  if (target >= SimdTarget::Sse4 && sse4 != nullptr) return sse4;
  if (target >= SimdTarget::Ssse3 && ssse3 != nullptr) return ssse3;
  return baseline;
}

}  // namespace Vantora

/// PRISMEL_KERNELS(target, table): pointer to the object `table` of the
/// namespace that was compiled for `target`. Used in the HWY_ONCE part of a
/// source file, where `table` is a constant defined inside HWY_NAMESPACE.
#define PRISMEL_KERNELS(target, table)                                                                    \
  ::Vantora::ChooseKernel(target, HWY_CHOOSE_AVX3(table), HWY_CHOOSE_AVX2(table), HWY_CHOOSE_SSE4(table), \
                          HWY_CHOOSE_SSSE3(table), HWY_CHOOSE_FALLBACK(table))
