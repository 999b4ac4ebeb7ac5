// What do the wavefolder and the shaper cost, and what do four lanes gain over the formula written plainly?
// Mono, blocks of 48; `ns_per_sample` is the figure to read. The plain forms take the library's functions
// sample by sample, gains included.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <numbers>
#include <string>
#include <vector>

#include "dsp/effects/MultiDist.h"
#include "dsp/effects/ShapingCurves.h"
#include "dsp/effects/Wavefolder.h"

namespace {

using namespace Vantora::dsp;

constexpr uint32_t kBlock = 48;

std::vector<float> Tone() {
  std::vector<float> tone(kBlock);
  for (uint32_t i = 0; i < kBlock; ++i) {
    tone[i] = static_cast<float>(0.8 * std::sin(2.0 * std::numbers::pi * 3.0 * i / kBlock));
  }
  return tone;
}

void Count(benchmark::State& state) {
  state.counters["ns_per_sample"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kBlock * 1e-9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// `drive` is moved from block to block unless `isStill`: then its gain must be taken sample by sample.
template <typename Effect>
void Run(benchmark::State& state, Effect& effect, uint32_t drive, bool isStill) {
  std::vector<float> in = Tone(), out(kBlock);
  float* inputs[] = {in.data(), nullptr, nullptr, nullptr, nullptr, nullptr};
  float* outputs[] = {out.data(), nullptr, nullptr, nullptr};
  ProcessContext context =
      ProcessContext().WithPorts({inputs, Effect::kInputCount}, {outputs, Effect::kOutputCount});
  context.sampleCount = kBlock;
  float dB = 12.0f;
  for (auto _ : state) {
    if (!isStill) effect.SetParamInternal(drive, dB = 24.0f - dB + 0.5f);
    effect.Process(context);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  Count(state);
}

void Fold(benchmark::State& state) {
  Wavefolder folder("");
  folder.Init(kBlock, 48000.0f);
  folder.SetParamInternal(Wavefolder::kType, state.range(0) == 0 ? 0.0f : 1.0f);
  folder.SetParamInternal(Wavefolder::kWet, 1.0f);
  folder.SetParamInternal(Wavefolder::kDrive, 12.0f);
  folder.SetParamInternal(Wavefolder::kAutoComp, 1.0f);
  folder.SetParamInternal(Wavefolder::kAntiAl, state.range(1) != 0 ? 1.0f : 0.0f);
  folder.SetParamInternal(Wavefolder::kUpsmp, state.range(2) != 0 ? 1.0f : 0.0f);
  Run(state, folder, Wavefolder::kDrive, state.range(3) != 0);
}
BENCHMARK(Fold)
    ->ArgNames({"triangle", "antialias", "upsample", "still"})
    ->Args({0, 0, 0, 0})
    ->Args({0, 0, 0, 1})
    ->Args({1, 0, 0, 0})
    ->Args({1, 0, 0, 1})
    ->Args({1, 1, 0, 1})
    ->Args({0, 0, 1, 1})
    ->Args({1, 1, 1, 1});

template <typename Shape>
void Plainly(benchmark::State& state, Shape&& shape) {
  // The gains come a sample at a time, as from their smoothers.
  std::vector<float> in = Tone(), out(kBlock), driveDb(kBlock, 12.0f);
  float wet = 1.0f, outputGain = 1.0f, compensation = 0.9f;
  benchmark::DoNotOptimize(driveDb.data());
  benchmark::DoNotOptimize(wet);
  benchmark::DoNotOptimize(outputGain);
  benchmark::DoNotOptimize(compensation);
  for (auto _ : state) {
    for (uint32_t i = 0; i < kBlock; ++i) out[i] = shape(in[i], driveDb[i], wet, outputGain, compensation);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  Count(state);
}

void FoldPlainly(benchmark::State& state) {
  const bool isTriangle = state.range(0) != 0;
  Plainly(state, [isTriangle](float x, float dB, float wet, float gain, float compensation) {
    const float g = std::pow(10.0f, dB / 20.0f);
    const float r = std::pow(g, 0.25f);
    const float driven = x * g * r;
    float y;
    if (isTriangle) {
      const float u = std::floor(0.5f * driven + 0.5f);
      y = std::fmod(u, 2.0f) != 0.0f ? 2.0f * u - driven : driven - 2.0f * u;
    } else {
      y = std::sin(driven * 1.5707964f);
    }
    return x - x * wet + wet * gain / r * compensation * y;
  });
}
BENCHMARK(FoldPlainly)->ArgName("triangle")->Arg(0)->Arg(1);

void Shape(benchmark::State& state) {
  MultiDist shaper("");
  shaper.Init(kBlock, 48000.0f);
  shaper.SetParamInternal(MultiDist::kDistType, static_cast<float>(state.range(0)));
  shaper.SetParamInternal(MultiDist::kDrive, 12.0f);
  shaper.SetParamInternal(MultiDist::kAntiAl, state.range(1) != 0 ? 1.0f : 0.0f);
  shaper.SetParamInternal(MultiDist::kUpsamp, state.range(2) != 0 ? 1.0f : 0.0f);
  state.SetLabel(std::string(kShapingCurveNames[static_cast<std::size_t>(state.range(0))]));
  Run(state, shaper, MultiDist::kDrive, state.range(3) != 0);
}
void EachCurve(benchmark::internal::Benchmark* benchmark) {
  benchmark->ArgNames({"algorithm", "antialias", "upsample", "still"});
  for (int algorithm = 0; algorithm < static_cast<int>(kShapingCurveCount); ++algorithm) {
    benchmark->Args({algorithm, 0, 0, 0})->Args({algorithm, 0, 0, 1})->Args({algorithm, 1, 0, 1});
  }
  benchmark->Args({3, 0, 1, 1})->Args({3, 1, 1, 1});
}
BENCHMARK(Shape)->Apply(EachCurve);

void ShapePlainly(benchmark::State& state) {
  VisitShapingCurve(static_cast<uint32_t>(state.range(0)), [&](auto curve) {
    Plainly(state, [](float x, float dB, float, float gain, float compensation) {
      return decltype(curve)::template Curve<float>(x * std::pow(10.0f, dB / 20.0f)) * compensation * gain;
    });
  });
  state.SetLabel(std::string(kShapingCurveNames[static_cast<std::size_t>(state.range(0))]));
}
BENCHMARK(ShapePlainly)->ArgName("algorithm")->DenseRange(0, static_cast<int>(kShapingCurveCount) - 1);

}  // namespace
