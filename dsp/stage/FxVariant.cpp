#include "dsp/stage/FxVariant.h"

#include <utility>

namespace Vantora::dsp {

namespace {

// Parameters of the children, by their own numbers.
enum FilterParam : uint32_t {
  kFilterStereo = 0,
  kFilterMode = 1,
  kFilterFreq = 2,
  kFilterCombFreq = 3,
  kFilterQ = 4,
  kFilterFmAmount = 6
};
enum CrusherParam : uint32_t {
  kCrusherWet = 0,
  kCrusherBitdepth = 1,
  kCrusherDownsample = 2,
  kCrusherStereo = 4,
  kCrusherAliasing = 5,
  kCrusherJitter = 6,
  kCrusherJitterMode = 8,
  kCrusherMode = 9,
  kCrusherScale = 10,
  kCrusherConfDownSample = 11,
  kCrusherConfAliasing = 12,
  kCrusherConfScale = 13,
};
enum ShifterParam : uint32_t {
  kShifterStereo = 0,
  kShifterPreDelay = 1,
  kShifterSpray = 3,
  kShifterModDelay = 4
};

constexpr uint32_t kBandPassMode = 11;
constexpr uint32_t kCombMode = 18;

}  // namespace

FxVariant::FxVariant(std::string text, uint32_t seed)
    : ModuleVariant(
          std::move(text), [] { return PassThrough(""); }, [] { return MultiModeFilter(""); },
          [] { return MultiModeFilter(""); },
          [seed] { return engine::IOSubset<BitCrusher, 10, 2>("BitCrusher", seed); },
          [] { return PrismelDistoVariant("Disto"); },
          [seed] { return PitchShifter("Harmonizer", seed != 0 ? seed ^ 0x9E3779B9u : 0u); }) {
  using namespace MappingTools;

  // The ranges equal those of the knobs that drive them, so that both have the same limits.
  auto& bandPass = Child<kFxBandPass>();
  bandPass.ReDeclareParam(kFilterFreq, Exponential, false, 20.0f, 20000.0f, 6.0f);  // Hz
  bandPass.ReDeclareParam(kFilterQ, Exponential, false, 0.71f, 15.0f, 5.5f);
  bandPass.SetParamInternal(kFilterFmAmount, 0.0f);
  bandPass.SetParamInternal(kFilterStereo, 0.0f);
  bandPass.SetAllowedModes({kBandPassMode});
  bandPass.SetParamInternal(kFilterMode, 0.0f);

  auto& comb = Child<kFxComb>();
  comb.ReDeclareParam(kFilterCombFreq, Exponential, false, 20.0f, 20000.0f, 8.0f);  // Hz
  comb.ReDeclareParam(kFilterQ, Exponential, false, 5.0f, 25.0f, -3.0f);  // its position is the feedback
  comb.SetParamInternal(kFilterFmAmount, 0.0f);
  comb.SetParamInternal(kFilterStereo, 0.0f);
  comb.SetAllowedModes({kCombMode});
  comb.SetParamInternal(kFilterMode, 0.0f);

  auto& crusher = Child<kFxBitCrusher>();
  crusher.SetParamInternal(kCrusherWet, 1.0f);
  crusher.SetParamInternal(kCrusherStereo, 0.0f);
  crusher.SetParamInternal(kCrusherJitterMode, 1.0f);
  crusher.SetParamInternal(kCrusherConfAliasing, 1.0f);
  crusher.SetParamInternal(kCrusherConfScale, 1.0f);
  crusher.SetParamInternal(kCrusherConfDownSample, 0.0f);
  crusher.ReDeclareParam(kCrusherDownsample, Exponential, false, 1.0f, 80.0f, 3.0f);
  crusher.ReDeclareParam(kCrusherBitdepth, Reverse, false, 1.5f, 16.0f);  // bits
  crusher.ReDeclareParam(kCrusherScale, Exponential, false, 0.1f, 255.0f, 6.0f);
  crusher.SetParamInternal(kCrusherJitter, 0.0f);
  crusher.SetParamInternal(kCrusherAliasing, 0.0f);
  crusher.SetParamInternal(kCrusherScale, 16.0f);
  crusher.SetParamInternal(kCrusherMode, 1.0f);

  auto& shifter = Child<kFxHarmonizer>();
  shifter.ReDeclareParam(kShifterSpray, Exponential, false, 0.0f, 1500.0f, 3.0f);  // ms
  shifter.SetParamInternal(kShifterModDelay, 0.0f);
  shifter.SetParamInternal(kShifterPreDelay, 0.0f);
  shifter.SetParamInternal(kShifterStereo, 0.0f);
}

void FxVariant::SetLaneBank(LaneBank* bank) {
  Child<kFxBandPass>().SetBank(bank);
  Child<kFxBitCrusher>().SetBank(bank);
}

void FxVariant::ResetEffect(uint32_t step) {
  AtChildNumber(step + 1, [](auto& effect, auto) { effect.ResetState(false); });
}

}  // namespace Vantora::dsp
