#pragma once

namespace Vantora::dsp {

/// Two doubles that are computed side by side, each lane exactly as a scalar
/// would be. The compiler's vector types rather than a loop over an array:
/// with a select in the loop GCC 12 falls back to a branch per sample.
using DoublePair = double __attribute__((vector_size(16)));

/// Both lanes `x`.
inline DoublePair MakeDoublePair(double x) noexcept { return DoublePair{x, x}; }

/// Lane by lane: |rest| >= threshold ? moving : settled.
inline DoublePair SelectByMagnitude(DoublePair rest, DoublePair threshold, DoublePair moving,
                                    DoublePair settled) noexcept {
  return ((rest >= threshold) | (rest <= -threshold)) ? moving : settled;
}

/// Narrows both lanes into out[0] and out[1].
inline void StoreNarrowed(DoublePair x, float* out) noexcept {
  out[0] = static_cast<float>(x[0]);
  out[1] = static_cast<float>(x[1]);
}

}  // namespace Vantora::dsp
