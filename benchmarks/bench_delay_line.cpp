// What does a delayed sample cost?

#include <benchmark/benchmark.h>

#include "dsp/control/AllPassDelay.h"
#include "dsp/control/DelayLine.h"

namespace Vantora::dsp {
namespace {

constexpr uint32_t kSize = 44100;  // a second
constexpr uint32_t kDelay = 1000;

DelayLine MakeFullLine() {
  DelayLine line;
  line.Resize(kSize);
  for (uint32_t i = 0; i < kSize + 100; ++i) line.Write(static_cast<float>(i & 63u));
  return line;
}

void Write(benchmark::State& state) {
  DelayLine line = MakeFullLine();
  for (auto _ : state) {
    line.Write(0.5f);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(Write);

void WriteAndRead(benchmark::State& state) {
  DelayLine line = MakeFullLine();
  for (auto _ : state) {
    line.Write(0.5f);
    benchmark::DoNotOptimize(line.Read(kDelay));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(WriteAndRead);

void WriteAndReadInterpolated(benchmark::State& state) {
  DelayLine line = MakeFullLine();
  const auto mode = static_cast<uint32_t>(state.range(0));
  float frac = 0.25f;
  for (auto _ : state) {
    line.Write(0.5f);
    benchmark::DoNotOptimize(frac);
    benchmark::DoNotOptimize(line.ReadInterpolated(kDelay, mode, frac));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(WriteAndReadInterpolated)
    ->Arg(kInterpolationLinear)
    ->Arg(kInterpolationFifthOrder)
    ->Arg(kInterpolationAllPass);

void ClearLine(benchmark::State& state) {
  DelayLine line = MakeFullLine();
  for (auto _ : state) {
    line.Clear();
    benchmark::ClobberMemory();
  }
}
BENCHMARK(ClearLine);

void AllPass(benchmark::State& state) {
  AllPassDelay allPass;
  allPass.Configure(kSize, kDelay, 0.6f);
  for (auto _ : state) {
    benchmark::DoNotOptimize(allPass.Process(0.5f));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(AllPass);

}  // namespace
}  // namespace Vantora::dsp
