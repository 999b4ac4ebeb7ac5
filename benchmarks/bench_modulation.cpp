// What do the control sources cost: an LFO per block at control rate and per sample, a follower per sample?

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>

#include "dsp/control/EnvFollower.h"
#include "dsp/control/LFO.h"

namespace Vantora::dsp {
namespace {

constexpr uint32_t kBlock = 48;

/// A block of a sine for the inputs, and somewhere to write.
struct Ports {
  Ports() {
    for (uint32_t i = 0; i < kBlock; ++i) audio[i] = std::sin(0.2f * static_cast<float>(i));
    context = context.WithPorts({}, outputs);
    context.sampleCount = kBlock;
    context.tempo = 120.0f;
  }
  std::array<float, kBlock> audio{}, out{};
  float* inputs[2] = {audio.data(), audio.data()};
  float* outputs[1] = {out.data()};
  ProcessContext context;
};

void RunLfo(benchmark::State& state, bool controlRate, float waveform, float sync, float smooth) {
  LFO lfo("LFO", 1);
  lfo.SetParamInternal(LFO::kControlRate, controlRate ? 1.0f : 0.0f);
  lfo.SetParamInternal(LFO::kWaveform, waveform);
  lfo.SetParamInternal(LFO::kMidiSync, sync);
  lfo.SetParamInternal(LFO::kRateUnSynced, 1.0f);
  lfo.SetParamInternal(LFO::kSmooth, smooth);
  lfo.Init(kBlock, 48000.0f);
  Ports ports;
  for (auto _ : state) {
    lfo.Process(ports.context);
    benchmark::DoNotOptimize(ports.out);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * (controlRate ? 1 : kBlock));
}
BENCHMARK_CAPTURE(RunLfo, ControlRateSine, true, LFO::kSine, 0.0f, 0.0f);
BENCHMARK_CAPTURE(RunLfo, ControlRateSyncedSmoothSine, true, LFO::kSine, 1.0f, 0.1f);
BENCHMARK_CAPTURE(RunLfo, Sine, false, LFO::kSine, 0.0f, 0.0f);
BENCHMARK_CAPTURE(RunLfo, SyncedSine, false, LFO::kSine, 1.0f, 0.0f);
BENCHMARK_CAPTURE(RunLfo, SampleAndHold, false, LFO::kSampleAndHold, 0.0f, 0.0f);

void RunFollower(benchmark::State& state, float window, float stereo, float gate) {
  EnvFollower follower("Env");
  follower.SetParamInternal(EnvFollower::kRmsWindow, window);
  follower.SetParamInternal(EnvFollower::kStereoInput, stereo);
  follower.SetParamInternal(EnvFollower::kThreshold, -40.0f);
  follower.SetParamInternal(EnvFollower::kThresholdActive, gate);
  follower.Init(kBlock, 48000.0f);
  Ports ports;
  ports.context = ports.context.WithInputs(ports.inputs);
  for (auto _ : state) {
    follower.Process(ports.context);
    benchmark::DoNotOptimize(ports.out);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBlock);
}
BENCHMARK_CAPTURE(RunFollower, Rms, 10.0f, 0.0f, 0.0f);
BENCHMARK_CAPTURE(RunFollower, RmsStereoGate, 10.0f, 1.0f, 1.0f);
BENCHMARK_CAPTURE(RunFollower, Peak, 0.0f, 0.0f, 0.0f);

}  // namespace
}  // namespace Vantora::dsp
