#pragma once

#include <cstdint>

namespace Vantora {

/// Instruction sets that kernels may be chosen for, the weakest first. `Baseline` is what the compiler
/// assumes for the whole program: plain x86-64 or, on 64-bit ARM, NEON.
enum class SimdTarget : std::uint8_t { Baseline, Ssse3, Sse4, Avx2, Avx512 };

/// The best instruction set of this machine. The answer never changes while the process runs.
SimdTarget BestSimdTarget() noexcept;

/// Name of what BestSimdTarget() stands for: "AVX-512",
/// "AVX2", "SSE4", "SSSE3", "x86-64 baseline", "NEON", ...
const char* SimdTargetName() noexcept;

}  // namespace Vantora
