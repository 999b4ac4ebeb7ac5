#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "tests/processor/LoadedProcessor.h"

namespace Vantora::test {

/// Host parameter numbers that the tests use.
enum HostParam : uint32_t {
  kHostVoices = 152,
  kHostWet = 155,
  kHostHpf = 156,
  kHostLpf = 157,
  kHostBandpassCutoff = 158,
  kHostBandpassResonance = 159,
  kHostCombCutoff = 160,
  kHostCombResonance = 161,
  kHostDownsample = 162,
  kHostBitDepth = 163,
  kHostDrive = 164,
  kHostAlgorithm = 165,
  kHostSpray = 166,
  kHostChord = 167,
  kHostPrismelion = 168,
  kHostFxType = 169,
  kHostInputGain = 170,
  kHostWetGain = 171,
  kHostFeedbackTime = 172,
  kHostFeedbackPrismel = 173,
  kHostFeedbackPrimary = 174,
  kHostLfoRate = 177,
  kHostLfoRateSynced = 178,
  kHostLfoAllRateSynced = 179,
  kHostBypass = 215,
  kHostPanic = 216,
  kHostPresetLoading = 217,
  kHostOutputGain = 219,
  kHostLfoRateType = 220,
  kHostLfoShapeType = 221,
  kHostLfoPrismelAmount = 222,
  kHostLfoPrimaryAmount = 223,
  kHostInputPower = 224,
  kHostOutputPower = 225,
};

/// Position of value `index` of a stepped parameter with `count` values.
inline float Step(int index, int count) { return static_cast<float>(index) / static_cast<float>(count - 1); }

/// The loaded effect with a stream through it, at 48 kHz
/// unless said: still (no LFO depth), wet, one clean voice.
class ProcessorRig {
 public:
  explicit ProcessorRig(float sampleRate = 48000.0f, bool plain = true)
      : effect(sampleRate), block(effect.BlockSize()) {
    Set(kHostLfoPrismelAmount, 0.5f);
    Set(kHostLfoPrimaryAmount, 0.5f);
    if (!plain) return;
    Set(kHostVoices, 0.0f);
    Set(kHostWet, 1.0f);
    Set(kHostHpf, 0.0f);
    // After the first block's own start-up, so that knobs stand still when the measured stream begins.
    effect->SetParamValue(kHostPanic, 1.0f);
  }
  void Set(uint32_t index, float position) { effect->SetParamValue(index, position); }
  float Get(uint32_t index) const { return effect.Value(index); }

  /// Runs `frames` frames of input(n), n counted from the rig's start, and returns the left output.
  std::vector<float> Run(uint32_t frames, const std::function<float(uint64_t)>& input,
                         std::vector<float>* right = nullptr) {
    std::vector<float> left;
    for (uint32_t done = 0; done < frames; done += effect.BlockSize()) {
      for (uint32_t i = 0; i < effect.BlockSize(); ++i, ++clock)
        block.left[i] = block.right[i] = input(clock);
      effect->Process(&block.data);
      left.insert(left.end(), block.outLeft.begin(), block.outLeft.end());
      if (right != nullptr) right->insert(right->end(), block.outRight.begin(), block.outRight.end());
    }
    return left;
  }
  std::vector<float> Silence(uint32_t frames) {
    return Run(frames, [](uint64_t) { return 0.0f; });
  }

  LoadedProcessor effect;
  HostBlock block;
  uint64_t clock = 0;
};

/// A repeatable signal with a bit of everything: a chirp, a low tone and a little noise, below full scale.
inline float Music(uint64_t n) {
  const double t = static_cast<double>(n) / 48000.0;
  auto hash = static_cast<uint32_t>(n * 2654435761u);
  hash ^= hash >> 15;
  hash *= 2246822519u;
  hash ^= hash >> 13;
  const double noise = static_cast<double>(hash) / 2147483648.0 - 1.0;
  return static_cast<float>(0.3 * std::sin(2.0 * M_PI * (110.0 + 400.0 * t) * t) +
                            0.2 * std::sin(2.0 * M_PI * 82.5 * t) + 0.05 * noise);
}

}  // namespace Vantora::test
