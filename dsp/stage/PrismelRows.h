#pragma once

#include "basictools/knobs/KnobRow.h"

/// The knobs that `Prismel` adds behind those of its banks.
namespace Vantora::dsp::PrismelKnobs {

using namespace Knobs;

/// What "FXType" can be: the alternatives of a voice's stage effect, in the order of `FxVariant`.
enum FxType : uint32_t {
  kFxPassThrough = 0,  ///< plain delayed copies
  kFxBandPass = 1,     ///< `MultiModeFilter`, mode 11
  kFxComb = 2,         ///< `MultiModeFilter`, mode 18
  kFxBitCrusher = 3,
  kFxDistortion = 4,
  kFxHarmonizer = 5,
  kFxTypeCount = 6,
};

/// Base of the module, so that its class names them too.
struct Indices {
  /// Positions in the own list.
  enum OwnParam : uint32_t {
    kVoices,
    kDetune,  ///< its curve turns "Prismelion" into the depth of the tap sweep, ms; its value is never read
    kRate,    ///< the same for the rate of the tap sweep, Hz
    kWet,
    kHpfCutoff,
    kLpfCutoff,
    kBandpassCutoff,
    kBandpassResonance,
    kCombCutoff,
    kCombResonance,  ///< its position is the feedback
    kBitCrusherDownsample,
    kBitCrusherBitDepth,
    kDistortionDrive,
    kDistortionAlgorithm,
    kHarmonizerSpray,
    kHarmonizerChord,
    kPrismelion,
    kFxType,
    kInputGain,
    kOutputGain,
    kFeedbackDelayTime,
    kFeedbackPrismel,  ///< read-out: "Prismelion" with its modulation; nothing to do with audio feedback
    kFeedbackPrimary,  ///< read-out: the primary parameter's position with its modulation
    kOwnParamCount
  };
};
using OwnParam = Indices::OwnParam;
using enum Indices::OwnParam;

inline constexpr uint32_t kMostVoices = 8;
inline constexpr const char* kEffects[] = {"off", "band-pass", "comb", "crusher", "distortion", "harmonizer"};
inline constexpr const char* kDistortions[] = {"soft clip", "tube", "sine fold", "wavefolder"};

// From the intervals of the voices, in semitones above the played note:
inline constexpr const char* kChordNames[] = {
    "octaves",       // 12 -12 24 -24
    "fifths",        // 7 12 19 24, and a fourth below
    "minor",         // 3 7
    "minor 7th",     // 10 3 7
    "minor add9",    // 14 3 7
    "major",         // 4 7
    "dominant 7th",  // 10 4 7
    "major 7th",     // 11 4 7
    "major add9",    // 14 4 7
    "major 6/9",     // 14 9 4, without the fifth
    "sus2",          // 2 7
    "sus4",          // 5 7
};

// clang-format off
inline constexpr auto kOwnRows = std::to_array<Row>({
    {"Voices", Steps(kMostVoices, 1), Value(5), kNone, kMain, "Effect", "Voices",
     "number of voices on each side"},
    {"Detune", Linear(2, 16.5f), {}, kMilliseconds, kInternal, "Effect", "Sweep depth",
     "range of the tap sweep; its own value is unused"},
    {"Rate", Linear(0, 0.35f), {}, kHertz, kInternal, "Effect", "Sweep rate",
     "range of the sweep's rate; its own value is unused"},
    {"Wet", Linear(0, 1), Value(0.5f), kRatio, kMain, "Levels", "Wet", "dry to wet, at equal power"},
    {"HPFCutoff", Exponential(20, 20000, 6), Value(250), kHertz, kMain, "Filters", "High-pass",
     "high-pass in front of the voices"},
    {"LPFCutoff", Exponential(20, 20000, 6), Value(20000), kHertz, kMain, "Filters", "Low-pass",
     "low-pass behind the voices"},
    {"BandpassCutoff", Exponential(20, 20000, 6), {}, kHertz, kMain, "Band-pass", "Band-pass centre",
     "centre of the band-pass"},
    {"BandpassResonance", Exponential(0.71f, 15, 5.5f), {}, kNone, kMain, "Band-pass", "Band-pass resonance",
     "Q of the band-pass"},
    {"CombCutoff", Exponential(20, 20000, 8), {}, kHertz, kMain, "Comb", "Comb pitch", "pitch of the comb"},
    {"CombResonance", Exponential(5, 25, -3), {}, kNone, kMain, "Comb", "Comb feedback",
     "feedback of the comb"},
    {"BitCrusherDownsample", Exponential(1, 80, 3), {}, kTimes, kMain, "Crusher", "Crusher rate divider",
     "divides the crusher's rate of 44.1 kHz"},
    {"BitCrusherBitDepth", Reverse(1.5f, 16), {}, kBits, kMain, "Crusher", "Crusher bits",
     "word length of the crusher; a fresh processor sounds as at 1.5 until it is written"},
    {"DistortionDrive", Linear(-14, 36), {}, kDecibels, kMain, "Distortion", "Distortion drive",
     "gain into the distortion"},
    {"DistortionAlgorithm", Steps(std::size(kDistortions)), {}, kNone, kMain, "Distortion", "Distortion kind",
     "kind of distortion", kDistortions},
    {"HarmonizerSpray", Exponential(0, 1500, 3), {}, kMilliseconds, kMain, "Harmonizer", "Harmonizer spray",
     "scatters the grains; in its upper half it opens the feedback"},
    {"HarmonizerChord", Steps(std::size(kChordNames)), {}, kNone, kMain, "Harmonizer", "Harmonizer chord",
     "intervals of the voices", kChordNames},
    {"Prismelion", Linear(0, 1), {}, kRatio, kMain, "Effect", "Prismelion",
     "how far the voices spread apart"},
    {"FXType", Steps(kFxTypeCount), {}, kNone, kMain, "Effect", "Effect", "effect of every voice", kEffects},
    {"InputGain", Linear(-24, 24), Value(0), kDecibels, kMain, "Levels", "Input gain",
     "gain into the voices"},
    Row{"OutputGain", Linear(-24, 24), Value(0), kDecibels, kMain, "Levels", "Wet gain",
        "gain of the wet signal"}.WithSymbol("wet_gain"),
    {"FeedbackDelayTime", Linear(2, 1000), Value(500), kMilliseconds, kMain, "Harmonizer", "Feedback delay",
     "delay of the harmonizer's feedback"},
    {"FeedbackPrismel", Plain(), {}, kRatio, kReadOut, "Meters", "Prismelion now",
     "\"Prismelion\" as modulated"},
    {"FeedbackPrimary", Plain(), {}, kRatio, kReadOut, "Meters", "Effect knob now",
     "the effect's first knob as modulated"},
});
// clang-format on
static_assert(kOwnRows.size() == kOwnParamCount && std::size(kEffects) == kFxTypeCount);

}  // namespace Vantora::dsp::PrismelKnobs
