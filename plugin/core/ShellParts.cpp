#include "plugin/core/ShellParts.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "host/HostError.h"
#ifndef _WIN32
#include "host/loading/ProcessorLibrary.h"
#endif
#include "processor/LinkedFactory.h"

namespace Vantora::plugin {
namespace {

const host::ParameterTable& Table() { return host::ParameterTable::Get(); }

std::string EffectOf(const host::Preset& preset) {
  static const host::Parameter& effect = Table().At("Prismel_FXType");
  return effect.Text(preset.ValueOf(effect));
}

}  // namespace

uint32_t BypassIndex() {
  static const uint32_t index = Table().At("Bypass").Index();
  return index;
}

bool IsSameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

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

host::ProcessorSource ShellCore::Parts::Source() {
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

void ShellCore::Parts::Say(std::string text) {
  message = std::move(text);
  ++ownRevision;
}

bool ShellCore::Parts::IsModified() {
  AdoptProgram();
  return wasModified || !IsSameSound(values.All(), reference);
}
Sound ShellCore::Parts::Capture() {
  AdoptProgram();
  return {values.All(), name, description, IsModified()};
}

void ShellCore::Parts::Recall(const Sound& sound) {
  Positions positions = sound.positions;
  positions[BypassIndex()] = values.Get(BypassIndex());
  SetSound(positions, sound.name, sound.description, sound.isModified);
}

void ShellCore::Parts::SetSound(Positions positions, std::string newName, std::string newDescription,
                                bool isModified) {
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

void ShellCore::Parts::FindPreset() {
  const auto found =
      std::find_if(presets.begin(), presets.end(), [&](const PresetItem& item) { return item.name == name; });
  preset =
      found != presets.end() ? std::optional(static_cast<size_t>(found - presets.begin())) : std::nullopt;
  program.store(preset.value_or(~size_t{0}), std::memory_order_relaxed);
}

void ShellCore::Parts::AdoptProgram() {
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

void ShellCore::Parts::ListPresets() {
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

const host::Preset& ShellCore::Parts::PresetAt(size_t position) const {
  const size_t factory = FactoryPresets().size();
  return position < factory ? FactoryPresets()[position] : userPresets.Entries()[position - factory].preset;
}

void ShellCore::Parts::LoadPreset(const host::Preset& chosen) {
  history.Leave(Capture());
  Recall({PositionsOf(chosen), chosen.name, chosen.description, false});
}

uint32_t ShellCore::Parts::EffectStep() const {
  static const host::Parameter& effect = Table().At("Prismel_FXType");
  return static_cast<uint32_t>(std::lround(effect.ToValue(values.Get(effect.Index()))));
}

}  // namespace Vantora::plugin
