#include "offline/ModuleEffect.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "basictools/FlushDenormals.h"

namespace Vantora::offline {

uint32_t ModuleBlockSize(int rate) {
  return std::max(4u, 4u * static_cast<uint32_t>(std::lround(rate * 11.0 / 44100.0)));
}

ModuleEffect::ModuleEffect(std::unique_ptr<dsp::Module> itsModule, double gap,
                           std::shared_ptr<const ModuleMoves> itsMoves)
    : module(std::move(itsModule)), longestGap(gap), moves(std::move(itsMoves)) {}

ModuleEffect::~ModuleEffect() { module->Shutdown(); }

void ModuleEffect::Start(int rate, int inputChannels, int) {
  buffer.Resize(static_cast<uint32_t>(inputChannels), ModuleBlockSize(rate));
  module->Init(buffer.BlockSize(), static_cast<float>(rate));
  position = 0;
  player.reset();
  if (moves) player.emplace(moves->automation, moves->tempo, rate);
}

void ModuleEffect::RunBlock() {
  // A mono input leaves the second port unconnected; both outputs are there whether they are wanted or not.
  std::array<float*, 2> inputs{buffer.Input()[0], buffer.InputChannels() == 2 ? buffer.Input()[1] : nullptr};
  std::array<float*, 2> outputs{buffer.Output()[0], buffer.Output()[1]};
  dsp::ProcessContext context = dsp::ProcessContext().WithPorts(inputs, outputs);
  context.sampleCount = buffer.BlockSize();
  context.tempo = 120.0f;
  context.isPlaying = 1;
  context.modeIsOne = 1;
  if (player) {
    player->Move(position, buffer.BlockSize(),
                 [this](uint32_t index, float value) { module->SetParam(index, value); });
  }
  position += buffer.BlockSize();
  const FlushDenormals guard;
  module->Process(context);
}

void ModuleEffect::Feed(const float* const* inputs, size_t frames, const Sink& sink) {
  buffer.Feed(inputs, frames, sink, [this] { RunBlock(); });
}

void ModuleEffect::Finish(const Sink& sink) {
  buffer.Finish(sink, [this] { RunBlock(); });
}

}  // namespace Vantora::offline
