#pragma once

#include <array>
#include <cstdint>

namespace Vantora::dsp {

enum class FilterTopology : uint8_t { FirstOrder = 0, StateVariable = 1, Comb = 2 };
enum class FilterUse : uint8_t { LowPass, HighPass, BandPass, Notch, Bell, Feedback, FeedForward };

/// What a mode number of `MultiModeFilter` stands for. `order` counts the cascaded state-variable sections.
struct FilterMode {
  FilterTopology topology;
  FilterUse use;
  uint8_t order;
};

inline constexpr uint32_t kFilterModeCount = 20;

/// By mode number, which owners and presets store.
inline constexpr std::array<FilterMode, kFilterModeCount> kFilterModes = {{
    {FilterTopology::FirstOrder, FilterUse::LowPass, 0},      // 0
    {FilterTopology::StateVariable, FilterUse::LowPass, 1},   // 1
    {FilterTopology::StateVariable, FilterUse::LowPass, 2},   // 2
    {FilterTopology::StateVariable, FilterUse::LowPass, 3},   // 3
    {FilterTopology::FirstOrder, FilterUse::HighPass, 0},     // 4
    {FilterTopology::StateVariable, FilterUse::HighPass, 1},  // 5
    {FilterTopology::StateVariable, FilterUse::HighPass, 2},  // 6
    {FilterTopology::StateVariable, FilterUse::HighPass, 3},  // 7
    {FilterTopology::FirstOrder, FilterUse::BandPass, 0},     // 8
    {FilterTopology::StateVariable, FilterUse::BandPass, 1},  // 9
    {FilterTopology::StateVariable, FilterUse::BandPass, 2},  // 10
    {FilterTopology::StateVariable, FilterUse::BandPass, 3},  // 11
    {FilterTopology::StateVariable, FilterUse::Notch, 1},     // 12
    {FilterTopology::StateVariable, FilterUse::Notch, 2},     // 13
    {FilterTopology::StateVariable, FilterUse::Notch, 3},     // 14
    {FilterTopology::StateVariable, FilterUse::Bell, 1},      // 15
    {FilterTopology::StateVariable, FilterUse::Bell, 2},      // 16
    {FilterTopology::StateVariable, FilterUse::Bell, 3},      // 17
    {FilterTopology::Comb, FilterUse::Feedback, 0},           // 18
    {FilterTopology::Comb, FilterUse::FeedForward, 0},        // 19
}};

inline constexpr uint32_t kModeFeedbackComb = 18;

}  // namespace Vantora::dsp
