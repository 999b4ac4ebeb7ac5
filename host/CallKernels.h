#pragma once

#include <cstddef>

#include "basictools/simd/SimdTarget.h"

namespace Vantora::host {

/// CallKernels: the loops that run in every call of a live host, for each instruction set. They take
/// arguments and not records: what is stored in halves and loaded as a whole at once makes a processor wait.
struct CallKernels {
  /// A live stream's exchange. The block under way has four channels in one piece of memory, `stride` samples
  /// apart: left and right of the input that is being gathered, left and right of the output that goes out
  /// meanwhile. `count` samples, 0 or more: `left` and `right` go into the block at `place`, and what the
  /// block's outputs hold there to `outLeft` and `outRight`. All are read before their places are written, so
  /// that the host's memory may be the same on both sides. True when an input has a sample of magnitude 2 or
  /// more or one that is no number: nearly never, and then worth a second look.
  bool (*exchange)(const float* left, const float* right, float* outLeft, float* outRight, float* place,
                   size_t stride, size_t count);

  /// Whether `count` floats, 0 or more, have the same bits.
  bool (*areSame)(const float* one, const float* other, size_t count);
};

/// The kernels for `target`, which must not be above BestSimdTarget().
const CallKernels& CallKernelsFor(SimdTarget target) noexcept;

/// The best kernels of this machine.
inline const CallKernels& BestCallKernels() noexcept { return CallKernelsFor(BestSimdTarget()); }

}  // namespace Vantora::host
