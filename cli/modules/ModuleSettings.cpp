#include "cli/modules/ModuleSettings.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <numeric>

#include "cli/Assignment.h"
#include "cli/Failure.h"
#include "cli/Numbers.h"

namespace Vantora::cli {
namespace {

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

/// Least number of letters to put in, leave out or exchange (Levenshtein).
size_t Distance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t exchange = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({exchange, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row.back();
}

struct Suffix {
  const char* text;
  const char* unit;
  double factor;
};
constexpr Suffix kSuffixes[] = {{"khz", "Hz", 1000.0}, {"hz", "Hz", 1.0},  {"db", "dB", 1.0},
                                {"ms", "ms", 1.0},     {"ms", "s", 0.001}, {"s", "s", 1.0},
                                {"s", "ms", 1000.0},   {"%", "", 0.01}};

}  // namespace

ModuleSettings::ModuleSettings(dsp::Module& target, std::vector<dsp::ParamRecord*> itsRecords,
                               std::vector<ModuleKnob> itsKnobs)
    : module(target), records(std::move(itsRecords)), knobs(std::move(itsKnobs)) {
  knobs.resize(records.size());
}

size_t ModuleSettings::Find(const std::string& name) const {
  size_t nearest = 0, least = SIZE_MAX;
  for (size_t i = 0; i < records.size(); ++i) {
    const size_t distance = Distance(Lower(name), Lower(records[i]->GetName()));
    if (distance == 0) return i;
    if (distance < least) {
      least = distance;
      nearest = i;
    }
  }
  throw UsageError(
      fmt::format("there is no parameter '{}'; the nearest is {}", name, records[nearest]->GetName()));
}

std::string ModuleSettings::ValueText(size_t index, float value) const {
  const std::string unit = knobs[index].unit;
  const auto& labels = knobs[index].labels;
  const auto label = static_cast<size_t>(std::lround(value - records[index]->GetMinimum()));
  if (!labels.empty() && label < labels.size()) return labels[label];
  return fmt::format("{:.4g}{}{}", value, unit.empty() ? "" : " ", unit);
}

std::string ModuleSettings::RangeText(size_t index) const {
  if (!knobs[index].labels.empty()) return fmt::format("{}", fmt::join(knobs[index].labels, ", "));
  return fmt::format("{} to {}", ValueText(index, records[index]->GetMinimum()),
                     ValueText(index, records[index]->GetMaximum()));
}

float ModuleSettings::ParseNormalized(size_t index, const std::string& text) const {
  const dsp::ParamRecord& record = *records[index];
  const ModuleKnob& knob = knobs[index];
  const auto fail = [&] {
    return UsageError(fmt::format("{} takes {}, not '{}'", record.GetName(), RangeText(index), text));
  };
  std::string number = Lower(text);
  for (size_t i = 0; i < knob.labels.size(); ++i) {
    if (Lower(knob.labels[i]) == number)
      return record.ToNormalized(record.GetMinimum() + static_cast<float>(i));
  }
  const bool isPosition = number.starts_with("norm:");
  if (isPosition) number.erase(0, 5);
  double factor = 1.0;
  for (const Suffix& suffix : kSuffixes) {
    if (isPosition || !number.ends_with(suffix.text) || std::string(suffix.unit) != knob.unit) continue;
    number.resize(number.size() - std::string(suffix.text).size());
    while (number.ends_with(' ')) number.pop_back();
    factor = suffix.factor;
    break;
  }
  double value = 0.0;
  try {
    value = ParseNumber(record.GetName(), number) * factor;
  } catch (const UsageError&) {
    throw fail();
  }
  if (isPosition) {
    if (value < 0.0 || value > 1.0) throw fail();
    return static_cast<float>(value);
  }
  const double slack = 1e-5 * (std::abs(static_cast<double>(record.GetMaximum())) + 1.0);
  if (value < static_cast<double>(record.GetMinimum()) - slack ||
      value > static_cast<double>(record.GetMaximum()) + slack) {
    throw fail();
  }
  return std::clamp(record.ToNormalized(static_cast<float>(value)), 0.0f, 1.0f);
}

void ModuleSettings::Set(const std::string& text) {
  const Assignment assignment = Assignment::Parse(text);
  const size_t index = Find(assignment.name);
  module.SetParam(static_cast<uint32_t>(index), ParseNormalized(index, assignment.value));
}

void ModuleSettings::SetAll(const std::vector<std::string>& assignments) {
  for (const std::string& assignment : assignments) Set(assignment);
}

void ModuleSettings::Print() const {
  for (size_t i = 0; i < records.size(); ++i) {
    fmt::print("{:<26}{:<12}{:<28}{}\n", records[i]->GetName(), ValueText(i, records[i]->GetValue()),
               RangeText(i), knobs[i].use);
  }
}

}  // namespace Vantora::cli
