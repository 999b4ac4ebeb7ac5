#pragma once

#include <cstdint>

#include "plugin/core/TapPicture.h"
#include "plugin/core/Values.h"
#include "plugin/core/WindowModel.h"

namespace Vantora::plugin {

/// RestPicture: what a window shows while its host runs nothing, as many do between songs: the knobs as they
/// are set, the taps where they stand, no level.
///
/// Threads  the main thread.
class RestPicture {
 public:
  RestPicture();

  /// Whether nothing runs: no block yet, or none since half a second. `position`: samples processed since the
  /// start; `now`: seconds from any origin. To be asked some times a second.
  bool IsAtRest(uint64_t position, double now);
  /// Into `view` what `values` set. Before the first block (`hasRun` false) the taps are where they start;
  /// later they stay where the last block left them.
  void Fill(const Values& values, bool hasRun, LiveView& view);

 private:
  TapPicture picture;
  uint64_t lastPosition = 0;
  double lastMoved = 0.0;  // s
};

}  // namespace Vantora::plugin
