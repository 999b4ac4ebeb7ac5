#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string_view>

namespace Vantora::cli {

/// JobReport: what a worker process tells the command about its file. Lies in memory that both share, so it
/// holds plain data only; progress is read while the worker runs, the rest after it has ended.
struct JobReport {
  std::atomic<uint64_t> done{0};   ///< input frames processed
  std::atomic<uint64_t> total{0};  ///< input frames; 0 while unknown

  bool finished = false;       ///< the output stands
  int status = 0;              ///< exit status of a failure
  double inputSeconds = 0.0;   ///< length of what was read
  double outputSeconds = 0.0;  ///< length of what was written
  double inputPeak = 0.0;      ///< dBFS
  double inputLufs = 0.0;
  double outputPeak = 0.0;  ///< dBFS, as written
  double outputLufs = 0.0;
  bool measured = false;   ///< the four levels were measured
  uint64_t clipped = 0;    ///< output samples held at full scale
  uint64_t nonFinite = 0;  ///< input samples that weren't finite, replaced by 0
  uint64_t lost = 0;       ///< samples that came out of the effect not finite, replaced by 0
  int rate = 0;            ///< Hz
  int inputChannels = 0, outputChannels = 0;
  double limitedSeconds = 0.0;         ///< for how long the limiter turned down
  std::array<char, 65> inputDigest{};  ///< SHA-256 in hexadecimal; empty where none was asked for
  std::array<char, 65> outputDigest{};
  bool tailCut = false;              ///< the tail reached its limit
  bool peakHeldGain = false;         ///< full scale kept the normalised loudness below its target
  std::array<char, 1024> failure{};  ///< one sentence; empty without a failure

  void SetFailure(std::string_view text, int exitStatus) {
    status = exitStatus;
    failure.fill('\0');
    text.copy(failure.data(), failure.size() - 1);
  }
};
static_assert(std::atomic<uint64_t>::is_always_lock_free);

}  // namespace Vantora::cli
