#pragma once

#include <cstddef>

#include "basictools/simd/SimdTarget.h"
#include "dsp/effects/prims/FFTTables.h"

namespace Vantora::prims {

/// The real transform for one instruction set. `work` has tables.WorkSize() floats on a cache line; input and
/// output may be the same array. Layout and scaling are FFTPlan's.
struct FFTKernels {
  void (*forward)(const FFTTables& tables, const float* input, float* spectrum, float* work);
  void (*inverse)(const FFTTables& tables, const float* spectrum, float* output, float* work);
  std::size_t widestRadix;  // of the tables' passes, 4 or 8
};

/// The kernels for `target`, which must not be above BestSimdTarget().
const FFTKernels& FFTKernelsFor(SimdTarget target) noexcept;

}  // namespace Vantora::prims
