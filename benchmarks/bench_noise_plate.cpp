// What does a sample of noise of each colour cost, and what a frame of the plate? Blocks of 48 at 48 kHz,
// stereo for the plate. Beside the pink bank, which runs its poles in lanes, stands the same bank pole by
// pole; beside the plate, the same tank on plain rings.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "basictools/math/Xorshift.h"
#include "dsp/effects/NoiseGenerator.h"
#include "dsp/effects/Reverb.h"

namespace {

using namespace Vantora;
using namespace Vantora::dsp;

constexpr uint32_t kBlock = 48;

void Count(benchmark::State& state) {
  state.counters["ns_per_frame"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * kBlock * 1e-9,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

template <typename Effect>
void Run(benchmark::State& state, Effect& effect) {
  std::vector<float> left(kBlock), right(kBlock), outLeft(kBlock), outRight(kBlock);
  uint32_t x = 1;
  for (uint32_t i = 0; i < kBlock; ++i) {
    left[i] = ToBipolar(x = XorshiftStep(x));
    right[i] = ToBipolar(x = XorshiftStep(x));
  }
  float* inputs[] = {left.data(), right.data()};
  float* outputs[] = {outLeft.data(), outRight.data()};
  ProcessContext context = ProcessContext().WithPorts({inputs, Effect::kInputCount == 2 ? 2u : 0u},
                                                      {outputs, Effect::kOutputCount});
  context.sampleCount = kBlock;
  for (auto _ : state) {
    effect.Process(context);
    benchmark::DoNotOptimize(outLeft.data());
    benchmark::ClobberMemory();
  }
  Count(state);
}

void Noise(benchmark::State& state) {
  NoiseGenerator noise("", 1);
  noise.Init(kBlock, 48000.0f);
  noise.SetParamInternal(NoiseGenerator::kNoiseType, static_cast<float>(state.range(0)));
  noise.SetParamInternal(NoiseGenerator::kNoiseColor, 0.1f);
  state.SetLabel(std::string(NoiseGenerator::kTypeNames[static_cast<std::size_t>(state.range(0))]));
  Run(state, noise);
}
BENCHMARK(Noise)->ArgName("type")->DenseRange(0, NoiseGenerator::kTypeCount - 1);

void PinkPoleByPole(benchmark::State& state) {
  std::vector<float> coefs, weights, states, out(kBlock);
  for (double f = 1.7; f < 48000.0 * 0.159154937 - 1.0; f *= 4.0) {
    weights.push_back(static_cast<float>(std::pow(0.5, coefs.size())));
    coefs.push_back(static_cast<float>(f * 6.28318548 / 48000.0));
    states.push_back(0.0f);
  }
  uint32_t random = 1;
  for (auto _ : state) {
    for (uint32_t i = 0; i < kBlock; ++i) {
      const float x = ToBipolar(random = XorshiftStep(random));
      float sum = 0.0f;
      for (std::size_t p = 0; p < coefs.size(); ++p) {
        states[p] += (x - states[p]) * coefs[p];
        sum += states[p] * weights[p];
      }
      out[i] = sum < -1.0f ? -1.0f : sum > 1.0f ? 1.0f : sum;
    }
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  Count(state);
}
BENCHMARK(PinkPoleByPole);

void Plate(benchmark::State& state) {
  Reverb plate("");
  plate.Init(kBlock, 48000.0f);
  if (state.range(0) != 0) {
    plate.SetParamInternal(Reverb::kOwnBase + Reverb::kLowPass, 8000.0f);
    plate.SetParamInternal(Reverb::kOwnBase + Reverb::kHighPass, 100.0f);
  }
  if (state.range(1) != 0) {
    plate.SetParamInternal(DattorroCore::kExcursion, 5.0f);
    plate.SetParamInternal(DattorroCore::kRate, 5.0f);
  }
  Run(state, plate);
}
BENCHMARK(Plate)->ArgNames({"bandlimit", "fastmodulation"})->Args({0, 0})->Args({1, 0})->Args({0, 1});

void Tank(benchmark::State& state) {
  DattorroCore tank("");
  tank.Init(kBlock, 48000.0f);
  Run(state, tank);
}
BENCHMARK(Tank);

/// The default tank as one would write it down: rings with a remainder for wrapping, library sines.
class PlainTank {
 public:
  PlainTank() {
    for (const float length : {142.0f, 407.0f, 379.0f, 277.0f, 908.0f, 4217.0f, 2656.0f, 3163.0f, 672.0f,
                               4453.0f, 1800.0f, 3720.0f}) {
      const auto samples = static_cast<uint32_t>(length * 48000.0f / 29761.0f);
      lengths.push_back(samples);
      rings.emplace_back(2 * samples + 10, 0.0f);
    }
  }

  void Tick(float x, float& left, float& right) {
    left = 0.6f *
           (At(5, 429) + At(5, 4796) - At(6, 3085) + At(7, 3219) - At(9, 3209) - At(10, 301) - At(11, 1719));
    right = 0.6f *
            (At(9, 569) + At(9, 5849) - At(10, 1980) + At(11, 4311) - At(5, 3404) - At(6, 540) - At(7, 195));
    const float endOfA = At(7, lengths[7]), endOfB = At(11, lengths[11]);
    for (uint32_t i = 0; i < 4; ++i) x = AllPass(i, x, i < 2 ? 0.75f : 0.625f, 0.0f);
    Half(4, x + 0.5f * endOfB, damped[0], phase[0]);
    Half(8, x + 0.5f * endOfA, damped[1], phase[1]);
    phase[0] += 2.0 * 3.14159265 / 48000.0;
    phase[1] += 0.9 * 2.0 * 3.14159265 / 48000.0;
    ++now;
  }

 private:
  float& At(std::size_t ring, uint32_t delay) {
    const std::size_t size = rings[ring].size();
    return rings[ring][(now + size * 2 - delay) % size];
  }
  float AllPass(std::size_t ring, float x, float gain, float offset) {
    const float t = static_cast<float>(lengths[ring]) + offset;
    const auto whole = static_cast<uint32_t>(t);
    const float a = At(ring, whole), b = At(ring, whole + 1);
    const float d = a + (b - a) * (t - static_cast<float>(whole));
    const float v = x - gain * d;
    At(ring, 0) = v;
    return gain * v + d;
  }
  void Half(std::size_t first, float x, float& state, double angle) {
    const float behind = At(first + 1, lengths[first + 1]);
    At(first + 1, 0) = AllPass(first, x, -0.7f, 25.8f * static_cast<float>(std::sin(angle)));
    state += 0.9995f * (behind - state);
    At(first + 3, 0) = AllPass(first + 2, 0.5f * state, 0.5f, 25.8f * static_cast<float>(std::cos(angle)));
  }

  std::vector<uint32_t> lengths;
  std::vector<std::vector<float>> rings;
  float damped[2] = {0.0f, 0.0f};
  double phase[2] = {0.0, 0.0};
  std::size_t now = 0;
};

void TankPlainly(benchmark::State& state) {
  PlainTank tank;
  std::vector<float> left(kBlock), right(kBlock);
  uint32_t x = 1;
  for (auto _ : state) {
    for (uint32_t i = 0; i < kBlock; ++i) tank.Tick(ToBipolar(x = XorshiftStep(x)), left[i], right[i]);
    benchmark::DoNotOptimize(left.data());
    benchmark::ClobberMemory();
  }
  Count(state);
}
BENCHMARK(TankPlainly);

}  // namespace
