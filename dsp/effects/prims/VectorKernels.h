#pragma once

#include <cstddef>

#include "dsp/effects/prims/AlignedBuffer.h"

namespace Vantora::prims {

// Spectrum arithmetic on interleaved complex numbers (real part, then imaginary part), two bins at a time.
// Both operands may be the destination. Counts are floats; a tail of one to three floats stays as it was, a
// null destination or a count below 4 does nothing.

/// destination = a * b, the complex product bin by bin.
void MulSpectrum(const float* a, const float* b, float* destination, std::size_t count) noexcept;

/// destination += a * b, the complex product bin by bin.
void MulAddSpectrum(const float* a, const float* b, float* destination, std::size_t count) noexcept;

/// How many products `MulAddSpectra` adds.
inline constexpr std::size_t kSpectra = 4;

/// destination += a[0] * b[0] + ... + a[3] * b[3], in one pass over the destination.
void MulAddSpectra(const float* const* a, const float* const* b, float* destination,
                   std::size_t count) noexcept;

/// Floats of a row, a cache line, where the spectra of a line lie row by row.
inline constexpr std::size_t kSpectrumRow = 16;

/// destination = the sum of a * b over the first `used` of `spectra` spectra, for `rows` rows. Row r of
/// spectrum i lies at (r * spectra + i) * kSpectrumRow in `b`, and in `a`, a ring, `first` places further on.
/// All is read in one go from front to back, and the sums never leave the registers.
void SumSpectra(const float* a, std::size_t first, const float* b, std::size_t spectra, std::size_t used,
                float* destination, std::size_t rows) noexcept;

/// MulSpectrum and MulAddSpectrum over the destination's whole length; the operands are at least as long.
void MulSpectrum(const AlignedBuffer& a, const AlignedBuffer& b, AlignedBuffer& destination) noexcept;
void MulAddSpectrum(const AlignedBuffer& a, const AlignedBuffer& b, AlignedBuffer& destination) noexcept;

// Buffer operations over exactly `count` floats, of any alignment.

/// destination = 0.
void Zero(float* destination, std::size_t count) noexcept;

/// destination = value.
void Set(float value, float* destination, std::size_t count) noexcept;

/// destination = source; the two don't overlap.
void Copy(const float* source, float* destination, std::size_t count) noexcept;

/// destination = source; the two may overlap.
void Move(const float* source, float* destination, std::size_t count) noexcept;

/// Asks the nearest cache for `count` floats that will be read in a moment.
void Prefetch(const float* source, std::size_t count) noexcept;

/// destination += source.
void Add(const float* source, float* destination, std::size_t count) noexcept;

/// destination = gain * source; the two may be the same array.
void Scale(float gain, const float* source, float* destination, std::size_t count) noexcept;

/// out[i * rowCount + r] = row r at i: `rowCount` rows, `rowStride` floats apart, of `count` floats each.
void Interleave(const float* rows, std::size_t rowStride, std::size_t rowCount, float* out,
                std::size_t count) noexcept;

/// The way back: row r at i = in[i * rowCount + r].
void Deinterleave(const float* in, std::size_t rowCount, float* rows, std::size_t rowStride,
                  std::size_t count) noexcept;

// Direct FIR over a block, as a correlation: out[i] = sum over k of reversedTaps[k] * samples[i + k].
//
// For an impulse h of `tapCount` taps, reversedTaps[k] is h[tapCount - 1 - k], and `samples`
// holds the last tapCount - 1 input samples, then the `count` samples of the block. `out`
// overlaps neither. Any count and any alignment; nothing is read outside the tapCount - 1 +
// count samples. An output is the sum of at least eight partial sums wherever there are 64
// taps or more, which keeps single precision within 1e-5 of the RMS of the exact result.

/// out = the filtered block.
void Fir(const float* reversedTaps, std::size_t tapCount, const float* samples, float* out,
         std::size_t count) noexcept;

/// out += the filtered block.
void FirAdd(const float* reversedTaps, std::size_t tapCount, const float* samples, float* out,
            std::size_t count) noexcept;

}  // namespace Vantora::prims
