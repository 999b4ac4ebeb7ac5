#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <utility>

#include "dsp/effects/curves/AsymmetricCurves.h"
#include "dsp/effects/curves/ClipCurves.h"
#include "dsp/effects/curves/FoldCurves.h"

namespace Vantora::dsp {

/// The sixteen algorithms of `MultiDist`, in the order of their numbers. Each curve is silent at silence,
/// bounded by about full scale, and comes with its antiderivative.
using ShapingCurves = std::tuple<curves::HardClip, curves::SoftKnee, curves::Warm, curves::OneSidedLimit,
                                 curves::ColdTube, curves::Diode, curves::HalfWave, curves::Octave,
                                 curves::Crossover, curves::Triode, curves::GatedFuzz, curves::Stairs,
                                 curves::TriangleFold, curves::RoundFold, curves::SineFold, curves::Collapse>;

inline constexpr uint32_t kShapingCurveCount = std::tuple_size_v<ShapingCurves>;

namespace details {

template <std::size_t... Index>
constexpr std::array<std::string_view, sizeof...(Index)> CurveNames(std::index_sequence<Index...>) {
  return {std::tuple_element_t<Index, ShapingCurves>::kName...};
}

template <typename Visit, std::size_t... Index>
void VisitCurve(uint32_t algorithm, Visit& visit, std::index_sequence<Index...>) {
  (void)((algorithm == Index && (visit(std::tuple_element_t<Index, ShapingCurves>{}), true)) || ...);
}

}  // namespace details

/// Display names, by algorithm number.
inline constexpr std::array<std::string_view, kShapingCurveCount> kShapingCurveNames =
    details::CurveNames(std::make_index_sequence<kShapingCurveCount>{});

/// Calls `visit` with the curve of an algorithm, once, so that the choice stands outside a sample loop. A
/// number beyond the list calls nothing.
template <typename Visit>
void VisitShapingCurve(uint32_t algorithm, Visit&& visit) {
  details::VisitCurve(algorithm, visit, std::make_index_sequence<kShapingCurveCount>{});
}

}  // namespace Vantora::dsp
