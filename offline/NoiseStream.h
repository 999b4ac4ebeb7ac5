#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dsp/effects/NoiseGenerator.h"

namespace Vantora::offline {

/// NoiseSettings: which noise.
struct NoiseSettings {
  std::string color = "white";                             ///< one of `NoiseStream::Colors`, in any case
  uint32_t seed = 1;                                       ///< 1 or more; the same seed is the same noise
  int rate = 48000;                                        ///< Hz
  int channels = 1;                                        ///< 1 or 2, unlike each other
  double gainDb = -12.0;                                   ///< on what the generators give
  std::vector<std::pair<std::string, std::string>> knobs;  ///< further parameters of the module: name, value
};

/// NoiseStream: noise of one colour without an end, a generator a channel.
class NoiseStream {
 public:
  /// The colours' names, in lower case: violet, white, pink, brown, dark, variable.
  static std::vector<std::string> Colors();

  /// Throws host::HostError for a colour or a knob that doesn't exist.
  explicit NoiseStream(const NoiseSettings& settings);

  uint32_t BlockSize() const { return blockSize; }  ///< frames: about a millisecond
  /// The next block of every channel; valid until the next call.
  const float* const* Next();

 private:
  std::vector<std::unique_ptr<dsp::NoiseGenerator>> generators;  // one a channel
  uint32_t blockSize;
  float gain;
  std::vector<std::vector<float>> blocks;
  std::vector<const float*> channels;
};

}  // namespace Vantora::offline
