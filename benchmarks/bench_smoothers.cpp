// What does a smoothed value cost, per sample?

#include <benchmark/benchmark.h>

#include <array>

#include "dsp/control/SmootherInterp.h"
#include "dsp/control/SmootherInterpLPF.h"
#include "dsp/control/SmootherLPF.h"
#include "dsp/control/SmootherSRL.h"

namespace Vantora::dsp {
namespace {

constexpr uint32_t kBlock = 44;  // 1 ms at 44.1 kHz

void Prepare(SmootherInterp& s) { s.Setup(1, kBlock, 44100.0f); }
void Prepare(SmootherInterpLPF& s) { s.Setup(1, kBlock, 44100.0f); }
void Prepare(SmootherSRL& s) { s.Setup(1, 44100.0f); }
void Prepare(SmootherLPF& s) { s.Setup(1, 44100.0f); }

/// Moves the target every block, so that the smoother never rests.
template <typename S>
void RunBlocks(benchmark::State& state, S smoother) {
  Prepare(smoother);
  std::array<float, kBlock> out{};
  float target = 1.0f;
  for (auto _ : state) {
    smoother.SetTarget(target);
    smoother.Render(out.data(), kBlock);
    target = -target;
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBlock);
}

template <typename S>
void RunTicks(benchmark::State& state, S smoother) {
  Prepare(smoother);
  float target = 1.0f;
  for (auto _ : state) {
    smoother.SetTarget(target);
    for (uint32_t i = 0; i < kBlock; ++i) benchmark::DoNotOptimize(smoother.Tick());
    target = -target;
  }
  state.SetItemsProcessed(state.iterations() * kBlock);
}

template <typename S>
void RunSettled(benchmark::State& state, S smoother) {
  Prepare(smoother);
  std::array<float, kBlock> out{};
  for (auto _ : state) {
    smoother.Render(out.data(), kBlock);
    benchmark::DoNotOptimize(out);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBlock);
}

BENCHMARK_CAPTURE(RunBlocks, SRL, SmootherSRL(0.1f));
BENCHMARK_CAPTURE(RunTicks, SRL, SmootherSRL(0.1f));
BENCHMARK_CAPTURE(RunBlocks, Interp, SmootherInterp());
BENCHMARK_CAPTURE(RunTicks, Interp, SmootherInterp());
BENCHMARK_CAPTURE(RunBlocks, LPF, SmootherLPF(0.1f));
BENCHMARK_CAPTURE(RunTicks, LPF, SmootherLPF(0.1f));
BENCHMARK_CAPTURE(RunBlocks, InterpLPF, SmootherInterpLPF(0.1f));
BENCHMARK_CAPTURE(RunTicks, InterpLPF, SmootherInterpLPF(0.1f));
BENCHMARK_CAPTURE(RunSettled, LPF, SmootherLPF(0.1f));

}  // namespace
}  // namespace Vantora::dsp
