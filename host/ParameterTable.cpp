#include "host/ParameterTable.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "host/EditDistance.h"
#include "host/Format.h"
#include "host/HostError.h"
#include "host/HostedProcessor.h"
#include "host/KnobSet.h"
#include "host/ParameterRows.h"

namespace Vantora::host {
namespace {

/// The name without the module that most names begin with.
std::string_view ShortName(std::string_view name) {
  for (const std::string_view prefix : {"Prismel_", "LFO_"}) {
    if (name.starts_with(prefix)) return name.substr(prefix.size());
  }
  return name;
}

std::string Listed(const std::vector<std::string>& names) {
  std::string text;
  for (size_t i = 0; i < names.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == names.size() ? " or " : ", ") + names[i];
  }
  return text;
}

}  // namespace

ParameterTable::ParameterTable() : parameters(MakeParameters()) {}

const ParameterTable& ParameterTable::Get() {
  static const ParameterTable table;
  return table;
}

std::vector<const Parameter*> ParameterTable::Candidates(std::string_view text) const {
  std::vector<const Parameter*> found;
  const auto collect = [&](auto&& matches) {
    for (const Parameter& parameter : parameters) {
      if (matches(parameter)) found.push_back(&parameter);
    }
    return !found.empty();
  };
  if (collect([&](const Parameter& p) { return p.UniqueName() == text; })) return found;
  if (collect([&](const Parameter& p) { return p.Name() == text; })) return found;
  if (collect([&](const Parameter& p) { return p.Symbol() == text; })) return found;

  std::string_view digits = text;
  if (digits.starts_with('#')) digits.remove_prefix(1);
  uint32_t index = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
  if (error == std::errc() && end == digits.data() + digits.size()) {
    if (index < parameters.size()) found.push_back(&parameters[index]);
    return found;
  }

  const std::string lower = Lower(text);
  if (collect([&](const Parameter& p) { return Lower(p.UniqueName()) == lower || Lower(p.Name()) == lower; }))
    return found;
  collect([&](const Parameter& p) { return Lower(ShortName(p.UniqueName())) == lower; });
  return found;
}

const Parameter* ParameterTable::Find(std::string_view text) const {
  const auto found = Candidates(text);
  return found.size() == 1 ? found.front() : nullptr;
}

const Parameter& ParameterTable::At(std::string_view text) const {
  const auto found = Candidates(text);
  if (found.size() == 1) return *found.front();
  if (found.empty()) {
    const auto nearest = Nearest(text);
    throw HostError(Format("There is no parameter \"{}\"{}", text,
                           nearest.empty() ? "." : "; did you mean " + Listed(nearest) + "?"));
  }
  std::vector<std::string> names;
  for (const Parameter* parameter : found) names.push_back(parameter->UniqueName());
  throw HostError(Format("\"{}\" means more than one parameter: write {}.", text, Listed(names)));
}

const Parameter* ParameterTable::FindById(uint32_t id) const {
  const auto found =
      std::find_if(parameters.begin(), parameters.end(), [id](const Parameter& p) { return p.Id() == id; });
  return found != parameters.end() ? &*found : nullptr;
}

std::vector<std::string> ParameterTable::Nearest(std::string_view text, size_t count) const {
  const std::string wanted = Lower(ShortName(text));
  std::vector<std::pair<size_t, const Parameter*>> ranking;
  for (const Parameter& parameter : parameters) {
    if (!parameter.IsOffered() || wanted.empty()) continue;
    const std::string name = Lower(ShortName(parameter.UniqueName()));
    const std::string full = Lower(parameter.UniqueName());
    size_t distance = std::min(EditDistance(wanted, name), EditDistance(wanted, full));
    if (wanted.size() >= 3 && full.find(wanted) != std::string::npos)
      distance = std::min<size_t>(distance, 1);
    if (distance <= std::max<size_t>(2, wanted.size() / 3)) ranking.emplace_back(distance, &parameter);
  }
  std::stable_sort(ranking.begin(), ranking.end(), [](const auto& a, const auto& b) {
    const bool aIsMain = a.second->GetRole() == Role::kMain, bIsMain = b.second->GetRole() == Role::kMain;
    return a.first != b.first ? a.first < b.first : aIsMain && !bIsMain;
  });
  std::vector<std::string> names;
  for (const auto& [distance, parameter] : ranking) {
    if (names.size() < count) names.push_back(parameter->UniqueName());
  }
  return names;
}

void ParameterTable::Check(const HostedProcessor& processor) const {
  if (processor.ParameterCount() != parameters.size()) {
    throw HostError(Format("The processor library has {} parameters where {} are known.",
                           processor.ParameterCount(), parameters.size()));
  }
  for (const Parameter& parameter : parameters) {
    if (const std::string name = processor.ParameterName(parameter.Index()); name != parameter.Name()) {
      throw HostError(Format("Parameter {} of the processor library is called \"{}\" where \"{}\" is known.",
                             parameter.Index(), name, parameter.Name()));
    }
  }
}

namespace {

class Effect final : public KnobSet {
 public:
  std::string_view Kind() const override { return {}; }
  uint32_t Count() const override { return static_cast<uint32_t>(table.Size()); }
  const Knob& KnobAt(uint32_t index) const override { return table[index]; }
  bool Has(std::string_view name) const override { return table.Find(name) != nullptr; }
  uint32_t IndexOf(std::string_view name) const override { return table.At(name).Index(); }
  bool IsStored(uint32_t index) const override { return table[index].IsInPresets(); }
  bool CanMove(uint32_t index) const override {
    // Of the commands a song may need one: what rings on, cut at a place of its own.
    return table[index].IsAutomatable() || table[index].Name() == "Panic";
  }

 private:
  const ParameterTable& table = ParameterTable::Get();
};

}  // namespace

const KnobSet& EffectKnobs() {
  static const Effect knobs;
  return knobs;
}

}  // namespace Vantora::host
