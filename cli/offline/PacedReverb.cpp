#include "cli/offline/PacedReverb.h"

#include <cstdio>
#include <thread>
#include <utility>

#include "cli/Console.h"

namespace Vantora::cli {

PacedReverb::PacedReverb(offline::ReverbSettings settings)
    : EffectAround(reverb), reverb([&settings, this] {
        settings.isRealTime = true;
        settings.beforeBlock = [this](double seconds) { Wait(seconds); };
        return std::move(settings);
      }()) {}

void PacedReverb::Wait(double seconds) const {
  const std::chrono::duration<double> due(seconds);
  std::this_thread::sleep_until(begin + std::chrono::duration_cast<std::chrono::nanoseconds>(due));
}

void PacedReverb::Start(int rate, int inputChannels, int outputChannels) {
  reverb.Start(rate, inputChannels, outputChannels);
  begin = std::chrono::steady_clock::now();
}

void PacedReverb::Feed(const float* const* inputs, size_t frames, const Sink& sink) {
  reverb.Feed(inputs, frames, sink);
}

void PacedReverb::Finish(const Sink& sink) {
  reverb.Finish(sink);
  const dsp::OverloadCounters& overloads = reverb.Overloads();
  if (overloads.IsAllZero()) return;
  Tell(
      "prismel: the machine didn't keep up: {} results late, {} of them wholly; {} samples of the tail not "
      "heard; {} samples of input not taken\n",
      static_cast<uint64_t>(overloads.lateResults), static_cast<uint64_t>(overloads.lostResults),
      static_cast<uint64_t>(overloads.lostSamples), static_cast<uint64_t>(overloads.lostInputs));
}

}  // namespace Vantora::cli
