#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vantora::prims {

/// Low-pass of `tapCount` symmetric taps, a sinc under a Kaiser window, summing to 1.
///
/// `cutoff` (cycles per sample, below 0.5) is where the response has fallen to one half; `attenuationDb`
/// (above 50) is the depth of the stop band, from which the window's shape follows as
/// 0.1102 (attenuation - 8.7): J. F. Kaiser, Nonrecursive digital filter design using the I0-sinh window
/// function, Proc. IEEE ISCAS 1974.
std::vector<double> DesignKaiserLowPass(std::size_t tapCount, double cutoff, double attenuationDb);

/// Taps of a sampler for one of the factors 2, 4, 6, 8, 16 and 32, at the high rate: 95, 207, 279, 391, 743
/// and 1431 of them. Empty for any other factor.
///
/// The cutoff is half the base rate and the stop band lies 100 dB down; at a base rate
/// of 48 kHz the response is flat within 0.0001 dB to 20 kHz and the stop band begins
/// at 27.5 kHz. The last taps are zero where the count isn't one more than a multiple
/// of the factor, so that up and down together delay by a whole number of base samples.
std::vector<float> DesignSamplerTaps(std::uint32_t factor);

}  // namespace Vantora::prims
