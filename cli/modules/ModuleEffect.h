#pragma once

#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "cli/offline/Effect.h"
#include "engine/Module.h"

namespace Vantora::cli {

/// ModuleEffect: one module of the library as an effect over files. Its inputs and outputs 0 and 1 are the
/// audio; other ports stay unconnected. Blocks have about a millisecond, as in the processor; the context
/// says that this is an offline render.
class ModuleEffect final : public Effect {
 public:
  /// `longestGap` in seconds, see Effect.
  explicit ModuleEffect(std::unique_ptr<dsp::Module> module, double longestGap = 1.1);
  ~ModuleEffect() override;

  void Start(int rate, int inputChannels, int outputChannels) override;
  void Feed(const float* const* inputs, size_t frames, const Sink& sink) override;
  void Finish(const Sink& sink) override;
  double LongestGap() const override { return longestGap; }
  uint64_t NonFiniteCount() const override { return nonFinite; }

 private:
  void RunBlock();

  std::unique_ptr<dsp::Module> module;
  double longestGap;
  uint32_t blockSize = 0;
  uint32_t inputCount = 0, outputCount = 0;
  std::vector<float> storage;
  std::array<float*, 2> input{}, output{};  // one block each
  uint32_t fill = 0;                        // samples of the block that have been taken
  uint64_t nonFinite = 0;
};

/// Block of about a millisecond at `rate` Hz, a multiple of four.
uint32_t ModuleBlockSize(int rate);

}  // namespace Vantora::cli
