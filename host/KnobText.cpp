// The texts of `Knob`: values as people write and read them.

#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>

#include "host/DecimalNumber.h"
#include "host/Format.h"
#include "host/HostError.h"
#include "host/Knob.h"

namespace Vantora::host {
namespace {

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r\n";
  const size_t first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

/// Lower case, letters, digits and "/" only: "Band Pass" and "band-pass" are the same name.
std::string Key(std::string_view text) {
  std::string key;
  for (const char c : text) {
    const auto letter = static_cast<unsigned char>(c);
    if (std::isalnum(letter) != 0 || c == '/') key += static_cast<char>(std::tolower(letter));
  }
  return key;
}

/// Other ways to write a note length: "4 bars" for "4/1",
/// "1/4T" and "1/4D" (or "1/4.") for triplet and dotted.
std::string NoteLengthKey(std::string_view text) {
  std::string key = Key(text);
  for (const std::string_view bars : {"bars", "bar"}) {
    if (const size_t at = key.find(bars); at != std::string::npos) key.replace(at, bars.size(), "/1");
  }
  if (key.ends_with("/1t") || (key.ends_with('t') && !key.ends_with("triplet")))
    key.replace(key.size() - 1, 1, "triplet");
  if (key.ends_with('d') && !key.ends_with("dotted")) key.replace(key.size() - 1, 1, "dotted");
  if (text.ends_with('.')) key += "dotted";
  return key;
}

/// How many of `unit` one of the written suffix is; nothing
/// for a suffix that doesn't fit. No suffix is the unit.
std::optional<double> Scale(Unit unit, std::string_view suffix) {
  struct Spelling {
    Unit unit;
    std::string_view suffix;
    double scale;
  };
  static constexpr Spelling kSpellings[] = {
      {Unit::kHertz, "hz", 1.0},
      {Unit::kHertz, "khz", 1e3},
      {Unit::kHertz, "k", 1e3},
      {Unit::kDecibels, "db", 1.0},
      {Unit::kMilliseconds, "ms", 1.0},
      {Unit::kMilliseconds, "s", 1e3},
      {Unit::kMilliseconds, "us", 1e-3},
      {Unit::kSeconds, "s", 1.0},
      {Unit::kSeconds, "ms", 1e-3},
      {Unit::kPercent, "%", 1.0},
      {Unit::kRatio, "%", 1e-2},
      {Unit::kDegrees, "deg", 1.0},
      {Unit::kDegrees, "\u00b0", 1.0},
      {Unit::kSemitones, "st", 1.0},
      {Unit::kSemitones, "semitones", 1.0},
      {Unit::kSemitones, "semitone", 1.0},
      {Unit::kBits, "bits", 1.0},
      {Unit::kBits, "bit", 1.0},
      {Unit::kTimes, "x", 1.0},
  };
  if (suffix.empty()) return 1.0;
  std::string lower(suffix);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (const Spelling& spelling : kSpellings) {
    if (spelling.unit == unit && spelling.suffix == lower) return spelling.scale;
  }
  return std::nullopt;
}

/// A number with `digits` significant ones, never in exponent form, without trailing zeros.
std::string NumberText(double value, int digits) {
  const double magnitude = std::abs(value);
  const int whole = magnitude > 0.0 ? static_cast<int>(std::floor(std::log10(magnitude))) + 1 : 1;
  std::string text = Format("{:.{}f}", value, std::clamp(digits - whole, 0, 12));
  if (text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
  }
  return text == "-0" ? "0" : text;
}

std::string ValueText(double value, Unit unit, int digits) {
  // Decided on the rounded value, so that 999.99 Hz reads "1 kHz" and not "1000 Hz".
  const bool isThousand = std::abs(value) >= 1000.0 - 0.5 * std::pow(10.0, 3 - digits);
  if (unit == Unit::kHertz && isThousand) return NumberText(value * 1e-3, digits) + " kHz";
  if (unit == Unit::kMilliseconds && isThousand) return NumberText(value * 1e-3, digits) + " s";
  const std::string number = NumberText(value, digits);
  const std::string_view name = UnitName(unit);
  if (name.empty()) return number;
  return number + (unit == Unit::kPercent || unit == Unit::kTimes ? "" : " ") + std::string(name);
}

/// Reads a decimal number and cuts it off; nothing when there is none or it isn't finite.
std::optional<double> CutNumber(std::string_view& text) {
  std::string_view rest = text;
  if (rest.starts_with('+')) rest.remove_prefix(1);
  const std::optional<DecimalNumber> number = ReadDecimal(rest);
  if (!number || !std::isfinite(number->value)) return std::nullopt;
  text = Trimmed(rest.substr(number->length));
  return number->value;
}

constexpr int kDisplayDigits = 4;
constexpr int kMostDigits = 9;  // of a float

std::string PositionText(float normalized) { return Format("norm:{}", normalized); }

/// Hertz of a note: a letter, "#" or "b" for a half tone up or down, and the octave: "A4" is 440 Hz, "c#-1"
/// the second key of MIDI. Equal temperament. Nothing for any other text.
std::optional<double> NoteFrequency(std::string_view text) {
  constexpr std::string_view kLetters = "c d ef g a b";  // by half tones above C
  if (text.size() < 2) return std::nullopt;
  const size_t letter = kLetters.find(static_cast<char>(std::tolower(static_cast<unsigned char>(text[0]))));
  if (letter == std::string_view::npos || text[0] == ' ') return std::nullopt;
  text.remove_prefix(1);
  int step = static_cast<int>(letter);
  if (text[0] == '#' || text[0] == 'b') {
    step += text[0] == '#' ? 1 : -1;
    text.remove_prefix(1);
  }
  const bool isBelow = text.starts_with('-');
  if (isBelow) text.remove_prefix(1);
  if (text.size() != 1 || text[0] < '0' || text[0] > '9') return std::nullopt;
  const int octave = (text[0] - '0') * (isBelow ? -1 : 1);
  return 440.0 * std::exp2((12 * (octave - 4) + step - 9) / 12.0);
}

}  // namespace

uint32_t Knob::ChoiceAt(float normalized) const {
  if (row.range.kind == MappingTools::Stepped) {
    return static_cast<uint32_t>(std::lround(ToValue(normalized) - row.range.min));
  }
  return normalized > 0.5f || (row.range.onAtHalf && normalized == 0.5f) ? 1 : 0;
}

std::string Knob::Text(float normalized) const {
  if (IsStepped()) {
    const uint32_t choice = ChoiceAt(normalized);
    return choice < labels.size() ? labels[choice]
                                  : Format("{}", std::lround(row.range.min) + static_cast<long>(choice));
  }
  float value = ToValue(normalized);
  // What rounding left of a zero within a range, such as 6e-8 dB.
  if (std::abs(value) < 1e-7f * (row.range.max - row.range.min)) value = 0.0f;
  return ValueText(static_cast<double>(value), row.unit, kDisplayDigits);
}

std::optional<float> Knob::ReadBack(std::string_view text) const {
  const std::optional<double> number = CutNumber(text);
  const std::optional<double> scale = number ? Scale(row.unit, text) : std::nullopt;
  if (!scale || !Accepts(*number * *scale)) return std::nullopt;
  return ToNormalized(static_cast<float>(*number * *scale));
}

std::string Knob::ExactText(float normalized) const {
  const float position = std::clamp(normalized, 0.0f, 1.0f);
  if (IsStepped()) {
    const float value = row.range.min + static_cast<float>(ChoiceAt(position));
    return ToNormalized(value) == position ? Text(position) : PositionText(position);
  }
  const auto value = static_cast<double>(ToValue(position));
  for (int digits = kDisplayDigits; digits <= kMostDigits; ++digits) {
    std::string text = ValueText(value, row.unit, digits);
    if (ReadBack(text) == position) return text;
  }
  return PositionText(position);
}

double Knob::ExactValue(float normalized) const {
  const float position = std::clamp(normalized, 0.0f, 1.0f);
  const float value = ToValue(position);
  for (int digits = 1; digits <= kMostDigits; ++digits) {
    const std::string text = Format("{:.{}g}", value, digits);
    const double number = ReadDecimal(text)->value;
    if (Accepts(number) && ToNormalized(static_cast<float>(number)) == position) return number;
  }
  return ReadDecimal(Format("{}", value))->value;
}

std::string Knob::RangeText() const {
  std::string choices;
  for (const std::string& label : Labels()) choices += (choices.empty() ? "" : ", ") + label;
  if (!choices.empty()) return choices;
  return ValueText(static_cast<double>(row.range.min), row.unit, kDisplayDigits) + " to " +
         ValueText(static_cast<double>(row.range.max), row.unit, kDisplayDigits);
}

Knob::Reading Knob::Read(std::string_view written) const {
  std::string_view text = Trimmed(written);
  const auto refuse = [&](const std::string& because) {
    return HostError(Format("{} takes {}; \"{}\" {}.", fullName, RangeText(), Trimmed(written), because));
  };
  if (text.empty()) throw HostError(Format("{} needs a value: it takes {}.", fullName, RangeText()));

  if (text.starts_with("norm:")) {
    text.remove_prefix(5);
    const auto position = CutNumber(text);
    if (!position || !text.empty() || *position < 0.0 || *position > 1.0) {
      throw refuse("is not a position from norm:0 to norm:1");
    }
    return {*position, true};
  }

  for (size_t step = 0; step < labels.size(); ++step) {
    const std::string key = Key(labels[step]);
    if (key == Key(text) || (key.find('/') != std::string::npos && key == NoteLengthKey(text))) {
      return {static_cast<double>(row.range.min + static_cast<float>(step)), false};
    }
  }

  if (const auto hertz = row.unit == Unit::kHertz ? NoteFrequency(text) : std::nullopt) {
    if (!Accepts(*hertz)) throw refuse("is outside");
    return {*hertz, false};
  }
  const auto number = CutNumber(text);
  if (!number) throw refuse(Labels().empty() ? "is not a number" : "is none of these");
  const auto scale = Scale(row.unit, text);
  if (!scale) {
    throw refuse(row.unit == Unit::kNone
                     ? "has a unit where there is none"
                     : Format("is not in {}", row.unit == Unit::kRatio ? "percent" : UnitName(row.unit)));
  }
  const double value = *number * *scale;
  if (!Accepts(value)) {
    const bool mustBeWhole = row.range.kind == MappingTools::Stepped;
    throw refuse(mustBeWhole && value != std::floor(value) ? "is not a whole number" : "is outside");
  }
  return {value, false};
}

float Knob::Parse(std::string_view text) const {
  const Reading reading = Read(text);
  return reading.isPosition ? static_cast<float>(reading.number) : ToNormalized(HeldValue(reading.number));
}

float Knob::ParseToValue(std::string_view text) const {
  const Reading reading = Read(text);
  if (reading.isPosition) return ToValue(static_cast<float>(reading.number));
  return std::clamp(HeldValue(reading.number), row.range.min, row.range.max);
}

bool Knob::Accepts(double value) const {
  const auto low = static_cast<double>(row.range.min), high = static_cast<double>(row.range.max);
  // A bound may be written with fewer digits than it has.
  const double slack = 1e-6 * std::max(high - low, 1e-3);
  const bool mustBeWhole = row.range.kind == MappingTools::Stepped;
  return value >= low - slack && value <= high + slack &&
         (!mustBeWhole || std::abs(value - std::round(value)) <= 1e-6);
}

float Knob::ParseValue(double value) const {
  if (!Accepts(value)) {
    throw HostError(Format("{} takes {}, not {}.", fullName, RangeText(), NumberText(value, kMostDigits)));
  }
  return ToNormalized(HeldValue(value));
}

float Knob::HeldValue(double value) const {
  return static_cast<float>(row.range.kind == MappingTools::Stepped ? std::round(value) : value);
}

}  // namespace Vantora::host
