#pragma once

#include <string>

namespace Vantora::cli {

class LoudnessMeter;

/// NormalizeTarget: the level that a finished output is brought to by one gain.
struct NormalizeTarget {
  double level = -1.0;
  bool isLoudness = false;  ///< integrated loudness in LUFS; otherwise sample peak in dBFS

  /// "-1dB" (peak, also "-1dBFS" or plain "-1") or "-14LUFS". Throws UsageError.
  static NormalizeTarget Parse(const std::string& text);

  /// The factor for a signal as measured; 1 for silence and where there is no loudness. A loudness that would
  /// push the peak over full scale is held there, and `heldByPeak` says so.
  float Gain(const LoudnessMeter& measured, bool* heldByPeak) const;
};

}  // namespace Vantora::cli
