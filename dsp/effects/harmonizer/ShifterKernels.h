#pragma once

#include <cstdint>

#include "basictools/simd/SimdTarget.h"
#include "dsp/control/DelayLine.h"

namespace Vantora::dsp {

/// Where the heads of a pitch shifter stood throughout a block, as what it takes to work that out again.
struct ShifterWay {
  float phase = 0.0f;  ///< in front of the first sample
  float step = 0.0f;
  float width = 0.0f;
  uint32_t count = 0;  ///< samples; 0: no block
};

/// What a generator's state becomes after so many draws, kept because it takes long to work out.
struct ShifterDraw {
  uint32_t from = 0;
  uint32_t steps = 0;
  uint32_t drawn = 0;
};

/// What the two heads of a pitch shifter remember from block to block, with where they stand throughout the
/// last one.
struct ShifterHeads {
  float phase = 0.0f;  ///< cycles, keeps its sign
  float previousDelayA = 0.0f;
  float sprayA = 0.0f;  ///< samples
  float sprayB = 0.0f;
  uint32_t random = 1;       ///< draws two numbers a sample; this was its state...
  uint32_t drawn = 0;        ///< ...so many draws ago, at most XorshiftJump::kMost
  float* delaysA = nullptr;  ///< 0..1 of the length; one block each
  float* delaysB = nullptr;
  float* gainsA = nullptr;
  float* gainsB = nullptr;
  ShifterDraw drawA;  ///< for a restart to come
  ShifterDraw drawB;
  ShifterWay way;  ///< of a block that these four don't show yet
};

/// One mono block of a pitch shifter whose interval stands still.
struct ShifterBlock {
  ShifterHeads* heads;
  DelayLine* preDelay;
  DelayLine* grain;
  const float* in;
  float* out;           ///< may be `in`
  float step;           ///< of the phase, cycles a sample
  float width;          ///< crossfade, 0..0.5 of a head's way
  float length;         ///< way of a head, samples
  float semitones;      ///< the interval
  float spraySize;      ///< samples
  uint32_t preDelayed;  ///< samples; with `kShifterChunk` within the line
};

/// Samples that a block is taken in. A head's place and a chunk stay within the grain line.
inline constexpr uint32_t kShifterChunk = 64;

/// Shifters side by side, for each instruction set: their phases as lanes of a vector, then one after another
/// with samples as lanes. Each computes what it would alone, sample by sample. Blocks in whole groups of
/// four.
struct ShifterKernelTable {
  void (*run)(const ShifterBlock* blocks, uint32_t blockCount, uint32_t count);
};

/// The kernels for `target`, which must not be above BestSimdTarget().
const ShifterKernelTable& ShifterKernelsFor(SimdTarget target) noexcept;

/// The best kernels of this machine.
const ShifterKernelTable& ShifterKernels() noexcept;

}  // namespace Vantora::dsp
