#pragma once

#include <memory>

#include "engine/Module.h"
#include "offline/Effect.h"

namespace Vantora::offline {

/// ModuleEffect: one module of the library as an effect over recordings. Its inputs and outputs 0 and 1 are
/// the audio; other ports stay unconnected. Blocks have about a millisecond, as in the processor; the context
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
  uint64_t NonFiniteCount() const override { return buffer.NonFiniteCount(); }

 private:
  void RunBlock();

  std::unique_ptr<dsp::Module> module;
  double longestGap;
  host::BlockBuffer buffer;
};

/// Block of about a millisecond at `rate` Hz, a multiple of four.
uint32_t ModuleBlockSize(int rate);

}  // namespace Vantora::offline
