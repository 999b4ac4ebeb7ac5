// What does each knob curve cost, per value, alone and in blocks?

#include <benchmark/benchmark.h>

#include <array>
#include <string>

#include "basictools/math/mapping/PotardMappingUtils.h"

namespace Vantora::MappingTools {
namespace {

constexpr uint32_t kBlock = 64;

struct Curve {
  const char* name;
  uint32_t kind;
  float arg1, arg2;
};

constexpr Curve kCurves[] = {{"Linear", Linear, 1, 0.5f},
                             {"Polynomial", Polynomial, 2.5f, 0.5f},
                             {"InvPolynomial", InvPolynomial, 2.5f, 0.5f},
                             {"Exponential", Exponential, 6.0f, 0.5f},
                             {"BipolarExp", BipolarExp, 3.0f, 0.5f},
                             {"BipolarPolynomial", BipolarPolynomial, 3.0f, 0.5f},
                             {"BipolarVariableCenterInvPow", BipolarVariableCenterInvPow, 2.5f, 0.3f},
                             {"EnveloppeTime", EnveloppeTime, 1, 0.5f},
                             {"MixerTime", MixerTime, 1, 0.5f},
                             {"VuMeter", VuMeter, 1, 0.5f},
                             {"Harmonic", Harmonic, 4.0f, 0.5f},
                             {"Reverse", Reverse, 1, 0.5f},
                             {"PiecewiseLinear", PiecewiseLinear, 0.2f, 0.5f},
                             {"Inverse", Inverse, 10.0f, 100.0f},
                             {"SemiToneToFreq", SemiToneToFreq, 440.0f, 25.0f}};

std::array<float, kBlock> Positions() {
  std::array<float, kBlock> x;
  for (uint32_t i = 0; i < kBlock; ++i) x[i] = static_cast<float>(i) / kBlock;
  return x;
}

void RunSingle(benchmark::State& state, const Curve& c) {
  const PotardMappingHolder curve = MakePotardMapping(c.kind, 0, 0.0f, 1.0f, c.arg1, c.arg2);
  const auto positions = Positions();
  for (auto _ : state) {
    for (const float x : positions) benchmark::DoNotOptimize(curve.ToValue(x));
  }
  state.SetItemsProcessed(state.iterations() * kBlock);
}

void RunBlock(benchmark::State& state, const Curve& c) {
  const PotardMappingHolder curve = MakePotardMapping(c.kind, 0, 0.0f, 1.0f, c.arg1, c.arg2);
  const auto positions = Positions();
  for (auto _ : state) {
    auto data = positions;
    curve.ToValueBlock(data.data(), kBlock);
    benchmark::DoNotOptimize(data);
  }
  state.SetItemsProcessed(state.iterations() * kBlock);
}

const bool kRegistered = [] {
  for (const Curve& c : kCurves) {
    benchmark::RegisterBenchmark((std::string("ToValue/") + c.name).c_str(),
                                 [&c](benchmark::State& state) { RunSingle(state, c); });
    benchmark::RegisterBenchmark((std::string("ToValueBlock/") + c.name).c_str(),
                                 [&c](benchmark::State& state) { RunBlock(state, c); });
  }
  return true;
}();

}  // namespace
}  // namespace Vantora::MappingTools
