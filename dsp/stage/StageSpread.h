#pragma once

#include <array>
#include <cstdint>

#include "dsp/stage/SpreadTables.h"

namespace Vantora::dsp {

/// Which law fans a primary parameter out across the voices.
enum class SpreadLaw : uint8_t {
  kNone,
  kRatio,  ///< P x t^(5 R^2): frequencies and divisors
  kRoot,   ///< P - (sqrt(t) - 1) R S: levels and times; ratios above 1 lower the value
};

/// Public: programs that draw the effect show the voices' values.
///
/// StageSpread: the values of one side's voices around a knob.
///
/// R  amount, 0..1         P  the knob's value in its own unit
/// t  the voice's ratio    S  span of the root law, in the knob's unit
class StageSpread {
 public:
  /// Left, right.
  static std::array<StageSpread, 2> Sides();

  explicit StageSpread(const std::array<float, kVoiceCount>& ratios, float sideFactor);

  /// Ratio law, through the fast power, whose error belongs to the values: at R = 0 P comes back within 1e-4.
  float Ratio(uint32_t voice, float primary, float amount) const;

  /// Root law; at R = 0 exactly P.
  float Root(uint32_t voice, float primary, float amount, float span) const {
    return primary - (roots[voice] - 1.0f) * amount * span;
  }

  /// What a voice gets by `law`.
  float At(SpreadLaw law, uint32_t voice, float primary, float amount, float span) const {
    if (law == SpreadLaw::kNone) return primary;
    return law == SpreadLaw::kRatio ? Ratio(voice, primary, amount) : Root(voice, primary, amount, span);
  }

 private:
  std::array<float, kVoiceCount> logs;   // fast base-2 logarithms of the ratios
  std::array<float, kVoiceCount> roots;  // square roots of the ratios
};

}  // namespace Vantora::dsp
