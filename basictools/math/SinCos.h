#pragma once

#include <cmath>
#include <cstdint>

#include "basictools/BitCast.h"

namespace Vantora {

struct SinCosPair {
  float sin;
  float cos;
};

/// Sine and cosine of `angle` in radians, within 1.5e-6 for up to three turns: the
/// octants of the circle fold onto -pi/4..pi/4, where one polynomial serves as sine and
/// one as cosine (the single-precision pair of the Cephes library). Written without
/// branches, so that loops over it vectorise; exact at 0 and at the float nearest pi/2.
inline SinCosPair SinCos(float angle) noexcept {
  const float x = std::fabs(angle);
  const int32_t octant = (static_cast<int32_t>(x * 1.27323954f) + 1) & ~1;
  const float r = x + static_cast<float>(octant) * -0.785398185f;
  const float z = r * r;
  const float sinePart = ((-0.000195152956f * z + 0.00833216123f) * z - 0.166666552f) * z * r + r;
  const float cosinePart =
      ((2.44331568e-05f * z - 0.00138873165f) * z + 0.0416666456f) * z * z - 0.5f * z + 1.0f;
  const bool swapped = (octant & 2) != 0;
  const float s = swapped ? cosinePart : sinePart;
  const float c = swapped ? sinePart : cosinePart;
  // Signs as bits: the sine's flips in the lower half of the
  // circle and with the angle, the cosine's in the left half.
  const auto quarter = static_cast<uint32_t>(octant);
  const uint32_t sineSign = ((quarter & 4u) << 29) ^ (BitCast<uint32_t>(angle) & 0x80000000u);
  const uint32_t cosineSign = ((quarter + 2u) & 4u) << 29;
  return {BitCast<float>(BitCast<uint32_t>(s) ^ sineSign), BitCast<float>(BitCast<uint32_t>(c) ^ cosineSign)};
}

}  // namespace Vantora
