#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

namespace Vantora::dsp {

/// Worker id of a partition size that the audio thread computes itself.
inline constexpr uint64_t kAudioThread = std::numeric_limits<uint64_t>::max();

/// A run of partitions of one length.
struct PartitionEntry {
  uint64_t size;   ///< length of a partition, in samples; a power of two
  uint64_t count;  ///< consecutive partitions of that length
  uint64_t threadIndex =
      kAudioThread;  ///< id of the worker that computes them; ids count from 0 without gaps
};

/// How an impulse may be cut: the least head, and the entries to walk through. An entry's count says how many
/// partitions of its size come before the next entry takes over; the last one repeats as long as needed.
struct ConvoEngineConfig {
  uint64_t headMinimum = 2048;  ///< taps that the audio thread computes without latency, at least
  std::vector<PartitionEntry> partitions;
};

/// How one impulse is cut.
struct PartitionSchedule {
  uint64_t headLength = 0;  ///< taps of the head
  std::vector<PartitionEntry> partitions;
};

/// From impulse length (samples), block size (samples) and sample rate (Hz, unused) to a schedule.
using PartitionScheduleFunction = std::function<PartitionSchedule(uint64_t, uint64_t, float)>;

/// Cuts an impulse of `length` samples for blocks of at most `blockSize`. A head of two blocks at least
/// leaves the first partitions a block of slack. Without any entry the head is all there is.
PartitionSchedule MakePartitionSchedule(const ConvoEngineConfig& config, uint64_t length, uint64_t blockSize);

/// The entries that a reverb starts with. Growing by four keeps the cost within
/// 1.2 of the best list for every length from 0.5 to 100 s, and leaves the
/// workers 20 ms, 84 ms, 0.7 s and 1.7 s from dispatch to first use at 48 kHz.
std::vector<PartitionEntry> DefaultPartitions();

}  // namespace Vantora::dsp
