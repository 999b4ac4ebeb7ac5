#include "cli/plot/EffectRun.h"

#include <array>

#include "cli/CommandContext.h"
#include "host/Automation.h"
#include "host/HostedProcessor.h"
#include "host/Preset.h"
#include "host/TempoMap.h"
#include "offline/HostedEffect.h"
#include "offline/StreamRender.h"

namespace Vantora::cli {

int OutputChannels(const std::vector<host::ParameterWrite>& writes, int inputChannels) {
  return inputChannels == 2 || host::IsWide(writes) ? 2 : 1;
}

StereoSignal RunEffect(const CommandContext& context, const std::vector<host::ParameterWrite>& writes,
                       const StereoSignal& input, int rate, double bpm, int inputChannels) {
  // An image of its own, so that random elements are the same in every run of a picture.
  const host::ProcessorLibrary library(context.LibraryPath(), host::ProcessorLibrary::Image::kPrivate);
  host::HostedProcessor processor(library);
  const host::Automation automation;
  const host::TempoMap tempo(bpm);
  offline::LatencyMeasurement latency(processor.Source());
  offline::HostedEffect effect(processor, latency, writes, automation, tempo);

  StereoSignal output(input.Frames());
  size_t at = 0;
  const int channels = OutputChannels(writes, inputChannels);
  const auto keep = [&](const float* samples, uint64_t frames) {
    for (uint64_t i = 0; i < frames; ++i, ++at) {
      output.left[at] = *samples;
      output.right[at] = samples[channels - 1];
      samples += channels;
    }
  };
  offline::StreamRender render(effect, {false, 0.0}, rate, inputChannels, channels, keep);
  const std::array<const float*, 2> inputs{input.left.data(), input.right.data()};
  render.Feed(inputs.data(), input.Frames());
  render.EndInput();
  render.RunTail(1);
  return output;
}

}  // namespace Vantora::cli
