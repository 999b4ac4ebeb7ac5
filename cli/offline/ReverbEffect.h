#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cli/offline/Effect.h"
#include "dsp/convolution/ConvolutionReverb.h"

namespace Vantora::cli {

/// ReverbSettings: the sound of `prismel reverb`.
struct ReverbSettings {
  struct Value {
    uint32_t index;  ///< of the module's parameter
    float value;     ///< in the parameter's unit
  };
  std::string impulse;        ///< path
  std::vector<Value> values;  ///< the last one for a parameter counts
  bool isRealTime = false;    ///< workers compute, and blocks come at the pace of the sound
};

/// ReverbEffect: the convolution reverb over a file. Offline everything is computed on the calling thread and
/// is the same on each run. In real time it sleeps between blocks, and says on standard error what came late.
class ReverbEffect final : public Effect {
 public:
  explicit ReverbEffect(ReverbSettings reverbSettings) : settings(std::move(reverbSettings)) {}

  void Start(int rate, int inputChannels, int outputChannels) override;
  void Feed(const float* const* inputs, size_t frames, const Sink& sink) override;
  void Finish(const Sink& sink) override;
  /// The whole tail: an impulse may be silent for as long as it likes before its last echo.
  double LongestGap() const override { return tailSeconds; }
  uint64_t NonFiniteCount() const override { return nonFinite; }

 private:
  void RunBlock();

  ReverbSettings settings;
  std::unique_ptr<dsp::ConvolutionReverb> reverb;
  size_t inputCount = 0, outputCount = 0;
  std::array<std::vector<float>, 2> inputs, outputs;  // a block
  size_t blockSize = 0, filled = 0;
  double rate = 0.0;  // Hz
  double tailSeconds = 0.0;
  uint64_t framesRun = 0, nonFinite = 0;
  std::chrono::steady_clock::time_point begin;
};

}  // namespace Vantora::cli
