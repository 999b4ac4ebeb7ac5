#pragma once

#include <array>
#include <cstdint>

#include "dsp/effects/bank/LaneKernels.h"

namespace Vantora::dsp {

/// LaneBank: collects the blocks of clones that run the same loop and runs them side by side.
///
///     bank.Open();
///     for each clone: clone.Process(context)   a filter or crusher with this bank adds its block and returns
///     bank.Run(count);                         now the outputs hold what one after another had given
///
/// A clone that isn't in the plain state of its loop runs on its own as ever, also while the bank is open.
/// Inputs, outputs and the clones' memory must stay untouched between `Process` and `Run`, so an owner opens
/// the bank only when nothing behind the effect works on its output. Audio thread only, allocates nothing.
class LaneBank {
 public:
  static constexpr uint32_t kCapacity = 16;

  /// A crusher's block: the crushed signal stands in `lane.data`, then out = in - wet in + wet gain crushed.
  struct CrusherBlock {
    CrusherLane lane;
    uint32_t variant;  // filtered * 4 + glide * 2 + companding
    const float* in;   // not `lane.data`
    const float* wet;  // one for each sample
    float gain;
  };

  /// From here on clones may add their blocks.
  void Open() noexcept { isOpen = true; }

  /// False when the bank is closed or full: then the clone runs on its own.
  bool Add(const StageLane& lane) noexcept {
    if (!isOpen || stageCount == kCapacity) return false;
    stages[stageCount++] = lane;
    return true;
  }
  bool Add(const CrusherBlock& block) noexcept {
    if (!isOpen || crusherCount == kCapacity) return false;
    crushers[crusherCount++] = block;
    return true;
  }

  /// Runs what was added, `count` samples each, and closes.
  void Run(uint32_t count) noexcept;

 private:
  void RunCrushers(uint32_t count) noexcept;

  bool isOpen = false;
  uint32_t stageCount = 0;
  uint32_t crusherCount = 0;
  std::array<StageLane, kCapacity> stages;
  std::array<CrusherBlock, kCapacity> crushers;
};

/// out = in - wet in + wet gain out, in whole groups of four; the crusher's mix.
void MixCrushed(const float* in, const float* wet, float gain, float* out, uint32_t count) noexcept;

}  // namespace Vantora::dsp
