#pragma once

#include <cstdint>

#include "basictools/simd/SimdTarget.h"
#include "dsp/effects/CompensationTables.h"
#include "dsp/effects/ShapingCurves.h"

namespace Vantora::dsp {

/// What a shaper drives a block with, gain = 10^(dB / 20), each a number a sample in room for whole vectors.
struct DriveGainsRun {
  const float* dB;
  float* gain;
  uint32_t count;      ///< samples, a multiple of four
  uint32_t different;  ///< from here on all decibels are those of the first sample
};

/// What a wavefolder multiplies with in a block, each a number a sample in room for whole vectors:
/// gain = 10^(dB / 20), root = gain^0.25 and wetGain = level / root * compensation, by way of 1 / root, which
/// counts as 0 for 0.
struct FoldGainsRun {
  const float* dB;
  const float* level;  ///< wet share times output gain
  float* gain;
  float* root;
  float* wetGain;
  CompensationLine compensation;
  uint32_t count;      ///< samples, a multiple of four
  uint32_t different;  ///< from here on all decibels are those of the first sample
};

/// What a fold takes of its folder; rows have room for whole vectors.
struct FoldGains {
  const float* gain;
  const float* root;
  const float* wet;
  const float* wetGain;
};

/// A block of a sine fold that is all wet, at output gain 1, while the drive is on its way within
/// kFoldDriveLimit.
struct DrivenFold {
  const float* in;
  float* out;       ///< not `in`
  const float* dB;  ///< in room for whole vectors
  CompensationLine compensation;
  bool isOver;   ///< result: a sample was larger than 1 before the fold
  float last;    ///< result: the last sample before the fold
  bool isExact;  ///< result: the rest has the bits of foldGains and foldThrough; else it is of no use
};

/// The loops of shaper and wavefolder over samples that don't depend on one another, for each instruction
/// set, with the same bits on all of them. Exactly `count` samples each; arrays don't overlap, unless they
/// are said to be one.
struct DistortionKernelTable {
  /// data = the curve of `algorithm`.
  void (*shape[kShapingCurveCount])(float* data, uint32_t count);
  /// data = sin(data * pi / 2), or the endless triangle, for |data| within kFoldVectorLimit.
  void (*fold[2])(float* data, uint32_t count);
  /// out = in - in * wet + wetGain * the fold of in * gain * root; `out` isn't `in`. Returns the largest size
  /// before the fold, NaN left aside: above kFoldVectorLimit `out` is of no use.
  float (*foldThrough[2])(const float* in, const FoldGains& gains, float* out, uint32_t count);
  /// Largest size of a sample, NaN left aside; `count` a multiple of four.
  float (*peak)(const float* data, uint32_t count);
  /// The gains of some shapers' blocks.
  void (*driveGains)(const DriveGainsRun* blocks, uint32_t blockCount);
  /// The gains of some folders' blocks.
  void (*foldGains)(const FoldGainsRun* blocks, uint32_t blockCount);
  /// foldGains and foldThrough[0] of some blocks of `count` samples in one go. Now and then, when a gain lies
  /// next to an odd power of the root of 2, or an input of the fold next to where it turns, or far above 1, a
  /// block has to take the two after all. Null where it is no gain.
  void (*driveAndFold)(DrivenFold* blocks, uint32_t blockCount, uint32_t count);
  /// out = a * b.
  void (*multiply)(const float* a, const float* b, float* out, uint32_t count);
  /// out = a * b * c, from the left; `out` may be `a`.
  void (*multiplyTwice)(const float* a, const float* b, const float* c, float* out, uint32_t count);
  /// out = data * the compensation on its way * gain, from the left.
  void (*compensate)(const float* data, CompensationLine compensation, const float* gain, float* out,
                     uint32_t count);
  /// out = in - in * wet + gain * folded; `out` may be `in`.
  void (*mixFolded)(const float* in, const float* wet, const float* gain, const float* folded, float* out,
                    uint32_t count);
};

/// Beyond it the fold's vector arithmetic is no longer exact: 72 dB.
inline constexpr float kFoldVectorLimit = 4096.0f;

/// Of a drive in dB that is folded in one go: its gain is at most 8.5 powers of two away from 1.
inline constexpr double kFoldDriveLimit = 51.0;

/// The kernels for `target`, which must not be above BestSimdTarget().
const DistortionKernelTable& DistortionKernelsFor(SimdTarget target) noexcept;

/// The best kernels of this machine.
const DistortionKernelTable& DistortionKernels() noexcept;

}  // namespace Vantora::dsp
