#pragma once

#include <cstdint>

#include "engine/Relaxed.h"

namespace Vantora::dsp {

/// What an overloaded convolution has left out so far; all 0 while
/// everything came in time. The audio thread counts, anybody may read.
struct OverloadCounters {
  Relaxed<uint64_t> lateResults;   ///< results whose first part had passed when they came
  Relaxed<uint64_t> lostResults;   ///< results that had passed as a whole
  Relaxed<uint64_t> lostSamples;   ///< samples of results that were not heard
  Relaxed<uint64_t> lostInputs;    ///< samples of input that found no free request
  Relaxed<uint64_t> lostCommands;  ///< blocks whose worker had no room for another command

  bool IsAllZero() const noexcept {
    return (lateResults | lostResults | lostSamples | lostInputs | lostCommands) == 0;
  }
};

}  // namespace Vantora::dsp
