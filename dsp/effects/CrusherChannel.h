#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "basictools/math/CompandingPower.h"
#include "basictools/math/FastPower.h"
#include "dsp/effects/StateVariable.h"

namespace Vantora::dsp {

/// What one block of the crusher reads, the same for all samples and channels.
struct CrusherSettings {
  // DC filter: y = s + z, z = -(pole y + s), s = gain x.
  float dcGain = 1.0f;
  float dcPole = -1.0f;
  StateVariableCoefficients antiAlias;  // two equal low-pass stages
  bool filtered = false;
  bool glide = true;  // a line to the next sample; else the sample is held
  // Quantiser. Values inside the deadband are 0; all others sit on the midpoints of the steps.
  float deadband = 1.0f;
  float halfScale = 1.0f;   // steps from 0 to full scale
  float step = 1.0f;        // half a step of the grid
  float doubleStep = 2.0f;  // the grid
  // Companding with the curve log(1 + scale |v|) / log(1 + scale).
  bool companding = false;
  float scale = 0.1f;
  float logDivisor = 1.0f;  // FastLog2(1 + scale)
  float expFactor = 1.0f;   // CubicLog2(1 + scale)

  /// Word length in bits, which may be fractional.
  void SetWordLength(float bits) noexcept {
    deadband = std::exp2(-std::max(bits, 8.0f));
    const float levels = std::exp2(bits);
    halfScale = levels * 0.5f;
    step = 1.0f / levels;
    doubleStep = 2.0f / levels;
  }

  /// Companding constant. The way out is not the exact inverse of the way in: it has a cheaper exponential.
  void SetScale(float constant) noexcept {
    scale = constant;
    logDivisor = FastLog2(1.0f + constant);
    expFactor = CubicLog2(1.0f + constant);
  }
};

/// Memory of one channel, with its period, which jitter moves from block to block.
///
/// Settings, channel and the input sample are all that `Crush` looks at, so that channels side by side in the
/// lanes of a vector give each the same results, as long as a lane rounds like a scalar.
struct CrusherChannel {
  float dc = 0.0f;
  StateVariableState<float> antiAlias[2];
  float phase = 0.0f;  // samples since the last one taken
  float held = 0.0f;
  float slope = 0.0f;   // a sample
  float period = 1.0f;  // samples, at least 1
  float inversePeriod = 1.0f;

  void SetPeriod(float samples) noexcept {
    period = std::max(samples, 1.0f);
    inversePeriod = 1.0f / period;
  }
};

/// Holds within -1..1; what isn't a number becomes 1, so that nothing but numbers reaches the quantiser.
inline float LimitToOne(float x) noexcept {
  const float top = x < 1.0f ? x : 1.0f;
  return top > -1.0f ? top : -1.0f;
}

/// Sign with 0 for 0, as a factor.
inline float SignOf(float x) noexcept { return x > 0.0f ? 1.0f : (x < 0.0f ? -1.0f : 0.0f); }

/// The nearest lower midpoint of the step grid, mirrored about 0.
inline float Quantise(const CrusherSettings& c, float v) noexcept {
  const float magnitude = v > 0.0f ? v : -v;
  const float q = static_cast<float>(static_cast<int32_t>(c.halfScale * magnitude)) * c.doubleStep + c.step;
  const float onGrid = v > 0.0f ? q : -q;
  return v > -c.deadband && v < c.deadband ? 0.0f : onGrid;
}

inline float Compress(const CrusherSettings& c, float v) noexcept {
  return SignOf(v) * FastLog2(1.0f + c.scale * std::fabs(v)) / c.logDivisor;
}

inline float Expand(const CrusherSettings& c, float v) noexcept {
  const float e = c.expFactor * std::fabs(v);
  // Intended: below the polynomial's range the magnitude is -1, a hard end.
  const float magnitude = e >= -126.0f ? (CubicPow2(e) - 1.0f) / c.scale : -1.0f;
  return SignOf(v) * magnitude;
}

/// One sample of one channel, -1..1.
template <bool kFiltered, bool kGlide, bool kCompanding>
inline float Crush(const CrusherSettings& c, CrusherChannel& m, float x) noexcept {
  const float s = x * c.dcGain;
  float y = s + m.dc;
  m.dc = -(c.dcPole * y + s);
  if constexpr (kFiltered) {
    y = StateVariableLowPassTick(c.antiAlias, m.antiAlias[0], y);
    y = StateVariableLowPassTick(c.antiAlias, m.antiAlias[1], y);
  }
  m.phase += 1.0f;
  if (m.phase > m.period) {
    do m.phase -= m.period;
    while (m.phase > m.period);
    if constexpr (kGlide) {
      m.slope = (y - m.held) * m.inversePeriod;
    } else {
      m.held = y;
    }
  }
  if constexpr (kGlide) m.held += m.slope;
  m.held = LimitToOne(m.held);

  float v = m.held;
  if constexpr (kCompanding) v = Compress(c, v);
  v = Quantise(c, v);
  if constexpr (kCompanding) v = Expand(c, v);
  return LimitToOne(v);
}

}  // namespace Vantora::dsp
