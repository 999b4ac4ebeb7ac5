#pragma once

#include <cmath>

namespace Vantora {

/// Gain factor of a level in dB: 2 to the power (dB * log2(10) / 20), with
/// the constant at the digits that the whole engine shares. Modules with a
/// constant of their own keep it: the values differ in the last places.
inline float DbToGain(float dB) noexcept { return std::exp2(dB * 0.1660964f); }

}  // namespace Vantora
