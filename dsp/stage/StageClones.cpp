#include "dsp/stage/StageClones.h"

#include <algorithm>

#include "dsp/stage/StageRoutes.h"

namespace Vantora::dsp {

namespace {

/// Calls `visit` with a stage effect's type, 1 to 5, as a template argument of its call operator: once for
/// all clones.
template <typename Visit>
void WithType(uint32_t type, Visit&& visit) {
  switch (type) {
    case kFxBandPass:
      visit.template operator()<kFxBandPass>();
      break;
    case kFxComb:
      visit.template operator()<kFxComb>();
      break;
    case kFxBitCrusher:
      visit.template operator()<kFxBitCrusher>();
      break;
    case kFxDistortion:
      visit.template operator()<kFxDistortion>();
      break;
    case kFxHarmonizer:
      visit.template operator()<kFxHarmonizer>();
      break;
    default:
      break;
  }
}

// A block of a stage effect of which only the first input and output are connected; `context` has ports for
// any.
template <typename Exact, typename Effect>
void ProcessMono(Effect& effect, ProcessContext& context) {
  context.inputCount = Exact::kInputCount;
  context.outputCount = Exact::kOutputCount;
  effect.template ProcessAs<Exact>(context);
}
void ProcessMono(MultiModeFilter& effect, ProcessContext& context) {
  ProcessMono<MultiModeFilter>(effect, context);
}
void ProcessMono(BitCrusher& effect, ProcessContext& context) { ProcessMono<BitCrusher>(effect, context); }
void ProcessMono(PitchShifter& effect, ProcessContext& context) {
  ProcessMono<PitchShifter>(effect, context);
}
void ProcessMono(PrismelDistoVariant& effect, ProcessContext& context) { effect.ProcessMono(context); }

// True when writing the primary parameter would change nothing.
template <typename Effect>
bool StandsAt(Effect& effect, uint32_t index, float value) {
  return effect.Param(index).StandsAtValue(value);
}
bool StandsAt(PrismelDistoVariant& effect, uint32_t, float drive) { return effect.StandsAtDrive(drive); }

template <typename Effect>
void SetPrimary(Effect& effect, uint32_t index, float value, float) {
  effect.SetParamInternal(index, value);
}
void SetPrimary(PrismelDistoVariant& effect, uint32_t, float value, float position) {
  effect.SetDrive(value, position);
}

// True when the block has been left to the bank on a way shorter than ProcessMono's.
template <typename Effect>
bool GlidesOn(Effect&, const float*, float*, uint32_t) {
  return false;
}
bool GlidesOn(PrismelDistoVariant& effect, const float* in, float* out, uint32_t sampleCount) {
  return effect.GlideOn(in, out, sampleCount);
}

}  // namespace

StageClones::StageClones(FxBank& left, FxBank& right) : banks{&left, &right}, spreads(StageSpread::Sides()) {
  for (uint32_t v = 0; v < kVoiceCount; ++v) {
    for (uint32_t side = 0; side < 2; ++side) Clone(side, v).SetLaneBank(&laneBank);
  }
}

// The values are made when something that bears on them has moved, and written on every block: a voice's own
// knob may have been written by somebody else.
void StageClones::SpreadPrimary(uint32_t type, float primary, float amount, uint32_t voices) {
  const StageRoute& route = kStageRoutes[type];
  if (type != spreadType || primary != spreadPrimary || amount != spreadAmount) spreadVoices = 0;
  spreadType = type;
  spreadPrimary = primary;
  spreadAmount = amount;
  WithType(type, [&]<uint32_t kType>() {
    const ParamRecord& target =
        Clone(0, 0).Child<kType>().Param(route.primaryTarget);  // all clones' are alike
    const float lowest = target.GetMinimum();
    const float highest = target.GetMaximum();
    for (uint32_t side = 0; side < 2; ++side) {
      for (uint32_t v = spreadVoices; v < voices; ++v) {
        const float wanted = spreads[side].At(route.law, v, primary, amount, route.span);
        const float value = std::min(std::max(wanted, lowest), highest);
        spreadValues[side][v] = value;
        if constexpr (kType == kFxDistortion) spreadPositions[side][v] = target.ToNormalized(value);
      }
    }
    for (uint32_t v = 0; v < voices; ++v) {
      for (uint32_t side = 0; side < 2; ++side) {
        const float value = spreadValues[side][v];
        auto& effect = Clone(side, v).Child<kType>();
        if (!StandsAt(effect, route.primaryTarget, value))
          SetPrimary(effect, route.primaryTarget, value, spreadPositions[side][v]);
      }
    }
  });
  spreadVoices = std::max(spreadVoices, voices);
}

void StageClones::WriteSecondary(uint32_t type, float value, uint32_t voices) {
  const StageRoute& route = kStageRoutes[type];
  for (uint32_t v = 0; v < voices; ++v) {
    const float own =
        type == kFxHarmonizer ? static_cast<float>(kChords[static_cast<uint32_t>(value)][v]) : value;
    WithType(type, [&]<uint32_t kType>() {
      for (uint32_t side = 0; side < 2; ++side)
        Clone(side, v).Child<kType>().SetParamInternal(route.secondaryTarget, own);
    });
  }
}

void StageClones::Reset() {
  for (uint32_t v = 0; v < kVoiceCount; ++v) {
    for (uint32_t step = 0; step < FxVariant::kResetSteps; ++step) {
      for (uint32_t side = 0; side < 2; ++side) Clone(side, v).ResetEffect(step);
    }
  }
}

bool StageClones::Survey(uint32_t voiceCount) {
  surveyed = voiceCount;
  isPlain = isAtRest = true;
  const uint64_t selected = Clone(0, 0).Selected();
  for (uint32_t v = 0; v < surveyed; ++v) {
    for (uint32_t side = 0; side < 2; ++side) {
      FxVariant& clone = Clone(side, v);
      isAtRest = isAtRest && clone.IsAtRest() && clone.Selected() == selected;
      isPlain = isPlain && (isAtRest || clone.RunsPlain());
    }
  }
  return isAtRest && selected == kFxPassThrough;
}

void StageClones::Run(const ProcessContext& context, const VoicePairs& taps, const VoicePairs& effects) {
  if (isAtRest && Clone(0, 0).Selected() == kFxPassThrough) {
    Pass(context.sampleCount, taps, effects);
    return;
  }
  // With nothing behind the effects working on their outputs, they may leave their blocks to the bank.
  if (isPlain) laneBank.Open();
  if (isAtRest) {
    RunAtRest(context, taps, effects);
  } else {
    RunVariants(context, taps, effects);
  }
  laneBank.Run(context.sampleCount);
}

// A later block of another effect, and not of whole groups, finds what stood here.
void StageClones::Pass(uint32_t count, const VoicePairs& taps, const VoicePairs& effects) const {
  for (uint32_t side = 0; side < 2; ++side) {
    for (uint32_t v = 0; v < surveyed; ++v) {
      if (taps[side][v] != effects[side][v]) std::copy_n(taps[side][v], count, effects[side][v]);
    }
  }
}

void StageClones::RunVariants(const ProcessContext& context, const VoicePairs& taps,
                              const VoicePairs& effects) {
  for (uint32_t v = 0; v < surveyed; ++v) {
    for (uint32_t side = 0; side < 2; ++side) {
      std::array<float*, FxVariant::kInputCount> inputs{taps[side][v]};
      std::array<float*, FxVariant::kOutputCount> outputs{effects[side][v]};
      ProcessContext inner = context.WithPorts(inputs, outputs);
      Clone(side, v).Process(inner);
    }
  }
}

void StageClones::RunAtRest(const ProcessContext& context, const VoicePairs& taps,
                            const VoicePairs& effects) {
  const auto type = static_cast<uint32_t>(Clone(0, 0).Selected());
  constexpr uint32_t kMostInputs = 10;
  constexpr uint32_t kMostOutputs = 4;
  std::array<float*, kMostInputs> inputs{};
  std::array<float*, kMostOutputs> outputs{};
  ProcessContext inner = context.WithPorts(inputs, outputs);
  WithType(type, [&]<uint32_t kType>() {
    for (uint32_t v = 0; v < surveyed; ++v) {
      for (uint32_t side = 0; side < 2; ++side) {
        auto& effect = Clone(side, v).Child<kType>();
        if (GlidesOn(effect, taps[side][v], effects[side][v], inner.sampleCount)) continue;
        inputs[0] = taps[side][v];
        outputs[0] = effects[side][v];
        ProcessMono(effect, inner);
      }
    }
  });
}

}  // namespace Vantora::dsp
