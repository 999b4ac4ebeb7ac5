#include "offline/ModuleKnobs.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <numeric>
#include <optional>
#include <utility>

#include "host/DecimalNumber.h"
#include "host/HostError.h"

namespace Vantora::offline {
namespace {

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
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

ModuleKnobs::ModuleKnobs(std::vector<dsp::ParamRecord> itsRecords, std::vector<KnobNote> itsNotes)
    : records(std::move(itsRecords)), notes(std::move(itsNotes)) {
  notes.resize(records.size());
}

size_t ModuleKnobs::Find(std::string_view name) const {
  size_t nearest = 0, least = SIZE_MAX;
  for (size_t i = 0; i < records.size(); ++i) {
    const size_t distance = Distance(Lower(name), Lower(Name(i)));
    if (distance == 0) return i;
    if (distance < least) {
      least = distance;
      nearest = i;
    }
  }
  throw host::HostError(fmt::format("There is no parameter \"{}\"; the nearest is {}.", name, Name(nearest)));
}

float ModuleKnobs::Start(size_t index) const {
  dsp::ParamRecord record = records[index];
  return record.GetValue();
}

std::string ModuleKnobs::ValueText(size_t index, float value) const {
  const std::string unit = notes[index].unit;
  const auto& labels = notes[index].labels;
  const auto label = static_cast<size_t>(std::lround(value - Minimum(index)));
  if (!labels.empty() && label < labels.size()) return labels[label];
  return fmt::format("{:.4g}{}{}", value, unit.empty() ? "" : " ", unit);
}

std::string ModuleKnobs::RangeText(size_t index) const {
  if (!notes[index].labels.empty()) return fmt::format("{}", fmt::join(notes[index].labels, ", "));
  return fmt::format("{} to {}", ValueText(index, Minimum(index)), ValueText(index, Maximum(index)));
}

ModuleKnobs::Number ModuleKnobs::Read(size_t index, std::string_view text) const {
  const dsp::ParamRecord& record = records[index];
  const KnobNote& note = notes[index];
  const auto fail = [&] {
    return host::HostError(fmt::format("{} takes {}, not \"{}\".", Name(index), RangeText(index), text));
  };
  std::string number = Lower(text);
  for (size_t i = 0; i < note.labels.size(); ++i) {
    if (Lower(note.labels[i]) == number) {
      return {static_cast<double>(record.GetMinimum() + static_cast<float>(i)), false};
    }
  }
  const bool isPosition = number.starts_with("norm:");
  if (isPosition) number.erase(0, 5);
  double factor = 1.0;
  for (const Suffix& suffix : kSuffixes) {
    if (isPosition || !number.ends_with(suffix.text) || std::string_view(suffix.unit) != note.unit) continue;
    number.resize(number.size() - std::string_view(suffix.text).size());
    while (number.ends_with(' ')) number.pop_back();
    factor = suffix.factor;
    break;
  }
  if (number.starts_with('+')) number.erase(0, 1);
  const std::optional<host::DecimalNumber> decimal = host::ReadDecimal(number);
  if (!decimal || decimal->length != number.size() || !std::isfinite(decimal->value)) throw fail();
  const double value = decimal->value * factor;
  if (isPosition) {
    if (value < 0.0 || value > 1.0) throw fail();
    return {value, true};
  }
  const double slack = 1e-5 * (std::abs(static_cast<double>(record.GetMaximum())) + 1.0);
  if (value < static_cast<double>(record.GetMinimum()) - slack ||
      value > static_cast<double>(record.GetMaximum()) + slack) {
    throw fail();
  }
  return {value, false};
}

float ModuleKnobs::Parse(size_t index, std::string_view text) const {
  const Number number = Read(index, text);
  const auto value = static_cast<float>(number.value);
  return number.isPosition ? records[index].ToValue(value)
                           : std::clamp(value, Minimum(index), Maximum(index));
}

void ModuleKnobs::Set(dsp::Module& module, std::string_view name, std::string_view text) const {
  const size_t index = Find(name);
  const Number number = Read(index, text);
  const auto value = static_cast<float>(number.value);
  module.SetParam(static_cast<uint32_t>(index),
                  number.isPosition ? value : std::clamp(records[index].ToNormalized(value), 0.0f, 1.0f));
}

}  // namespace Vantora::offline
