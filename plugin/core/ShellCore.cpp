#include "plugin/core/ShellCore.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "host/Preset.h"
#ifndef _WIN32
#include "host/loading/ProcessorLibrary.h"
#endif
#include "plugin/core/FactoryBank.h"
#include "plugin/core/HostParameters.h"
#include "plugin/core/State.h"
#include "plugin/core/Stream.h"
#include "plugin/core/UserPresets.h"
#include "processor/LinkedFactory.h"

namespace Vantora::plugin {
namespace {

const host::ParameterTable& Table() { return host::ParameterTable::Get(); }

const host::Parameter& Named(const char* name) { return Table().At(name); }

uint32_t BypassIndex() {
  static const uint32_t index = Named("Bypass").Index();
  return index;
}

bool IsSameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

/// Where two sounds differ in what a preset holds.
bool IsSameSound(const Positions& a, const Positions& b) {
  return std::all_of(Table().begin(), Table().end(), [&](const host::Parameter& parameter) {
    return !parameter.IsInPresets() || a[parameter.Index()] == b[parameter.Index()];
  });
}

Positions PositionsOf(const host::Preset& preset) {
  Positions positions = PreferredPositions();
  for (const auto& [index, value] : preset.values) positions[index] = value;
  return positions;
}

std::string EffectOf(const host::Preset& preset) {
  static const host::Parameter& effect = Named("Prismel_FXType");
  return effect.Text(preset.ValueOf(effect));
}

}  // namespace

struct ShellCore::Parts {
  Values values;
  Stream stream{values};
  HostLink* link = nullptr;
  double sampleRate = 0.0;  // Hz, of the last activation
  uint64_t ownRevision = 0;
  std::string message;

  // The sound beside its positions.
  std::string name, description;
  Positions reference{};         // as loaded or saved
  bool wasModified = false;      // already when it was loaded from a song
  std::optional<size_t> preset;  // in `presets`
  std::vector<PresetItem> presets;
  UserPresets userPresets;

  History history;
  Slot slot = Slot::kA;
  std::optional<Sound> otherSound;
  uint32_t openGestures = 0;
  std::array<uint16_t, kParameterCount> gestures{};  // open ones, by parameter
  Sound beforeGesture;

  // Programs that a host sends to the audio thread.
  std::vector<Positions> factoryPositions;
  std::atomic<size_t> program{~size_t{0}};  // factory preset that sounds; none
  std::atomic<size_t> processProgram{
      0};  // 1 + the one that the audio thread began, until the main thread has read it

  uint32_t variation = 0;
  double windowScale = 1.0;
  const uint32_t effectIndex = Named("Prismel_FXType").Index();
  // Audio thread's: value and position of "FXType" that the host's tail stands for.
  uint32_t toldTail = 0;
  float toldTailPosition = -1.0f;

  /// The processors of this instance. Where PRISMEL_LIBRARY can't be loaded, says so and takes the one linked
  /// in.
  host::ProcessorSource Source() {
#ifndef _WIN32  // there no other library is loaded
    const char* library = std::getenv("PRISMEL_LIBRARY");
    if (library != nullptr && *library != '\0') {
      try {
        return host::ProcessorLibrary(library, host::ProcessorLibrary::Image::kPrivate).Source();
      } catch (const host::HostError& error) {
        Say(error.what());
      }
    }
#endif
    return host::ProcessorSource(Processor::MakeLinkedFactory(variation));
  }

  void Say(std::string text) {
    message = std::move(text);
    ++ownRevision;
  }

  bool IsModified() {
    AdoptProgram();
    return wasModified || !IsSameSound(values.All(), reference);
  }
  Sound Capture() {
    AdoptProgram();
    return {values.All(), name, description, IsModified()};
  }

  /// Another sound, all at once; the bypass stays where the listener put it.
  void Recall(const Sound& sound) {
    Positions positions = sound.positions;
    positions[BypassIndex()] = values.Get(BypassIndex());
    SetSound(positions, sound.name, sound.description, sound.isModified);
  }

  void SetSound(Positions positions, std::string newName, std::string newDescription, bool isModified) {
    // What the effect writes goes on as it was.
    for (const host::Parameter& parameter : Table()) {
      if (!parameter.IsOffered()) positions[parameter.Index()] = values.Get(parameter.Index());
    }
    processProgram.store(0, std::memory_order_relaxed);
    values.WriteSound(positions);
    name = std::move(newName);
    description = std::move(newDescription);
    reference = positions;
    wasModified = isModified;
    FindPreset();
    ++ownRevision;
    if (link != nullptr) link->OnSoundChanged();
  }

  void FindPreset() {
    const auto found = std::find_if(presets.begin(), presets.end(),
                                    [&](const PresetItem& item) { return item.name == name; });
    preset =
        found != presets.end() ? std::optional(static_cast<size_t>(found - presets.begin())) : std::nullopt;
    program.store(preset.value_or(~size_t{0}), std::memory_order_relaxed);
  }

  /// Takes up the name of a program that the audio thread began.
  void AdoptProgram() {
    const size_t number = processProgram.exchange(0, std::memory_order_acquire);
    if (number == 0) return;
    const host::Preset& begun = FactoryPresets()[number - 1];
    name = begun.name;
    description = begun.description;
    reference = factoryPositions[number - 1];
    wasModified = false;
    FindPreset();
    ++ownRevision;
  }

  void ListPresets() {
    presets.clear();
    for (const host::Preset& item : FactoryPresets()) {
      presets.push_back({item.name, item.description, EffectOf(item), true});
    }
    for (const UserPresets::Entry& entry : userPresets.Entries()) {
      presets.push_back({entry.preset.name, entry.preset.description, EffectOf(entry.preset), false});
    }
    FindPreset();
    ++ownRevision;
  }

  const host::Preset& PresetAt(size_t position) const {
    const size_t factory = FactoryPresets().size();
    return position < factory ? FactoryPresets()[position] : userPresets.Entries()[position - factory].preset;
  }

  void LoadPreset(const host::Preset& chosen) {
    history.Leave(Capture());
    Recall({PositionsOf(chosen), chosen.name, chosen.description, false});
  }

  uint32_t EffectStep() const {
    static const host::Parameter& effect = Named("Prismel_FXType");
    return static_cast<uint32_t>(std::lround(effect.ToValue(values.Get(effect.Index()))));
  }
};

ShellCore::ShellCore() : parts(std::make_unique<Parts>()) {
  // What the audio thread will look up is built here.
  HostParameters::Get();
  static_cast<void>(LatencyAt(48000.0));
  const Positions preferred = PreferredPositions();
  for (uint32_t i = 0; i < kParameterCount; ++i) parts->values.Note(i, preferred[i]);
  for (const host::Preset& preset : FactoryPresets()) parts->factoryPositions.push_back(PositionsOf(preset));
  parts->ListPresets();
  for (const host::Preset& preset : FactoryPresets()) {
    if (preset.name == kFirstPreset)
      parts->Recall({PositionsOf(preset), preset.name, preset.description, false});
  }
  parts->toldTail = parts->EffectStep();
}

ShellCore::~ShellCore() = default;

void ShellCore::SetHostLink(HostLink* link) { parts->link = link; }

// ---- Stream

void ShellCore::Activate(double sampleRate, uint32_t inputs, uint32_t outputs) {
  parts->stream.Start(parts->Source(), sampleRate, inputs, outputs);
  parts->sampleRate = sampleRate;
  parts->toldTail = parts->EffectStep();
  ++parts->ownRevision;
}

void ShellCore::Deactivate() { parts->stream.Stop(); }
bool ShellCore::IsActive() const { return parts->stream.IsRunning(); }

uint32_t ShellCore::LatencyAt(double sampleRate) const {
  if (!std::isfinite(sampleRate) || !(sampleRate > 0.0)) return 0;
  static const host::HostedProcessor processor{host::ProcessorSource(Processor::MakeLinkedFactory())};
  return processor.BlockSizeAt(static_cast<float>(sampleRate));
}

uint32_t ShellCore::TailAt(double sampleRate) const {
  constexpr uint32_t kComb = 2, kHarmonizer = 5;  // values of "FXType"
  constexpr double kShortTail = 0.25;             // s; the others' ring for 0.01 to 0.2 s
  const uint32_t effect = parts->EffectStep();
  if (effect == kComb || effect == kHarmonizer) return kEndlessTail;
  return static_cast<uint32_t>(std::max(sampleRate, 0.0) * kShortTail) + LatencyAt(sampleRate);
}

bool ShellCore::TakeTailChange() {
  const float position = parts->values.Get(parts->effectIndex);
  if (position == parts->toldTailPosition) return false;
  parts->toldTailPosition = position;
  const auto isEndless = [](uint32_t effect) { return effect == 2 || effect == 5; };
  const uint32_t effect = parts->EffectStep();
  return isEndless(std::exchange(parts->toldTail, effect)) != isEndless(effect);
}

void ShellCore::SetTime(const HostTime& time) { parts->stream.SetTime(time); }
void ShellCore::SetOffline(bool isOffline) { parts->stream.SetOffline(isOffline); }
void ShellCore::StepTo(uint32_t index, float normalized, uint32_t offset) {
  parts->stream.StepTo(index, normalized, offset);
}
void ShellCore::RampTo(uint32_t index, float normalized, uint32_t fromOffset, uint32_t offset) {
  parts->stream.RampTo(index, normalized, fromOffset, offset);
}
void ShellCore::Process(const float* const* inputs, float* const* outputs, uint32_t frames) {
  parts->stream.Process(inputs, outputs, frames);
}
void ShellCore::LoadFactoryPreset(size_t position) {
  if (position >= FactoryPresets().size() || parts->program.load(std::memory_order_relaxed) == position)
    return;
  parts->program.store(position, std::memory_order_relaxed);
  parts->stream.StartSound(parts->factoryPositions[position]);
  parts->processProgram.store(position + 1, std::memory_order_release);
}
void ShellCore::Reset() { parts->stream.Reset(); }

// ---- State

std::string ShellCore::SaveState() const {
  State state;
  state.sound = parts->Capture();
  state.variation = parts->variation;
  state.windowScale = parts->windowScale;
  return state.ToJson();
}

std::string ShellCore::LoadState(std::string_view text) {
  try {
    std::vector<std::string> warnings;
    const State state = State::Parse(text, &warnings);
    parts->values.Write(BypassIndex(), state.sound.positions[BypassIndex()]);
    parts->variation = state.variation;
    parts->windowScale = state.windowScale;
    parts->history = {};
    parts->message = warnings.empty() ? "" : warnings.front();
    parts->Recall(state.sound);
    return "";
  } catch (const host::HostError& error) {
    parts->Say(error.what());
    return error.what();
  }
}

void ShellCore::SetVariation(uint32_t variation) {
  if (variation == parts->variation) return;
  parts->variation = std::min(variation, kLargestVariation);
  ++parts->ownRevision;
  if (parts->link == nullptr) return;
  parts->link->OnStateDirty();
  parts->link->OnRestartWanted();
}

std::string ShellCore::LoadPresetByName(std::string_view name) {
  for (size_t i = 0; i < parts->presets.size(); ++i) {
    if (IsSameName(parts->presets[i].name, name)) return LoadPreset(i);
  }
  return "There is no preset \"" + std::string(name) + "\".";
}

void ShellCore::SetFromHost(uint32_t index, float normalized) {
  parts->values.Write(index, std::clamp(normalized, 0.0f, 1.0f));
  ++parts->ownRevision;
}

// ---- WindowModel

uint64_t ShellCore::Revision() const { return parts->ownRevision + parts->stream.ValueRevision(); }
uint64_t ShellCore::LiveRevision() const { return parts->stream.LiveRevision(); }

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
  const auto value = [this](const host::Parameter& p) { return p.ToValue(parts->values.Get(p.Index())); };
  LiveView view;
  parts->stream.Store(view);
  view.activeVoices =
      parts->stream.IsRunning() ? static_cast<uint32_t>(std::lround(value(readOuts.voices))) : 0;
  view.prismelion = parts->values.Get(readOuts.prismelion.Index());
  view.primary = parts->values.Get(readOuts.primary.Index());
  view.lfoPhase = value(readOuts.phase);
  view.lfoValue = value(readOuts.value);
  view.inputDb = value(readOuts.input);
  view.outputDb = value(readOuts.output);
  return view;
}

float ShellCore::Value(uint32_t index) const { return parts->values.Get(index); }

void ShellCore::BeginGesture(uint32_t index) {
  if (parts->openGestures++ == 0) parts->beforeGesture = parts->Capture();
  if (parts->gestures[index]++ > 0) return;
  parts->stream.Hold(index);
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
  if (position == parts->values.Get(index)) return;
  parts->values.Write(index, position);
  ++parts->ownRevision;
  if (parts->link != nullptr) parts->link->OnValue(index, position);
}

void ShellCore::EndGesture(uint32_t index) {
  if (parts->gestures[index] == 0) return;
  if (--parts->gestures[index] == 0) {
    parts->stream.Release(index);
    if (parts->link != nullptr) parts->link->OnGestureEnd(index);
  }
  if (--parts->openGestures > 0) return;
  if (!IsSameSound(parts->values.All(), parts->beforeGesture.positions)) {
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
    parts->reference = parts->values.All();
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

void ShellCore::Panic() { parts->stream.Panic(); }
double ShellCore::SampleRate() const { return parts->sampleRate; }
double ShellCore::Tempo() const { return parts->stream.Tempo(); }
std::string ShellCore::Message() const { return parts->message; }
uint32_t ShellCore::Variation() const { return parts->variation; }
double ShellCore::WindowScale() const { return parts->windowScale; }

void ShellCore::SetWindowScale(double scale) {
  parts->windowScale = std::clamp(scale, 0.75, 2.0);
  if (parts->link != nullptr) parts->link->OnStateDirty();
}

}  // namespace Vantora::plugin
