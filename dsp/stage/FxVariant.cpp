#include "dsp/stage/FxVariant.h"

#include <utility>

#include "dsp/stage/FxVariantRows.h"

namespace Vantora::dsp {

FxVariant::FxVariant(std::string text, uint32_t seed)
    : ModuleVariant(
          std::move(text), [] { return PassThrough(""); }, [] { return MultiModeFilter("", 1); },
          [] { return MultiModeFilter("", 1); },
          [seed] { return engine::IOSubset<BitCrusher, 10, 2>("BitCrusher", seed); },
          [] { return PrismelDistoVariant("Disto"); },
          [seed] { return PitchShifter("Harmonizer", seed != 0 ? seed ^ 0x9E3779B9u : 0u, 1); }) {
  Child<kFxBandPass>().SetAllowedModes({FxVariantKnobs::kBandPassMode});
  Child<kFxBandPass>().ApplyFits(FxVariantKnobs::kBandPassFits);
  Child<kFxComb>().SetAllowedModes({FxVariantKnobs::kCombMode});
  Child<kFxComb>().ApplyFits(FxVariantKnobs::kCombFits);
  Child<kFxBitCrusher>().ApplyFits(FxVariantKnobs::kCrusherFits);
  Child<kFxHarmonizer>().ApplyFits(FxVariantKnobs::kHarmonizerFits);
}

void FxVariant::SetLaneBank(LaneBank* bank) {
  Child<kFxBandPass>().SetBank(bank);
  Child<kFxBitCrusher>().SetBank(bank);
  Child<kFxDistortion>().SetBank(bank);
  Child<kFxHarmonizer>().SetBank(bank);
}

void FxVariant::ResetEffect(uint32_t step) {
  AtChildNumber(step + 1, [](auto& effect, auto) { effect.ResetState(false); });
}

}  // namespace Vantora::dsp
