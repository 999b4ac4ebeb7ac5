#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/JsonText.h"
#include "host/KnobSet.h"
#include "host/ParameterQueue.h"
#include "host/ParameterTable.h"

namespace Vantora::host {

class HostedProcessor;

/// Preset: a whole sound by name. What it doesn't name stands at the parameter's preferred value, so that a
/// preset sounds the same whatever was loaded before.
///
///     {
///       "schema": 1,
///       "name": "Glass Choir",
///       "description": "A slow comb that opens with the LFO.",
///       "parameters": {"Prismel_FXType": "comb", "Prismel_CombCutoff": "440 Hz", "Prismel_Prismelion": 0.35}
///     }
class Preset {
 public:
  static constexpr int kSchema = 1;  ///< version of the file's form
  static constexpr std::string_view kFileEnding = ".json";

  std::string name;
  std::string description;           ///< one line
  std::map<uint32_t, float> values;  ///< normalised, by index; only parameters that are part of a preset

  /// Reads a text; `origin` stands in messages, and its stem is the name if the text has none. Names that
  /// aren't known, or aren't part of a preset, go to `warnings` (may be null), one sentence each; a value
  /// that isn't one, a newer schema or broken JSON throw `HostError`, and nothing is loaded. Files are read
  /// and written by host/files/PresetFile.h.
  static Preset Parse(std::string_view json, const std::filesystem::path& origin,
                      std::vector<std::string>* warnings = nullptr);

  /// The same for the knobs of a module: the file then says which, as "module".
  static Preset Parse(const KnobSet& knobs, std::string_view json, const std::filesystem::path& origin,
                      std::vector<std::string>* warnings = nullptr);

  /// The sound that `processor` has now.
  static Preset Capture(const HostedProcessor& processor);

  /// JSON text that `Parse` reads back, with musical values; what stands at its preferred value is left out.
  std::string ToJson() const { return ToJson(EffectKnobs()); }
  /// The same for the knobs of a module.
  std::string ToJson(const KnobSet& knobs) const;
  /// The members of that text, for texts that hold a preset among other things.
  void AddTo(JsonObjectText& document, JsonObjectText::Precision precision,
             const KnobSet& knobs = EffectKnobs()) const;

  /// Value of a parameter in this preset, named or not; normalised.
  float ValueOf(const Parameter& parameter) const;

  /// [process, but allocates] Writes the whole sound, between "PresetLoading" 1 and 0: the processor then
  /// starts clean. Beside a live stream queue `Writes` instead.
  void Apply(HostedProcessor& processor) const;
  /// The same writes in the same order, for `BlockCollector::QueueTogether`.
  std::vector<ParameterWrite> Writes() const;
};

/// PresetDifference: a parameter on which two presets disagree.
struct PresetDifference {
  const Parameter* parameter;
  float first, second;  ///< normalised
};

/// All parameters on which two presets disagree, in the order of the table.
std::vector<PresetDifference> Compare(const Preset& first, const Preset& second);

/// Whether these writes, the last one for a parameter counting, make two different sides out of a mono input:
/// more than one voice, spread, some of it wet, and no bypass. A shell whose input is mono offers two outputs
/// then. What isn't written stands at its preferred value.
bool IsWide(const std::vector<ParameterWrite>& writes);

}  // namespace Vantora::host
