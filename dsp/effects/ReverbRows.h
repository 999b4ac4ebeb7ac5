#pragma once

#include "basictools/knobs/KnobRow.h"
#include "dsp/effects/DattorroCoreRows.h"

/// The knobs of `Reverb`.
namespace Vantora::dsp::ReverbKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  /// Positions behind the tank's knobs.
  enum OwnParam : uint32_t { kLowPass, kHighPass, kWet, kOutputGain, kMidSideMix, kOwnCount };
};
using OwnParam = Indices::OwnParam;
using enum Indices::OwnParam;

inline constexpr const char* kGroup = "Plate";

// clang-format off
inline constexpr auto kOwnRows = std::to_array<Row>({
    Row{"LPBandWith", Exponential(100, 20000, 6), Position(1), kHertz, kMain, kGroup, "Low-pass",
        "upper band limit of what enters; off at its upper end"}.WithSymbol("low_pass"),
    Row{"HPBandWith", Exponential(30, 10000, 6), {}, kHertz, kMain, kGroup, "High-pass",
        "lower band limit; off at its lower end"}.WithSymbol("high_pass"),
    {"Wet", Linear(0, 1), Value(0.5f), kRatio, kMain, kGroup, "Wet", "dry to wet, at equal power"},
    {"OutputGain", Linear(-20, 20), Value(0), kDecibels, kMain, kGroup, "Gain", "gain of the wet signal"},
    Row{"MSMix", Linear(0, 1), Value(0.5f), kRatio, kMain, kGroup, "Middle to sides",
        "0 middle only, 0.5 as it comes, 1 sides only"}.WithSymbol("middle_to_sides"),
});
// clang-format on
static_assert(std::size(kOwnRows) == kOwnCount);

/// The tank's knobs and behind them the own ones, by index.
inline constexpr auto kRows = Join(DattorroCoreKnobs::kRows, kOwnRows);

}  // namespace Vantora::dsp::ReverbKnobs
