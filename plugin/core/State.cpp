#include "plugin/core/State.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "host/Preset.h"

namespace Vantora::plugin {
namespace {

/// JSON whose numbers are floats: written with as few digits as a float needs.
using Json =
    nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool, int64_t, uint64_t, float>;

constexpr size_t kLargestText = 1 << 20;  // a state has a few kilobytes; beyond this it is something else
constexpr uint32_t kLargestVariation = 4095;

const host::Parameter& Bypass() {
  static const host::Parameter& parameter = host::ParameterTable::Get().At("Bypass");
  return parameter;
}

template <typename T>
T Member(const nlohmann::json& document, const char* key, T fallback) {
  const auto found = document.find(key);
  if (found == document.end()) return fallback;
  try {
    return found->get<T>();
  } catch (const nlohmann::json::exception&) {
    return fallback;
  }
}

/// A value as a person wrote it: text, number or switch.
float ReadableValue(const host::Parameter& parameter, const nlohmann::json& value) {
  if (value.is_string()) return parameter.Parse(value.get<std::string>());
  if (value.is_number()) return parameter.ParseValue(value.get<double>());
  if (value.is_boolean()) return parameter.Parse(value.get<bool>() ? "on" : "off");
  throw host::HostError(fmt::format("{} has no readable value.", parameter.UniqueName()));
}

float ExactPosition(const host::Parameter& parameter, const nlohmann::json& value) {
  const double position = value.is_number() ? value.get<double>() : -1.0;
  if (!(position >= 0.0 && position <= 1.0)) {
    throw host::HostError(fmt::format("{} has no position from 0 to 1.", parameter.UniqueName()));
  }
  return static_cast<float>(position);
}

template <typename Read>
void ReadValues(const nlohmann::json& values, Read&& read, Positions& into,
                std::vector<std::string>* warnings) {
  for (const auto& [key, value] : values.items()) {
    const host::Parameter* parameter = host::ParameterTable::Get().Find(key);
    try {
      if (parameter == nullptr) throw host::HostError(fmt::format("There is no knob \"{}\".", key));
      if (parameter->IsInPresets()) into[parameter->Index()] = read(*parameter, value);
    } catch (const host::HostError& error) {
      if (warnings != nullptr) warnings->emplace_back(error.what());
    }
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
  Json positions = Json::object();
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    if (!parameter.IsInPresets()) continue;
    const float position = sound.positions[parameter.Index()];
    readable.values[parameter.Index()] = position;
    positions[parameter.UniqueName()] = position;
  }
  Json document = Json::parse(readable.ToJson());
  document["state"] = kSchema;
  document["positions"] = std::move(positions);
  document["bypass"] = sound.positions[Bypass().Index()] >= 0.5f;
  document["modified"] = sound.isModified;
  document["variation"] = variation;
  document["windowScale"] = static_cast<float>(windowScale);
  return document.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

State State::Parse(std::string_view json, std::vector<std::string>* warnings) {
  while (!json.empty() && json.back() == '\0') json.remove_suffix(1);  // some hosts keep a C string's end
  if (json.empty()) throw host::HostError("The saved settings are empty; what sounds stays.");
  if (json.size() > kLargestText)
    throw host::HostError("The saved settings are too long to be ours; what sounds stays.");
  const nlohmann::json document = nlohmann::json::parse(json, nullptr, false);
  if (document.is_discarded() || !document.is_object()) {
    throw host::HostError("The saved settings are not JSON; what sounds stays.");
  }
  const auto members = [&](const char* key) {
    const auto found = document.find(key);
    return found != document.end() && found->is_object() ? &*found : nullptr;
  };
  const nlohmann::json* parameters = members("parameters");
  const nlohmann::json* positions = members("positions");
  if (parameters == nullptr && positions == nullptr) {
    throw host::HostError(
        "The saved settings hold neither \"positions\" nor \"parameters\"; what sounds stays.");
  }
  if (warnings != nullptr && (Member<int64_t>(document, "state", 1) > kSchema ||
                              Member<int64_t>(document, "schema", 1) > host::Preset::kSchema)) {
    warnings->emplace_back(
        "These settings were saved by a newer version; what this one doesn't know is left out.");
  }
  State state;
  state.sound.positions = PreferredPositions();
  if (parameters != nullptr) ReadValues(*parameters, ReadableValue, state.sound.positions, warnings);
  if (positions != nullptr) ReadValues(*positions, ExactPosition, state.sound.positions, warnings);
  state.sound.positions[Bypass().Index()] = Member(document, "bypass", false) ? 1.0f : 0.0f;
  state.sound.name = Member<std::string>(document, "name", "");
  state.sound.description = Member<std::string>(document, "description", "");
  state.sound.isModified = Member(document, "modified", false);
  state.variation = static_cast<uint32_t>(
      std::clamp<int64_t>(Member<int64_t>(document, "variation", 0), 0, int64_t{kLargestVariation}));
  const double scale = Member(document, "windowScale", 1.0);
  state.windowScale = std::isfinite(scale) ? std::clamp(scale, 0.75, 2.0) : 1.0;
  return state;
}

}  // namespace Vantora::plugin
