#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>

#include "basictools/AlignedVector.h"
#include "basictools/math/WholeQuads.h"

namespace Vantora {

/// BlockBuffers: the buffers of a module's block in one piece of memory, each with room for whole groups of
/// four.
///
///     buffers.Resize(3, maxBlockSize);
///     for (float** buffer : {&drive, &wet, &gain}) *buffer = buffers.Take();
class BlockBuffers {
 public:
  /// Room for `count` buffers of `length` floats, all 0. What was taken before is gone. Allocates.
  void Resize(std::size_t count, uint32_t length) {
    stride = WholeQuadsAbove(length);
    memory.assign(count * stride, 0.0f);
    taken = 0;
  }

  /// The next buffer, in the order of the memory. One more than there are is a fault of the caller.
  float* Take() noexcept {
    assert(taken + stride <= memory.size());
    float* buffer = memory.data() + taken;
    taken += stride;
    return buffer;
  }

 private:
  AlignedFloats memory;
  std::size_t stride = 0;  // floats, of one buffer
  std::size_t taken = 0;   // floats
};

}  // namespace Vantora
