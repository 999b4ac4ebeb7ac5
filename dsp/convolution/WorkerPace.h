#pragma once

#include <chrono>
#include <cstdint>

namespace Vantora::dsp {

/// WorkerPace: from when its work came so far, when should a worker look for the next?
///
/// Work that comes at the pace of the sound comes every `period`. After eight such periods in a row the
/// worker need not be woken any more: it naps until a sixteenth of a period after the next work is due and
/// looks by itself, and again a sixteenth later when there is none yet. Each nap counts from when the work
/// really came, so whatever the clocks of sound and machine differ by doesn't add up. Work off the pace, or
/// four idle looks in a row, and the worker sleeps until it is woken, as before.
///
/// Threads  one
class WorkerPace {
 public:
  using Clock = std::chrono::steady_clock;

  /// Work is expected every `newPeriod`; 0 for never.
  void SetPeriod(Clock::duration newPeriod) noexcept {
    period = newPeriod;
    steadyCount = idleLooks = 0;
  }

  /// There was work, which came at `time`.
  void SawWork(Clock::time_point time) noexcept {
    const Clock::duration interval = time - lastWork;
    const bool isSteady = interval > period - period / 4 && interval < period + period / 4;
    steadyCount = isSteady ? steadyCount + 1 : 0;
    lastWork = time;
    due = time + period + period / 16;
    idleLooks = 0;
  }

  /// The worker rested until `now`, and there was none.
  void SawNothing(Clock::time_point now) noexcept {
    if (++idleLooks > kIdleLooks) steadyCount = 0;
    due = now + period / 16;
  }

  /// When to look next; Clock::time_point::max() when woken.
  Clock::time_point NextLook() const noexcept {
    const bool naps = period > Clock::duration::zero() && steadyCount >= kSteadyPeriods;
    return naps ? due : Clock::time_point::max();
  }

 private:
  static constexpr uint32_t kSteadyPeriods = 8, kIdleLooks = 4;

  Clock::duration period = Clock::duration::zero();
  Clock::time_point lastWork, due;
  uint32_t steadyCount = 0;  // periods in a row that were kept
  uint32_t idleLooks = 0;    // looks in a row that found nothing
};

}  // namespace Vantora::dsp
