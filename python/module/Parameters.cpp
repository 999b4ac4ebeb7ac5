#include "python/module/Parameters.h"

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "host/Preset.h"
#include "host/files/PresetFolder.h"

namespace Vantora::python {
namespace {

namespace py = pybind11;

const host::Parameter& At(uint32_t index) {
  const host::ParameterTable& table = host::ParameterTable::Get();
  if (index >= table.Size()) throw host::HostError("There is no parameter " + std::to_string(index) + ".");
  return table[index];
}

/// Everything that the typed layer and the documentation say of a parameter.
py::dict Describe(const host::Parameter& parameter) {
  py::dict row;
  row["index"] = parameter.Index();
  row["name"] = parameter.UniqueName();
  row["symbol"] = parameter.Symbol();
  row["title"] = parameter.Title();
  row["group"] = std::string(parameter.Group());
  row["unit"] = std::string(host::UnitName(parameter.GetUnit()));
  row["note"] = std::string(parameter.Note());
  row["order"] = parameter.Order();
  row["is_main"] = parameter.GetRole() == host::Role::kMain;
  row["is_offered"] = parameter.IsOffered();
  row["is_switch"] = parameter.IsSwitch();
  row["steps"] = parameter.StepCount();
  row["labels"] = parameter.Labels();
  row["range"] = parameter.RangeText();
  row["minimum"] = parameter.Minimum();
  row["maximum"] = parameter.Maximum();
  row["in_presets"] = parameter.IsInPresets();
  row["preferred"] = parameter.PreferredNormalized();
  row["start"] = parameter.StartNormalized();
  return row;
}

py::tuple ParsePreset(const std::string& json, const std::string& origin) {
  std::vector<std::string> warnings;
  const host::Preset preset = host::Preset::Parse(json, origin, &warnings);
  return py::make_tuple(preset.name, preset.description, preset.values, warnings);
}

std::string PresetJson(const std::string& name, const std::string& description,
                       const std::map<uint32_t, float>& values) {
  host::Preset preset;
  preset.name = name;
  preset.description = description;
  preset.values = values;
  return preset.ToJson();
}

}  // namespace

void AddParameters(py::module_& module) {
  module.def("parameters", [] {
    py::list rows;
    for (const host::Parameter& parameter : host::ParameterTable::Get()) rows.append(Describe(parameter));
    return rows;
  });
  module.def(
      "find", [](const std::string& name) { return host::ParameterTable::Get().At(name).Index(); },
      py::arg("name"));
  module.def(
      "parse", [](uint32_t index, const std::string& text) { return At(index).Parse(text); },
      py::arg("index"), py::arg("text"));
  module.def(
      "parse_value", [](uint32_t index, double value) { return At(index).ParseValue(value); },
      py::arg("index"), py::arg("value"));
  module.def(
      "text", [](uint32_t index, float position) { return At(index).ExactText(position); }, py::arg("index"),
      py::arg("position"));
  module.def(
      "value", [](uint32_t index, float position) { return At(index).ExactValue(position); },
      py::arg("index"), py::arg("position"));
  module.def("parse_preset", &ParsePreset, py::arg("json"), py::arg("origin"));
  module.def("preset_json", &PresetJson, py::arg("name"), py::arg("description"), py::arg("values"));
  module.def(
      "find_preset",
      [](const std::string& text, const std::vector<std::filesystem::path>& folders) {
        return host::FindPreset(text, folders).string();
      },
      py::arg("text"), py::arg("folders"));
  module.def("user_preset_folder", [] { return host::UserPresetFolder().string(); });
  module.def(
      "list_presets",
      [](const std::filesystem::path& folder) {
        py::list entries;
        for (const host::PresetEntry& entry : host::ListPresets(folder)) {
          entries.append(py::make_tuple(entry.path.string(), entry.name, entry.description, entry.error));
        }
        return entries;
      },
      py::arg("folder"));
}

}  // namespace Vantora::python
