#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/Console.h"
#include "host/ParameterTable.h"

namespace Vantora::cli {
namespace {

struct ParamsOptions {
  bool all = false;
  bool json = false;
};

void PrintJson(bool all) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    if (!all && !parameter.IsOffered()) continue;
    nlohmann::ordered_json entry = {
        {"index", parameter.Index()},
        {"id", parameter.Id()},
        {"name", parameter.UniqueName()},
        {"symbol", parameter.Symbol()},
        {"title", parameter.Title()},
        {"order", parameter.Order()},
        {"group", parameter.Group()},
        {"role", host::RoleName(parameter.GetRole())},
        {"unit", host::UnitName(parameter.GetUnit())},
        {"min", parameter.Minimum()},
        {"max", parameter.Maximum()},
        {"start", parameter.StartValue()},
        {"startText", parameter.Text(parameter.StartNormalized())},
        {"preferred", parameter.ToValue(parameter.PreferredNormalized())},
        {"preferredText", parameter.Text(parameter.PreferredNormalized())},
        {"steps", parameter.StepCount()},
        {"automatable", parameter.IsAutomatable()},
        {"note", parameter.Note()},
    };
    if (parameter.Twin()) entry["twin"] = *parameter.Twin();
    if (!parameter.Labels().empty()) entry["labels"] = parameter.Labels();
    list.push_back(std::move(entry));
  }
  Print("{}\n", list.dump(2));
}

/// What belongs to a single clone inside a bank: the spread writes most of it, and few people ever turn it.
bool IsInner(const host::Parameter& parameter) {
  return parameter.Name().starts_with("Prismel_FXL_") || parameter.Name().starts_with("Prismel_FXR_");
}

/// The knobs that a person turns first come first. All: every one, by index.
std::vector<const host::Parameter*> Listed(bool all) {
  std::vector<const host::Parameter*> list;
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    if (all || (parameter.IsOffered() && !IsInner(parameter))) list.push_back(&parameter);
  }
  if (all) return list;
  std::stable_sort(list.begin(), list.end(), [](const auto* a, const auto* b) {
    const bool aIsMain = a->GetRole() == host::Role::kMain, bIsMain = b->GetRole() == host::Role::kMain;
    return aIsMain != bIsMain ? aIsMain : a->Order() < b->Order();
  });
  return list;
}

void PrintTable(bool all) {
  struct Line {
    std::string index, name, range, start;
    std::string_view note;
  };
  std::vector<Line> lines{{"INDEX", "NAME", "RANGE", "START", "USE"}};
  for (const host::Parameter* parameter : Listed(all)) {
    lines.push_back({std::to_string(parameter->Index()), parameter->UniqueName(), parameter->RangeText(),
                     parameter->Text(parameter->PreferredNormalized()), parameter->Note()});
  }
  // Enumerations are listed in full; they don't set the width of their column.
  size_t nameWidth = 0, rangeWidth = 0, startWidth = 0;
  for (const Line& line : lines) {
    nameWidth = std::max(nameWidth, line.name.size());
    if (line.range.size() <= 24) rangeWidth = std::max(rangeWidth, line.range.size());
    startWidth = std::max(startWidth, line.start.size());
  }
  for (const Line& line : lines) {
    Print("{:>5}  {:<{}}  {:<{}}  {:<{}}  {}\n", line.index, line.name, nameWidth, line.start, startWidth,
          line.range, rangeWidth, line.note);
  }
}

}  // namespace

void AddParamsCommand(Command app, CommandContext& context) {
  auto options = std::make_shared<ParamsOptions>();
  const Command command = app.AddCommand("params", "List the effect's parameters with range and start value");
  command.AddFlag("-a,--all", options->all,
                  "those inside the clones, internal ones, read-outs and commands too: all 228");
  command.AddFlag("--json", options->json, "as JSON, for programs");
  command.OnRun([options, &context] {
    options->json ? PrintJson(options->all) : PrintTable(options->all);
    context.status = 0;
  });
}

}  // namespace Vantora::cli
