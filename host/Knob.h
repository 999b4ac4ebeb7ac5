#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "basictools/knobs/KnobRow.h"
#include "basictools/knobs/KnobTravel.h"

namespace Vantora::host {

using Knobs::Role;
using Knobs::Unit;

/// Short name of a unit, as written behind a value; empty for `kNone` and `kRatio`.
std::string_view UnitName(Unit unit);

/// Name of a role as lists print it: "main", "advanced", "internal", "read-out", "command".
std::string_view RoleName(Role role);

/// Knob: the row of one knob, with its conversions and its texts both ways. Immutable; all operations may run
/// on any thread, and `ToValue` and `ToNormalized` are real-time safe.
class Knob {
 public:
  /// `fullName` is what messages call it.
  Knob(std::string fullName, const Knobs::Row& itsRow);

  const std::string& FullName() const { return fullName; }
  std::string_view Note() const { return row.help; }  ///< one sentence on what it does
  Unit GetUnit() const { return row.unit; }
  Role GetRole() const { return row.role; }
  /// To a musician.
  bool IsOffered() const { return row.role == Role::kMain || row.role == Role::kAdvanced; }
  /// A number of values to choose from. A switch that the library keeps as a position counts as one of two:
  /// its values are the positions 0 and 1.
  bool IsStepped() const { return row.range.choices > 0; }
  /// Two values: off and on, or two names.
  bool IsSwitch() const { return row.range.choices == 2; }
  uint32_t StepCount() const { return row.range.choices; }  ///< of a stepped one; otherwise 0
  float Minimum() const { return row.range.min; }           ///< in the unit
  float Maximum() const { return row.range.max; }           ///< in the unit
  /// Names of an enumeration's or a switch's values, in order; empty for everything else.
  const std::vector<std::string>& Labels() const { return labels; }

  float StartNormalized() const { return startNormalized; }          ///< what a fresh processor answers
  float StartValue() const { return startValue; }                    ///< the same in the unit
  float PreferredNormalized() const { return preferredNormalized; }  ///< what a preset falls back to

  /// Position 0 to 1 to the unit, exactly as the library converts.
  float ToValue(float normalized) const;
  /// And back; held in the range.
  float ToNormalized(float value) const;
  /// The value in the unit as the number with the fewest digits that leads back to this position: 440 where
  /// `ToValue` says 439.99994. Where no number does, it is the float's own.
  double ExactValue(float normalized) const;

  /// For people: "250 Hz", "1.2 kHz", "-3 dB", "1/4 triplet", "0.7", "on".
  std::string Text(float normalized) const;
  /// For files: like `Text`, with as many digits as it takes to read the very same position back;
  /// "norm:0.123" where no value leads there.
  std::string ExactText(float normalized) const;
  /// "20 Hz to 20 kHz", or the names of an enumeration.
  std::string RangeText() const;

  /// Normalised value of a text as a musician writes it: a number with or without a unit ("250Hz", "1.2 kHz",
  /// "120ms", "70%"), the name of an enumeration's value in any case ("band-pass", "1/4 triplet"), or
  /// "norm:0.5". Throws `HostError` for what isn't a value, has the wrong unit or lies outside the range.
  float Parse(std::string_view text) const;
  /// The value in the unit that such a text means, as written: not through a position. Throws as `Parse`
  /// does.
  float ParseToValue(std::string_view text) const;
  /// The position of a plain number in the unit, "enumeration's index" included. Throws `HostError`.
  float ParseValue(double value) const;

 private:
  /// What a text says: a number in the unit, or a position 0 to 1.
  struct Reading {
    double number;
    bool isPosition;
  };

  Reading Read(std::string_view text) const;
  bool Accepts(double value) const;
  float HeldValue(double value) const;
  std::optional<float> ReadBack(std::string_view text) const;
  uint32_t ChoiceAt(float normalized) const;

  std::string fullName;
  Knobs::Row row;
  MappingTools::PotardMappingHolder curve;
  Knobs::Travel travel;
  std::vector<std::string> labels;
  float startNormalized;
  float startValue;
  float preferredNormalized;
};

}  // namespace Vantora::host
