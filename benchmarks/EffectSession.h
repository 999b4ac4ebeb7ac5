#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/processor/LoadedProcessor.h"

namespace Vantora::benchmarks {

/// One way for the effect to be at work. The stage effect's knobs and "Prismelion" stand at 0.6, all is wet,
/// the input is noise.
struct Case {
  std::string name;
  uint32_t type;          ///< of the stage effect, 0..5
  uint32_t algorithm;     ///< of the distortion, 0..3
  uint32_t voices;        ///< 1..8
  float lfoDepth = 0.0f;  ///< of both amounts, 0..1
  bool isSilent = false;  ///< silence, after seconds of noise
};

/// The stage effects with a number of voices, by the names that the tables use.
inline std::vector<Case> EffectCases(uint32_t voices, float lfoDepth = 0.0f) {
  return {{"pass-through", 0, 0, voices, lfoDepth}, {"band-pass", 1, 0, voices, lfoDepth},
          {"comb", 2, 0, voices, lfoDepth},         {"crusher", 3, 0, voices, lfoDepth},
          {"one-sided", 4, 0, voices, lfoDepth},    {"cold tube", 4, 1, voices, lfoDepth},
          {"sine shaper", 4, 2, voices, lfoDepth},  {"wavefolder", 4, 3, voices, lfoDepth},
          {"harmonizer", 5, 0, voices, lfoDepth}};
}

/// A processor of a library at work on a case.
class Session {
 public:
  /// `warmUp` blocks run at once, so that everything has settled.
  Session(const test::LoadedLibrary& library, const Case& what, float sampleRate, uint32_t warmUp = 2500) {
    const std::unique_ptr<Processor::IProcessorFactory> factory(library.MakeFactory());
    processor.reset(factory->CreateProcessor());
    processor->Attach(nullptr);
    const Processor::ProcessorConfig config{sampleRate};
    processor->Init(&config);
    for (const uint32_t knob : {158u, 159u, 160u, 161u, 162u, 163u, 164u, 166u, 168u}) {
      processor->SetParamValue(knob, 0.6f);
    }
    processor->SetParamValue(155, 1.0f);
    processor->SetParamValue(167, 2.0f / 11.0f);
    processor->SetParamValue(165, static_cast<float>(what.algorithm) / 3.0f);
    processor->SetParamValue(169, static_cast<float>(what.type) / 5.0f);
    processor->SetParamValue(152, static_cast<float>(what.voices - 1) / 7.0f);
    const float amount = 0.5f + 0.5f * what.lfoDepth;
    processor->SetParamValue(222, amount);
    processor->SetParamValue(223, amount);
    processor->SetParamValue(177, 0.5f);
    frames = processor->GetBlockSize(sampleRate);
    // Longer than a block, so that no block is the one before.
    noise.resize(frames * kNoiseBlocks);
    uint32_t x = 1;
    for (float& sample : noise)
      sample = static_cast<float>((x = x * 1664525u + 1013904223u) >> 8) * 5e-8f - 0.4f;
    for (auto& buffer : out) buffer.resize(frames);
    data.inputs = inputs.data();
    data.outputs = outputs.data();
    data.inputCount = data.outputCount = 2;
    data.sampleCount = frames;
    data.tempo = 120.0f;
    outputs = {out[0].data(), out[1].data()};
    for (uint32_t i = 0; i < warmUp; ++i) Block();
    if (!what.isSilent) return;
    std::fill(noise.begin(), noise.end(), 0.0f);
    for (uint32_t i = 0; i < 20000; ++i) Block();
  }

  void Block() {
    inputs = {noise.data() + place * frames, noise.data() + (kNoiseBlocks - 1 - place) * frames};
    place = (place + 1) % kNoiseBlocks;
    processor->Process(&data);
  }
  uint32_t Frames() const { return frames; }

 private:
  static constexpr uint32_t kNoiseBlocks = 64;
  std::unique_ptr<Processor::IProcessor_V7> processor;
  uint32_t frames = 0;
  uint32_t place = 0;
  std::vector<float> noise;
  std::array<std::vector<float>, 2> out;
  std::array<float*, 2> inputs{}, outputs{};
  Processor::ProcessData data{};
};

}  // namespace Vantora::benchmarks
