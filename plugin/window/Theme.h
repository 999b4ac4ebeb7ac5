#pragma once

#include <array>
#include <cstdint>

/// The look of the face, in one place: what is set in one colour, voices in eight, levels in green to red,
/// everything else in greys. Contrasts are to be read against `kPanel` unless said otherwise; a test holds
/// them.
namespace Vantora::plugin::theme {

/// A colour with its opacity, 0 to 255 each.
struct Colour {
  uint8_t r, g, b, a = 255;
  /// The same with another opacity, 0 to 1.
  constexpr Colour Alpha(float opacity) const {
    return {r, g, b, static_cast<uint8_t>(opacity * static_cast<float>(a) + 0.5f)};
  }
};

// ---- Grounds, from the back to the front
inline constexpr Colour kGround{0x14, 0x14, 0x19};
inline constexpr Colour kPanel{0x1e, 0x1e, 0x25};
inline constexpr Colour kWell{0x17, 0x17, 0x1c};    ///< sunk into a panel: curves, meters, entries
inline constexpr Colour kRaised{0x2c, 0x2b, 0x37};  ///< a knob's body, a chosen row
inline constexpr Colour kHover{0x27, 0x26, 0x30};
inline constexpr Colour kPopup{0x26, 0x26, 0x2f};  ///< menus and choosers, above everything

// ---- Lines and texts
inline constexpr Colour kLine{0x3a, 0x39, 0x47};  ///< frames, tracks
inline constexpr Colour kTick{0x7b, 0x7a, 0x89};  ///< axes' numbers
inline constexpr Colour kDim{0xa3, 0xa1, 0xb1};   ///< names
inline constexpr Colour kText{0xee, 0xed, 0xf4};  ///< values

// ---- What is set, what moves, what is wrong
inline constexpr Colour kAccent{0xff, 0xb4, 0x54};
inline constexpr Colour kMoved{0xff, 0xb4, 0x54, 0xb0};  ///< where the modulation takes a knob
inline constexpr Colour kFocus{0xdf, 0xe6, 0xff};        ///< ring of the keyboard
inline constexpr Colour kLevel{0x6f, 0xd8, 0x68};
inline constexpr Colour kLoud{0xff, 0xc9, 0x4a};
inline constexpr Colour kHot{0xff, 0x6b, 0x5e};

/// One colour a voice, in the order a prism gives them: violet to red.
inline constexpr std::array<Colour, 8> kVoices = {{{0x95, 0x7d, 0xff},
                                                   {0x64, 0x93, 0xff},
                                                   {0x41, 0xb6, 0xf6},
                                                   {0x36, 0xd1, 0xb0},
                                                   {0x7c, 0xd9, 0x66},
                                                   {0xe9, 0xd5, 0x4e},
                                                   {0xf2, 0x9e, 0x4c},
                                                   {0xf0, 0x66, 0x66}}};

// ---- Type: heights of the em in pixels at 1x
inline constexpr float kTickSize = 9.5f;  ///< numbers on axes, nothing else
inline constexpr float kSmall = 11.0f;
inline constexpr float kBody = 12.0f;
inline constexpr float kValue = 13.0f;
inline constexpr float kTitle = 15.0f;
inline constexpr float kHuge = 24.0f;

// ---- Spacing
inline constexpr float kMargin = 14.0f;  ///< window's edge to the panels
inline constexpr float kGap = 10.0f;     ///< between panels
inline constexpr float kPad = 14.0f;     ///< panel's edge to what is in it
inline constexpr float kRadius = 8.0f;   ///< of panels
inline constexpr float kSmallRadius = 5.0f;
inline constexpr float kTarget = 24.0f;  ///< smallest height and width of what is clicked

// ---- Knobs: the gap is at the bottom
inline constexpr float kPi = 3.14159265f;
inline constexpr float kKnobStart = 0.75f * kPi;
inline constexpr float kKnobSweep = 1.5f * kPi;

}  // namespace Vantora::plugin::theme
