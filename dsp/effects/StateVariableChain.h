#pragma once

#include <cstdint>

#include "dsp/effects/StateVariable.h"

namespace Vantora::dsp {

/// Coefficients and memory of a cascade of up to three state-variable sections, two channels.
///
/// The coefficients glide across a block: before each sample, once for all sections, `now` advances by
/// `step`. The loop over a block needs this record and a gain for each sample, nothing else; several records
/// side by side in the lanes of a vector give each the same results, as long as a lane rounds like a scalar.
struct StateVariableChain {
  static constexpr uint32_t kMaxSections = 3;
  StateVariableCoefficients now;   // as of the sample before
  StateVariableCoefficients step;  // a sample; m0 and m2 never glide
  StateVariableState<float> sections[2][kMaxSections];
};

}  // namespace Vantora::dsp
