#pragma once

#include <cstddef>

#include "basictools/simd/SimdTarget.h"

namespace Vantora::prims {

/// What every instruction set provides; the calls have the meaning of their namesakes in VectorKernels.h.
struct VectorKernelTable {
  void (*mulSpectrum)(const float* a, const float* b, float* destination, std::size_t count);
  void (*mulAddSpectrum)(const float* a, const float* b, float* destination, std::size_t count);
  void (*mulAddSpectra)(const float* const* a, const float* const* b, float* destination, std::size_t count);
  void (*sumSpectra)(const float* a, std::size_t first, const float* b, std::size_t spectra, std::size_t used,
                     float* destination, std::size_t rows);
  void (*add)(const float* source, float* destination, std::size_t count);
  void (*scale)(float gain, const float* source, float* destination, std::size_t count);
  void (*interleave)(const float* rows, std::size_t rowStride, std::size_t rowCount, float* out,
                     std::size_t count);
  void (*deinterleave)(const float* in, std::size_t rowCount, float* rows, std::size_t rowStride,
                       std::size_t count);
};

/// The same for `Fir` and `FirAdd`.
struct FirKernelTable {
  void (*fir)(const float* taps, std::size_t tapCount, const float* samples, float* out, std::size_t count);
  void (*add)(const float* taps, std::size_t tapCount, const float* samples, float* out, std::size_t count);
};

/// The kernels for `target`, which must not be above BestSimdTarget(). Tests run them all; everyone else uses
/// those of BurstSimdTarget() through VectorKernels.h.
const VectorKernelTable& VectorKernelsFor(SimdTarget target) noexcept;
const FirKernelTable& FirKernelsFor(SimdTarget target) noexcept;

}  // namespace Vantora::prims
