#include "offline/Plate.h"

#include "dsp/effects/Reverb.h"

namespace Vantora::offline {
ModuleKnobs PlateKnobs() { return ModuleKnobs(dsp::ReverbKnobs::kRows, "plate"); }

std::unique_ptr<ModuleEffect> MakePlate(const std::vector<std::pair<std::string, std::string>>& settings) {
  auto plate = std::make_unique<dsp::Reverb>("");
  const ModuleKnobs knobs = PlateKnobs();
  for (const auto& [name, value] : settings) knobs.Set(*plate, name, value);
  return std::make_unique<ModuleEffect>(std::move(plate));
}

std::unique_ptr<ModuleEffect> MakePlate(const std::vector<host::ParameterWrite>& writes,
                                        std::shared_ptr<const ModuleMoves> moves) {
  auto plate = std::make_unique<dsp::Reverb>("");
  for (const host::ParameterWrite& write : writes) plate->SetParam(write.index, write.normalized);
  return std::make_unique<ModuleEffect>(std::move(plate), 1.1, std::move(moves));
}

}  // namespace Vantora::offline
