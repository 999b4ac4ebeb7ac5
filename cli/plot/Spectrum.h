#pragma once

#include <cstddef>
#include <vector>

#include "cli/plot/Figure.h"

namespace Vantora::cli {

/// Windows for spectra: the narrow one for noise, the one with the low skirts for pure tones.
enum class Window {
  kHann,
  kBlackmanHarris,  ///< four terms, side lobes at -92 dB (F. Harris, Proc. IEEE 66, 1978)
};

/// Mean power in the bins 0 to `size` / 2 of half-overlapping windowed pieces of a signal (P. Welch, 1967).
/// Scaled so that a sine of amplitude 1 reads 1 in its bin. A signal shorter than `size` is filled up with
/// silence. `size` is a power of two.
std::vector<double> PowerSpectrum(const std::vector<float>& signal, size_t size, Window window);

/// Power of the transfer from `input` to `output` at the bins 0 to `size` / 2: the linear filter that comes
/// nearest to what happened, from averaged cross spectra.
std::vector<double> TransferPower(const std::vector<float>& input, const std::vector<float>& output,
                                  size_t size);

/// Power of a filter at the bins 0 to size / 2, from its impulse
/// response; size is that of the response, a power of two.
std::vector<double> ResponsePower(const std::vector<float>& impulseResponse);

/// 10 log10 of a power, not below `floorDb`.
double PowerDb(double power, double floorDb = -200.0);

/// A spectrum as a line over `axis` (logarithmic or not) in at most 2 * `points` points: where bins lie
/// closer, the largest and the smallest of each place.
Series SpectrumSeries(const std::vector<double>& power, double rate, const Axis& axis, size_t points = 800);

/// A spectrum averaged over a part of an octave about each point, for noise. dB.
Series SmoothedSeries(const std::vector<double>& power, double rate, const Axis& axis, double octaves,
                      size_t points = 300);

}  // namespace Vantora::cli
