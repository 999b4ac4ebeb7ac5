// What a window, and who stands in for one, asks of an instance: values, presets, two slots, history, texts.

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <utility>

#include "host/HostError.h"
#include "plugin/core/HostLink.h"
#include "plugin/core/ShellParts.h"

namespace Vantora::plugin {
namespace {

const host::ParameterTable& Table() { return host::ParameterTable::Get(); }
const host::Parameter& Named(const char* name) { return Table().At(name); }

}  // namespace

uint64_t ShellCore::Revision() const { return parts->ownRevision + stream.ValueRevision(); }

LiveView ShellCore::Live() const {
  struct ReadOuts {
    const host::Parameter &voices, &prismelion, &primary, &phase, &value, &input, &output;
  };
  static const ReadOuts readOuts{Named("Prismel_Voices"),
                                 Named("Prismel_FeedbackPrismel"),
                                 Named("Prismel_FeedbackPrimary"),
                                 Named("LFO_CurrentPhaseFeedback"),
                                 Named("LFO_CurrentValueLFeedback"),
                                 Named("InputPower"),
                                 Named("OutputPower")};
  const auto value = [this](const host::Parameter& p) { return p.ToValue(values.Get(p.Index())); };
  LiveView view;
  stream.Store(view);
  view.activeVoices = stream.IsRunning() ? static_cast<uint32_t>(std::lround(value(readOuts.voices))) : 0;
  view.prismelion = values.Get(readOuts.prismelion.Index());
  view.primary = values.Get(readOuts.primary.Index());
  view.lfoPhase = value(readOuts.phase);
  view.lfoValue = value(readOuts.value);
  view.inputDb = value(readOuts.input);
  view.outputDb = value(readOuts.output);
  const uint64_t position = stream.IsRunning() ? stream.Position() : 0;
  const double now =
      std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
  if (parts->restPicture.IsAtRest(position, now)) parts->restPicture.Fill(values, position > 0, view);
  return view;
}

void ShellCore::BeginGesture(uint32_t index) {
  if (parts->openGestures++ == 0) parts->beforeGesture = parts->Capture();
  if (parts->gestures[index]++ > 0) return;
  stream.Hold(index);
  if (parts->link != nullptr) parts->link->OnGestureBegin(index);
}

void ShellCore::SetValue(uint32_t index, float normalized) {
  if (!Table()[index].IsOffered() || std::isnan(normalized)) return;
  if (parts->gestures[index] == 0) {
    BeginGesture(index);
    SetValue(index, normalized);
    EndGesture(index);
    return;
  }
  const float position = std::clamp(normalized, 0.0f, 1.0f);
  if (position == values.Get(index)) return;
  values.Write(index, position);
  ++parts->ownRevision;
  if (parts->link != nullptr) parts->link->OnValue(index, position);
}

void ShellCore::EndGesture(uint32_t index) {
  if (parts->gestures[index] == 0) return;
  if (--parts->gestures[index] == 0) {
    stream.Release(index);
    if (parts->link != nullptr) parts->link->OnGestureEnd(index);
  }
  if (--parts->openGestures > 0) return;
  if (!IsSameSound(values.All(), parts->beforeGesture.positions)) {
    parts->history.Leave(std::move(parts->beforeGesture));
    ++parts->ownRevision;
  }
}

std::string ShellCore::Text(uint32_t index) const { return Table()[index].Text(Value(index)); }

std::string ShellCore::SetText(uint32_t index, std::string_view text) {
  try {
    SetValue(index, Table()[index].Parse(text));
    return "";
  } catch (const host::HostError& error) {
    return error.what();
  }
}

std::optional<uint32_t> ShellCore::Twin(uint32_t index) const { return Table()[index].Twin(); }

float ShellCore::DefaultValue(uint32_t index) const { return Table()[index].PreferredNormalized(); }

const std::vector<PresetItem>& ShellCore::Presets() const { return parts->presets; }

std::optional<size_t> ShellCore::CurrentPreset() const {
  parts->AdoptProgram();
  return parts->preset;
}

std::string ShellCore::PresetName() const {
  parts->AdoptProgram();
  return parts->name;
}

bool ShellCore::IsModified() const { return parts->IsModified(); }

std::string ShellCore::LoadPreset(size_t position) {
  if (position >= parts->presets.size()) return "There is no such preset.";
  parts->LoadPreset(parts->PresetAt(position));
  return "";
}

std::string ShellCore::SavePreset(const std::string& name, const std::string& description) {
  if (std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isspace(c) != 0; })) {
    return "A preset needs a name.";
  }
  for (const host::Preset& factory : FactoryPresets()) {
    if (IsSameName(factory.name, name)) {
      return "\"" + factory.name + "\" is a factory preset; choose another name.";
    }
  }
  try {
    host::Preset preset;
    preset.name = name;
    preset.description = description;
    for (const host::Parameter& parameter : Table()) {
      if (parameter.IsInPresets()) preset.values[parameter.Index()] = Value(parameter.Index());
    }
    parts->userPresets.Save(preset);
    parts->name = name;
    parts->description = description;
    parts->reference = values.All();
    parts->wasModified = false;
    parts->ListPresets();
    if (parts->link != nullptr) parts->link->OnStateDirty();
    return "";
  } catch (const host::HostError& error) {
    return error.what();
  }
}

std::string ShellCore::DeletePreset(size_t position) {
  const size_t factory = FactoryPresets().size();
  if (position < factory) return "Factory presets stay.";
  if (position >= parts->presets.size()) return "There is no such preset.";
  try {
    parts->userPresets.Delete(position - factory);
    parts->ListPresets();
    return "";
  } catch (const host::HostError& error) {
    return error.what();
  }
}

void ShellCore::RefreshPresets() {
  parts->userPresets.Refresh();
  parts->ListPresets();
}

Slot ShellCore::CurrentSlot() const { return parts->slot; }

void ShellCore::SwitchSlot() {
  Sound present = parts->Capture();
  const Sound other = parts->otherSound.value_or(present);
  parts->history.Leave(present);
  parts->otherSound = std::move(present);
  parts->slot = parts->slot == Slot::kA ? Slot::kB : Slot::kA;
  parts->Recall(other);
}

void ShellCore::CopyToOtherSlot() {
  parts->otherSound = parts->Capture();
  ++parts->ownRevision;
}

bool ShellCore::CanUndo() const { return parts->history.CanUndo(); }
bool ShellCore::CanRedo() const { return parts->history.CanRedo(); }

void ShellCore::Undo() {
  if (CanUndo()) parts->Recall(parts->history.Undo(parts->Capture()));
}

void ShellCore::Redo() {
  if (CanRedo()) parts->Recall(parts->history.Redo(parts->Capture()));
}

std::string ShellCore::SettingsText() const {
  host::Preset preset;
  preset.name = parts->name;
  preset.description = parts->description;
  for (const host::Parameter& parameter : Table()) {
    if (parameter.IsInPresets()) preset.values[parameter.Index()] = Value(parameter.Index());
  }
  return preset.ToJson();
}

std::string ShellCore::SetSettingsText(std::string_view text) {
  try {
    const State state = State::Parse(text);
    parts->history.Leave(parts->Capture());
    parts->Recall(state.sound);
    return "";
  } catch (const host::HostError& error) {
    return error.what();
  }
}

void ShellCore::Panic() { stream.Panic(); }
double ShellCore::SampleRate() const { return parts->sampleRate; }
double ShellCore::Tempo() const { return stream.Tempo(); }
std::string ShellCore::Message() const { return parts->message; }
uint32_t ShellCore::Variation() const { return parts->variation; }
double ShellCore::WindowScale() const { return parts->windowScale; }

void ShellCore::SetWindowScale(double scale) {
  parts->windowScale = std::clamp(scale, 0.75, 2.0);
  if (parts->link != nullptr) parts->link->OnStateDirty();
}

}  // namespace Vantora::plugin
