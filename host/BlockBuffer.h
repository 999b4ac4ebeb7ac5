#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>

#include "basictools/AlignedVector.h"
#include "host/CallKernels.h"

namespace Vantora::host {

/// BlockBuffer: gathers a stream that comes in pieces of any length into whole blocks, so that what runs the
/// blocks never sees the pieces.
///
///     source --> Take --> Input() | one block | run | Output() --> sink
///
/// Inputs are copied. Samples that aren't finite become 0 and are counted, because one NaN in a recursive
/// filter is silence until the next reset; samples beyond `kLoudest` are held there and counted, too. Two
/// channels on either side are always there; an input channel that isn't fed stays silent.
///
/// Threads  one; `NonFiniteCount` may be read on any other. Allocates in `Resize` only.
class BlockBuffer {
 public:
  /// Largest magnitude of a sample, full scale being 1: far above music, and far below where squares and
  /// recursive filters leave the range of single precision for good.
  static constexpr float kLoudest = 1e6f;

  /// Takes `count` finished samples of each output channel; the memory is the buffer's.
  using Sink = std::function<void(const float* const* outputs, uint32_t count)>;

  /// Blocks of `blockSize` samples, 1 or more, of which `inputChannels`, 1 or 2, are fed. All samples are 0
  /// and the count begins anew.
  void Resize(uint32_t inputChannels, uint32_t blockSize);

  uint32_t BlockSize() const { return size; }  ///< samples
  uint32_t Fill() const { return fill; }       ///< samples of the block that have been taken
  bool IsFull() const { return fill == size; }
  uint32_t Room() const { return size - fill; }
  /// The block's channels: two pointers each.
  float* const* Input() { return input.data(); }
  float* const* Output() { return output.data(); }
  uint32_t InputChannels() const { return inputCount; }

  /// Copies `count` samples, at most `Room`, from `offset` of `source` (null, or a null channel: silence).
  void Take(const float* const* source, size_t offset, uint32_t count);
  /// Lets go of what has been taken: the next sample begins a block.
  void Restart() { fill = 0; }
  /// Silence on both outputs.
  void ClearOutput();

  /// Takes `count` samples, 0 or more. Every block that becomes full is run by `run()`, and its output
  /// handed to `sink`.
  template <typename Run>
  void Feed(const float* const* source, size_t count, const Sink& sink, Run&& run) {
    for (size_t done = 0; done < count;) {
      const auto piece = static_cast<uint32_t>(std::min<size_t>(count - done, Room()));
      Take(source, done, piece);
      done += piece;
      if (!IsFull()) continue;
      run();
      Restart();
      sink(output.data(), size);
    }
  }

  /// Completes the last block with silence and hands over as much as was taken of it.
  template <typename Run>
  void Finish(const Sink& sink, Run&& run) {
    const uint32_t wanted = fill;
    if (wanted == 0) return;
    Take(nullptr, 0, Room());
    run();
    Restart();
    sink(output.data(), wanted);
  }

  /// A live stream: takes `count` samples, 0 or more, and gives as many, `BlockSize` samples late. `source`
  /// as for `Take`; `destination` has 1 or 2 channels, a null channel is dropped. Every block that becomes
  /// full is run by `run()`. All inputs are read before their places are written: `source` and `destination`
  /// may be the same memory.
  template <typename Run>
  void Exchange(const float* const* source, float* const* destination, uint32_t channels, size_t count,
                Run&& run) {
    const bool isStereo = inputCount == 2 && channels == 2 && source != nullptr && source[0] != nullptr &&
                          source[1] != nullptr && destination[0] != nullptr && destination[1] != nullptr;
    if (isStereo) [[likely]] {
      ExchangeStereo(source[0], source[1], destination[0], destination[1], count, run);
    } else {
      ExchangeOther(source, destination, channels, count, run);
    }
  }

  /// [any thread] Input samples that weren't finite or lay beyond `kLoudest`.
  uint64_t NonFiniteCount() const { return nonFiniteCount.load(std::memory_order_relaxed); }

 private:
  /// Two channels on both sides, as nearly always, asked for in every buffer of a host: in one pass.
  template <typename Run>
  void ExchangeStereo(const float* left, const float* right, float* outLeft, float* outRight, size_t count,
                      Run&& run) {
    while (count > 0) {
      const size_t piece = std::min<size_t>(count, size - fill);
      const bool isLoud = exchange(left, right, outLeft, outRight, storage.data() + fill, stride, piece);
      if (isLoud) [[unlikely]]
        Mend(piece);
      left += piece, right += piece, outLeft += piece, outRight += piece;
      count -= piece;
      fill += static_cast<uint32_t>(piece);
      if (!IsFull()) continue;
      run();
      Restart();
    }
  }
  /// Any other arrangement. Apart: it would lie between what nearly always runs.
  template <typename Run>
  [[gnu::noinline]] void ExchangeOther(const float* const* source, float* const* destination,
                                       uint32_t channels, size_t count, Run&& run) {
    for (size_t done = 0; done < count;) {
      const auto piece = static_cast<uint32_t>(std::min<size_t>(count - done, Room()));
      ExchangeSingly(source, destination, channels, done, piece);
      done += piece;
      if (!IsFull()) continue;
      run();
      Restart();
    }
  }
  void ExchangeSingly(const float* const* source, float* const* destination, uint32_t channels, size_t offset,
                      uint32_t count);
  /// Replaces what is no sound among the `count` samples behind those taken.
  [[gnu::noinline]] void Mend(size_t count);

  decltype(CallKernels::exchange) exchange = BestCallKernels().exchange;
  uint32_t inputCount = 0, size = 0, fill = 0;
  size_t stride = 0;                        // samples from channel to channel in `storage`
  AlignedFloats storage;                    // two inputs, two outputs
  std::array<float*, 2> input{}, output{};  // into `storage`
  std::atomic<uint64_t> nonFiniteCount{0};  // relaxed: stands alone
};

}  // namespace Vantora::host
