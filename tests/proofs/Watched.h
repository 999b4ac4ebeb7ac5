#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/processor/RandomLife.h"
#include "tests/support/RealTimeGuard.h"

#if defined(__has_feature)
#if __has_feature(realtime_sanitizer)
#define PRISMEL_RTSAN 1
#endif
#endif

namespace Vantora::test {

/// What a run of many watched calls did wrong, and what came out of them.
struct Findings {
  std::string name;
  RealTimeViolations sum;
  uint64_t calls = 0;               ///< watched ones
  uint64_t blocks = 0;              ///< of the processor within them
  uint64_t mostSystemCalls = 0;     ///< of one call
  uint64_t notFinite = 0;           ///< samples
  uint64_t systemCallsAllowed = 0;  ///< in one call
  float loudest = 0.0f;

  void Add(const RealTimeViolations& one) {
    sum.allocations += one.allocations;
    sum.releases += one.releases;
    sum.locks += one.locks;
    sum.throws += one.throws;
    sum.systemCalls += one.systemCalls;
    sum.pageFaults += one.pageFaults;
    mostSystemCalls = std::max(mostSystemCalls, one.systemCalls);
  }
  void LookAt(const float* samples, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      if (!std::isfinite(samples[i])) ++notFinite;
      loudest = std::max(loudest, std::fabs(samples[i]));
    }
  }
  bool IsClean() const {
    return (sum.allocations | sum.releases | sum.locks | sum.throws | sum.pageFaults | notFinite) == 0 &&
           mostSystemCalls <= systemCallsAllowed;
  }
};

/// Runs `work` as an audio thread's, and counts what it must not do. Under RealtimeSanitizer that
/// ends the program at the first finding, with the stack that leads to it.
#if defined(PRISMEL_RTSAN)
template <typename Work>
void RunNonblocking(Work& work) [[clang::nonblocking]] {
  work();
}
template <typename Work>
void Guarded(Findings& findings, Work work) {
  RunNonblocking(work);
  ++findings.calls;
}
#else
template <typename Work>
void Guarded(Findings& findings, Work work) {
  findings.Add(Watch(work));
  ++findings.calls;
}
#endif

/// A signal as musicians send them: finite and below full scale. Others belong to other tests.
inline Signal OrdinarySignal(Chance& chance) {
  constexpr std::array<Signal, 5> kSome = {Signal::kNoise, Signal::kTone, Signal::kSilence, Signal::kClicks,
                                           Signal::kTiny};
  return kSome[chance.Below(kSome.size())];
}

/// The roads of real_time_run: `blocks` over all that they look at.
Findings ThroughLibrary(const std::string& library, uint64_t blocks, uint64_t seed);
Findings ThroughCollector(const std::string& library, uint64_t blocks, uint64_t seed);
/// Without workers, with workers, the blocks in which it is reset, and the reverb around it.
std::array<Findings, 4> ThroughConvolution(uint64_t blocks, uint64_t seed);
/// Prints how long the library's blocks take, worst over median.
void TellBlockTimes(const std::string& library);

}  // namespace Vantora::test
