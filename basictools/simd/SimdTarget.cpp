#include "basictools/simd/SimdTarget.h"

#include <algorithm>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace Vantora {

namespace {

#if defined(__x86_64__)
// By hand: clang 14 doesn't know the names of AES and F16C.
bool HasFeatureBit(unsigned bit) noexcept {
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  return __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & bit) != 0;
}
#endif

SimdTarget Detect() noexcept {
#if defined(__x86_64__)
  // Asks the operating system too whether it keeps the wide registers. The sets are those that the kernels of
  // one level are compiled with, so that a machine with a part of them falls to the level below.
  __builtin_cpu_init();
  if (!__builtin_cpu_supports("ssse3")) return SimdTarget::Baseline;
  if (!__builtin_cpu_supports("sse4.1") || !__builtin_cpu_supports("sse4.2") ||
      !__builtin_cpu_supports("pclmul") || !HasFeatureBit(bit_AES)) {
    return SimdTarget::Ssse3;
  }
  if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma") || !__builtin_cpu_supports("bmi") ||
      !__builtin_cpu_supports("bmi2") || !HasFeatureBit(bit_F16C)) {
    return SimdTarget::Sse4;
  }
  if (!__builtin_cpu_supports("avx512f") || !__builtin_cpu_supports("avx512vl") ||
      !__builtin_cpu_supports("avx512dq") || !__builtin_cpu_supports("avx512bw")) {
    return SimdTarget::Avx2;
  }
  return SimdTarget::Avx512;
#else
  return SimdTarget::Baseline;
#endif
}

}  // namespace

#ifndef PRISMEL_SIMD_LIMIT
#define PRISMEL_SIMD_LIMIT \
  SimdTarget::Avx512  // lower where a build of the library is to show what a weaker machine gets
#endif

SimdTarget BestSimdTarget() noexcept {
  static const SimdTarget target = std::min(Detect(), PRISMEL_SIMD_LIMIT);
  return target;
}

SimdTarget BurstSimdTarget() noexcept { return std::min(BestSimdTarget(), SimdTarget::Avx2); }

const char* SimdTargetName() noexcept {
  switch (BestSimdTarget()) {
    case SimdTarget::Avx512:
      return "AVX-512";
    case SimdTarget::Avx2:
      return "AVX2";
    case SimdTarget::Sse4:
      return "SSE4";
    case SimdTarget::Ssse3:
      return "SSSE3";
    case SimdTarget::Baseline:
      break;
  }
#if defined(__x86_64__)
  return "x86-64 baseline";
#elif defined(__aarch64__)
  return "NEON";
#else
  return "baseline";
#endif
}

}  // namespace Vantora
