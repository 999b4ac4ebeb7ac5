#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "host/Automation.h"
#include "host/HostedProcessor.h"
#include "host/TempoMap.h"
#include "offline/HostedEffect.h"
#include "offline/StreamRender.h"
#include "plugin/core/Values.h"

namespace Vantora::web {

/// Render: a recording's way through the effect faster than real time, with the code and so the samples of
/// `prismel render`: lined up with its input, with its tail.
///
/// Threads  one at a time; allocates
class Render {
 public:
  /// A whole number of Hz, 1 or 2 channels on each side, `seconds` of tail (below 0: until it has died away,
  /// a minute at most), quarter notes a minute. Throws `host::HostError`.
  Render(uint32_t rate, uint32_t longest, uint32_t inputs, uint32_t outputs, double tailSeconds, double tempo,
         const plugin::Positions& sound);

  float* Input(uint32_t channel) { return inputs[channel].data(); }  ///< room for `longest` frames

  /// Each call replaces `Output` by what it finished.
  void Feed(uint32_t frames);
  void EndInput() { stream->EndInput(); }
  bool RunTail(uint32_t frames);  ///< true when all has been handed over

  /// Finished frames, channel by channel within a frame.
  const std::vector<float>& Output() const { return finished; }
  uint32_t OutputFrames() const { return static_cast<uint32_t>(finished.size() / outputCount); }

 private:
  uint32_t outputCount;
  std::array<std::vector<float>, 2> inputs;
  std::vector<float> finished;
  host::Automation automation;
  host::TempoMap tempoMap;
  host::HostedProcessor processor;
  offline::LatencyMeasurement latency;
  std::optional<offline::HostedEffect> effect;
  std::optional<offline::StreamRender> stream;
};

}  // namespace Vantora::web
