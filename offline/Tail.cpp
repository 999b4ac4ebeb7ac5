#include "offline/Tail.h"

#include <algorithm>
#include <cmath>

namespace Vantora::offline {

Tail::Tail(const TailLength& length, int rate, int channelCount, double gapSeconds)
    : automatic(length.automatic),
      limit(static_cast<uint64_t>(std::llround(length.seconds * rate))),
      gap(static_cast<uint64_t>(std::llround(gapSeconds * rate))),
      fade(static_cast<uint64_t>(rate) / 10),
      channels(static_cast<uint64_t>(channelCount)),
      done(limit == 0) {}

void Tail::FadeTowardsLimit(float* interleaved, uint64_t frames) {
  for (uint64_t i = 0; i < frames; ++i) {
    const uint64_t left = limit - (seen + i);
    if (left >= fade) continue;
    const float gain = static_cast<float>(left) / static_cast<float>(fade);
    for (uint64_t c = 0; c < channels; ++c) interleaved[i * channels + c] *= gain;
  }
}

void Tail::Add(float* interleaved, uint64_t frames, const Sink& sink) {
  if (done) return;
  const uint64_t count = std::min(frames, limit - seen);
  if (!automatic) {
    sink(interleaved, count);
    seen += count;
    done = seen == limit;
    return;
  }
  FadeTowardsLimit(interleaved, count);
  seen += count;
  uint64_t loudEnd = count * channels;  // behind the last sample that can be heard
  while (loudEnd > 0 && !(std::abs(interleaved[loudEnd - 1]) > kQuiet)) --loudEnd;
  const uint64_t keep = (loudEnd + channels - 1) / channels;
  if (keep > 0) {
    if (!held.empty()) sink(held.data(), held.size() / channels);
    held.clear();
    sink(interleaved, keep);
  }
  held.insert(held.end(), interleaved + keep * channels, interleaved + count * channels);
  wasCut = seen == limit && held.size() / channels < std::min(gap, fade / 4);
  done = held.size() / channels >= gap || seen == limit;
}

}  // namespace Vantora::offline
