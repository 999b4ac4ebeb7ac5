#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/ParameterQueue.h"
#include "offline/ModuleEffect.h"
#include "offline/ModuleKnobs.h"

namespace Vantora::offline {

/// The plate reverb's parameters as they are named to users, with the values of a fresh plate.
ModuleKnobs PlateKnobs();

/// The plate reverb over recordings, with these of its parameters (name, value) set. Throws host::HostError
/// for a parameter or a value that doesn't exist.
std::unique_ptr<ModuleEffect> MakePlate(const std::vector<std::pair<std::string, std::string>>& knobs);

/// The same with positions, of which the last for a knob counts, and with an automation, which may be null.
std::unique_ptr<ModuleEffect> MakePlate(const std::vector<host::ParameterWrite>& writes,
                                        std::shared_ptr<const ModuleMoves> moves);

}  // namespace Vantora::offline
