#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <vector>

#include "plugin/core/Values.h"

namespace Vantora::plugin {

/// Timeline: the timed changes that a host sends with its buffers, played on the effect's own grid of blocks.
///
/// A step is written at the block that holds its sample. A ramp leads in a straight line of knob travel from
/// the corner before it to this one, and is written once a block with its value at the block's first sample;
/// the corner itself at the block that holds it. What lies beyond the present buffer waits.
///
/// Holds `kCapacity` corners for all parameters together. When full, a new corner replaces its parameter's
/// last one: the line gets coarser, its end stays right.
///
/// Threads  the audio thread alone; the constructor allocates.
class Timeline {
 public:
  static constexpr uint32_t kCapacity = 16384;

  Timeline();

  /// `at` counts samples of the stream; one that has passed means the next block.
  void StepTo(uint32_t index, float position, uint64_t at) { Append(index, {at, position, false, kNone}); }

  /// From `now` at `from`, or from the last corner where that is later.
  void RampTo(uint32_t index, float position, uint64_t from, uint64_t at, float now);

  /// The block of samples `begin` to `end` (exclusive): `apply(index, position)` for whatever moves in it.
  template <typename Apply>
  void Play(uint64_t begin, uint64_t end, Apply&& apply) {
    for (size_t word = 0; word < active.size(); ++word) {
      for (uint64_t rest = active[word]; rest != 0; rest &= rest - 1) {
        const auto index = static_cast<uint32_t>(word * 64 + static_cast<size_t>(std::countr_zero(rest)));
        float position = 0.0f;
        if (Advance(index, begin, end, position)) apply(index, position);
      }
    }
  }

  /// Whether a change lies ahead.
  bool IsEmpty() const { return activeCount == 0; }

  void Clear();

 private:
  static constexpr uint32_t kNone = ~0u;
  struct Corner {
    uint64_t at;
    float position;
    bool isRamp;
    uint32_t next;
  };
  struct Track {
    uint32_t first = kNone, last = kNone;  // corners not reached yet
    uint64_t at = 0;                       // of the corner reached last ...
    float position = 0.0f;                 // ... and its value
    bool hasBegun = false;                 // there is such a corner
  };

  void SetActive(uint32_t index, bool isActive);
  void Append(uint32_t index, Corner corner);
  bool Advance(uint32_t index, uint64_t begin, uint64_t end, float& position);

  uint32_t activeCount = 0;  // tracks with corners ahead; first: asked in every block
  std::array<uint64_t, (kParameterCount + 63) / 64> active{};  // which
  std::vector<Corner> corners;
  uint32_t freeCorner = 0;
  std::array<Track, kParameterCount> tracks{};
};

}  // namespace Vantora::plugin
