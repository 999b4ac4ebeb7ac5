#include "cli/plot/EffectRun.h"

#include <algorithm>
#include <array>

#include "cli/CommandContext.h"
#include "cli/offline/HostedEffect.h"
#include "host/Automation.h"
#include "host/HostedProcessor.h"
#include "host/TempoMap.h"

namespace Vantora::cli {

StereoSignal RunEffect(const CommandContext& context, const std::vector<host::ParameterWrite>& writes,
                       const StereoSignal& input, int rate, double bpm) {
  // An image of its own, so that random elements are the same in every run of a picture.
  const host::ProcessorLibrary library(context.LibraryPath(), host::ProcessorLibrary::Image::kPrivate);
  host::HostedProcessor processor(library);
  const host::Automation automation;
  const host::TempoMap tempo(bpm);
  HostedEffect effect(processor, writes, automation, tempo);
  effect.Start(rate, 2, 2);

  StereoSignal output(input.Frames());
  uint64_t skip = effect.Latency();
  size_t at = 0;
  const Effect::Sink sink = [&](const float* const* channels, uint32_t frames) {
    const auto dropped = static_cast<uint32_t>(std::min<uint64_t>(skip, frames));
    skip -= dropped;
    const size_t count = std::min<size_t>(frames - dropped, output.Frames() - at);
    std::copy_n(channels[0] + dropped, count, output.left.begin() + static_cast<std::ptrdiff_t>(at));
    std::copy_n(channels[1] + dropped, count, output.right.begin() + static_cast<std::ptrdiff_t>(at));
    at += count;
  };
  const std::array<const float*, 2> inputs{input.left.data(), input.right.data()};
  effect.Feed(inputs.data(), input.Frames(), sink);
  effect.Feed(nullptr, skip, sink);
  effect.Finish(sink);
  return output;
}

}  // namespace Vantora::cli
