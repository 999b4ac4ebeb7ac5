#include "plugin/core/State.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "host/HostError.h"
#include "host/JsonText.h"
#include "host/ParameterTable.h"
#include "host/Preset.h"

namespace Vantora::plugin {
namespace {

using host::JsonValue;

constexpr size_t kLargestText = 1 << 20;  // a state has a few kilobytes; beyond this it is something else
constexpr uint32_t kLargestVariation = 4095;

const host::Parameter& Bypass() {
  static const host::Parameter& parameter = host::ParameterTable::Get().At("Bypass");
  return parameter;
}

double NumberMember(const JsonValue& document, const char* key, double fallback) {
  const JsonValue* found = document.Find(key);
  return found != nullptr && found->Is(JsonValue::Kind::kNumber) ? found->number : fallback;
}

bool SwitchMember(const JsonValue& document, const char* key) {
  const JsonValue* found = document.Find(key);
  return found != nullptr && found->Is(JsonValue::Kind::kSwitch) && found->isOn;
}

std::string TextMember(const JsonValue& document, const char* key) {
  const JsonValue* found = document.Find(key);
  return found != nullptr && found->Is(JsonValue::Kind::kText) ? found->text : "";
}

/// A value as a person wrote it: text, number or switch.
float ReadableValue(const host::Parameter& parameter, const JsonValue& value) {
  if (value.Is(JsonValue::Kind::kText)) return parameter.Parse(value.text);
  if (value.Is(JsonValue::Kind::kNumber)) return parameter.ParseValue(value.number);
  if (value.Is(JsonValue::Kind::kSwitch)) return parameter.Parse(value.isOn ? "on" : "off");
  throw host::HostError(fmt::format("{} has no readable value.", parameter.UniqueName()));
}

float ExactPosition(const host::Parameter& parameter, const JsonValue& value) {
  if (!value.Is(JsonValue::Kind::kNumber) || !(value.number >= 0.0 && value.number <= 1.0)) {
    throw host::HostError(fmt::format("{} has no position from 0 to 1.", parameter.UniqueName()));
  }
  return static_cast<float>(value.number);
}

template <typename Read>
void ReadValues(const JsonValue& values, Read&& read, Positions& into, std::vector<std::string>* warnings) {
  for (const auto& [key, value] : values.members) {
    const host::Parameter* parameter = host::ParameterTable::Get().Find(key);
    try {
      if (parameter == nullptr) throw host::HostError(fmt::format("There is no knob \"{}\".", key));
      if (parameter->IsInPresets()) into[parameter->Index()] = read(*parameter, value);
    } catch (const host::HostError& error) {
      if (warnings != nullptr) warnings->emplace_back(error.what());
    }
  }
}

/// The document, or nothing that is an object.
JsonValue ReadDocument(std::string_view json) {
  try {
    return host::ReadJson(json, host::JsonTwice::kLastWins);
  } catch (const host::HostError&) {
    return {};
  }
}

}  // namespace

Positions PreferredPositions() {
  Positions positions{};
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    positions[parameter.Index()] = parameter.PreferredNormalized();
  }
  return positions;
}

std::string State::ToJson() const {
  host::Preset readable;
  readable.name = sound.name;
  readable.description = sound.description;
  host::JsonObjectText positions;
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    if (!parameter.IsInPresets()) continue;
    const float position = sound.positions[parameter.Index()];
    readable.values[parameter.Index()] = position;
    positions.AddFloat(parameter.UniqueName(), position);
  }
  host::JsonObjectText document;
  readable.AddTo(document, host::JsonObjectText::Precision::kFloat);
  document.AddInteger("state", kSchema);
  document.AddObject("positions", positions);
  document.AddSwitch("bypass", sound.positions[Bypass().Index()] >= 0.5f);
  document.AddSwitch("modified", sound.isModified);
  document.AddInteger("variation", variation);
  document.AddFloat("windowScale", static_cast<float>(windowScale));
  return document.Text() + '\n';
}

State State::Parse(std::string_view json, std::vector<std::string>* warnings) {
  while (!json.empty() && json.back() == '\0') json.remove_suffix(1);  // some hosts keep a C string's end
  if (json.empty()) throw host::HostError("The saved settings are empty; what sounds stays.");
  if (json.size() > kLargestText)
    throw host::HostError("The saved settings are too long to be ours; what sounds stays.");
  const JsonValue document = ReadDocument(json);
  if (!document.Is(JsonValue::Kind::kObject)) {
    throw host::HostError("The saved settings are not JSON; what sounds stays.");
  }
  const auto members = [&](const char* key) {
    const JsonValue* found = document.Find(key);
    return found != nullptr && found->Is(JsonValue::Kind::kObject) ? found : nullptr;
  };
  const JsonValue* parameters = members("parameters");
  const JsonValue* positions = members("positions");
  if (parameters == nullptr && positions == nullptr) {
    throw host::HostError(
        "The saved settings hold neither \"positions\" nor \"parameters\"; what sounds stays.");
  }
  if (warnings != nullptr && (NumberMember(document, "state", 1.0) > kSchema ||
                              NumberMember(document, "schema", 1.0) > host::Preset::kSchema)) {
    warnings->emplace_back(
        "These settings were saved by a newer version; what this one doesn't know is left out.");
  }
  State state;
  state.sound.positions = PreferredPositions();
  if (parameters != nullptr) ReadValues(*parameters, ReadableValue, state.sound.positions, warnings);
  if (positions != nullptr) ReadValues(*positions, ExactPosition, state.sound.positions, warnings);
  state.sound.positions[Bypass().Index()] = SwitchMember(document, "bypass") ? 1.0f : 0.0f;
  state.sound.name = TextMember(document, "name");
  state.sound.description = TextMember(document, "description");
  state.sound.isModified = SwitchMember(document, "modified");
  state.variation = static_cast<uint32_t>(
      std::clamp(NumberMember(document, "variation", 0.0), 0.0, static_cast<double>(kLargestVariation)));
  state.windowScale = std::clamp(NumberMember(document, "windowScale", 1.0), 0.75, 2.0);
  return state;
}

}  // namespace Vantora::plugin
