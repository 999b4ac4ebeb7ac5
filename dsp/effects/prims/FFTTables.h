#pragma once

#include <cstddef>
#include <vector>

#include "dsp/effects/prims/AlignedBuffer.h"

namespace Vantora::prims {

/// One pass of the transform behind the first two: `count`
/// butterflies of `radix` points, `stride` transforms at once.
struct FFTPass {
  std::size_t radix;     // 2, 4 or 8
  std::size_t count;     // butterflies, 1 in the last pass
  std::size_t stride;    // floats, at least 16
  std::size_t twiddles;  // place in FFTTables::factors: for each butterfly radix - 1 numbers, real part,
                         // imaginary part
};

/// FFTTables: how a real transform of 2 x `half` points runs, and the factors it multiplies by.
///
/// The real points are taken in pairs as `half` complex ones. Their transform is Stockham's: every pass turns
/// n points with index q + stride (p + m j) into q + stride (radix p + k), j and k below radix, so that the
/// result stands in natural order without any bit reversal. Two passes of radix 4 bring the stride to 16,
/// from where on vectors lie along q; then come radix 8 and, as the size requires, 4 or 2. A last step parts
/// the spectrum of the pairs into that of the real signal.
///
/// Source   C. Van Loan, Computational Frameworks for the Fast Fourier Transform, 1992, sections 1.7 and 4.3
struct FFTTables {
  static constexpr std::size_t kSmallestHalf = 32;
  static constexpr std::size_t kBlock = 16;  // factors of the first pass come in blocks of so many p

  std::size_t half = 0;
  std::size_t rowStride = 0;  // floats from one work row to the next, more than half
  std::vector<FFTPass> passes;
  AlignedBuffer factors;
  std::size_t second =
      0;  // place of the second pass's factors: rows of secondStride, re and im of k = 1, 2, 3
  std::size_t secondStride = 0;
  std::size_t real =
      0;  // place of -i / 2 exp(-pi i k / half): half / 2 real parts, then as many imaginary parts

  /// Work memory that a transform needs: four rows.
  std::size_t WorkSize() const { return 4 * rowStride; }

  /// `newHalf` is a power of two and at least kSmallestHalf, `widestRadix` is 4 or 8.
  void Build(std::size_t newHalf, std::size_t widestRadix);
};

}  // namespace Vantora::prims
