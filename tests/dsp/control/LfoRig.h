#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "basictools/math/mapping/PotardMappingUtils.h"
#include "dsp/control/LFO.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::dsp {

/// An LFO with a host around it: transport, tempo and song position, run in blocks.
class LfoRig {
 public:
  static constexpr uint32_t kBlock = 48;
  static constexpr double kRate = 48000.0;

  explicit LfoRig(uint32_t seed = 1, bool atControlRate = false) : lfo("LFO", seed) {
    lfo.ReDeclareParam(LFO::kRateUnSynced, MappingTools::Exponential, false, 0.025f, 50.0f, 3.0f);
    lfo.ReDeclareParam(LFO::kSmooth, MappingTools::Linear, false, 0.0f, 5.0f);
    lfo.SetParam(LFO::kConfAllowSyncAll, 1.0f);
    lfo.SetRateTable({16.0f, 8.0f, 4.0f, 2.0f, 1.0f, 0.5f, 0.25f, 0.125f, 0.0625f, 0.03125f});
    lfo.SetParamInternal(LFO::kControlRate, atControlRate ? 1.0f : 0.0f);
    lfo.Init(kBlock, static_cast<float>(kRate));
    Set(LFO::kMode, LFO::kFree);
  }

  void Set(uint32_t index, float value) { lfo.SetParamInternal(index, value); }
  void SetFree(float hertz) {
    Set(LFO::kMidiSync, 0.0f);
    Set(LFO::kRateUnSynced, hertz);
  }
  /// entry  number in the table of note lengths; 4 is a whole note
  void SetSynced(float entry) {
    Set(LFO::kMidiSync, 1.0f);
    Set(LFO::kRateSynced, entry);
  }

  /// Runs `count` samples and keeps what each step wrote.
  void Run(uint32_t count) {
    for (uint32_t done = 0; done < count; done += kBlock) RunBlock(std::min(kBlock, count - done));
  }

  void RunBlock(uint32_t count) {
    std::array<float*, 2> outputs{buffers[0].data(), aliased ? buffers[0].data() : buffers[1].data()};
    std::array<float*, 3> inputs{};
    for (size_t k = 0; k < 3; ++k) inputs[k] = ports[k].empty() ? nullptr : ports[k].data() + 1;
    ProcessContext context = ProcessContext().WithPorts(inputs, outputs);
    context.sampleCount = count;
    context.tempo = tempo;
    context.isPlaying = playing ? 1 : 0;
    context.songPosition = static_cast<float>(song);
    auto violations = test::Watch([&] { lfo.Process(context); });
    violations.pageFaults = 0;  // the first block touches code for the first time
    EXPECT_TRUE(violations.None()) << violations.Text();
    const uint32_t steps = lfo.GetParam(LFO::kControlRate) >= 0.5f ? std::min(1u, count) : count;
    for (uint32_t i = 0; i < steps; ++i) {
      if (lfo.GetTriggers()[i] > 0.5f) triggers.push_back(static_cast<int>(phases.size()));
      phases.push_back(lfo.GetPhases()[i]);
      cycles.push_back(lfo.GetCycles()[i]);
      out0.push_back(buffers[0][i]);
      out1.push_back(buffers[1][i]);
    }
    if (playing) song += count * static_cast<double>(tempo) / 60.0 / kRate;
  }

  /// A live control port that holds `values`.
  void Connect(uint32_t port, std::vector<float> values) {
    values.insert(values.begin(), kLiveMark);
    ports[port] = std::move(values);
  }

  void Forget() {
    phases.clear(), cycles.clear(), out0.clear(), out1.clear();
    triggers.clear();
  }

  LFO lfo;
  float tempo = 120.0f;
  bool playing = false;
  double song = 0.0;  // quarter notes
  bool aliased = false;
  std::array<std::array<float, kBlock>, 2> buffers{};
  std::array<std::vector<float>, 3> ports;
  std::vector<float> phases, cycles, out0, out1;
  std::vector<int> triggers;  // at which steps
};

}  // namespace Vantora::dsp
