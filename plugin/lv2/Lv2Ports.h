#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "host/Parameter.h"
#include "plugin/core/HostParameters.h"

namespace Vantora::plugin {

inline constexpr char kLv2Uri[] = "urn:vantora:qfx-prismel";
inline constexpr char kLv2WindowUri[] = "urn:vantora:qfx-prismel#window";
inline constexpr char kLv2StateUri[] = "urn:vantora:qfx-prismel#state";

/// Lv2Variant: one of the arrangements of channels, each a plug-in of its own for LV2.
struct Lv2Variant {
  const char* uri;
  const char* name;
  uint32_t inputs, outputs;
};
inline constexpr std::array<Lv2Variant, 3> kLv2Variants{{
    {kLv2Uri, "Qfx PRISMEL", 2, 2},
    {"urn:vantora:qfx-prismel#mono", "Qfx PRISMEL Mono", 1, 1},
    {"urn:vantora:qfx-prismel#mono-to-stereo", "Qfx PRISMEL Mono to Stereo", 1, 2},
}};

/// Lv2Ports: the numbers of a variant's ports. Songs name ports by symbol, so numbers may change with a
/// version, but the Turtle files and the binary must agree.
///
///     audio in, audio out, events in (song position), latency out, free-wheeling in, then the parameters in
///     the order in which hosts list them: written ones in, the effect's own out
struct Lv2Ports {
  explicit constexpr Lv2Ports(const Lv2Variant& variant)
      : firstOutput(variant.inputs),
        events(variant.inputs + variant.outputs),
        latency(events + 1),
        freeWheeling(events + 2),
        firstParameter(events + 3) {}

  uint32_t firstOutput, events, latency, freeWheeling, firstParameter;
};

/// The value of a control port: in the unit, such that reading it back gives this position wherever a float
/// can, and of those that do one with few digits. For "Bypass", which LV2 calls "enabled", the other way
/// round.
float ToPortValue(const host::Parameter& parameter, float position);
/// Whether a port of that value says nothing but this position, which may have more digits than a port has:
/// where no float leads back to it, its own value does. Real-time.
bool SaysPortValue(const host::Parameter& parameter, float position, float value);
/// And back. What isn't a number counts as the value that a preset falls back to.
float FromPortValue(const host::Parameter& parameter, float value);

}  // namespace Vantora::plugin
