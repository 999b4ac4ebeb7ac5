#include "offline/StreamRender.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Vantora::offline {
namespace {

Effect& Started(Effect& effect, int rate, int inputChannels, int outputChannels) {
  effect.Start(rate, inputChannels, outputChannels);
  return effect;
}

}  // namespace

StreamRender::StreamRender(Effect& anEffect, const TailLength& length, int rate, int inputChannels,
                           int outputChannels, Sink aSink)
    : effect(Started(anEffect, rate, inputChannels, outputChannels)),
      channels(static_cast<uint64_t>(outputChannels)),
      tail(length, rate, outputChannels, effect.LongestGap()),
      sink(std::move(aSink)),
      take([this](const float* const* outputs, uint32_t frames) { Take(outputs, frames); }),
      skip(effect.Latency()) {}

void StreamRender::Feed(const float* const* inputs, size_t frames) {
  effect.Feed(inputs, frames, take);
  fed += frames;
}

bool StreamRender::RunTail(uint64_t frames) {
  // Samples of the last block are still inside the effect: what comes out behind the input's end is tail.
  if (!tail.IsDone()) {
    effect.Feed(nullptr, frames, take);
    return false;
  }
  if (finished) return true;
  finished = true;
  if (inputEnd > seen) effect.Feed(nullptr, inputEnd - seen + skip, take);
  effect.Finish(take);
  return true;
}

void StreamRender::Take(const float* const* outputs, uint32_t frames) {
  const auto dropped = static_cast<uint32_t>(std::min<uint64_t>(skip, frames));
  skip -= dropped;
  const uint64_t count = frames - dropped;
  interleaved.resize(count * channels);
  for (uint64_t c = 0; c < channels; ++c) {
    for (uint64_t i = 0; i < count; ++i) {
      const float sample = outputs[c][dropped + i];
      const bool isNumber = std::isfinite(sample);
      interleaved[i * channels + c] = isNumber ? sample : 0.0f;
      lost += isNumber ? 0 : 1;
    }
  }
  const uint64_t body = std::min(count, inputEnd - std::min(seen, inputEnd));
  seen += count;
  if (body > 0) sink(interleaved.data(), body);
  tail.Add(interleaved.data() + body * channels, count - body, sink);
}

}  // namespace Vantora::offline
