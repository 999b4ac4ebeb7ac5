#include "offline/Plate.h"

#include "dsp/effects/Reverb.h"

namespace Vantora::offline {
ModuleKnobs PlateKnobs() { return ModuleKnobs(dsp::ReverbKnobs::kRows); }

std::unique_ptr<ModuleEffect> MakePlate(const std::vector<std::pair<std::string, std::string>>& settings) {
  auto plate = std::make_unique<dsp::Reverb>("");
  const ModuleKnobs knobs = PlateKnobs();
  for (const auto& [name, value] : settings) knobs.Set(*plate, name, value);
  return std::make_unique<ModuleEffect>(std::move(plate));
}

}  // namespace Vantora::offline
