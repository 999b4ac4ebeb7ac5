#pragma once

#include "dsp/effects/FilterModes.h"

namespace Vantora::dsp {

/// Gain that evens out what resonance adds to a state-variable mode, from a table in dB over Q: low-pass,
/// high-pass and band-pass only, 1 for notch and bell. Between the table's points the dB are a straight line;
/// the outer lines go on beyond Q 0.5 and 15.
float ResonanceCompensation(const FilterMode& mode, float q) noexcept;

/// Gain that evens out what the feedback adds to the feedback comb: a cubic fitted to the loop's level,
/// about 1 at 0 and about 0.2 at 0.99.
float CombCompensation(float feedback) noexcept;

}  // namespace Vantora::dsp
