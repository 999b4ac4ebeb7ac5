#pragma once

#include <cstdint>
#include <variant>

#include "basictools/math/mapping/BipolarExpPotardMapping.h"
#include "basictools/math/mapping/BipolarPolynomialPotardMapping.h"
#include "basictools/math/mapping/BipolarVariableCenterInvPowPotardMapping.h"
#include "basictools/math/mapping/EnveloppeTimeMapping.h"
#include "basictools/math/mapping/ExponentialPotardMapping.h"
#include "basictools/math/mapping/HarmonicMapping.h"
#include "basictools/math/mapping/InvPolynomialPotardMapping.h"
#include "basictools/math/mapping/InversePotardMapping.h"
#include "basictools/math/mapping/LinearPotardMapping.h"
#include "basictools/math/mapping/MixerTimeMapping.h"
#include "basictools/math/mapping/PiecewiseLinearPotardMapping.h"
#include "basictools/math/mapping/PolynomialPotardMapping.h"
#include "basictools/math/mapping/ReversePotardMapping.h"
#include "basictools/math/mapping/SemiToneToFreqMapping.h"
#include "basictools/math/mapping/VuMeterMapping.h"

namespace Vantora::MappingTools {

/// PotardMappingHolder: one curve by value, with the range it serves.
///
/// The curve lies in the holder's own storage, so a holder owns nothing outside itself, is copied like a
/// number and never allocates. An empty holder has no curve and must not be asked for values.
class PotardMappingHolder {
 public:
  /// Empty.
  PotardMappingHolder() noexcept = default;

  /// Holds a copy of `curve`, for a parameter over `min`..`max`. Not reversed.
  template <typename Mapping>
  PotardMappingHolder(const Mapping& curve, uint32_t reservedValue, float minimum, float maximum) noexcept
      : min(minimum),
        max(maximum),
        reserved0(reservedValue),
        reserved1(reservedValue),
        absolute(curve.IsAbsolute()),
        storage(curve) {
    Aim();
  }

  PotardMappingHolder(const PotardMappingHolder& other) noexcept;
  PotardMappingHolder& operator=(const PotardMappingHolder& other) noexcept;
  ~PotardMappingHolder() = default;

  /// The forward curve: position to value, unscaled.
  float ToValue(float position) const noexcept { return mapping->ToValue(position); }
  /// The inverse curve.
  float ToPosition(float value) const noexcept { return mapping->ToPosition(value); }
  /// The forward curve in place, as far as the curve's block form goes.
  void ToValueBlock(float* data, uint32_t count) const noexcept { mapping->ToValueBlock(data, count); }

  /// The curve itself, null when empty. Points into this holder.
  const IPotardMapping* Mapping() const noexcept { return mapping; }

  /// Which curve is held, 0 when empty: Linear 1, Reverse 2, Polynomial 3, InvPolynomial 4, Exponential 5,
  /// BipolarExp 6, BipolarPolynomial 7, BipolarVariableCenterInvPow 8, EnveloppeTime 9, MixerTime 10, VuMeter
  /// 11, Harmonic 12, PiecewiseLinear 13, Inverse 14, SemiToneToFreq 15.
  uint32_t Tag() const noexcept { return static_cast<uint32_t>(storage.index()); }

  float min = 0.0f;  ///< the parameter's range, in its unit
  float max = 0.0f;
  uint32_t reserved0 = 0;  ///< kept for the declarer, nothing here reads them
  uint32_t reserved1 = 0;
  bool absolute = false;  ///< the curve's IsAbsolute, taken once
  bool reversed = false;  ///< set by the parameter's declaration; the curve itself doesn't look at it

 private:
  void Aim() noexcept;

  const IPotardMapping* mapping = nullptr;
  std::variant<std::monostate, LinearPotardMapping, ReversePotardMapping, PolynomialPotardMapping,
               InvPolynomialPotardMapping, ExponentialPotardMapping, BipolarExpPotardMapping,
               BipolarPolynomialPotardMapping, BipolarVariableCenterInvPowPotardMapping, EnveloppeTimeMapping,
               MixerTimeMapping, VuMeterMapping, HarmonicMapping, PiecewiseLinearPotardMapping,
               InversePotardMapping, SemiToneToFreqMapping>
      storage;
};

}  // namespace Vantora::MappingTools
