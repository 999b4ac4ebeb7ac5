#pragma once

#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "plugin/core/WindowModel.h"

namespace Vantora::plugin {

/// FakeModel: values in a list, and a log of what a window did to them. No sound.
class FakeModel : public WindowModel {
 public:
  FakeModel() {
    for (const host::Parameter& parameter : host::ParameterTable::Get()) {
      values.push_back(parameter.PreferredNormalized());
    }
    presets = {{"Glass Choir", "Sixteen combs around 440 Hz, spread into a bright cluster.", "comb", true},
               {"Fifth Ladder", "Fifths that climb with every echo.", "harmonizer", true},
               {"My Sound", "Mine.", "crusher", false}};
    live.activeVoices = 5;
  }

  void Set(const char* name, float normalized) {
    values[host::ParameterTable::Get().At(name).Index()] = normalized;
    ++revision;
  }
  void SetTo(const char* name, const char* text) {
    const host::Parameter& parameter = host::ParameterTable::Get().At(name);
    Set(name, parameter.Parse(text));
  }
  float Get(const char* name) const { return values[host::ParameterTable::Get().At(name).Index()]; }
  void SetLive(const LiveView& view) {
    live = view;
    ++liveRevision;
  }

  uint64_t Revision() const override { return revision; }
  uint64_t LiveRevision() const override { return liveRevision; }
  LiveView Live() const override { return live; }
  float Value(uint32_t index) const override { return values[index]; }
  void BeginGesture(uint32_t index) override { ++open[index], ++gestures; }
  void SetValue(uint32_t index, float normalized) override {
    values[index] = normalized < 0.0f ? 0.0f : normalized > 1.0f ? 1.0f : normalized;
    if (open[index] == 0) ++writesOutside;
    ++revision, ++writes;
  }
  void EndGesture(uint32_t index) override { --open[index]; }
  std::string Text(uint32_t index) const override {
    return host::ParameterTable::Get()[index].Text(values[index]);
  }
  std::string SetText(uint32_t index, std::string_view text) override {
    try {
      values[index] = host::ParameterTable::Get()[index].Parse(text);
    } catch (const host::HostError& error) {
      return error.what();
    }
    ++revision;
    return {};
  }
  std::optional<uint32_t> Twin(uint32_t) const override { return std::nullopt; }
  float DefaultValue(uint32_t index) const override {
    return host::ParameterTable::Get()[index].PreferredNormalized();
  }
  const std::vector<PresetItem>& Presets() const override { return presets; }
  std::optional<size_t> CurrentPreset() const override { return current; }
  std::string PresetName() const override { return current ? presets[*current].name : ""; }
  bool IsModified() const override { return false; }
  std::string LoadPreset(size_t position) override { return current = position, ++revision, std::string(); }
  std::string SavePreset(const std::string& name, const std::string& description) override {
    if (name == "Glass Choir") return "\"Glass Choir\" is a factory preset: choose another name.";
    presets.push_back({name, description, "comb", false});
    return ++revision, std::string();
  }
  std::string DeletePreset(size_t position) override {
    presets.erase(presets.begin() + static_cast<std::ptrdiff_t>(position));
    return ++revision, std::string();
  }
  void RefreshPresets() override {}
  Slot CurrentSlot() const override { return slot; }
  void SwitchSlot() override { slot = slot == Slot::kA ? Slot::kB : Slot::kA, ++revision; }
  void CopyToOtherSlot() override {}
  bool CanUndo() const override { return true; }
  bool CanRedo() const override { return false; }
  void Undo() override { ++undos; }
  void Redo() override {}
  std::string SettingsText() const override { return "{settings}"; }
  std::string SetSettingsText(std::string_view text) override { return "Not settings: " + std::string(text); }
  void Panic() override { ++panics; }
  double SampleRate() const override { return 48000.0; }
  double Tempo() const override { return 120.0; }
  std::string Message() const override { return message; }
  uint32_t Variation() const override { return variation; }
  void SetVariation(uint32_t to) override { variation = to; }
  double WindowScale() const override { return scale; }
  void SetWindowScale(double to) override { scale = to; }

  std::vector<float> values;
  std::map<uint32_t, int> open;  // gestures by parameter
  std::vector<PresetItem> presets;
  std::optional<size_t> current = 0;
  Slot slot = Slot::kA;
  LiveView live;
  std::string message;
  uint64_t revision = 1, liveRevision = 1;
  int gestures = 0, writes = 0, writesOutside = 0, undos = 0, panics = 0;
  double scale = 1.0;
  uint32_t variation = 0;
};

/// A busy moment: taps, spread, meters and LFO at `seconds`.
inline LiveView BusyView(double seconds) {
  LiveView view;
  view.activeVoices = 8;
  for (uint32_t side = 0; side < LiveView::kSides; ++side) {
    for (uint32_t v = 0; v < LiveView::kVoices; ++v) {
      const double phase = seconds * (0.2 + 0.03 * v) + 0.37 * v + 0.5 * side;
      view.tapMs[side][v] = static_cast<float>(6.0 + 5.0 * std::sin(6.28 * phase));
      view.spread[side][v] = static_cast<float>(0.5 + 0.04 * (v + 1.0) * (v % 2 == side ? 1.0 : -1.0));
    }
  }
  view.lfoPhase = static_cast<float>(seconds - std::floor(seconds));
  view.lfoValue = static_cast<float>(std::sin(6.28 * seconds));
  view.prismelion = 0.46f + 0.1f * view.lfoValue;
  view.primary = 0.5f + 0.05f * view.lfoValue;
  view.inputDb = static_cast<float>(-12.0 + 8.0 * std::sin(3.0 * seconds));
  view.outputDb = static_cast<float>(-9.0 + 10.0 * std::sin(2.1 * seconds));
  return view;
}

}  // namespace Vantora::plugin
