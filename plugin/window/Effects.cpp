#include "plugin/window/Effects.h"

#include <array>
#include <cmath>

#include "host/ParameterTable.h"

namespace Vantora::plugin {
namespace {

const std::vector<EffectInfo::Tick> kHertzTicks = {
    {20, "20 Hz"}, {100, "100"}, {1000, "1 k"}, {10000, "10 k"}, {20000, ""}};

}  // namespace

uint32_t StepOf(const WindowModel& model, uint32_t index) {
  const host::Parameter& parameter = host::ParameterTable::Get()[index];
  return static_cast<uint32_t>(std::lround(parameter.ToValue(model.Value(index))));
}

std::span<const EffectInfo> Effects() {
  static const std::array<EffectInfo, 6> effects = {{
      {"Off", "", "", "", "", {}, "Plain delayed copies: chorus and ensemble."},
      {"Band-pass", "BandpassCutoff", "Cutoff", "BandpassResonance", "Resonance", kHertzTicks,
       "A narrow band a voice: formants."},
      {"Comb",
       "CombCutoff",
       "Pitch",
       "CombResonance",
       "Resonance",
       {{20, "20 Hz"}, {100, "100"}, {440, "440"}, {2000, "2 k"}, {20000, "20 k"}},
       "A ringing string a voice."},
      {"Crusher",
       "BitCrusherDownsample",
       "Divisor",
       "BitCrusherBitDepth",
       "Bits",
       {{1, "1x"}, {4, "4x"}, {16, "16x"}, {80, "80x"}},
       "Fewer samples, fewer bits."},
      {"Distortion",
       "DistortionDrive",
       "Drive",
       "DistortionAlgorithm",
       "Kind",
       {{-14, "-14 dB"}, {0, "0"}, {12, "12"}, {24, "24"}, {36, "36 dB"}},
       "A driven curve a voice."},
      {"Harmonizer",
       "HarmonizerSpray",
       "Spray",
       "HarmonizerChord",
       "Chord",
       {{0, "0"}, {100, "100 ms"}, {500, "500 ms"}, {1500, "1.5 s"}},
       "A chord of the voices."},
  }};
  return effects;
}

uint32_t CurrentEffectNumber(const WindowModel& model) {
  static const uint32_t index = host::ParameterTable::Get().At("FXType").Index();
  return StepOf(model, index) % static_cast<uint32_t>(Effects().size());
}

const EffectInfo& CurrentEffect(const WindowModel& model) { return Effects()[CurrentEffectNumber(model)]; }

uint32_t VoicesAsked(const WindowModel& model) {
  static const uint32_t index = host::ParameterTable::Get().At("Prismel_Voices").Index();
  return StepOf(model, index);
}

}  // namespace Vantora::plugin
