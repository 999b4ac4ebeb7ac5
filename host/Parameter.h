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

/// Parameter: everything a host knows of one parameter before it has loaded a library. Immutable; all
/// operations may run on any thread, and `ToValue` and `ToNormalized` are real-time safe.
class Parameter {
 public:
  /// What the effect adds to the row of a module's knob.
  struct Place {
    uint32_t index;                ///< flat index in the library
    std::string name;              ///< as the library gives it
    std::string uniqueName;        ///< with "#1" or "#2" where the name isn't enough
    std::string symbol;            ///< snake_case, unique
    std::string title;             ///< for people
    std::string group;             ///< knobs that belong together
    uint32_t order;                ///< place among all, as a person turns them
    std::optional<uint32_t> twin;  ///< index of the same knob on the other side
  };

  Parameter(Place itsPlace, const Knobs::Row& itsRow);

  uint32_t Index() const { return place.index; }  ///< flat index in the library
  /// Stable for ever: the lower 31 bits of the unique name's 32-bit FNV-1a hash, as some plug-in formats keep
  /// the upper half of the numbers for themselves.
  uint32_t Id() const { return id; }
  /// As the library gives it; ten of each bank occur twice.
  const std::string& Name() const { return place.name; }
  /// With "#1" or "#2" where the name isn't enough.
  const std::string& UniqueName() const { return place.uniqueName; }
  /// Unique, a valid C identifier, stable for ever: "comb_cutoff", "lfo_swing", "left_crusher_jitter".
  const std::string& Symbol() const { return place.symbol; }
  /// For people, at most 24 characters, unique: "Comb pitch", "Crusher jitter L".
  const std::string& Title() const { return place.title; }
  std::string_view Group() const { return place.group; }  ///< "Effect", "Comb", "LFO", "Left crusher", ...
  std::string_view Note() const { return row.help; }      ///< one sentence on what it does
  /// Place in the list as a person goes through it: the main ones from 0 to 29, then the advanced ones to 69,
  /// each left knob in front of its right twin, then all others.
  uint32_t Order() const { return place.order; }
  /// Index of the same knob on the other side, of one of the two banks of voices; nothing for all others.
  std::optional<uint32_t> Twin() const { return place.twin; }

  Unit GetUnit() const { return row.unit; }
  Role GetRole() const { return row.role; }
  /// To a musician.
  bool IsOffered() const { return row.role == Role::kMain || row.role == Role::kAdvanced; }
  bool IsAutomatable() const { return IsOffered(); }
  /// A number of values to choose from. A switch that the library keeps as a position counts as one of two:
  /// its values are the positions 0 and 1.
  bool IsStepped() const { return row.range.choices > 0; }
  /// Two values: off and on, or two names.
  bool IsSwitch() const { return row.range.choices == 2; }
  uint32_t StepCount() const { return row.range.choices; }  ///< of a stepped one; otherwise 0
  bool IsInPresets() const;                                 ///< offered, and part of a sound ("Bypass" isn't)
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
  /// The same for a plain number in the unit, "enumeration's index" included. Throws `HostError`.
  float ParseValue(double value) const;

 private:
  bool Accepts(double value) const;
  std::optional<float> ReadBack(std::string_view text) const;
  uint32_t ChoiceAt(float normalized) const;

  Place place;
  Knobs::Row row;
  uint32_t id;
  MappingTools::PotardMappingHolder curve;
  Knobs::Travel travel;
  std::vector<std::string> labels;
  float startNormalized;
  float startValue;
  float preferredNormalized;
};

}  // namespace Vantora::host
