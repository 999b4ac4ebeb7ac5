#pragma once

#include <cstddef>

#include "dsp/effects/prims/AlignedBuffer.h"
#include "dsp/effects/prims/FFTKernels.h"
#include "dsp/effects/prims/FFTTables.h"

namespace Vantora::prims {

/// FFTPlan: Fourier transform of a real signal of a fixed power-of-two size.
///
///     spectrum: re 0, im 0, re 1, im 1, ... re size/2, im size/2        size + 2 floats, in natural order
///
/// Scaling    none forward, 1 / size inverse: one after the other gives the input back
/// Ends       the imaginary parts of bin 0 and of the Nyquist bin are written as exactly 0 and never read;
///            floats behind the Nyquist bin are neither read nor written
/// Sizes      0 is an empty plan that does nothing; any other size transforms 2^floor(log2(size)) points
/// Accuracy   error below 3e-7 * log2(size) * RMS of the spectrum
/// Threads    the constructor and SetSize allocate, transforms don't; the plan owns a work buffer, so it
///            serves one thread at a time. A copy is a plan of its own.
class FFTPlan {
 public:
  FFTPlan() = default;

  /// A plan for `newSize` real points.
  explicit FFTPlan(std::size_t newSize) { SetSize(newSize); }

  /// The same on a chosen instruction set, not above BestSimdTarget(), instead of the best one.
  FFTPlan(std::size_t newSize, SimdTarget target) : kernels(&FFTKernelsFor(target)) { SetSize(newSize); }

  /// Builds the tables for `newSize` points; the present size keeps them.
  void SetSize(std::size_t newSize);

  /// `input`: size samples, `output`: size + 2 floats. They may be the same array, but not overlap otherwise.
  void Forward(const float* input, float* output) noexcept;

  /// size samples become size + 2 floats of spectrum.
  void ForwardInPlace(float* buffer) noexcept { Forward(buffer, buffer); }

  /// size + 2 floats of spectrum become size samples, divided
  /// by size. The last two floats keep what they held.
  void InverseInPlace(float* buffer) noexcept;

  /// The size that was asked for.
  std::size_t GetSize() const noexcept { return size; }

 private:
  const FFTKernels* kernels = &FFTKernelsFor(BestSimdTarget());
  std::size_t size = 0;
  std::size_t points = 0;  // 2^floor(log2(size)), 0 in an empty plan
  FFTTables tables;        // empty for a few points only
  AlignedBuffer roots;     // exp(-2 pi i k / points), for a few points only
  AlignedBuffer work;
};

}  // namespace Vantora::prims
