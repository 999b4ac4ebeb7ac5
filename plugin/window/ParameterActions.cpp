#include "plugin/window/ParameterActions.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>

#include <fmt/format.h>

namespace Vantora::plugin {
namespace {

constexpr float kStep = 0.01f;  // of the travel

const host::Parameter& At(uint32_t index) { return host::ParameterTable::Get()[index]; }

float StepOf(const host::Parameter& parameter) {
  return parameter.IsStepped() && parameter.StepCount() > 1
             ? 1.0f / static_cast<float>(parameter.StepCount() - 1)
             : kStep;
}

}  // namespace

const host::Parameter& Named(std::string_view name) {
  // The table's own search understands much more than exact names; at every frame that was a third of its
  // cost.
  thread_local std::map<std::string, const host::Parameter*, std::less<>> known;
  const auto found = known.find(name);
  if (found != known.end()) return *found->second;
  return *known.emplace(name, &host::ParameterTable::Get().At(name)).first->second;
}

std::string ValueText(Desk& desk, uint32_t parameter, float normalized) {
  const host::Parameter& shown = At(parameter);
  if (shown.GetUnit() != host::Unit::kRatio || shown.IsStepped()) {
    return normalized == desk.Model().Value(parameter) ? desk.Model().Text(parameter)
                                                       : shown.Text(normalized);
  }
  const double percent = 100.0 * static_cast<double>(shown.ToValue(normalized));
  const double rounded = std::abs(percent) < 10.0 ? std::round(percent * 10.0) * 0.1 : std::round(percent);
  const bool isSigned = shown.Minimum() < 0.0f && rounded > 0.0;
  return fmt::format("{}{:g}%", isSigned ? "+" : "", rounded == 0.0 ? 0.0 : rounded);
}

std::string SetTyped(Desk& desk, uint32_t parameter, std::string text) {
  if (At(parameter).GetUnit() == host::Unit::kRatio) {
    const bool isPlain = text.find_first_not_of("+-0123456789. ") == std::string::npos;
    const double value = isPlain ? std::atof(text.c_str()) : 0.0;
    if (isPlain && (std::abs(value) > 1.0 || text.find('.') == std::string::npos)) text += "%";
  }
  return desk.Model().SetText(parameter, text);
}

std::string TitleOf(uint32_t parameter) { return std::string(At(parameter).Title()); }

void SetAll(Desk& desk, const ParameterList& parameters, float normalized) {
  for (const uint32_t index : parameters) desk.Model().BeginGesture(index);
  for (const uint32_t index : parameters) desk.Model().SetValue(index, normalized);
  for (const uint32_t index : parameters) desk.Model().EndGesture(index);
}

void Nudge(Desk& desk, const ParameterList& parameters, float steps, bool isFine) {
  const host::Parameter& shown = At(parameters.front());
  if (shown.IsStepped()) {
    // A smooth wheel gives parts of a step; each is worth a whole one, or nothing would ever move.
    steps = steps > 0.0f ? std::max(1.0f, std::round(steps)) : std::min(-1.0f, std::round(steps));
  } else if (isFine) {
    steps *= 0.1f;
  }
  const float to = std::clamp(desk.Model().Value(parameters.front()) + steps * StepOf(shown), 0.0f, 1.0f);
  desk.HoldGesture(parameters);
  for (const uint32_t index : parameters) desk.Model().SetValue(index, to);
}

void Reset(Desk& desk, const ParameterList& parameters) {
  for (const uint32_t index : parameters) desk.Model().BeginGesture(index);
  for (const uint32_t index : parameters) desk.Model().SetValue(index, desk.Model().DefaultValue(index));
  for (const uint32_t index : parameters) desk.Model().EndGesture(index);
}

void OpenValueEntry(Desk& desk, const ParameterList& parameters, Rect place) {
  desk.OpenEntry(place, ValueText(desk, parameters.front(), desk.Model().Value(parameters.front())),
                 [&desk, parameters](const std::string& text) {
                   for (const uint32_t index : parameters) {
                     if (std::string refusal = SetTyped(desk, index, text); !refusal.empty()) return refusal;
                   }
                   return std::string();
                 });
}

void OpenParameterMenu(Desk& desk, const ParameterList& parameters, Point at, Rect entryPlace) {
  const uint32_t shown = parameters.front();
  WindowModel& model = desk.Model();
  std::vector<MenuItem> items;
  items.push_back({TitleOf(shown), nullptr, false, true, ValueText(desk, shown, model.Value(shown))});
  if (At(shown).Labels().empty() || At(shown).Labels().size() > 12) {
    items.push_back({"Type a value…",
                     [&desk, parameters, entryPlace] { OpenValueEntry(desk, parameters, entryPlace); }, false,
                     true, "Enter"});
  } else {
    for (size_t i = 0; i < At(shown).Labels().size(); ++i) {
      const float position = At(shown).ToNormalized(At(shown).Minimum() + static_cast<float>(i));
      items.push_back({At(shown).Labels()[i],
                       [&desk, parameters, position] { SetAll(desk, parameters, position); },
                       model.Text(shown) == At(shown).Labels()[i],
                       true,
                       {}});
    }
    items.push_back({});
  }
  items.push_back({"Reset", [&desk, parameters] { Reset(desk, parameters); }, false, true,
                   ValueText(desk, shown, model.DefaultValue(shown))});
  items.push_back({"Copy the value",
                   [&desk, shown] { desk.SetClipboard(ValueText(desk, shown, desk.Model().Value(shown))); },
                   false,
                   true,
                   {}});
  items.push_back({"Paste a value",
                   [&desk, parameters] {
                     const std::string text = desk.Clipboard();
                     for (const uint32_t index : parameters) {
                       if (const std::string refusal = SetTyped(desk, index, text); !refusal.empty()) {
                         return desk.Say(refusal);
                       }
                     }
                   },
                   false,
                   true,
                   {}});
  if (ShellExtras* extras = desk.Extras(); extras != nullptr) {
    items.push_back({});
    items.push_back({extras->IsLearning(shown) ? "Turn a MIDI controller…" : "Learn a MIDI controller",
                     [extras, shown] { extras->Learn(shown); }, false, true, extras->ControllerOf(shown)});
    if (!extras->ControllerOf(shown).empty() || extras->IsLearning(shown)) {
      items.push_back({"Forget the controller", [extras, shown] { extras->Forget(shown); }, false, true, {}});
    }
  }
  desk.OpenMenu(at, std::move(items));
}

bool StrikeParameter(Desk& desk, const ParameterList& parameters, const Stroke& stroke, Rect entryPlace) {
  switch (stroke.key) {
    case Key::kUp:
    case Key::kRight:
      Nudge(desk, parameters, 1.0f, stroke.isShift);
      return true;
    case Key::kDown:
    case Key::kLeft:
      Nudge(desk, parameters, -1.0f, stroke.isShift);
      return true;
    case Key::kPageUp:
      Nudge(desk, parameters, 10.0f, false);
      return true;
    case Key::kPageDown:
      Nudge(desk, parameters, -10.0f, false);
      return true;
    case Key::kHome:
      SetAll(desk, parameters, 0.0f);
      return true;
    case Key::kEnd:
      SetAll(desk, parameters, 1.0f);
      return true;
    case Key::kEnter:
      OpenValueEntry(desk, parameters, entryPlace);
      return true;
    case Key::kDelete:
    case Key::kBackspace:
      Reset(desk, parameters);
      return true;
    case Key::kMenu:
      OpenParameterMenu(desk, parameters, {entryPlace.x, entryPlace.Bottom()}, entryPlace);
      return true;
    default:
      return false;
  }
}

std::string ParameterTip(Desk& desk, uint32_t parameter) {
  const host::Parameter& shown = At(parameter);
  std::string note(shown.Note());
  if (!note.empty()) note[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(note[0])));
  if (!note.empty() && !note.ends_with('.')) note += '.';
  std::string tip = TitleOf(parameter) + "\n" + note;
  // Enumerations show their names themselves; a long list in a tip is noise.
  if (shown.Labels().empty()) {
    // Its ends as the value below the knob has them.
    const bool isShare = shown.GetUnit() == host::Unit::kRatio && !shown.IsStepped();
    tip += " " +
           (isShare ? ValueText(desk, parameter, 0.0f) + " to " + ValueText(desk, parameter, 1.0f)
                    : shown.RangeText()) +
           ".";
  }
  return tip;
}

}  // namespace Vantora::plugin
