#include "offline/Plate.h"

#include "dsp/effects/Reverb.h"

namespace Vantora::offline {
namespace {

ModuleKnobs KnobsOf(dsp::Reverb& plate) {
  // In the order of the plate's parameters: the tank's, then the band limits and the mix.
  return ModuleKnobs::Of(plate, {{"ms", "delay in front of the tank"},
                                 {"", "first input diffusion"},
                                 {"", "second input diffusion"},
                                 {"", "how much comes back each time round"},
                                 {"", "first tank diffusion"},
                                 {"", "second tank diffusion"},
                                 {"", "dulling of what comes back; 0: none"},
                                 {"ms", "depth of the tank's wander"},
                                 {"Hz", "rate of the tank's wander"},
                                 {"", "how far the second wander is slower"},
                                 {"", "size of the plate"},
                                 {"s", "glide of delay and depth"},
                                 {"", "turns the first reflections", {"off", "on"}},
                                 {"", "distance of the first reflections"},
                                 {"Hz", "upper band limit of what enters; off at its upper end"},
                                 {"Hz", "lower band limit; off at its lower end"},
                                 {"", "dry to wet, at equal power"},
                                 {"dB", "gain of the wet signal"},
                                 {"", "0 middle only, 0.5 as it comes, 1 sides only"}});
}

}  // namespace

ModuleKnobs PlateKnobs() {
  dsp::Reverb plate("");
  return KnobsOf(plate);
}

std::unique_ptr<ModuleEffect> MakePlate(const std::vector<std::pair<std::string, std::string>>& settings) {
  auto plate = std::make_unique<dsp::Reverb>("");
  const ModuleKnobs knobs = KnobsOf(*plate);
  for (const auto& [name, value] : settings) knobs.Set(*plate, name, value);
  return std::make_unique<ModuleEffect>(std::move(plate));
}

}  // namespace Vantora::offline
