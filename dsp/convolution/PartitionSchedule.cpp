#include "dsp/convolution/PartitionSchedule.h"

#include <algorithm>

namespace Vantora::dsp {

PartitionSchedule MakePartitionSchedule(const ConvoEngineConfig& config, uint64_t length,
                                        uint64_t blockSize) {
  if (config.headMinimum >= length) return {length, {}};
  const uint64_t head = std::max(2 * blockSize, config.headMinimum);
  if (head >= length) return {length, {}};

  PartitionSchedule schedule{head, {}};
  uint64_t position = head;
  for (const PartitionEntry& entry : config.partitions) {
    if (position >= length) break;
    const uint64_t wanted = (length - position + entry.size - 1) / entry.size;
    const uint64_t taken = std::min(entry.count, wanted);
    if (taken == 0) continue;
    schedule.partitions.push_back({entry.size, taken, entry.threadIndex});
    position += taken * entry.size;
  }
  if (position < length && !schedule.partitions.empty()) {
    PartitionEntry& last = schedule.partitions.back();
    last.count += (length - position + last.size - 1) / last.size;
  }
  return schedule;
}

std::vector<PartitionEntry> DefaultPartitions() {
  return {{1024, 6, 0}, {4096, 10, 0}, {16384, 6, 1}, {65536, 1, 1}};
}

}  // namespace Vantora::dsp
