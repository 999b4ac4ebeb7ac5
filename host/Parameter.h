#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/Knob.h"

namespace Vantora::host {

/// Parameter: everything a host knows of one of the effect's parameters before it has loaded a library: its
/// knob, and its place. Immutable; all operations may run on any thread.
class Parameter : public Knob {
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
  /// Place in the list as a person goes through it: the main ones from 0 to 29, then the advanced ones to 69,
  /// each left knob in front of its right twin, then all others.
  uint32_t Order() const { return place.order; }
  /// Index of the same knob on the other side, of one of the two banks of voices; nothing for all others.
  std::optional<uint32_t> Twin() const { return place.twin; }

  bool IsAutomatable() const { return IsOffered(); }
  /// Offered, and part of a sound ("Bypass" isn't).
  bool IsInPresets() const { return IsOffered() && place.name != "Bypass"; }

 private:
  Place place;
  uint32_t id;
};

}  // namespace Vantora::host
