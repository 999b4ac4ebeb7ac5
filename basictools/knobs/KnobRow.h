#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>

#include "basictools/math/mapping/MappingKind.h"

/// A knob's name, curve, range, start, unit, group and help stand in one row, in the `*Rows.h` beside the
/// module that owns it. The module's constructor makes its records from the rows, and everybody who shows,
/// stores or documents knobs reads the same ones. Row headers are data: they include this file and other row
/// headers only.
namespace Vantora::Knobs {

/// What a knob's value counts.
enum class Unit {
  kNone,  ///< a plain number, a switch or an enumeration
  kHertz,
  kDecibels,
  kMilliseconds,
  kSeconds,
  kPercent,  ///< value 0 to 100
  kRatio,    ///< value 0 to 1 or -1 to 1; percent are understood
  kDegrees,
  kSemitones,
  kBits,
  kTimes,  ///< a factor, "8x"
};

/// Whom a knob is for.
enum class Role {
  kMain,      ///< to be turned
  kAdvanced,  ///< works, but is rarely wanted
  kInternal,  ///< wiring that the owner writes itself, or that nobody reads
  kReadOut,   ///< written by the module
  kCommand,   ///< an action or a text, not a value
};

// The rows say them often.
using enum Unit;
using enum Role;

/// Range: curve and limits of a knob, in its unit. Made by the functions below.
struct Range {
  uint32_t kind;          ///< `MappingTools::MappingKind`
  float min, max;         ///< lowest and highest value
  float bend = 1.0f;      ///< first argument of the curve
  uint32_t choices = 0;   ///< values to choose from; 0 for a continuous knob
  bool onAtHalf = false;  ///< of a toggle: on from 0.5, else above it

  bool operator==(const Range&) const = default;
};

/// A position 0 to 1 that is the value.
constexpr Range Plain() { return {MappingTools::Normalized, 0.0f, 1.0f}; }
/// A position that only says off or on: on above 0.5.
constexpr Range Toggle() { return {MappingTools::Normalized, 0.0f, 1.0f, 1.0f, 2}; }
/// The same, on from 0.5.
constexpr Range ToggleFromHalf() { return {MappingTools::Normalized, 0.0f, 1.0f, 1.0f, 2, true}; }
/// `count` whole numbers from `first`.
constexpr Range Steps(uint32_t count, float first = 0.0f) {
  return {MappingTools::Stepped, first, first + static_cast<float>(count) - 1.0f, 1.0f, count};
}
/// Two steps, 0 and 1.
constexpr Range Switch() { return Steps(2); }
constexpr Range Linear(float min, float max) { return {MappingTools::Linear, min, max}; }
constexpr Range Exponential(float min, float max, float curve) {
  return {MappingTools::Exponential, min, max, curve};
}
/// From `max` at position 0 down to `min`.
constexpr Range Reverse(float min, float max) { return {MappingTools::Reverse, min, max}; }
constexpr Range BipolarExp(float min, float max, float curve) {
  return {MappingTools::BipolarExp, min, max, curve};
}

/// Start: where a knob stands in a fresh module.
///
/// At rest it stands at position 0 with its lowest value in the cache, even where the curve doesn't join the
/// two: a reversed knob at rest answers position 0, its top, and sounds as at its lowest value until it is
/// written.
struct Start {
  enum How : uint8_t { kAtRest, kAtValue, kAtPosition };
  How how = kAtRest;
  float at = 0.0f;  ///< value in the unit, or position 0 to 1
};
constexpr Start Value(float value) { return {Start::kAtValue, value}; }
/// For a knob that stands at an end that the inverse curve might miss by a rounding.
constexpr Start Position(float position) { return {Start::kAtPosition, position}; }

/// Names of the values of an enumeration or a switch, in order.
using Labels = std::span<const char* const>;
inline constexpr const char* kOffOn[] = {"off", "on"};

/// Row: all there is to know of one knob.
struct Row {
  const char* name;  ///< as the module answers it; fixed for ever
  Range range;
  Start start;
  Unit unit;
  Role role;
  const char* group;  ///< "Crusher", "Filters": knobs that belong together
  const char* title;  ///< for people, in sentence case: "Rate divider"
  const char* help;   ///< one sentence on what it does
  Labels labels = {};
  const char* symbol = nullptr;  ///< snake_case, where the name doesn't give a good one; fixed for ever
  Start preset = {};  ///< what a sound falls back to that doesn't name the knob; at rest: its start

  constexpr Row WithSymbol(const char* text) const {
    Row row = *this;
    row.symbol = text;
    return row;
  }
  constexpr Row WithPreset(Start fallBack) const {
    Row row = *this;
    row.preset = fallBack;
    return row;
  }
};

/// Fit: what an owner changes of a child's knob behind the child's constructor. `Refit` shows it,
/// `dsp::ApplyFits` does it.
struct Fit {
  uint32_t index;
  Start start = {};                                    ///< written by the owner; at rest: left as it is
  Range range = {MappingTools::Stepped, 0.0f, -1.0f};  ///< empty: left as it is
  const char* internal = nullptr;                      ///< why nobody is to turn it here; null: as it was
  Labels labels = {};                                  ///< names of the new range's values

  constexpr bool HasRange() const { return range.max >= range.min; }
};

/// The rows of a child as an owner has fitted it.
template <std::size_t N, std::size_t M>
constexpr std::array<Row, N> Refit(std::array<Row, N> fitted, const Fit (&fits)[M]) {
  for (const Fit& fit : fits) {
    Row& row = fitted[fit.index];
    if (fit.internal != nullptr) {
      row.role = Role::kInternal;
      row.help = fit.internal;
    }
    if (fit.HasRange()) {
      row.range = fit.range;
      row.start = {};
      row.labels = fit.labels;
    }
    if (fit.start.how != Start::kAtRest) row.start = fit.start;
  }
  return fitted;
}

/// Two lists of rows as one: a child's, then its owner's.
template <std::size_t N, std::size_t M>
constexpr std::array<Row, N + M> Join(const std::array<Row, N>& first, const std::array<Row, M>& second) {
  std::array<Row, N + M> joined{};
  for (std::size_t i = 0; i < N; ++i) joined[i] = first[i];
  for (std::size_t i = 0; i < M; ++i) joined[N + i] = second[i];
  return joined;
}

}  // namespace Vantora::Knobs
