#pragma once

namespace Vantora {

/// `x` held in `low`..`high`, and `low` where it isn't a number, which std::clamp would let through. Without
/// the calls into the C library that fmin and fmax are.
inline float HoldBetween(float x, float low, float high) noexcept {
  if (!(x > low)) return low;
  return x < high ? x : high;
}

}  // namespace Vantora
