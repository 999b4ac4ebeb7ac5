#pragma once

#include <chrono>

#include "offline/EffectAround.h"
#include "offline/ReverbEffect.h"

namespace Vantora::cli {

/// PacedReverb: the convolution reverb as in a live host, at the pace of the sound. Says on standard error
/// what came late.
class PacedReverb final : public offline::EffectAround {
 public:
  explicit PacedReverb(offline::ReverbSettings settings);

  void Start(int rate, int inputChannels, int outputChannels) override;
  void Feed(const float* const* inputs, size_t frames, const Sink& sink) override;
  void Finish(const Sink& sink) override;

 private:
  void Wait(double seconds) const;

  offline::ReverbEffect reverb;
  std::chrono::steady_clock::time_point begin;
};

}  // namespace Vantora::cli
