#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs of `DattorroCore`.
namespace Vantora::dsp::DattorroCoreKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  enum ParamIndex : uint32_t {
    kPredelay,  ///< ms
    kInputDiffusion1,
    kInputDiffusion2,
    kDecay,  ///< of one quarter of the figure
    kDecayDiffusion1,
    kDecayDiffusion2,
    kDamping,    ///< 0: none
    kExcursion,  ///< ms
    kRate,       ///< Hz
    kSpread,     ///< of the rate, downwards, for the second modulator
    kSize,
    kSmoothing,  ///< s
    kInvertEarly,
    kEarlySize
  };
};
using ParamIndex = Indices::ParamIndex;
using enum Indices::ParamIndex;

inline constexpr const char* kGroup = "Plate";

// clang-format off
inline constexpr auto kRows = std::to_array<Row>({
    {"Predelay", Linear(0, 500), Value(0), kMilliseconds, kMain, kGroup, "Pre-delay",
     "delay in front of the tank"},
    Row{"E_Id1", Linear(0, 0.95f), Value(0.75f), kRatio, kAdvanced, kGroup, "Input diffusion 1",
        "first input diffusion"}.WithSymbol("input_diffusion_1"),
    Row{"E_Id2", Linear(0, 0.95f), Value(0.625f), kRatio, kAdvanced, kGroup, "Input diffusion 2",
        "second input diffusion"}.WithSymbol("input_diffusion_2"),
    {"Decay", Linear(0, 0.99f), Value(0.5f), kRatio, kMain, kGroup, "Decay",
     "how much comes back each time round"},
    Row{"E_Dd1", Linear(0, 0.95f), Value(0.7f), kRatio, kAdvanced, kGroup, "Tank diffusion 1",
        "first tank diffusion"}.WithSymbol("tank_diffusion_1"),
    Row{"E_Dd2", Linear(0, 0.95f), Value(0.5f), kRatio, kAdvanced, kGroup, "Tank diffusion 2",
        "second tank diffusion"}.WithSymbol("tank_diffusion_2"),
    {"Damping", Linear(0, 0.9999f), Value(0.0005f), kRatio, kMain, kGroup, "Damping",
     "dulling of what comes back; 0: none"},
    Row{"E_Excursion", Linear(0, 5), Value(0.5376f), kMilliseconds, kAdvanced, kGroup, "Wander",
        "depth of the tank's wander"}.WithSymbol("wander"),
    Row{"E_Rate", Linear(0, 10), Value(1), kHertz, kAdvanced, kGroup, "Wander rate",
        "rate of the tank's wander"}.WithSymbol("wander_rate"),
    Row{"E_Spread", Linear(0, 1), Value(0.1f), kRatio, kAdvanced, kGroup, "Wander spread",
        "how far the second wander is slower"}.WithSymbol("wander_spread"),
    Row{"E_Size", Linear(0.1f, 2), Value(1), kRatio, kMain, kGroup, "Size",
        "size of the plate"}.WithSymbol("size"),
    Row{"E_Smoothing", Linear(0, 5), Value(0.1f), kSeconds, kAdvanced, kGroup, "Glide",
        "glide of delay and depth"}.WithSymbol("glide"),
    {"InvertEarly", Switch(), Value(0), kNone, kAdvanced, kGroup, "Invert early",
     "turns the first reflections", kOffOn},
    {"EarlySize", Linear(0.05f, 1), Value(1), kRatio, kAdvanced, kGroup, "Early size",
     "distance of the first reflections"},
});
// clang-format on
static_assert(std::size(kRows) == kEarlySize + 1);

}  // namespace Vantora::dsp::DattorroCoreKnobs
