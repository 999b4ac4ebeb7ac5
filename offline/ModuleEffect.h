#pragma once

#include <memory>
#include <optional>

#include "engine/Module.h"
#include "host/Automation.h"
#include "offline/Effect.h"

namespace Vantora::offline {

/// ModuleMoves: what an automation does to a module's knobs, at what tempo.
struct ModuleMoves {
  host::Automation automation;  ///< of the module's knobs
  host::TempoMap tempo{120.0};
};

/// ModuleEffect: one module of the library as an effect over recordings. Its inputs and outputs 0 and 1 are
/// the audio; other ports stay unconnected. Blocks have about a millisecond, as in the processor; the context
/// says that this is an offline render.
class ModuleEffect final : public Effect {
 public:
  /// `longestGap` in seconds, see Effect. `moves` may be null.
  explicit ModuleEffect(std::unique_ptr<dsp::Module> module, double longestGap = 1.1,
                        std::shared_ptr<const ModuleMoves> moves = nullptr);
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
  std::shared_ptr<const ModuleMoves> moves;
  std::optional<host::AutomationPlayer> player;
  uint64_t position = 0;  // frames
  host::BlockBuffer buffer;
};

/// Block of about a millisecond at `rate` Hz, a multiple of four.
uint32_t ModuleBlockSize(int rate);

}  // namespace Vantora::offline
