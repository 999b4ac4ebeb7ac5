#pragma once

#include "dsp/effects/MultiDistRows.h"
#include "dsp/effects/WavefolderRows.h"
#include "dsp/stage/PrismelRows.h"
#include "engine/ModuleVariantRows.h"

/// The knobs of `PrismelDistoVariant`, and how it fits those of its two alternatives.
namespace Vantora::dsp::PrismelDistoVariantKnobs {

using namespace Knobs;

/// Base of the module, so that its class names them too.
struct Indices {
  /// Positions in the own list.
  enum OwnParam : uint32_t { kDistoType = engine::ModuleVariantKnobs::kOwnParamCount, kDrive };
};
using OwnParam = Indices::OwnParam;
using enum Indices::OwnParam;

inline constexpr const char* kBySpread = "written by the spread";
inline constexpr const char* kByChoice = "written by the distortion's choice";

/// The same limits as the knob that drives it.
inline constexpr Range kDriveRange = PrismelKnobs::kOwnRows[PrismelKnobs::kDistortionDrive].range;

inline constexpr Fit kFolderFits[] = {
    {.index = WavefolderKnobs::kDrive, .range = kDriveRange, .internal = kBySpread},
    {.index = WavefolderKnobs::kOutputGain, .start = Value(0)},
    {.index = WavefolderKnobs::kWet, .start = Value(1)},
    {.index = WavefolderKnobs::kUpsmp, .start = Value(0)},
    {.index = WavefolderKnobs::kAntiAl, .start = Value(0)},
    {.index = WavefolderKnobs::kStereo, .start = Value(0), .internal = "second channel; a clone has one"},
    {.index = WavefolderKnobs::kGainStagingIn, .start = Value(0)},
    {.index = WavefolderKnobs::kGainStagingOut, .start = Value(0)},
    {.index = WavefolderKnobs::kAutoComp, .start = Value(1)},
    {.index = WavefolderKnobs::kType, .start = Value(0)},
};
inline constexpr auto kFolderRows = Refit(WavefolderKnobs::kRows, kFolderFits);

/// The shaper's curves, in the order of the first three distortions.
inline constexpr uint32_t kShaperCurves[] = {3, 4, 14};

inline constexpr Fit kShaperFits[] = {
    {.index = MultiDistKnobs::kStereo, .internal = "second channel; a clone has one"},
    {.index = MultiDistKnobs::kDistType, .range = Steps(std::size(kShaperCurves)), .internal = kByChoice},
    {.index = MultiDistKnobs::kDrive, .range = kDriveRange, .internal = kBySpread},
    {.index = MultiDistKnobs::kGainStagingIn, .start = Value(0)},
    {.index = MultiDistKnobs::kGainStagingOut, .start = Value(0)},
    {.index = MultiDistKnobs::kUpsamp, .start = Value(0)},
    {.index = MultiDistKnobs::kAntiAl, .start = Value(0)},
};
inline constexpr auto kShaperRows = Refit(MultiDistKnobs::kRows, kShaperFits);

inline constexpr Fit kVariantFits[] = {
    {.index = engine::ModuleVariantKnobs::kModuleType, .internal = kByChoice},
};
// clang-format off
inline constexpr auto kAddedRows = std::to_array<Row>({
    Row{"DistoType", Steps(std::size(PrismelKnobs::kDistortions)), {}, kNone, kInternal, "Distortion", "Kind",
        "written by \"DistortionAlgorithm\"", PrismelKnobs::kDistortions}.WithSymbol("kind"),
    {"Drive", kDriveRange, {}, kDecibels, kInternal, "Distortion", "Drive", kBySpread},
});
// clang-format on
/// Behind those of the alternatives.
inline constexpr auto kOwnRows =
    Join(Refit(engine::ModuleVariantKnobs::OwnRows(2), kVariantFits), kAddedRows);
static_assert(kOwnRows.size() == kDrive + 1);

/// Indices among all of the variant's parameters: those of the alternatives stand in front of the own ones.
inline constexpr uint32_t kOwnBase = kFolderRows.size() + kShaperRows.size();
inline constexpr uint32_t kDistoTypeIndex = kOwnBase + kDistoType;
inline constexpr uint32_t kDriveIndex = kOwnBase + kDrive;

}  // namespace Vantora::dsp::PrismelDistoVariantKnobs
