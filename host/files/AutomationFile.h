#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>

#include "host/Automation.h"

namespace Vantora::host {

/// Reads an automation from a CSV file of `time,parameter,value`.
///
///     seconds,parameter,value
///     0,FXType,comb
///     0,CombCutoff,200Hz
///     4.5,CombCutoff,2kHz,ramp
///
/// The first line may name the columns; its first name, "seconds", "frames" or "beats", then says what the
/// times count ("time" leaves it to `defaultUnit`). A fourth column, "step" or "ramp", overrides
/// `rampsByDefault` for its row. A ramp leads in a straight line of knob travel from the parameter's row
/// before to this one; a first row and a parameter with steps have nothing to lead from and jump. Rows may
/// stand in any order; of rows at the same time the later one counts.
///
/// Throws `HostError` with file and line for whatever isn't understood, automation being all or nothing,
/// and for a file without rows or a pipe without a writer.
Automation ReadAutomation(const std::filesystem::path& path, TimeUnit defaultUnit = TimeUnit::kSeconds,
                          bool rampsByDefault = false, const KnobSet& knobs = EffectKnobs());
/// The same from an open stream; `name` stands in messages.
Automation ReadAutomation(std::istream& stream, const std::string& name,
                          TimeUnit defaultUnit = TimeUnit::kSeconds, bool rampsByDefault = false,
                          const KnobSet& knobs = EffectKnobs());

}  // namespace Vantora::host
