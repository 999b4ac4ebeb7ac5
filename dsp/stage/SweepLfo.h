#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "basictools/math/SinCos.h"
#include "dsp/stage/SpreadTables.h"

namespace Vantora::dsp {

/// Public: programs that draw the effect run one of their own.
///
/// SweepLfo: sixteen slow sines, one for each voice and side, that move the delay taps. One step is one
/// maximum block: a shorter block advances them just as far.
///
/// Voices come in pairs, four lanes a pair: left even, left odd, right even, right odd.
class SweepLfo {
 public:
  static constexpr uint32_t kLaneCount = 2 * kVoiceCount;

  /// Lane of a voice; `side` 0 left, 1 right.
  static constexpr uint32_t Lane(uint32_t voice, uint32_t side) {
    return (voice / 2) * 4 + side * 2 + (voice & 1u);
  }

  SweepLfo() {
    for (uint32_t v = 0; v < kVoiceCount; ++v) {
      for (uint32_t side = 0; side < 2; ++side) startPhases[Lane(v, side)] = kStartPhases[v];
    }
  }

  /// Back to the start phases; increments and outputs stay.
  void Restart() { phases = startPhases; }

  /// How fast the first `voices` sweep: `hertz` is the rate that "Prismelion" gives, a step lasts
  /// `stepSeconds`. Each voice goes at its own ratio of it, held in the limits of "Rate" and what the ratios
  /// add; the others keep theirs.
  void SetRate(uint32_t voices, float hertz, float stepSeconds) {
    constexpr Knobs::Range kRange = PrismelKnobs::kOwnRows[PrismelKnobs::kRate].range;
    constexpr float kLowest = 0.5f * kRange.min, kHighest = 2.0f * kRange.max;
    const float right = hertz * kRightSide;
    for (uint32_t v = 0; v < voices; ++v) {
      // The right ratio stands plain here: the right rate holds the side's factor already.
      SetIncrement(v, 0, std::clamp(kLeftRatios[v] * hertz, kLowest, kHighest) * stepSeconds);
      SetIncrement(v, 1, std::clamp(kRightRatios[v] * right, kLowest, kHighest) * stepSeconds);
    }
  }

  /// Cycles per step of one lane.
  void SetIncrement(uint32_t voice, uint32_t side, float cycles) { increments[Lane(voice, side)] = cycles; }

  /// One step of the first `groups` pairs of voices; the other lanes hold their last output.
  void Advance(uint32_t groups) {
    const uint32_t lanes = std::min(4 * groups, kLaneCount);
    for (uint32_t i = 0; i < lanes; ++i) {
      // Wrapped once and only above 1: a phase of exactly 1 stays.
      const float phase = phases[i] > 1.0f ? phases[i] - 1.0f : phases[i];
      outputs[i] = 0.5f * (1.0f + SinCos(phase * 6.2831855f - 1.5707964f).sin);
      phases[i] = phase + increments[i];
    }
  }

  /// The same step for one who only keeps up: the outputs stay as they were.
  void Skip(uint32_t groups) {
    const uint32_t lanes = std::min(4 * groups, kLaneCount);
    for (uint32_t i = 0; i < lanes; ++i) {
      phases[i] = (phases[i] > 1.0f ? phases[i] - 1.0f : phases[i]) + increments[i];
    }
  }

  /// 0..1: 0 at phase 0, 1 at phase 0.5.
  float Output(uint32_t voice, uint32_t side) const { return outputs[Lane(voice, side)]; }

 private:
  std::array<float, kLaneCount> startPhases{};  // cycles, as are the next two
  std::array<float, kLaneCount> phases{};
  std::array<float, kLaneCount> increments{};
  std::array<float, kLaneCount> outputs{};
};

}  // namespace Vantora::dsp
