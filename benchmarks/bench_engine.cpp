// What does the frame cost around the sound: parameter writes, idle clones, an idle block?

#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

#include "engine/ModuleCloner.h"
#include "engine/PassThrough.h"
#include "processor/PrismelVst3ProcessorFactory.h"

namespace Vantora {
namespace {

void SetParamOfAModule(benchmark::State& state) {
  dsp::PassThrough module("");
  float position = 0.0f;
  for (auto _ : state) {
    module.SetParam(0, position);
    position = position > 0.5f ? 0.0f : position + 0.1f;
  }
}
BENCHMARK(SetParamOfAModule);

/// From the binary interface down to eight clones' inner module, two variants deep.
void SetParamValueThroughTheWholeDepth(benchmark::State& state) {
  Processor::PrismelVst3ProcessorFactory factory;
  const std::unique_ptr<Processor::IProcessor_V7> processor(factory.CreateProcessor());
  const auto index = static_cast<uint32_t>(state.range(0));
  float position = 0.0f;
  for (auto _ : state) {
    processor->SetParamValue(index, position);
    position = position > 0.5f ? 0.0f : position + 0.1f;
  }
}
// A bank's shaper, "FXType" with its sixteen followers, an own parameter of the frame.
BENCHMARK(SetParamValueThroughTheWholeDepth)->ArgName("index")->Arg(51)->Arg(169)->Arg(219);

void BlockOfEightIdleClones(benchmark::State& state) {
  engine::ModuleCloner<dsp::PassThrough, 8, engine::ClonerMode{0}, 0> bank(
      "", {0, 0}, [](uint32_t) { return dsp::PassThrough(""); });
  bank.Init(48, 48000.0f);
  std::array<float*, 16> ports{};  // null: the clones have nothing to copy
  dsp::ProcessContext context = dsp::ProcessContext().WithPorts(ports, ports);
  context.sampleCount = 48;
  for (auto _ : state) benchmark::DoNotOptimize(bank.Process(context));
}
BENCHMARK(BlockOfEightIdleClones);

/// A block of silence through the fresh effect.
void IdleBlock(benchmark::State& state) {
  Processor::PrismelVst3ProcessorFactory factory;
  const std::unique_ptr<Processor::IProcessor_V7> processor(factory.CreateProcessor());
  processor->Attach(nullptr);
  const Processor::ProcessorConfig config{48000.0f};
  processor->Init(&config);
  std::vector<float> silence(48), left(48), right(48);
  std::array<float*, 2> inputs = {silence.data(), silence.data()};
  std::array<float*, 2> outputs = {left.data(), right.data()};
  Processor::ProcessData data{};
  data.inputs = inputs.data();
  data.outputs = outputs.data();
  data.inputCount = data.outputCount = 2;
  data.sampleCount = 48;
  data.tempo = 120.0f;
  for (auto _ : state) processor->Process(&data);
}
BENCHMARK(IdleBlock);

}  // namespace
}  // namespace Vantora
