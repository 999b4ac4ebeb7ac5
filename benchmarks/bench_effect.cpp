// What does the whole effect cost, through the binary interface: for every stage effect, number of voices and
// rate? scripts/performance turns the result into docs/performance.md.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <memory>
#include <vector>

#include "processor/PrismelVst3ProcessorFactory.h"

namespace Vantora::Processor {
namespace {

constexpr std::array<const char*, 6> kTypes = {"pass-through", "band-pass",  "comb",
                                               "crusher",      "distortion", "harmonizer"};

/// The effect at work: all knobs of the stage effects in the middle, the LFO moving, a busy input.
class Session {
 public:
  Session(int type, int voices, float sampleRate) {
    PrismelVst3ProcessorFactory factory;
    processor.reset(factory.CreateProcessor());
    processor->Attach(nullptr);
    const ProcessorConfig config{sampleRate};
    processor->Init(&config);
    for (const uint32_t knob : {158u, 159u, 160u, 161u, 162u, 163u, 164u, 166u, 167u, 168u}) {
      processor->SetParamValue(knob, 0.6f);
    }
    processor->SetParamValue(169, static_cast<float>(type) / 5.0f);
    processor->SetParamValue(152, static_cast<float>(voices - 1) / 7.0f);
    processor->SetParamValue(222, 0.7f);
    processor->SetParamValue(223, 0.6f);
    frames = processor->GetBlockSize(sampleRate);
    for (auto* buffer : {&left, &right, &outLeft, &outRight}) buffer->resize(frames);
    uint32_t x = 1;
    for (uint32_t i = 0; i < frames; ++i) {
      left[i] = static_cast<float>((x = x * 1664525u + 1013904223u) >> 8) * 5e-8f - 0.4f;
      right[i] = -left[i];
    }
    data.inputs = inputs.data();
    data.outputs = outputs.data();
    data.inputCount = data.outputCount = 2;
    data.sampleCount = frames;
    data.tempo = 120.0f;
    inputs = {left.data(), right.data()};
    outputs = {outLeft.data(), outRight.data()};
    for (int i = 0; i < 1000; ++i) Block();
  }
  void Block() { processor->Process(&data); }
  uint32_t Frames() const { return frames; }

 private:
  std::unique_ptr<IProcessor_V7> processor;
  uint32_t frames = 0;
  std::vector<float> left, right, outLeft, outRight;
  std::array<float*, 2> inputs{}, outputs{};
  ProcessData data{};
};

void Effect(benchmark::State& state) {
  const auto sampleRate = static_cast<float>(state.range(2));
  Session session(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), sampleRate);
  using Clock = std::chrono::steady_clock;
  // The 99.9th percentile stands for the worst block: the single worst is the operating system's.
  std::vector<double> blocks;
  for (auto _ : state) {
    const auto start = Clock::now();
    session.Block();
    blocks.push_back(std::chrono::duration<double, std::nano>(Clock::now() - start).count());
  }
  std::sort(blocks.begin(), blocks.end());
  const double median = blocks[blocks.size() / 2];
  const double worst = blocks[blocks.size() - 1 - blocks.size() / 1000];
  const double budget = 1e9 * session.Frames() / static_cast<double>(sampleRate);
  state.SetLabel(kTypes[static_cast<size_t>(state.range(0))]);
  state.counters["ns_per_frame"] = median / session.Frames();
  state.counters["load_percent"] = 100.0 * median / budget;
  state.counters["worst_load_percent"] = 100.0 * worst / budget;
}
BENCHMARK(Effect)
    ->ArgsProduct({{0, 1, 2, 3, 4, 5}, {1, 4, 8}, {44100, 48000, 96000, 192000}})
    ->ArgNames({"type", "voices", "rate"})
    ->MinTime(0.1);

}  // namespace
}  // namespace Vantora::Processor
