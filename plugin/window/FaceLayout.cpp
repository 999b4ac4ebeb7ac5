// What stands where on the face. All places are in its own units, 980 by 620.

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <string_view>

#include "plugin/window/Effects.h"
#include "plugin/window/FaceParts.h"
#include "plugin/window/FilterCurve.h"
#include "plugin/window/Pictures.h"
#include "plugin/window/Popups.h"
#include "plugin/window/PresetBar.h"
#include "plugin/window/VoiceRow.h"

namespace Vantora::plugin {
namespace {

using namespace theme;

constexpr float kTop = 60.0f;  // of the three panels
constexpr float kPanelHeight = 372.0f;
constexpr float kLfoTop = kTop + kPanelHeight + kGap;
constexpr Rect kEffectPanel{kMargin, kTop, 204.0f, kPanelHeight};
constexpr Rect kCentrePanel{228.0f, kTop, 504.0f, kPanelHeight};
constexpr Rect kLevelPanel{742.0f, kTop, 224.0f, kPanelHeight};
constexpr Rect kLfoPanel{kMargin, kLfoTop, 952.0f, Face::kHeight - kLfoTop - kMargin};
constexpr Point kHub{480.0f, 262.0f};  // of the large knob and the taps
constexpr float kSmallKnob = 42.0f;
constexpr float kKnobHeight = 86.0f;  // with name and value

/// What the LFO follows, from its mode and whether its rate is in Hz (`type` 0) or in note values.
std::string_view LfoFollows(const WindowModel& model, int type) {
  switch (std::lround(model.Value(Named("LFO_Mode").Index()) * 2.0f)) {
    case 0:
      return "runs once";
    case 1:
      return type == 0 ? "runs by itself" : "in the song's tempo";
    default:
      return type == 0 ? "starts with the song" : "follows the song";
  }
}

/// Length of an LFO cycle, s; nothing while a random rate can't be told.
double CycleSeconds(const WindowModel& model) {
  const auto valueOf = [&](const char* name) {
    const host::Parameter& parameter = Named(name);
    return std::pair<const host::Parameter&, float>(parameter,
                                                    parameter.ToValue(model.Value(parameter.Index())));
  };
  const auto type = static_cast<int>(std::lround(valueOf("LFORateType").second));
  if (type == 0) return 1.0 / static_cast<double>(valueOf("LFO_RateUnSynced").second);
  const auto length = valueOf(type == 1 ? "LFO_AllRateSynced" : "LFO_RateSynced");
  const auto step = static_cast<size_t>(std::lround(length.second));
  const std::string& text = length.first.Labels()[step];
  const size_t slash = text.find('/');
  double wholes = std::stod(text.substr(0, slash)) / std::stod(text.substr(slash + 1));
  const bool isTriplet = type == 3 || text.ends_with("triplet"),
             isDotted = type == 4 || text.ends_with("dotted");
  wholes *= isTriplet ? 2.0 / 3.0 : isDotted ? 1.5 : 1.0;
  return wholes * 4.0 * 60.0 / model.Tempo();
}

std::string SecondsText(double seconds) {
  if (seconds < 1.0) return fmt::format("{:.0f} ms", seconds * 1e3);
  return fmt::format("{:.3g} s", seconds);
}

}  // namespace

template <typename Type, typename... Arguments>
Type* Face::Add(Rect place, Arguments&&... arguments) {
  auto widget = std::make_unique<Type>(static_cast<Desk&>(*this), std::forward<Arguments>(arguments)...);
  widget->bounds = place;
  Type* raw = widget.get();
  widgets.push_back(std::move(widget));
  return raw;
}

void Face::Build() {
  parts = std::make_unique<Parts>();
  BuildTopBar();
  BuildEffect();
  BuildCentre();
  BuildLevels();
  BuildLfo();
  advanced = std::make_unique<AdvancedView>(static_cast<Desk&>(*this));
}

// ---- The top bar: what sound this is

void Face::BuildTopBar() {
  parts->CopySettings = [this] {
    SetClipboard(model.SettingsText());
    Say("The settings are in the clipboard, as text.");
  };
  parts->PasteSettings = [this] { Say(model.SetSettingsText(Clipboard())); };
  parts->SavePreset = [this] {
    std::string description;
    if (const auto current = model.CurrentPreset()) description = model.Presets()[*current].description;
    auto sheet = std::make_unique<SaveSheet>(static_cast<Desk&>(*this), model.PresetName(), description);
    sheet->bounds = {280.0f, 150.0f, 420.0f, 190.0f};
    OpenPopup(std::move(sheet));
  };

  constexpr float kY = 14.0f, kHeightOfIcon = 30.0f;
  Add<PresetBar>({168.0f, 11.0f, 488.0f, 40.0f});
  Add<Button>({660.0f, kY + 1.0f, 32.0f, kHeightOfIcon}, Icon::kSave,
              "Save as a preset\nInto your own folder. Ctrl+S", [this] { parts->SavePreset(); });

  const auto slot = [this](Slot which, float x) {
    Button* button =
        Add<Button>({x, kY + 1.0f, 26.0f, kHeightOfIcon}, which == Slot::kA ? "A" : "B",
                    "A/B\nTwo sounds to compare. The menu copies one to the other.", [this, which] {
                      if (model.CurrentSlot() != which) model.SwitchSlot();
                    });
    button->isOn = [this, which] { return model.CurrentSlot() == which; };
  };
  slot(Slot::kA, 708.0f);
  slot(Slot::kB, 734.0f);
  Button* undo = Add<Button>({768.0f, kY + 1.0f, 28.0f, kHeightOfIcon}, Icon::kUndo, "Undo\nCtrl+Z",
                             [this] { model.Undo(); });
  undo->isEnabled = [this] { return model.CanUndo(); };
  Button* redo = Add<Button>({796.0f, kY + 1.0f, 28.0f, kHeightOfIcon}, Icon::kRedo, "Redo\nCtrl+Shift+Z",
                             [this] { model.Redo(); });
  redo->isEnabled = [this] { return model.CanRedo(); };
  Add<Button>({832.0f, kY + 1.0f, 28.0f, kHeightOfIcon}, Icon::kPanic, "Panic\nSilences what rings, at once.",
              [this] { model.Panic(); });
  Add<Button>({866.0f, kY + 1.0f, 32.0f, kHeightOfIcon}, Icon::kMore, "More", [this] {
    OpenMenu({866.0f, 48.0f}, MainMenu());
  });
  const uint32_t bypass = Named("Bypass").Index();
  Button* power =
      Add<Button>({930.0f, kY - 1.0f, 36.0f, 34.0f}, Icon::kPower,
                  "On\nOff, the input goes through untouched; it fades within 10 ms.",
                  [this, bypass] { SetAll(*this, {bypass}, model.Value(bypass) < 0.5f ? 1.0f : 0.0f); });
  power->isOn = [this, bypass] { return model.Value(bypass) < 0.5f; };
}

std::vector<MenuItem> Face::MainMenu() {
  std::vector<MenuItem> items;
  if (extras != nullptr) AddSource(items);
  items.push_back({"Save as a preset…", parts->SavePreset, false, true, "Ctrl+S"});
  items.push_back({"Copy the settings", parts->CopySettings, false, true, "Ctrl+C"});
  items.push_back({"Paste settings", parts->PasteSettings, false, true, "Ctrl+V"});
  items.push_back({});
  items.push_back({model.CurrentSlot() == Slot::kA ? "Copy A to B" : "Copy B to A",
                   [this] { model.CopyToOtherSlot(); },
                   false,
                   true,
                   {}});
  items.push_back({"Variation…", [this] { AskVariation(); }, false, true, std::to_string(model.Variation())});
  items.push_back({"Advanced", [this] { SetAdvanced(!isAdvanced); }, isAdvanced, true, {}});
  items.push_back({});
  items.push_back({"Size of the window", nullptr, false, true, {}});
  for (const double size : {0.75, 1.0, 1.25, 1.5, 2.0}) {
    items.push_back({fmt::format("{:.0f} %", 100.0 * size),
                     [this, size] { desktop.RequestScale(size); },
                     std::abs(model.WindowScale() - size) < 0.01,
                     true,
                     {}});
  }
  return items;
}

void Face::AskVariation() {
  OpenEntry({444.0f, 300.0f, 92.0f, 28.0f}, std::to_string(model.Variation()),
            [this](const std::string& text) -> std::string {
              uint32_t number = 0;
              const char* const end = text.data() + text.size();
              const auto [stop, error] = std::from_chars(text.data(), end, number);
              if (error != std::errc{} || stop != end || number > WindowModel::kLargestVariation) {
                return fmt::format("A variation is a whole number from 0 to {}.",
                                   WindowModel::kLargestVariation);
              }
              model.SetVariation(number);
              return "";
            });
  Say("Which random sequence harmonizer and sample and hold draw from; heard from the next start of the "
      "sound.");
}

void Face::AddSource(std::vector<MenuItem>& items) {
  items.push_back({extras->DriverText(), nullptr, false, true, {}});
  const std::string file = extras->FileName();
  items.push_back({"Play the input", [this] { extras->UseInput(); }, file.empty(), true, {}});
  if (!file.empty()) {
    items.push_back({file, [this] { extras->SetPlaying(!extras->IsPlaying()); }, true, true,
                     extras->IsPlaying() ? "stop" : "go on"});
  }
  items.push_back({"Play a sound file…",
                   [this] {
                     OpenEntry({290.0f, 300.0f, 400.0f, 28.0f}, "",
                               [this](const std::string& path) { return extras->OpenFile(path); });
                     Say("Path of a WAV, FLAC, OGG or MP3 file:");
                   },
                   false,
                   true,
                   {}});
  items.push_back({});
}

// ---- Left: the effect and its two knobs

void Face::BuildEffect() {
  const Rect inner = kEffectPanel.Inset(8.0f, 10.0f);
  std::vector<std::string> names;
  for (const EffectInfo& effect : Effects()) names.push_back(effect.name);
  Add<Choice>({inner.x, inner.y, inner.w, 222.0f}, ParameterList{Named("FXType").Index()},
              Choice::Form::kList, std::move(names), DrawEffectPicture);

  const float y = inner.y + 244.0f, half = 0.5f * inner.w;
  const Rect left{inner.x + 4.0f, y, half - 8.0f, 92.0f}, right{inner.x + half + 4.0f, y, half - 8.0f, 92.0f};
  parts->primary =
      Add<Knob>(left, ParameterList{Named("CombCutoff").Index()}, Knob::Look{50.0f, "", false, false});
  parts->secondary =
      Add<Knob>(right, ParameterList{Named("CombResonance").Index()}, Knob::Look{50.0f, "", false, false});
  parts->chord = Add<ChordChoice>(right);
  parts->kind = Add<KindChoice>(right);
  parts->primary->modulated = [this] { return std::optional<float>(live.primary); };
  parts->primary->reach = [this] {
    const host::Parameter& amount = Named("LFOPrimaryAmount");
    return std::abs(amount.ToValue(model.Value(amount.Index()))) * model.Value(Named("LFO_Amp").Index());
  };
}

// ---- Centre: how wide

void Face::BuildCentre() {
  const Rect inner = kCentrePanel.Inset(16.0f, 12.0f);
  parts->spread = Add<SpreadView>({inner.x, inner.y, inner.w, 58.0f});
  parts->taps = Add<TapView>({inner.x, kHub.y - 114.0f, inner.w, 220.0f});
  constexpr float kDiameter = 140.0f;
  parts->prismelion = Add<Knob>({kHub.x - 84.0f, kHub.y - 0.5f * kDiameter - 5.0f, 168.0f, kDiameter + 12.0f},
                                ParameterList{Named("Prismel_Prismelion").Index()},
                                Knob::Look{kDiameter, "Prismelion", false, true});
  parts->prismelion->modulated = [this] { return std::optional<float>(live.prismelion); };
  parts->prismelion->reach = [this] {
    const host::Parameter& amount = Named("LFOPrismelAmount");
    return std::abs(amount.ToValue(model.Value(amount.Index()))) * model.Value(Named("LFO_Amp").Index());
  };
  Add<VoiceRow>({inner.x, inner.Bottom() - 26.0f, 280.0f, 28.0f});
  parts->advancedButton = Add<Button>(
      {inner.Right() - 96.0f, inner.Bottom() - 26.0f, 96.0f, 28.0f}, "Advanced",
      "Advanced\nWhat is rarely wanted, for this effect and the LFO.", [this] { SetAdvanced(!isAdvanced); });
  parts->advancedButton->wordNow = [this] { return std::string(isAdvanced ? "Taps" : "Advanced"); };
  parts->advancedButton->isOn = [this] { return isAdvanced; };
  parts->advancedButton->hasFrame = true;
}

// ---- Right: how much

void Face::BuildLevels() {
  const Rect inner = kLevelPanel.Inset(14.0f, 14.0f);
  constexpr float kMeterHeight = 150.0f;
  parts->inMeter = Add<Meter>({inner.x, inner.y, 36.0f, kMeterHeight}, "In",
                              "Input level\nBehind the input gain, in dBFS. Click to let the peak go.",
                              [this] { return live.inputDb; });
  Add<Knob>({inner.Centre().x - 52.0f, inner.y + 12.0f, 104.0f, 126.0f},
            ParameterList{Named("Prismel_Wet").Index()}, Knob::Look{82.0f, "Wet", false, false});
  parts->outMeter =
      Add<Meter>({inner.Right() - 36.0f, inner.y, 36.0f, kMeterHeight}, "Out",
                 "Output level\nThe voices, in front of the final gain, in dBFS. Click to let the peak go.",
                 [this] { return live.outputDb; });
  Add<FilterCurve>({inner.x, inner.y + 158.0f, inner.w, 92.0f});
  const Rect row{inner.x - 11.0f, inner.Bottom() - kKnobHeight + 2.0f, inner.w + 22.0f, kKnobHeight};
  const auto small = [&](int column, const char* parameter, const char* name, bool isBipolar) {
    return Add<Knob>(row.Column(column, 4, 2.0f), ParameterList{Named(parameter).Index()},
                     Knob::Look{kSmallKnob, name, isBipolar, false});
  };
  small(0, "Prismel_InputGain", "In", true);
  parts->feedback = small(1, "FeedbackDelayTime", "Feedback", false);
  small(2, "Prismel_OutputGain", "Wet gain", true);
  small(3, "OutputGain", "Out", true);
  parts->feedback->idleReason = [this] {
    if (CurrentEffectNumber(model) != 5)
      return std::string("Without effect now: only the harmonizer feeds back.");
    if (model.Value(Named("HarmonizerSpray").Index()) <= 0.5f) {
      return std::string("Without effect now: the feedback opens with the spray above 274 ms.");
    }
    return std::string();
  };
}

// ---- Below: what moves it

void Face::BuildLfo() {
  const Rect inner = kLfoPanel.Inset(kPad, 12.0f);
  const float top = inner.y + 28.0f;
  Add<Choice>(
      {inner.x, top, 372.0f, 62.0f}, ParameterList{Named("LFOShapeType").Index()}, Choice::Form::kTiles,
      std::vector<std::string>{"Sine", "Triangle", "Saw", "Square", "Steps", "Drift"}, DrawShapePicture);
  Add<Choice>({inner.x, top + 70.0f, 372.0f, 30.0f}, ParameterList{Named("LFORateType").Index()},
              Choice::Form::kWords,
              std::vector<std::string>{"Hz", "Any note", "Straight", "Triplet", "Dotted"});
  const float knobY = inner.y + 26.0f;
  const auto knob = [&](float x, float width, const char* parameter, const char* name, bool isBipolar) {
    return Add<Knob>({x, knobY, width, 92.0f}, ParameterList{Named(parameter).Index()},
                     Knob::Look{46.0f, name, isBipolar, false});
  };
  parts->rate = knob(inner.x + 384.0f, 76.0f, "LFO_RateUnSynced", "Rate", false);
  parts->wave = Add<WaveView>({inner.x + 468.0f, inner.y + 4.0f, 196.0f, 116.0f});
  const float right = inner.x + 672.0f;
  knob(right, 58.0f, "LFO_PhaseInit", "Start", false);
  knob(right + 60.0f, 58.0f, "LFO_Swing", "Swing", false);
  parts->toPrismelion = knob(right + 119.0f, 72.0f, "LFOPrismelAmount", "to Prismelion", true);
  parts->toPrimary = knob(right + 191.0f, 62.0f, "LFOPrimaryAmount", "to Pitch", true);
  parts->toPrimary->idleReason = [this] {
    return std::string(
        CurrentEffectNumber(model) == 0 ? "Without effect now: \"Off\" has no first knob to move." : "");
  };
}

// ---- What changes

void Face::Arrange() {
  const uint32_t effect = CurrentEffectNumber(model);
  const EffectInfo& info = Effects()[effect];
  const bool isChord = effect == 5, isKind = effect == 4;
  parts->primary->isVisible = effect != 0;
  parts->secondary->isVisible = effect != 0 && !isChord && !isKind;
  parts->chord->isVisible = isChord;
  parts->kind->isVisible = isKind;
  if (effect != 0) {
    parts->primary->parameters = {Named(info.primary).Index()};
    parts->primary->look.name = info.primaryName;
    parts->secondary->parameters = {Named(info.secondary).Index()};
    parts->secondary->look.name = info.secondaryName;
  }
  parts->primary->look.isBipolar = false;
  parts->toPrimary->look.name = effect == 0 ? "to effect" : "to " + info.primaryName;
  const auto rateType = static_cast<int>(std::lround(model.Value(Named("LFORateType").Index()) * 4.0f));
  parts->rate->parameters = {Named(rateType == 0   ? "LFO_RateUnSynced"
                                   : rateType == 1 ? "LFO_AllRateSynced"
                                                   : "LFO_RateSynced")
                                 .Index()};
  for (Widget* widget : std::initializer_list<Widget*>{parts->prismelion, parts->taps, parts->spread}) {
    widget->isVisible = !isAdvanced;
  }
  const Rect inner = kCentrePanel.Inset(12.0f, 14.0f);
  advanced->Arrange({inner.x, inner.y, inner.w, inner.h - 40.0f}, isAdvanced);
}

void Face::DrawGrounds(Canvas& canvas) {
  for (const Rect& panel : {kEffectPanel, kCentrePanel, kLevelPanel, kLfoPanel})
    canvas.Box(panel, kRadius, kPanel);
  // The name, in letters set apart.
  float x = 26.0f;
  for (const char letter : std::string_view("PRISMEL")) {
    canvas.Text({x, 31.0f}, std::string_view(&letter, 1), {17.0f, kText, Align::kLeft, true});
    x += canvas.TextWidth(std::string_view(&letter, 1), {17.0f, kText, Align::kLeft, true}) + 3.5f;
  }
  const Rect effect = kEffectPanel.Inset(16.0f, 0.0f);
  canvas.Line({effect.x, kTop + 243.0f}, {effect.Right(), kTop + 243.0f}, 1.0f, kLine.Alpha(0.8f));
  if (CurrentEffectNumber(model) == 0) {
    canvas.Paragraph({effect.x, kTop + 274.0f, effect.w, 0.0f},
                     "Plain delayed copies of the sound: chorus at low Prismelion, ensemble at high.",
                     {kBody, kDim, Align::kCentre});
  }
  if (!isAdvanced) {
    canvas.Text({kHub.x, kHub.y + 94.0f}, "Prismelion", {kTitle, kText, Align::kCentre, true});
  }
  if (model.Value(Named("Bypass").Index()) >= 0.5f) {
    canvas.Text({926.0f, 31.0f}, "off", {kSmall, kText, Align::kRight});
  }
  canvas.Text({kLfoPanel.x + kPad, kLfoPanel.y + 21.0f}, "LFO", {kTitle, kText, Align::kLeft, true});
  const int type = static_cast<int>(std::lround(model.Value(Named("LFORateType").Index()) * 4.0f));
  canvas.Text({kLfoPanel.x + kPad + 44.0f, kLfoPanel.y + 21.5f}, LfoFollows(model, type), {kSmall, kDim});
  const double seconds = CycleSeconds(model);
  const std::string caption =
      type == 0 ? "a cycle in " + SecondsText(seconds)
                : fmt::format("a cycle in {} at {:.4g} bpm", SecondsText(seconds), model.Tempo());
  const Rect wave = parts->wave->bounds;
  canvas.Text({wave.Centre().x, wave.Bottom() + 15.0f}, caption, {kSmall, kDim, Align::kCentre});
}

}  // namespace Vantora::plugin
