// What does a stage effect cost, per sample of one clone, alone and with sixteen clones side by side?

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "basictools/FlushDenormals.h"
#include "dsp/effects/BitCrusher.h"
#include "dsp/effects/MultiModeFilter.h"
#include "dsp/effects/PitchShifter.h"

namespace Vantora::dsp {
namespace {

constexpr uint32_t kBlock = 48;
constexpr uint32_t kClones = 16;

/// A clone with its ports and a noise-like input.
template <typename Effect>
struct Clone {
  explicit Clone(std::unique_ptr<Effect> subject) : effect(std::move(subject)) {
    uint32_t x = 1;
    for (float& sample : in)
      sample = static_cast<float>((x = x * 1664525u + 1013904223u) >> 8) * 1e-7f - 0.8f;
    effect->Init(kBlock, 48000.0f);
    inputs[0] = in.data();
    outputs[0] = out.data();
    context = context.WithPorts(inputs, outputs);
    context.sampleCount = kBlock;
  }
  std::unique_ptr<Effect> effect;
  std::array<float, kBlock> in{};
  std::array<float, kBlock> out{};
  std::array<float*, Effect::kInputCount> inputs{};
  std::array<float*, Effect::kOutputCount> outputs{};
  ProcessContext context;
};

std::unique_ptr<MultiModeFilter> MakeFilter(uint32_t mode) {
  auto filter = std::make_unique<MultiModeFilter>("");
  filter->SetAllowedModes({mode});
  filter->SetParam(MultiModeFilter::kFreq, 0.6f);
  filter->SetParam(MultiModeFilter::kCombFreq, 0.4f);
  filter->SetParam(MultiModeFilter::kQ, 0.5f);
  return filter;
}

std::unique_ptr<MultiModeFilter> MakeBandPass() { return MakeFilter(11); }
std::unique_ptr<MultiModeFilter> MakeComb() { return MakeFilter(18); }

std::unique_ptr<BitCrusher> MakeCrusher() {
  auto crusher = std::make_unique<BitCrusher>("", 1u);
  for (const uint32_t index : {BitCrusher::kWet, BitCrusher::kConfAliasing, BitCrusher::kConfScale}) {
    crusher->SetParam(index, 1.0f);
  }
  crusher->SetParamInternal(BitCrusher::kScale, 16.0f);
  crusher->SetParamInternal(BitCrusher::kMode, 1.0f);
  crusher->SetParamInternal(BitCrusher::kBitdepth, 8.0f);
  crusher->SetParamInternal(BitCrusher::kDownsample, 4.0f);
  return crusher;
}

std::unique_ptr<PitchShifter> MakeShifter() {
  auto shifter = std::make_unique<PitchShifter>("");
  shifter->SetParamInternal(PitchShifter::kPitchShift, 7.0f);
  shifter->SetParamInternal(PitchShifter::kSpray, 100.0f);
  return shifter;
}

template <typename Effect>
void RunAlone(benchmark::State& state, std::unique_ptr<Effect> (*make)()) {
  const FlushDenormals guard;
  std::vector<std::unique_ptr<Clone<Effect>>> clones;
  for (uint32_t i = 0; i < kClones; ++i) clones.push_back(std::make_unique<Clone<Effect>>(make()));
  for (auto _ : state) {
    for (auto& clone : clones) clone->effect->Process(clone->context);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBlock * kClones);
}

template <typename Effect>
void RunBanked(benchmark::State& state, std::unique_ptr<Effect> (*make)()) {
  const FlushDenormals guard;
  LaneBank bank;
  std::vector<std::unique_ptr<Clone<Effect>>> clones;
  for (uint32_t i = 0; i < kClones; ++i) {
    clones.push_back(std::make_unique<Clone<Effect>>(make()));
    clones.back()->effect->SetBank(&bank);
  }
  for (auto _ : state) {
    bank.Open();
    for (auto& clone : clones) clone->effect->Process(clone->context);
    bank.Run(kBlock);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBlock * kClones);
}

/// One sample through one state-variable section.
struct SectionSample {
  float bandPass, lowPass;
};
SectionSample PlainSection(const StateVariableCoefficients& c, StateVariableState<float>& s, float x) {
  const float u = x - s.s2;
  const float b = c.g1 * s.s1 + c.g2 * u;
  const float l = s.s2 + c.g2 * s.s1 + c.g3 * u;
  s.s1 = 2.0f * b - s.s1;
  s.s2 = 2.0f * l - s.s2;
  return {b, l};
}

/// The band-pass as the formulas read: one sample, one section after the other, memory in place.
void BandPassPlain(benchmark::State& state) {
  const FlushDenormals guard;
  auto clone = std::make_unique<Clone<MultiModeFilter>>(MakeBandPass());
  StateVariableChain chain;
  chain.now.Tune(0.1f, 0.5f);
  chain.now.m1 = 1.0f;
  volatile float gain = 0.5f;
  for (auto _ : state) {
    for (uint32_t i = 0; i < kBlock; ++i) {
      chain.now.g1 += chain.step.g1;
      chain.now.g2 += chain.step.g2;
      chain.now.g3 += chain.step.g3;
      chain.now.m1 += chain.step.m1;
      float y = clone->in[i];
      for (auto& section : chain.sections[0]) y = chain.now.m1 * PlainSection(chain.now, section, y).bandPass;
      clone->out[i] = y * gain;
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBlock);
}

/// The heads of the pitch shifter with the library's sine and power in place of the tables and the parabola.
void HeadsPlain(benchmark::State& state) {
  const GrainShape grain = GrainShape::ForInterval(7.0f, 48000.0f);
  std::array<float, kBlock> a{}, b{};
  float phase = 0.0f;
  for (auto _ : state) {
    for (uint32_t i = 0; i < kBlock; ++i) {
      phase = std::fmod(phase + grain.rate / 48000.0f, 1.0f);
      for (auto* gain : {&a, &b}) {
        const float h = std::fmod(phase + (gain == &a ? 1.0f : 1.5f), 1.0f);
        const float t =
            std::fmin(std::fmax((1.0f - 2.0f * h) * (1.0f - grain.width) + grain.width, 0.0f), 1.0f);
        const float v = t < grain.width ? t : 1.0f - t;
        (*gain)[i] = v < grain.width ? std::sin(1.5707964f * v / grain.width) : 1.0f;
      }
    }
    benchmark::DoNotOptimize(a);
    benchmark::DoNotOptimize(b);
  }
  state.SetItemsProcessed(state.iterations() * kBlock);
}

/// The crusher as the formulas read, with the library's logarithm and power.
void CrusherPlain(benchmark::State& state) {
  const FlushDenormals guard;
  auto clone = std::make_unique<Clone<BitCrusher>>(MakeCrusher());
  CrusherSettings c;
  c.SetWordLength(8.0f);
  c.antiAlias.Tune(0.4f, 1.4142071f);
  CrusherChannel m;
  m.SetPeriod(4.35f);
  for (auto _ : state) {
    for (uint32_t i = 0; i < kBlock; ++i) {
      const float s = clone->in[i] * 0.999f;
      float y = s + m.dc;
      m.dc = -(-0.999f * y + s);
      for (auto& section : m.antiAlias) y = PlainSection(c.antiAlias, section, y).lowPass;
      if (++m.phase > m.period) {
        m.phase -= m.period;
        m.held = std::fmin(std::fmax(y, -1.0f), 1.0f);
      }
      float v = std::copysign(std::log10(1.0f + 16.0f * std::fabs(m.held)) / std::log10(17.0f), m.held);
      v = std::copysign(std::trunc(c.halfScale * std::fabs(v)) * c.doubleStep + c.step, v);
      clone->out[i] = std::copysign((std::pow(17.0f, std::fabs(v)) - 1.0f) / 16.0f, v);
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBlock);
}

void BandPassAlone(benchmark::State& state) { RunAlone(state, MakeBandPass); }
void BandPassSideBySide(benchmark::State& state) { RunBanked(state, MakeBandPass); }
void CombAlone(benchmark::State& state) { RunAlone(state, MakeComb); }
void CrusherAlone(benchmark::State& state) { RunAlone(state, MakeCrusher); }
void CrusherSideBySide(benchmark::State& state) { RunBanked(state, MakeCrusher); }
void ShifterAlone(benchmark::State& state) { RunAlone(state, MakeShifter); }

BENCHMARK(BandPassPlain);
BENCHMARK(BandPassAlone);
BENCHMARK(BandPassSideBySide);
BENCHMARK(CombAlone);
BENCHMARK(CrusherPlain);
BENCHMARK(CrusherAlone);
BENCHMARK(CrusherSideBySide);
BENCHMARK(HeadsPlain);
BENCHMARK(ShifterAlone);

}  // namespace
}  // namespace Vantora::dsp
