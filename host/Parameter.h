#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Vantora::dsp {
class ParamRecord;
}

namespace Vantora::host {

/// What a parameter's value counts.
enum class Unit {
  kNone,  ///< a plain number, a switch or an enumeration
  kHertz,
  kDecibels,
  kMilliseconds,
  kSeconds,
  kPercent,  ///< value 0 to 100
  kRatio,    ///< value 0 to 1 or -1 to 1; percent are understood
  kDegrees,
  kSemitones,
  kBits,
  kTimes,  ///< a factor, "8x"
};

/// Short name of a unit, as written behind a value; empty for `kNone` and `kRatio`.
std::string_view UnitName(Unit unit);

/// Whom a parameter is for.
enum class Role {
  kMain,      ///< a knob of the effect
  kAdvanced,  ///< works, but is rarely wanted
  kInternal,  ///< wiring that the effect writes itself, or that nobody reads
  kReadOut,   ///< written by the effect
  kCommand,   ///< an action or a text, not a value
};

/// Parameter: everything a host knows of one parameter before it has loaded a library. Immutable; all
/// operations may run on any thread, and `ToValue` and `ToNormalized` are real-time safe.
class Parameter {
 public:
  /// A row of the table; see ParameterRows.h for how one is written.
  struct Declaration {
    const char* name;
    uint32_t kind;  ///< `MappingTools::MappingKind`
    float min, max;
    float bend;   ///< first argument of the curve
    float start;  ///< value that the position of a fresh processor stands for
    Unit unit;
    Role role;
    const char* note;
    const std::vector<std::string>* labels = nullptr;  ///< of an enumeration, one a step
    float preferred = kAsStart;                        ///< value for a preset that doesn't name the parameter
  };
  static constexpr float kAsStart = -1e9f;

  Parameter(uint32_t index, std::string fullName, std::string uniqueName, std::string_view group,
            const Declaration& row);

  uint32_t Index() const { return index; }          ///< flat index in the library
  uint32_t Id() const { return id; }                ///< stable: a 32-bit FNV-1a hash of the unique name
  const std::string& Name() const { return name; }  ///< as the library gives it; ten of each bank occur twice
  const std::string& UniqueName() const {
    return uniqueName;
  }                                                   ///< with "#1" or "#2" where the name isn't enough
  std::string_view Group() const { return group; }    ///< "Effect", "LFO", "Output", ...
  std::string_view Note() const { return row.note; }  ///< one line on what it does
  Unit GetUnit() const { return row.unit; }
  Role GetRole() const { return row.role; }
  bool IsOffered() const {
    return row.role == Role::kMain || row.role == Role::kAdvanced;
  }  ///< to a musician
  bool IsAutomatable() const { return IsOffered(); }
  bool IsStepped() const;                    ///< a whole number of values
  uint32_t StepCount() const;                ///< of a stepped one; otherwise 0
  bool IsInPresets() const;                  ///< offered, and part of a sound ("Bypass" isn't)
  float Minimum() const { return row.min; }  ///< in the unit
  float Maximum() const { return row.max; }  ///< in the unit
  /// Names of an enumeration's values, in order; empty for everything else.
  const std::vector<std::string>& Labels() const;

  float StartNormalized() const { return startNormalized; }          ///< what a fresh processor answers
  float StartValue() const { return row.start; }                     ///< the same in the unit
  float PreferredNormalized() const { return preferredNormalized; }  ///< what a preset falls back to

  float ToValue(float normalized) const;  ///< position 0 to 1 to the unit, exactly as the library converts
  float ToNormalized(float value) const;  ///< and back; clamped to the range

  /// For people: "250 Hz", "1.2 kHz", "-3 dB", "1/4 triplet", "0.7", "on".
  std::string Text(float normalized) const;
  /// For files: like `Text`, with as many digits as reading it back needs.
  std::string ExactText(float normalized) const;
  /// "20 Hz to 20 kHz", or the names of an enumeration.
  std::string RangeText() const;

  /// Normalised value of a text as a musician writes it: a number with or without a unit ("250Hz", "1.2 kHz",
  /// "120ms", "70%"), the name of an enumeration's value in any case ("band-pass", "1/4 triplet"), or
  /// "norm:0.5". Throws `HostError` for what isn't a value, has the wrong unit or lies outside the range.
  float Parse(std::string_view text) const;
  /// The same for a plain number in the unit, "enumeration's index" included. Throws `HostError`.
  float ParseValue(double value) const;

 private:
  uint32_t index;
  uint32_t id;
  std::string name, uniqueName;
  std::string_view group;
  Declaration row;
  std::shared_ptr<const dsp::ParamRecord> curve;
  float startNormalized;
  float preferredNormalized;
};

}  // namespace Vantora::host
