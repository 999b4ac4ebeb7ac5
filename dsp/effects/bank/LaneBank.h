#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>

namespace Vantora::dsp {

/// LaneBank: collects the blocks of clones that run the same loop and runs them side by side.
///
///     bank.Open();
///     for each clone: clone.Process(context)   an effect with this bank adds its block and returns
///     bank.Run(count);                         now the outputs hold what one after another had given
///
/// The bank knows no effect: a block is a plain record, and the loop that goes with it takes several of them.
/// Blocks with the same loop go together; they nearly always are all of them. A clone that isn't in the plain
/// state of its loop runs on its own as ever, also while the bank is open. Inputs, outputs and the clones'
/// memory must stay untouched between `Process` and `Run`, so an owner opens the bank only when nothing
/// behind the effect works on its output. Audio thread only, allocates nothing.
class LaneBank {
 public:
  static constexpr uint32_t kCapacity = 16;       ///< blocks of one loop
  static constexpr uint32_t kLoops = 4;           ///< loops at a time
  static constexpr std::size_t kBlockBytes = 96;  ///< of a record at most

  /// Runs `blockCount` blocks of `sampleCount` samples; each gets the bits that it would get alone.
  template <typename Block>
  using Loop = void (*)(const Block* blocks, uint32_t blockCount, uint32_t sampleCount);

  /// From here on clones may add their blocks.
  void Open() noexcept { isOpen = true; }

  /// Where a clone writes its block, as a record of its own from field to field; null when the bank is closed
  /// or full: then the clone runs on its own.
  template <typename Block>
  Block* Add(Loop<Block> loop) noexcept {
    static_assert(std::is_trivially_copyable_v<Block> && sizeof(Block) <= kBlockBytes &&
                  alignof(Block) <= 16);
    const auto key = reinterpret_cast<void (*)()>(loop);
    // Nearly always the latest.
    Batch* const batch = latest != nullptr && latest->loop == key ? latest : Find(key);
    if (batch == nullptr || batch->blockCount == kCapacity) return nullptr;
    if (batch->blockCount == 0) {
      batch->run = [](const Batch& all, uint32_t sampleCount) {
        reinterpret_cast<Loop<Block>>(all.loop)(reinterpret_cast<const Block*>(all.records), all.blockCount,
                                                sampleCount);
      };
    }
    return new (batch->records + batch->blockCount++ * sizeof(Block)) Block;
  }

  /// Runs what was added, `sampleCount` samples each, and closes.
  void Run(uint32_t sampleCount) noexcept {
    for (uint32_t i = 0; i < batchCount; ++i) batches[i].run(batches[i], sampleCount);
    batchCount = 0;
    latest = nullptr;
    isOpen = false;
  }

 private:
  struct Batch {
    void (*loop)();
    void (*run)(const Batch& batch, uint32_t sampleCount);
    uint32_t blockCount;
    alignas(16) std::byte records[kCapacity * kBlockBytes];
  };

  /// The batch of a loop, a new one if need be; null when the bank is closed or full.
  Batch* Find(void (*key)()) noexcept {
    if (!isOpen) return nullptr;
    uint32_t i = 0;
    while (i < batchCount && batches[i].loop != key) ++i;
    if (i == kLoops) return nullptr;
    latest = &batches[i];
    if (i == batchCount) {
      ++batchCount;
      latest->loop = key;
      latest->blockCount = 0;
    }
    return latest;
  }

  bool isOpen = false;
  Batch* latest = nullptr;  // while the bank is open
  uint32_t batchCount = 0;
  std::array<Batch, kLoops> batches;
};

}  // namespace Vantora::dsp
