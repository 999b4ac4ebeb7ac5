// One sample through one state-variable section, for a float or the lanes of a vector. Compiled anew for each
// instruction set, as bank/LaneNumber-inl.h is.
#include "dsp/effects/bank/LaneNumber-inl.h"

#if defined(PRISMEL_STATE_VARIABLE_TICK_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef PRISMEL_STATE_VARIABLE_TICK_INL
#undef PRISMEL_STATE_VARIABLE_TICK_INL
#else
#define PRISMEL_STATE_VARIABLE_TICK_INL
#endif

HWY_BEFORE_NAMESPACE();
namespace Vantora::dsp::HWY_NAMESPACE {

// The fields of StateVariableCoefficients and StateVariableState.
template <typename T>
struct SectionCoefficients {
  T g1, g2, g3, m0, m1, m2;
};

template <typename T>
struct SectionState {
  T s1, s2;
};

template <typename T>
struct SectionOutputs {
  T bandPass, lowPass;
};

template <typename T>
HWY_INLINE SectionOutputs<T> SectionStep(const SectionCoefficients<T>& c, SectionState<T>& s, T x) {
  const T u = x - s.s2;
  const T b = c.g1 * s.s1 + c.g2 * u;
  const T l = s.s2 + c.g2 * s.s1 + c.g3 * u;
  // Twice, as sums: what the next sample waits for is there sooner than as a product.
  s.s1 = b + b - s.s1;
  s.s2 = l + l - s.s2;
  return {b, l};
}

// The mix of input, band-pass and low-pass.
template <typename T>
HWY_INLINE T SectionTick(const SectionCoefficients<T>& c, SectionState<T>& s, T x) {
  const SectionOutputs<T> y = SectionStep(c, s, x);
  return c.m0 * x + c.m1 * y.bandPass + c.m2 * y.lowPass;
}

}  // namespace Vantora::dsp::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggle
