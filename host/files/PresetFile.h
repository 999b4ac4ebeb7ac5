#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/Preset.h"

namespace Vantora::host {

/// Reads a preset's file, as `Preset::Parse` does its text. Throws `HostError` for a file that can't be read,
/// is far too long to be a preset, or doesn't hold one.
Preset ReadPreset(const std::filesystem::path& path, std::vector<std::string>* warnings = nullptr);
/// The same for the knobs of a module.
Preset ReadPreset(const KnobSet& knobs, const std::filesystem::path& path,
                  std::vector<std::string>* warnings = nullptr);

/// Writes a preset as a `NewFile`: there is never half a file, also not after a power cut or when several
/// processes save at once, and a link stays one. Throws `HostError`.
void WritePreset(const Preset& preset, const std::filesystem::path& path,
                 const KnobSet& knobs = EffectKnobs());

}  // namespace Vantora::host
