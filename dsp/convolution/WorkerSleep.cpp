#include "dsp/convolution/WorkerSleep.h"

#if defined(__linux__)

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

namespace Vantora::dsp {

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t) &&
              std::atomic<uint32_t>::is_always_lock_free);

void KernelSleep::Rest(Word& word, uint32_t seen, Clock::time_point deadline) noexcept {
  timespec until{};
  const bool isLimited = deadline != Clock::time_point::max();
  if (isLimited) {
    // The steady clock is CLOCK_MONOTONIC, by which this call counts.
    const auto since = deadline.time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since);
    until.tv_sec = static_cast<time_t>(seconds.count());
    until.tv_nsec = static_cast<long>(std::chrono::nanoseconds(since - seconds).count());
  }
  syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, seen, isLimited ? &until : nullptr, nullptr,
          FUTEX_BITSET_MATCH_ANY);
}

void KernelSleep::End(Word& word) noexcept {
  syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace Vantora::dsp

#endif
