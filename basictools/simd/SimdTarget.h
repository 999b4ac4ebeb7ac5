#pragma once

#include <cstdint>

namespace Vantora {

/// Instruction sets that kernels may be chosen for, the weakest first. `Baseline` is what the compiler
/// assumes for the whole program: plain x86-64 or, on 64-bit ARM, NEON.
enum class SimdTarget : std::uint8_t { Baseline, Ssse3, Sse4, Avx2, Avx512 };

/// The best instruction set of this machine. The answer never changes while the process runs.
SimdTarget BestSimdTarget() noexcept;

/// The best instruction set for a few microseconds of work between long rests, as a convolution's blocks are
/// at the pace of the sound: not above AVX2. A processor lets the upper halves of 512-bit registers sleep,
/// and works at a fraction of its speed for some microseconds when they are wanted again.
SimdTarget BurstSimdTarget() noexcept;

/// Name of what BestSimdTarget() stands for: "AVX-512",
/// "AVX2", "SSE4", "SSSE3", "x86-64 baseline", "NEON", ...
const char* SimdTargetName() noexcept;

}  // namespace Vantora
