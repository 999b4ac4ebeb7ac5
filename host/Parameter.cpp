#include "host/Parameter.h"

#include <utility>

namespace Vantora::host {
namespace {

/// Fowler, Noll and Vo's hash, variant 1a, 32 bits.
uint32_t Hash(std::string_view text) {
  uint32_t hash = 2166136261u;
  for (const char c : text) hash = (hash ^ static_cast<uint8_t>(c)) * 16777619u;
  return hash;
}

}  // namespace

Parameter::Parameter(Place itsPlace, const Knobs::Row& itsRow)
    : Knob(itsPlace.uniqueName, itsRow),
      place(std::move(itsPlace)),
      id(Hash(place.uniqueName) & 0x7FFFFFFFu) {}

}  // namespace Vantora::host
