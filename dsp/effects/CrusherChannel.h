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
  StateVariableCoefficients antiAlias;  // two equal low-pass sections
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

}  // namespace Vantora::dsp
