#include "host/Preset.h"

#include "host/Format.h"
#include "host/HostError.h"
#include "host/HostedProcessor.h"

namespace Vantora::host {
namespace {

float ParseJsonValue(const Knob& parameter, const JsonValue& value) {
  switch (value.kind) {
    case JsonValue::Kind::kText:
      return parameter.Parse(value.text);
    case JsonValue::Kind::kNumber:
      return parameter.ParseValue(value.number);
    case JsonValue::Kind::kSwitch:
      return parameter.Parse(value.isOn ? "on" : "off");
    default:
      throw HostError(Format("{} takes {}, not {}.", parameter.FullName(), parameter.RangeText(),
                             value.Is(JsonValue::Kind::kNothing) ? "nothing" : "a list"));
  }
}

std::string TextMember(const JsonValue& document, const char* key, const std::string& fallback) {
  const JsonValue* found = document.Find(key);
  if (found == nullptr) return fallback;
  if (!found->Is(JsonValue::Kind::kText)) throw HostError(Format("\"{}\" must be a text.", key));
  return found->text;
}

void CheckSchema(const JsonValue& document) {
  const JsonValue* schema = document.Find("schema");
  if (schema == nullptr) throw HostError("it has no \"schema\" version.");
  if (!schema->Is(JsonValue::Kind::kNumber) || !schema->isWhole || schema->number < 1.0) {
    const bool isNumber = schema->Is(JsonValue::Kind::kNumber);
    throw HostError(Format("its \"schema\" is {}, not a version, which is a whole number from 1 on.",
                           isNumber ? schema->text : "no number"));
  }
  if (schema->number > static_cast<double>(Preset::kSchema)) {
    throw HostError(
        Format("it has schema {}, and only versions up to {} are known.", schema->text, Preset::kSchema));
  }
}

std::string KindText(std::string_view kind) {
  return kind.empty() ? std::string("the effect") : Format("\"{}\"", kind);
}

const Parameter& PresetLoading() {
  static const Parameter& parameter = ParameterTable::Get().At("PresetLoading");
  return parameter;
}

}  // namespace

Preset Preset::Parse(std::string_view json, const std::filesystem::path& origin,
                     std::vector<std::string>* warnings) {
  return Parse(EffectKnobs(), json, origin, warnings);
}

Preset Preset::Parse(const KnobSet& knobs, std::string_view json, const std::filesystem::path& origin,
                     std::vector<std::string>* warnings) {
  const auto warn = [&](const std::string& what) {
    if (warnings != nullptr) warnings->push_back("Preset \"" + origin.string() + "\": " + what);
  };
  try {
    const JsonValue document = ReadJson(json, JsonTwice::kRefused);
    if (!document.Is(JsonValue::Kind::kObject)) throw HostError("it is not a JSON object.");
    CheckSchema(document);
    const std::string kind = TextMember(document, "module", "");
    if (kind != knobs.Kind()) {
      throw HostError(Format("it is a preset of {}, not of {}.", KindText(kind), KindText(knobs.Kind())));
    }
    for (const auto& [key, value] : document.members) {
      if (key != "schema" && key != "name" && key != "description" && key != "parameters" &&
          key != "module") {
        warn(Format("\"{}\" is not known and is ignored.", key));
      }
    }
    Preset preset;
    preset.name = TextMember(document, "name", origin.stem().string());
    preset.description = TextMember(document, "description", "");
    const JsonValue* parameters = document.Find("parameters");
    if (parameters == nullptr || !parameters->Is(JsonValue::Kind::kObject))
      throw HostError("it has no \"parameters\".");
    for (const auto& [key, value] : parameters->members) {
      if (!knobs.Has(key)) {
        warn(Format("there is no parameter \"{}\"; it is ignored.", key));
        continue;
      }
      const uint32_t index = knobs.IndexOf(key);
      const Knob& knob = knobs.KnobAt(index);
      if (!knobs.IsStored(index)) {
        warn(Format("\"{}\" is not part of a preset and is ignored.", key));
      } else if (!preset.values.emplace(index, ParseJsonValue(knob, value)).second) {
        throw HostError(knob.FullName() + " is set twice.");
      }
    }
    return preset;
  } catch (const HostError& error) {
    throw HostError("The preset \"" + origin.string() + "\" can't be loaded: " + error.what());
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

void Preset::AddTo(JsonObjectText& document, JsonObjectText::Precision precision,
                   const KnobSet& knobs) const {
  document.AddInteger("schema", kSchema);
  if (!knobs.Kind().empty()) document.AddText("module", std::string(knobs.Kind()));
  document.AddText("name", name);
  document.AddText("description", description);
  JsonObjectText parameters;
  for (const auto& [index, value] : values) {
    const Knob& knob = knobs.KnobAt(index);
    if (!knobs.IsStored(index) || value == knob.PreferredNormalized()) continue;
    const std::string text = knob.ExactText(value);
    const bool isNumber =
        knob.Labels().empty() && UnitName(knob.GetUnit()).empty() && !text.starts_with("norm:");
    if (isNumber) {
      parameters.AddNumber(knob.FullName(), text, precision);
    } else {
      parameters.AddText(knob.FullName(), text);
    }
  }
  document.AddObject("parameters", parameters);
}

std::string Preset::ToJson(const KnobSet& knobs) const {
  JsonObjectText document;
  AddTo(document, JsonObjectText::Precision::kDouble, knobs);
  return document.Text() + '\n';
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
