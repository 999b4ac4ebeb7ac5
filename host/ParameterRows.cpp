#include "host/ParameterRows.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <utility>

#include "basictools/math/mapping/PotardMappingUtils.h"

namespace Vantora::host {
namespace {

using Labels = std::vector<std::string>;
using Row = Parameter::Declaration;
using enum MappingTools::MappingKind;
using enum Unit;
using enum Role;

// ---- Names of values --------------------------------------------------------------------------------------

const Labels kSwitch = {"off", "on"};
const Labels kEffects = {"off", "band-pass", "comb", "crusher", "distortion", "harmonizer"};
const Labels kDistortions = {"soft clip", "tube", "sine fold", "wavefolder"};

// From the intervals of the voices, in semitones above the played note:
const Labels kChords = {
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

const Labels kCrusherModes = {"glide", "hold"};
const Labels kLfoModes = {"one shot", "free", "song-locked"};
const Labels kWaveforms = {"sine", "triangle", "falling saw", "rising saw", "square", "sample and hold"};
const Labels kLfoShapes = {"sine", "triangle", "falling saw", "square", "sample and hold", "smooth random"};
const Labels kLfoRateTypes = {"free", "synced all", "synced straight", "synced triplet", "synced dotted"};
const Labels kSyncModes = {"free", "synced", "synced all"};
const Labels kNoteFeels = {"straight", "triplet", "dotted"};

/// Note lengths of the LFO in whole notes (bars of 4/4), longest first: from sixteen bars to a thirty-second.
const Labels kNoteLengths = {"16/1", "8/1", "4/1", "2/1", "1/1", "1/2", "1/4", "1/8", "1/16", "1/32"};

/// The same lengths with their dotted (times 1.5) and triplet (times 2/3) forms, longest first.
Labels MakeAllNoteLengths() {
  std::vector<std::pair<double, std::string>> lengths;
  double whole = 16.0;
  for (const std::string& label : kNoteLengths) {
    lengths.emplace_back(1.5 * whole, label + " dotted");
    lengths.emplace_back(whole, label);
    lengths.emplace_back(whole / 1.5, label + " triplet");
    whole *= 0.5;
  }
  std::sort(lengths.begin(), lengths.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
  Labels labels;
  for (auto& length : lengths) labels.push_back(std::move(length.second));
  return labels;
}
const Labels kAllNoteLengths = MakeAllNoteLengths();

// ---- The knobs: name, curve, min, max, bend, start, unit, role, note, labels, preferred -------------------

// What each of the sixteen clones of a stage holds, as configured for this effect. The effect writes the ones
// that it spreads over the voices at every block, so that whatever a host writes there is lost.
const Row kPassThrough[] = {
    {"BypassUselessParam", Normalized, 0, 1, 1, 0, kNone, kInternal, "read by nobody"},
};
const Row kBandPass[] = {
    {"Stereo", Normalized, 0, 1, 1, 0, kNone, kInternal, "second channel; a clone has one"},
    {"Mode", Stepped, 0, 0, 1, 0, kNone, kInternal, "the band-pass, the only mode allowed here"},
    {"Freq", Exponential, 20, 20000, 6, 20, kHertz, kInternal, "written by the spread"},
    {"CombFreq", Exponential, 20, 2000, 6, 20, kHertz, kInternal, "not used by the band-pass"},
    {"Q", Exponential, 0.71f, 15, 5.5f, 0.71f, kNone, kInternal, "written by the spread"},
    {"Gain", Linear, -15, 15, 1, 0, kDecibels, kInternal, "of the bell modes"},
    {"FMAmount", Normalized, 0, 1, 1, 0, kRatio, kInternal, "depth of an input that isn't connected"},
    {"ConfBypassOnOpen", Normalized, 0, 1, 1, 0, kNone, kInternal, "configuration"},
    {"ConfFadeOnModeChange", Normalized, 0, 1, 1, 0, kNone, kInternal, "configuration"},
    {"ConfGainCompensationOn", Normalized, 0, 1, 1, 1, kNone, kInternal, "configuration"},
};
const Row kComb[] = {
    {"Stereo", Normalized, 0, 1, 1, 0, kNone, kInternal, "second channel; a clone has one"},
    {"Mode", Stepped, 0, 0, 1, 0, kNone, kInternal, "the feedback comb, the only mode allowed here"},
    {"Freq", Exponential, 20, 20000, 6, 20, kHertz, kInternal, "not used by the comb"},
    {"CombFreq", Exponential, 20, 20000, 8, 20, kHertz, kInternal, "written by the spread"},
    {"Q", Exponential, 5, 25, -3, 5, kNone, kInternal, "written by the spread"},
    {"Gain", Linear, -15, 15, 1, 0, kDecibels, kInternal, "of the bell modes"},
    {"FMAmount", Normalized, 0, 1, 1, 0, kRatio, kInternal, "depth of an input that isn't connected"},
    {"ConfBypassOnOpen", Normalized, 0, 1, 1, 0, kNone, kInternal, "configuration"},
    {"ConfFadeOnModeChange", Normalized, 0, 1, 1, 0, kNone, kInternal, "configuration"},
    {"ConfGainCompensationOn", Normalized, 0, 1, 1, 1, kNone, kInternal, "configuration"},
};
const Row kCrusher[] = {
    {"Wet", Normalized, 0, 1, 1, 1, kRatio, kAdvanced, "mix of the crushed and the plain signal"},
    {"Bitdepth", Reverse, 1.5f, 16, 1, 16, kBits, kInternal, "written by the spread"},
    {"Downsample", Exponential, 1, 80, 3, 1, kTimes, kInternal, "written by the spread"},
    {"Frequency", Exponential, 200, 44100, 5.4f, 200, kHertz, kInternal,
     "new sample rate, not selected here"},
    {"StereoBC", Stepped, 0, 1, 1, 0, kNone, kInternal, "second channel; a clone has one", &kSwitch},
    {"Aliasing", Exponential, 0, 1, 3, 0, kRatio, kAdvanced, "opens the anti-alias filter"},
    {"Jitter", Linear, 0, 100, 1, 0, kPercent, kAdvanced, "unevenness of the new sample clock"},
    {"JitterRate", Linear, 20, 3000, 1, 20, kHertz, kAdvanced, "how often the clock's error changes"},
    {"JitterMode", Stepped, 0, 1, 1, 1, kNone, kAdvanced, "kind of unevenness"},
    {"Mode", Stepped, 0, 1, 1, 1, kNone, kAdvanced, "glide between samples, or hold them", &kCrusherModes},
    {"Scale", Exponential, 0.1f, 255, 6, 16, kNone, kAdvanced, "curvature of the logarithmic word"},
    {"ConfDownSample", Stepped, 0, 1, 1, 0, kNone, kInternal, "configuration", &kSwitch},
    {"ConfAliasing", Normalized, 0, 1, 1, 1, kNone, kInternal, "configuration"},
    {"ConfScale", Normalized, 0, 1, 1, 1, kNone, kInternal, "configuration"},
    {"ConfFeedbackOn", Normalized, 0, 1, 1, 0, kNone, kInternal, "configuration"},
    {"InGainCompensated", Linear, -40, 40, 1, 0, kDecibels, kAdvanced,
     "gain into the crusher, taken back behind it"},
};
const Row kWavefolder[] = {
    {"Type", Normalized, 0, 1, 1, 0, kNone, kAdvanced, "below 0.5 a sine fold, otherwise a triangle fold"},
    {"Wet", Normalized, 0, 1, 1, 1, kRatio, kAdvanced, "mix of the folded and the plain signal"},
    {"Drive", Linear, -14, 36, 1, -14, kDecibels, kInternal, "written by the spread"},
    {"OutputGain", Linear, -24, 24, 1, 0, kDecibels, kAdvanced, "gain behind the folder"},
    {"Overload", Normalized, 0, 1, 1, 0, kNone, kReadOut, "1 while a block went above full scale"},
    {"Stereo", Stepped, 0, 1, 1, 0, kNone, kInternal, "second channel; a clone has one", &kSwitch},
    {"Upsmp", Stepped, 0, 1, 1, 0, kNone, kAdvanced, "fold at twice the sample rate", &kSwitch},
    {"AntiAl", Stepped, 0, 1, 1, 0, kNone, kAdvanced, "anti-aliasing of the triangle fold", &kSwitch},
    {"AutoComp", Stepped, 0, 1, 1, 1, kNone, kAdvanced, "keeps the level while the drive moves", &kSwitch},
    {"eConfFeedbackOn", Stepped, 0, 1, 1, 0, kNone, kInternal, "configuration", &kSwitch},
    {"ConfGainStagingIn", Linear, -24, 24, 1, 0, kDecibels, kInternal, "configuration"},
    {"ConfGainStagingOut", Linear, -24, 24, 1, 0, kDecibels, kInternal, "configuration"},
};
const Row kShaper[] = {
    {"Stereo", Stepped, 0, 1, 1, 0, kNone, kInternal, "second channel; a clone has one", &kSwitch},
    {"DistType", Stepped, 0, 2, 1, 0, kNone, kInternal, "written by the distortion's choice"},
    {"Drive", Linear, -14, 36, 1, -14, kDecibels, kInternal, "written by the spread"},
    {"OutputGain", Linear, -24, 24, 1, 0, kDecibels, kAdvanced, "gain behind the shaper"},
    {"AutoComp", Stepped, 0, 1, 1, 1, kNone, kAdvanced, "keeps the level while the drive moves", &kSwitch},
    {"ConfFeedbackOn", Stepped, 0, 1, 1, 0, kNone, kInternal, "configuration", &kSwitch},
    {"ConfGainStagingIn", Linear, -24, 24, 1, 0, kDecibels, kInternal, "configuration"},
    {"ConfGainStagingOut", Linear, -24, 24, 1, 0, kDecibels, kInternal, "configuration"},
    {"ConfAntiAl", Stepped, 0, 1, 1, 0, kNone, kInternal, "configuration", &kSwitch},
    {"ConfUpsamp", Stepped, 0, 1, 1, 0, kNone, kInternal, "configuration", &kSwitch},
};
const Row kDistortion[] = {
    {"ModuleType", Stepped, 0, 1, 1, 0, kNone, kInternal, "written by the distortion's choice"},
    {"Bypass", Stepped, 0, 1, 1, 0, kNone, kInternal, "of one clone", &kSwitch},
    {"CopyOnBypass", Stepped, 0, 1, 1, 0, kNone, kInternal, "of one clone", &kSwitch},
    {"CrossfadeOnBypass", Stepped, 0, 1, 1, 0, kNone, kInternal, "of one clone", &kSwitch},
    {"FadeOnModuleChange", Stepped, 0, 1, 1, 0, kNone, kInternal, "of one clone", &kSwitch},
    {"DistoType", Stepped, 0, 3, 1, 0, kNone, kInternal, "written by \"DistortionAlgorithm\"", &kDistortions},
    {"Drive", Linear, -14, 36, 1, -14, kDecibels, kInternal, "written by the spread"},
};
const Row kHarmonizer[] = {
    {"Stereo", Normalized, 0, 1, 1, 0, kNone, kInternal, "second channel; a clone has one"},
    {"PreDelay", Linear, 0, 1000, 1, 0, kMilliseconds, kAdvanced, "delay in front of the pitch shifter"},
    {"PitchShift", Linear, -24, 24, 1, 0, kSemitones, kInternal, "written by the chord"},
    {"Spray", Exponential, 0, 1500, 3, 0, kMilliseconds, kInternal, "written by the spread"},
    {"ModDelayConnected", Normalized, 0, 1, 1, 0, kNone, kInternal, "configuration"},
};
const Row kStageSelection[] = {
    {"ModuleType", Stepped, 0, 5, 1, 0, kNone, kInternal, "written by \"FXType\"", &kEffects},
    {"Bypass", Stepped, 0, 1, 1, 0, kNone, kInternal, "of the clones", &kSwitch},
    {"CopyOnBypass", Stepped, 0, 1, 1, 0, kNone, kInternal, "of the clones", &kSwitch},
    {"CrossfadeOnBypass", Stepped, 0, 1, 1, 0, kNone, kInternal, "of the clones", &kSwitch},
    {"FadeOnModuleChange", Stepped, 0, 1, 1, 0, kNone, kInternal, "of the clones", &kSwitch},
};

const Row kEffect[] = {
    {"Voices", Stepped, 1, 8, 1, 5, kNone, kMain, "number of voices on each side"},
    {"Detune", Linear, 2, 16.5f, 1, 2, kMilliseconds, kInternal,
     "range of the tap sweep; its own value is unused"},
    {"Rate", Linear, 0, 0.35f, 1, 0, kHertz, kInternal, "range of the sweep's rate; its own value is unused"},
    {"Wet", Linear, 0, 1, 1, 0.5f, kRatio, kMain, "dry to wet, at equal power"},
    {"HPFCutoff", Exponential, 20, 20000, 6, 250, kHertz, kMain, "high-pass in front of the voices"},
    {"LPFCutoff", Exponential, 20, 20000, 6, 20000, kHertz, kMain, "low-pass behind the voices"},
    {"BandpassCutoff", Exponential, 20, 20000, 6, 20, kHertz, kMain, "centre of the band-pass"},
    {"BandpassResonance", Exponential, 0.71f, 15, 5.5f, 0.71f, kNone, kMain, "Q of the band-pass"},
    {"CombCutoff", Exponential, 20, 20000, 8, 20, kHertz, kMain, "pitch of the comb"},
    {"CombResonance", Exponential, 5, 25, -3, 5, kNone, kMain, "feedback of the comb"},
    {"BitCrusherDownsample", Exponential, 1, 80, 3, 1, kTimes, kMain,
     "divides the crusher's rate of 44.1 kHz"},
    {"BitCrusherBitDepth", Reverse, 1.5f, 16, 1, 16, kBits, kMain,
     "word length of the crusher; a fresh processor sounds as at 1.5 until it is written"},
    {"DistortionDrive", Linear, -14, 36, 1, -14, kDecibels, kMain, "gain into the distortion"},
    {"DistortionAlgorithm", Stepped, 0, 3, 1, 0, kNone, kMain, "kind of distortion", &kDistortions},
    {"HarmonizerSpray", Exponential, 0, 1500, 3, 0, kMilliseconds, kMain,
     "scatters the grains; in its upper half it opens the feedback"},
    {"HarmonizerChord", Stepped, 0, 11, 1, 0, kNone, kMain, "intervals of the voices", &kChords},
    {"Prismelion", Linear, 0, 1, 1, 0, kRatio, kMain, "how far the voices spread apart"},
    {"FXType", Stepped, 0, 5, 1, 0, kNone, kMain, "effect of every voice", &kEffects},
    {"InputGain", Linear, -24, 24, 1, 0, kDecibels, kMain, "gain into the voices"},
    {"OutputGain", Linear, -24, 24, 1, 0, kDecibels, kMain, "gain of the wet signal"},
    {"FeedbackDelayTime", Linear, 2, 1000, 1, 500, kMilliseconds, kMain,
     "delay of the harmonizer's feedback"},
    {"FeedbackPrismel", Normalized, 0, 1, 1, 0, kRatio, kReadOut, "\"Prismelion\" as modulated"},
    {"FeedbackPrimary", Normalized, 0, 1, 1, 0, kRatio, kReadOut, "the effect's first knob as modulated"},
};

const Row kLfo[] = {
    {"Mode", Stepped, 0, 2, 1, 2, kNone, kAdvanced, "what the phase follows", &kLfoModes},
    {"MidiSync", Stepped, 0, 2, 1, 0, kNone, kInternal, "written by \"LFORateType\"", &kSyncModes},
    {"RateUnSynced", Exponential, 0.025f, 50, 3, 0.025f, kHertz, kMain, "rate while \"LFORateType\" is free"},
    {"RateSynced", Stepped, 0, 9, 1, 0, kNone, kMain, "cycle while straight, triplet or dotted",
     &kNoteLengths},
    {"AllRateSynced", Stepped, 0, 29, 1, 0, kNone, kMain, "cycle while synced to all lengths",
     &kAllNoteLengths},
    {"RateSyncedType", Stepped, 0, 2, 1, 0, kNone, kInternal, "written by \"LFORateType\"", &kNoteFeels},
    {"PhaseInit", Linear, 0, 360, 1, 0, kDegrees, kMain, "phase at the start of a cycle"},
    {"KbTracking", Normalized, 0, 1, 1, 0, kNone, kInternal, "no note reaches this effect"},
    {"KbTrackingAmount", Normalized, 0, 1, 1, 0, kNone, kInternal, "no note reaches this effect"},
    {"KbTrackingFreq", Linear, 1, 40000, 1, 1, kHertz, kInternal, "no note reaches this effect"},
    {"GateIn", Normalized, 0, 1, 1, 0, kNone, kAdvanced, "above 0.5: start again, unless song-locked"},
    {"ControlRate", Normalized, 0, 1, 1, 1, kNone, kInternal, "one value a block"},
    {"SppHardFollow", Normalized, 0, 1, 1, 0, kNone, kAdvanced,
     "from 0.5: phase straight from the song position"},
    {"Swing", Linear, 50, 75, 1, 50, kPercent, kMain, "share of the first of two cycles"},
    {"ConfAllowSyncAll", Stepped, 0, 1, 1, 1, kNone, kInternal, "configuration", &kSwitch},
    {"Waveform", Stepped, 0, 5, 1, 0, kNone, kInternal, "written by \"LFOShapeType\"", &kWaveforms},
    {"Amp", Normalized, 0, 1, 1, 1, kRatio, kAdvanced, "depth of both amounts"},
    {"Smooth", Linear, 0, 5, 1, 0, kNone, kInternal, "written by \"LFOShapeType\""},
    {"SmoothRateLinked", Stepped, 0, 1, 1, 1, kNone, kInternal, "configuration", &kSwitch},
    {"Fade", Normalized, 0, 1, 1, 0, kSeconds, kAdvanced, "fade-in after a restart"},
    {"Stereo", Normalized, 0, 1, 1, 0, kNone, kInternal, "second channel; not connected"},
    {"StereoSpread", Linear, 0, 360, 1, 0, kDegrees, kInternal, "phase of the second channel"},
    {"SnHStereoMode", Stepped, 0, 1, 1, 0, kNone, kInternal, "of the second channel"},
    {"Unipolar", Normalized, 0, 1, 1, 0, kNone, kAdvanced, "above 0.5: 0 to 1 in place of -1 to 1"},
    {"CurrentPhaseFeedback", Normalized, 0, 1, 1, 0, kNone, kReadOut, "phase"},
    {"CurrentValueLFeedback", Linear, -1, 1, 1, -1, kNone, kReadOut, "output"},
};

const Row kAnalyzer[] = {
    {"Attack", Linear, 0.001f, 5, 1, 0.2f, kSeconds, kInternal, "of the meter"},
    {"Release", Linear, 0.001f, 5, 1, 0.2f, kSeconds, kInternal, "of the meter"},
    {"RMSWindowDurationMs", Linear, 0, 100, 1, 10, kMilliseconds, kInternal, "of the meter"},
    {"FixedLinearGain", Linear, 0, 100, 1, 1.4142135f, kTimes, kInternal,
     "makes the RMS of a sine read as its peak"},
    {"StereoInput", Normalized, 0, 1, 1, 0, kNone, kInternal, "written at every block"},
    {"Threshold", Linear, -120, 0, 1, -120, kDecibels, kInternal, "of the meter's gate"},
    {"ThresholdActive", Normalized, 0, 1, 1, 0, kNone, kInternal, "the meter's gate"},
};

const Row kFrame[] = {
    {"Bypass", Stepped, 0, 1, 1, 0, kNone, kMain, "fades to the dry signal in 10 ms", &kSwitch},
    {"Panic", Stepped, 0, 1, 1, 0, kNone, kCommand, "from 0.5: everything starts anew", &kSwitch},
    {"PresetLoading", Stepped, 0, 1, 1, 0, kNone, kCommand, "falls when a preset has been written", &kSwitch},
    {"GUI Visible", Stepped, 0, 1, 1, 0, kNone, kInternal, "read by nobody", &kSwitch},
    {"OutputGain", Linear, -12, 12, 1, 0, kDecibels, kMain, "final gain, wet and mixed dry together"},
};
// The effect works at the full depth of its LFO until the amounts are written; a sound that doesn't ask for
// modulation wants none, so presets fall back to 0.
const Row kLfoUse[] = {
    {"LFORateType", Stepped, 0, 4, 1, 0, kNone, kMain, "what sets the LFO's rate", &kLfoRateTypes},
    {"LFOShapeType", Stepped, 0, 5, 1, 0, kNone, kMain, "waveform of the LFO", &kLfoShapes},
    {"LFOPrismelAmount", BipolarExp, -1, 1, 3, -1, kRatio, kMain, "depth of the LFO on \"Prismelion\"",
     nullptr, 0},
    {"LFOPrimaryAmount", BipolarExp, -1, 1, 3, -1, kRatio, kMain,
     "depth of the LFO on the effect's first knob", nullptr, 0},
};
const Row kLevels[] = {
    {"InputPower", Linear, -80, 6, 1, -80, kDecibels, kReadOut, "input level"},
    {"OutputPower", Linear, -80, 6, 1, -80, kDecibels, kReadOut, "output level"},
};
const Row kCommands[] = {
    {"ToolTipUpdate", Normalized, 0, 1, 1, 0, kNone, kCommand, "asks for a tool tip"},
    {"ToolTipText", Normalized, 0, 1, 1, 0, kNone, kCommand, "the tool tip, a text"},
};

// ---- The tree ---------------------------------------------------------------------------------------------

class Builder {
 public:
  /// Appends one module's knobs. `suffix` tells knobs of the same name apart.
  void Add(const std::string& path, std::string_view group, std::span<const Row> rows,
           const char* suffix = "") {
    for (const Row& row : rows) {
      const std::string name = path + row.name;
      parameters.emplace_back(static_cast<uint32_t>(parameters.size()), name, name + suffix, group, row);
    }
  }

  void AddBank(const std::string& path, std::string_view group) {
    Add(path, group, kPassThrough);
    Add(path, group, kBandPass, "#1");
    Add(path, group, kComb, "#2");
    Add(path + "BitCrusher_", group, kCrusher);
    Add(path + "Disto_Wavefolder_", group, kWavefolder);
    Add(path + "Disto_ShapingDist_", group, kShaper);
    Add(path + "Disto_", group, kDistortion);
    Add(path + "Harmonizer_", group, kHarmonizer);
    Add(path, group, kStageSelection);
  }

  std::vector<Parameter> parameters;
};

}  // namespace

std::vector<Parameter> MakeParameters() {
  Builder builder;
  builder.parameters.reserve(228);
  builder.AddBank("Prismel_FXL_FX_", "Left voices");
  builder.AddBank("Prismel_FXR_FX_", "Right voices");
  builder.Add("Prismel_", "Effect", kEffect);
  builder.Add("LFO_", "LFO", kLfo);
  builder.Add("InputAnalyzer_", "Meters", kAnalyzer);
  builder.Add("OutputAnalyzer_", "Meters", kAnalyzer);
  builder.Add("", "Output", kFrame);
  builder.Add("", "LFO", kLfoUse);
  builder.Add("", "Meters", kLevels);
  builder.Add("", "Commands", kCommands);
  return std::move(builder.parameters);
}

}  // namespace Vantora::host
