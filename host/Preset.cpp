#include "host/Preset.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <set>

#include "host/HostError.h"
#include "host/HostedProcessor.h"

namespace Vantora::host {
namespace {

float ParseJsonValue(const Parameter& parameter, const nlohmann::json& value) {
  if (value.is_string()) return parameter.Parse(value.get<std::string>());
  if (value.is_number()) return parameter.ParseValue(value.get<double>());
  if (value.is_boolean()) return parameter.Parse(value.get<bool>() ? "on" : "off");
  throw HostError(fmt::format("{} takes {}, not {}.", parameter.UniqueName(), parameter.RangeText(),
                              value.is_null() ? "nothing" : "a list"));
}

std::string TextMember(const nlohmann::json& document, const char* key, const std::string& fallback) {
  const auto found = document.find(key);
  if (found == document.end()) return fallback;
  if (!found->is_string()) throw HostError(fmt::format("\"{}\" must be a text.", key));
  return found->get<std::string>();
}

/// The document. The library keeps the last of two members of one name; nobody can tell which was meant.
nlohmann::json ParseJson(std::string_view text) {
  using Event = nlohmann::json::parse_event_t;
  std::vector<std::set<std::string>> open;
  return nlohmann::json::parse(text, [&open](int, Event event, nlohmann::json& parsed) {
    if (event == Event::object_start) open.emplace_back();
    if (event == Event::object_end) open.pop_back();
    if (event == Event::key && !open.back().insert(parsed.get<std::string>()).second) {
      throw HostError(fmt::format("\"{}\" stands in it twice.", parsed.get<std::string>()));
    }
    return true;
  });
}

void CheckSchema(const nlohmann::json& document) {
  const auto schema = document.find("schema");
  if (schema == document.end()) throw HostError("it has no \"schema\" version.");
  if (!schema->is_number_integer() || (!schema->is_number_unsigned() && schema->get<int64_t>() < 1) ||
      *schema == 0) {
    throw HostError(fmt::format("its \"schema\" is {}, not a version, which is a whole number from 1 on.",
                                schema->dump(-1, ' ', true, nlohmann::json::error_handler_t::replace)));
  }
  if (schema->get<uint64_t>() > static_cast<uint64_t>(Preset::kSchema)) {
    throw HostError(fmt::format("it has schema {}, and only versions up to {} are known.",
                                schema->get<uint64_t>(), Preset::kSchema));
  }
}

const Parameter& PresetLoading() {
  static const Parameter& parameter = ParameterTable::Get().At("PresetLoading");
  return parameter;
}

}  // namespace

Preset Preset::Parse(std::string_view json, const std::filesystem::path& origin,
                     std::vector<std::string>* warnings) {
  const auto warn = [&](const std::string& what) {
    if (warnings != nullptr) warnings->push_back("Preset \"" + origin.string() + "\": " + what);
  };
  try {
    const nlohmann::json document = ParseJson(json);
    if (!document.is_object()) throw HostError("it is not a JSON object.");
    CheckSchema(document);
    for (const auto& [key, value] : document.items()) {
      if (key != "schema" && key != "name" && key != "description" && key != "parameters") {
        warn(fmt::format("\"{}\" is not known and is ignored.", key));
      }
    }
    Preset preset;
    preset.name = TextMember(document, "name", origin.stem().string());
    preset.description = TextMember(document, "description", "");
    const auto parameters = document.find("parameters");
    if (parameters == document.end() || !parameters->is_object())
      throw HostError("it has no \"parameters\".");
    for (const auto& [key, value] : parameters->items()) {
      const Parameter* parameter = ParameterTable::Get().Find(key);
      if (parameter == nullptr) {
        warn(fmt::format("there is no parameter \"{}\"; it is ignored.", key));
      } else if (!parameter->IsInPresets()) {
        warn(fmt::format("\"{}\" is not part of a preset and is ignored.", key));
      } else if (!preset.values.emplace(parameter->Index(), ParseJsonValue(*parameter, value)).second) {
        throw HostError(parameter->UniqueName() + " is set twice.");
      }
    }
    return preset;
  } catch (const HostError& error) {
    throw HostError("The preset \"" + origin.string() + "\" can't be loaded: " + error.what());
  } catch (const nlohmann::json::parse_error& error) {
    throw HostError(fmt::format("The preset \"{}\" can't be loaded: it is not JSON, from byte {} on.",
                                origin.string(), error.byte));
  } catch (const nlohmann::json::out_of_range&) {
    throw HostError("The preset \"" + origin.string() +
                    "\" can't be loaded: it holds a number beyond all ranges.");
  } catch (const nlohmann::json::exception& error) {
    throw HostError("The preset \"" + origin.string() + "\" can't be loaded: " + error.what() + '.');
  }
}

Preset Preset::Capture(const HostedProcessor& processor) {
  Preset preset;
  for (const Parameter& parameter : ParameterTable::Get()) {
    if (!parameter.IsInPresets()) continue;
    if (const auto value = processor.Get(parameter.Index())) preset.values[parameter.Index()] = *value;
  }
  return preset;
}

std::string Preset::ToJson() const {
  nlohmann::ordered_json document;
  document["schema"] = kSchema;
  document["name"] = name;
  document["description"] = description;
  auto& parameters = document["parameters"] = nlohmann::ordered_json::object();
  for (const auto& [index, value] : values) {
    const Parameter& parameter = ParameterTable::Get()[index];
    if (!parameter.IsInPresets() || value == parameter.PreferredNormalized()) continue;
    const std::string text = parameter.ExactText(value);
    const bool isNumber =
        parameter.Labels().empty() && UnitName(parameter.GetUnit()).empty() && !text.starts_with("norm:");
    parameters[parameter.UniqueName()] =
        isNumber ? nlohmann::ordered_json::parse(text) : nlohmann::ordered_json(text);
  }
  return document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

float Preset::ValueOf(const Parameter& parameter) const {
  const auto found = values.find(parameter.Index());
  return found != values.end() ? found->second : parameter.PreferredNormalized();
}

std::vector<ParameterWrite> Preset::Writes() const {
  static const uint32_t bitDepth = ParameterTable::Get().At("Prismel_BitCrusherBitDepth").Index();
  std::vector<ParameterWrite> writes{{PresetLoading().Index(), 1.0f}};
  for (const Parameter& parameter : ParameterTable::Get()) {
    if (!parameter.IsInPresets()) continue;
    const float value = ValueOf(parameter);
    // A fresh crusher sounds as at the other end of its word length until a write differs from the position
    // that it answers: make one that differs.
    if (parameter.Index() == bitDepth)
      writes.push_back({bitDepth, value < 0.5f ? value + 0.5f : value - 0.5f});
    writes.push_back({parameter.Index(), value});
  }
  writes.push_back({PresetLoading().Index(), 0.0f});
  return writes;
}

void Preset::Apply(HostedProcessor& processor) const {
  for (const ParameterWrite& write : Writes()) processor.Set(write.index, write.normalized);
}

std::vector<PresetDifference> Compare(const Preset& first, const Preset& second) {
  std::vector<PresetDifference> differences;
  for (const Parameter& parameter : ParameterTable::Get()) {
    if (!parameter.IsInPresets()) continue;
    const float a = first.ValueOf(parameter), b = second.ValueOf(parameter);
    if (a != b) differences.push_back({&parameter, a, b});
  }
  return differences;
}

bool IsWide(const std::vector<ParameterWrite>& writes) {
  const auto valueOf = [&writes](const char* name) {
    const Parameter& parameter = ParameterTable::Get().At(name);
    float position = parameter.PreferredNormalized();
    for (const ParameterWrite& write : writes) {
      if (write.index == parameter.Index()) position = write.normalized;
    }
    return parameter.ToValue(position);
  };
  // Voices that stand together sound the same on both sides; a sweep of the LFO spreads them, too.
  const bool isSpread = valueOf("Prismelion") > 0.0f || valueOf("LFOPrismelAmount") != 0.0f;
  return valueOf("Voices") > 1.0f && isSpread && valueOf("Wet") > 0.0f && !(valueOf("Bypass") > 0.0f);
}

}  // namespace Vantora::host
