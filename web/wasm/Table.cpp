#include "web/wasm/Table.h"

#include <nlohmann/json.hpp>

#include "dsp/stage/SpreadTables.h"
#include "host/ParameterTable.h"
#include "host/ProcessorSource.h"
#include "plugin/core/FactoryBank.h"
#include "processor/LinkedFactory.h"

namespace Vantora::web {
namespace {

nlohmann::json Row(const host::Parameter& parameter) {
  return {{"index", parameter.Index()},
          {"id", parameter.Id()},
          {"name", parameter.UniqueName()},
          {"title", parameter.Title()},
          {"symbol", parameter.Symbol()},
          {"order", parameter.Order()},
          {"group", parameter.Group()},
          {"role", host::RoleName(parameter.GetRole())},
          {"note", parameter.Note()},
          {"unit", host::UnitName(parameter.GetUnit())},
          {"isRatio", parameter.GetUnit() == host::Unit::kRatio},
          {"min", parameter.Minimum()},
          {"max", parameter.Maximum()},
          {"steps", parameter.StepCount()},
          {"labels", parameter.Labels()},
          {"preferred", parameter.PreferredNormalized()},
          {"range", parameter.RangeText()},
          {"twin", parameter.Twin() ? static_cast<int32_t>(*parameter.Twin()) : -1},
          {"inPresets", parameter.IsInPresets()}};
}

}  // namespace

std::string TableJson() {
  const host::ParameterTable& table = host::ParameterTable::Get();
  nlohmann::json rows = nlohmann::json::array();
  for (const host::Parameter& parameter : table) rows.push_back(Row(parameter));

  const host::Parameter& effect = table.At("Prismel_FXType");
  nlohmann::json bank = nlohmann::json::array();
  const auto& presets = plugin::FactoryPresets();
  for (size_t i = 0; i < presets.size(); ++i) {
    const plugin::FactoryText& text = plugin::FactoryTexts()[i];
    bank.push_back({{"file", text.file},
                    {"name", presets[i].name},
                    {"description", presets[i].description},
                    {"effect", effect.Text(presets[i].ValueOf(effect))},
                    {"json", text.json}});
  }
  return nlohmann::json{{"version", host::ProcessorSource(Processor::MakeLinkedFactory()).Version()},
                        {"parameters", std::move(rows)},
                        {"chords", dsp::kChords},
                        {"presets", std::move(bank)}}
      .dump();
}

}  // namespace Vantora::web
