#pragma once

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/processor/Rig.h"

namespace Vantora::test {

/// A setting of the effect whose rendered sound is kept.
struct Scenario {
  std::string name;
  float sampleRate;
  std::vector<std::pair<uint32_t, float>> settings;  // host parameter, position
};

inline void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }

inline std::vector<Scenario> Scenarios() {
  const auto type = [](int v) { return std::pair<uint32_t, float>{kHostFxType, Step(v, 6)}; };
  return {
      {"copies", 48000.0f, {{kHostPrismelion, 0.7f}, {kHostVoices, 1.0f}}},
      {"bandpass",
       44100.0f,
       {type(1), {kHostBandpassCutoff, 0.55f}, {kHostBandpassResonance, 0.6f}, {kHostPrismelion, 0.5f}}},
      {"comb",
       48000.0f,
       {type(2), {kHostCombCutoff, 0.4f}, {kHostCombResonance, 0.85f}, {kHostPrismelion, 0.3f}}},
      {"crusher",
       48000.0f,
       {type(3), {kHostDownsample, 0.5f}, {kHostBitDepth, 0.7f}, {kHostPrismelion, 0.4f}, {kHostWet, 0.8f}}},
      {"limit",
       96000.0f,
       {type(4), {kHostDrive, 0.6f}, {kHostAlgorithm, Step(0, 4)}, {kHostPrismelion, 0.5f}}},
      {"tube",
       48000.0f,
       {type(4), {kHostDrive, 0.7f}, {kHostAlgorithm, Step(1, 4)}, {kHostPrismelion, 0.2f}}},
      {"sinefold",
       44100.0f,
       {type(4), {kHostDrive, 0.5f}, {kHostAlgorithm, Step(2, 4)}, {kHostPrismelion, 0.8f}}},
      {"wavefolder",
       48000.0f,
       {type(4), {kHostDrive, 0.8f}, {kHostAlgorithm, Step(3, 4)}, {kHostPrismelion, 0.6f}}},
      {"harmonizer",
       48000.0f,
       {type(5), {kHostChord, Step(5, 12)}, {kHostSpray, 0.2f}, {kHostPrismelion, 0.3f}}},
      {"cascade",
       48000.0f,
       {type(5),
        {kHostChord, Step(1, 12)},
        {kHostSpray, 0.9f},
        {kHostFeedbackTime, 0.05f},
        {kHostWet, 1.0f}}},
      {"lfo",
       48000.0f,
       {type(1),
        {kHostBandpassCutoff, 0.5f},
        {kHostPrismelion, 0.4f},
        {kHostLfoPrismelAmount, 0.8f},
        {kHostLfoPrimaryAmount, 0.3f},
        {kHostLfoRate, 0.7f},
        {kHostLfoShapeType, Step(5, 6)}}},
      {"lfosine",
       48000.0f,
       {type(3),
        {kHostDownsample, 0.3f},
        {kHostPrismelion, 0.5f},
        {kHostLfoPrismelAmount, 0.7f},
        {kHostLfoPrimaryAmount, 0.6f},
        {kHostLfoRate, 0.8f},
        {kHostLfoShapeType, Step(0, 6)}}},
      {"lowrate",
       22050.0f,
       {type(1), {kHostBandpassCutoff, 0.95f}, {kHostHpf, 0.6f}, {kHostLpf, 0.8f}, {kHostPrismelion, 1.0f}}},
  };
}

/// Half a second of the scenario, left and right interleaved, from the first processor's seeds.
inline std::vector<float> Render(const Scenario& scenario) {
  ProcessorRig rig(scenario.sampleRate, false);
  for (const auto& [index, position] : scenario.settings) rig.Set(index, position);
  std::vector<float> right;
  const auto frames = static_cast<uint32_t>(scenario.sampleRate * 0.5f);
  const auto left = rig.Run(frames, Music, &right);
  std::vector<float> both;
  for (size_t i = 0; i < frames; ++i) both.insert(both.end(), {left[i], right[i]});
  return both;
}

}  // namespace Vantora::test
