#include "cli/audio/Limiter.h"

#include <algorithm>
#include <cmath>

namespace Vantora::cli {
namespace {

constexpr double kAheadSeconds = 0.005, kRecoverySeconds = 0.1;

}  // namespace

Limiter::Limiter(double highest, int rate, int channelCount)
    : ceiling(static_cast<float>(highest)),
      ahead(static_cast<uint64_t>(std::max(1.0, std::round(kAheadSeconds * rate)))),
      channels(static_cast<size_t>(channelCount)),
      recovery(static_cast<float>(1.0 - std::exp(-1.0 / (kRecoverySeconds * rate)))),
      delayed(ahead * channels, 0.0f),
      gains(ahead, 1.0f),
      gainSum(static_cast<double>(ahead)) {}

void Limiter::Advance(const float* frame) {
  float peak = 0.0f;
  for (size_t c = 0; c < channels; ++c) peak = std::max(peak, std::abs(frame[c]));
  const float wanted = peak > ceiling ? ceiling / peak : 1.0f;
  while (!needs.empty() && needs.back().gain >= wanted) needs.pop_back();
  needs.push_back({taken, wanted});
  while (needs.front().place + ahead < taken) needs.pop_front();
  gain = std::min(gain + (1.0f - gain) * recovery, needs.front().gain);
  if (gain > 0.99999f && needs.front().gain == 1.0f) gain = 1.0f;  // the way back ends

  const size_t place = taken % ahead;
  gainSum += static_cast<double>(gain) - static_cast<double>(gains[place]);
  gains[place] = gain;
  float* old = delayed.data() + place * channels;
  if (taken >= ahead) {
    // Sums of many additions drift by some 1e-13: exactly 1 where nothing is to be done.
    const double mean = std::min(1.0, gainSum / static_cast<double>(ahead));
    const auto factor = static_cast<float>(mean > 1.0 - 1e-9 ? 1.0 : mean);
    if (factor < 0.99885f) ++limited;
    for (size_t c = 0; c < channels; ++c) ready.push_back(std::clamp(old[c] * factor, -ceiling, ceiling));
  }
  std::copy_n(frame, channels, old);
  ++taken;
}

void Limiter::Add(const float* interleaved, uint64_t frames, const Sink& sink) {
  ready.clear();
  for (uint64_t i = 0; i < frames; ++i) Advance(interleaved + i * channels);
  if (!ready.empty()) sink(ready.data(), ready.size() / channels);
  given += ready.size() / channels;
}

void Limiter::Finish(const Sink& sink) {
  const std::vector<float> silence(channels, 0.0f);
  const uint64_t wanted = taken;
  ready.clear();
  while (given + ready.size() / channels < wanted) Advance(silence.data());
  if (!ready.empty()) sink(ready.data(), ready.size() / channels);
}

}  // namespace Vantora::cli
