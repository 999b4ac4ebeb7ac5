#pragma once

#include <array>
#include <cstdint>

#include "dsp/stage/PrismelRows.h"

namespace Vantora::dsp {

// Public: programs that draw the effect read these numbers.

inline constexpr uint32_t kVoiceCount = PrismelKnobs::kMostVoices;

/// What a voice's value is multiplied with, or whose root lowers it, at full spread. By ear: neighbours
/// diverge, left and right of a voice lie on opposite sides of 1.
inline constexpr std::array<float, kVoiceCount> kLeftRatios = {1.0f,    1.084f,  0.908f,  1.323f,
                                                               0.7212f, 1.5735f, 0.6065f, 1.82399f};
inline constexpr std::array<float, kVoiceCount> kRightRatios = {1.0f,     0.919f,  1.086f,  0.75837f,
                                                                1.38612f, 0.6352f, 1.6492f, 0.51203f};

/// Holds the right side apart from the left: on its effect ratios and on its sweep rate.
inline constexpr float kRightSide = 1.0404041f;

/// Start phases of the tap sweep, in cycles, alike for left and right.
inline constexpr std::array<float, kVoiceCount> kStartPhases = {0.0f,      0.25f,     0.375f, 0.472222f,
                                                                0.055555f, 0.483333f, 0.05f,  0.988888f};

/// Gain by number of voices: n to the power -0.375.
inline constexpr std::array<float, kVoiceCount> kVoiceCountGains = {
    1.0f, 0.771105409f, 0.66233778f, 0.594603539f, 0.546872735f, 0.510732293f, 0.482045710f, 0.458502024f};

/// Spans of the root law: how far a whole step of the root moves the drive, in dB, and the spray, in ms.
inline constexpr float kDriveSpan = 25.0f;
inline constexpr float kSpraySpan = 2300.0f;

/// Semitones of each voice, by "HarmonizerChord".
inline constexpr std::array<std::array<int8_t, kVoiceCount>, 12> kChords = {{
    {0, 12, -12, 24, -24, 12, -12, 24},
    {0, 7, 12, 19, 24, 0, -5, -12},
    {0, 3, 7, 12, 15, 19, 24, -12},
    {0, 10, 3, 7, 12, 22, 15, 19},
    {0, 14, 3, 7, 12, 15, 19, 24},
    {0, 4, 7, 12, 16, 19, 24, -12},
    {0, 10, 4, 7, 12, 22, 16, 19},
    {0, 11, 4, 7, 12, 23, 16, 19},
    {0, 14, 4, 7, 12, 16, 19, 24},
    {0, 14, 9, 4, 12, 21, 16, 2},
    {0, 2, 7, 12, 14, 19, 24, -12},
    {0, 5, 7, 12, 17, 19, 24, -12},
}};

}  // namespace Vantora::dsp
