#pragma once

#include <array>
#include <cstdint>

#include "basictools/AlignedVector.h"
#include "dsp/control/Biquad.h"
#include "dsp/stage/StageKernels.h"

namespace Vantora::dsp {

/// TapLines: the two delay lines, left and right, that the voices' taps sweep along, and the high-pass in
/// front of them.
///
///     in 0,1 --(* gain)--(+)-->[ high-pass ]--> line 0,1 --> a tap for each voice
///                         ^
///     returned 0,1 --(* its gain)
///
/// Both sides run in one loop, so that two recursions take the time of one. A line is no ring but a stretch
/// of memory that blocks walk along, so that every tap reads straight; once in `kBlocks` they begin anew, and
/// on the way the past goes to the front.
class TapLines {
 public:
  /// `longestTap` in samples. Allocates; clears.
  void Configure(uint32_t maxBlockSize, float longestTap);

  /// Empties lines and filters.
  void Clear();
  /// Empties the filters alone: one that opens starts clean.
  void ClearHighPass() { states = {}; }

  /// What goes into the lines: gains are one for each sample.
  struct Input {
    std::array<const float*, 2> in;
    const float* gain;
    std::array<const float*, 2> returned;
    const float* returnedGain;
    const BiquadCoefficients* highPass;  ///< null: none
  };

  /// Takes a block in; its taps may reach as far back as `depth` asks, samples, one for each sample. 1 to the
  /// configured number of samples.
  void Write(const Input& input, const float* depth, uint32_t count);

  /// The tap of one voice in the block just written: ramp * depth samples back, at least 1, read linearly.
  /// `ramp`, `depth` and `tap` hold whole vectors.
  void Read(uint32_t side, const float* ramp, const float* depth, float* tap, uint32_t count) const {
    StageKernels().readTap({block[side], furthest, ramp, depth, tap}, count);
  }

 private:
  template <bool kHighPass>
  void WriteSides(const Input& input, float* left, float* right, uint32_t count);

  void MovePast(uint32_t count);
  void CopyPast(uint32_t from, uint32_t to, uint32_t distance);

  static constexpr uint32_t kBlocks = 48;  // of a way

  DirectForm1<Float4> states;          // of the high-pass, both sides
  std::array<AlignedFloats, 2> lines;  // each a vector of room, the past, and blocks behind it
  std::array<float*, 2> block{};       // where the present block starts in them
  uint32_t longest = 0;                // samples of past
  uint32_t start = 0;                  // where the first block of a way starts
  uint32_t way = 0;                    // samples
  uint32_t next = 0;                   // where the next block starts
  uint32_t moved = 0;                  // of the past, for the next way
  int32_t furthest = 0;                // samples back that a tap may read
};

}  // namespace Vantora::dsp
