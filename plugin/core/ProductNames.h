#pragma once

namespace Vantora::plugin {

// What hosts list. Ids are stable for ever: songs name them.
inline constexpr char kProductName[] = "Qfx PRISMEL";
inline constexpr char kProductVendor[] = "Vantora";
inline constexpr char kProductVersion[] = "1.0.0";
inline constexpr char kProductDescription[] =
    "Eight drifting voices a side, each with a filter, comb, crusher, distortion or harmonizer of its own, "
    "fanned out "
    "by one knob.";
inline constexpr char kClapId[] = "vantora.qfx-prismel";

}  // namespace Vantora::plugin
