#pragma once

#include <string>

namespace Vantora::cli {

class LoudnessMeter;

/// NormalizeTarget: the level that a finished output is brought to by one gain.
struct NormalizeTarget {
  double level = -1.0;
  bool isLoudness = false;  ///< integrated loudness in LUFS; otherwise a peak
  bool isTruePeak = false;  ///< the peak between the samples, in dBTP; otherwise of the samples, in dBFS

  /// "-1dB" (peak, also "-1dBFS" or plain "-1"), "-1dBTP" or "-14LUFS". Throws UsageError.
  static NormalizeTarget Parse(const std::string& text, const std::string& option = "--normalize");

  /// The factor for a signal as measured; 1 for silence and where there is no loudness. A loudness that would
  /// push the peak over full scale is held there, and `heldByPeak` says so; not where a limiter comes behind.
  float Gain(const LoudnessMeter& measured, bool* heldByPeak, bool isLimited) const;
};

}  // namespace Vantora::cli
