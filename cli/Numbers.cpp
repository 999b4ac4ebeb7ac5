#include "cli/Numbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "cli/Failure.h"

namespace Vantora::cli {

double ParseNumber(const std::string& option, const std::string& text) {
  double value = 0.0;
  const char* const end = text.data() + text.size();
  const char* const begin = text.starts_with('+') ? text.data() + 1 : text.data();
  const auto [stop, error] = std::from_chars(begin, end, value);
  if (error != std::errc{} || stop != end || !std::isfinite(value)) {
    throw UsageError(fmt::format("{}: '{}' isn't a number", option, text));
  }
  return value;
}

double ParseSeconds(const std::string& option, const std::string& text) {
  if (text.ends_with("ms")) {
    const double milliseconds = ParseNumber(option, text.substr(0, text.size() - 2));
    if (milliseconds < 0.0) throw UsageError(fmt::format("{}: '{}' is below 0 seconds", option, text));
    return ParseSeconds(option, fmt::format("{}", milliseconds * 0.001));
  }
  if (text.size() > 1 && text.ends_with('s')) return ParseSeconds(option, text.substr(0, text.size() - 1));
  if (std::count(text.begin(), text.end(), ':') > 2) {
    throw UsageError(fmt::format("{}: '{}' has more than hours, minutes and seconds", option, text));
  }
  double seconds = 0.0;
  for (size_t at = 0; at <= text.size();) {
    const size_t colon = std::min(text.find(':', at), text.size());
    const double part = ParseNumber(option, text.substr(at, colon - at));
    if (part < 0.0) throw UsageError(fmt::format("{}: '{}' is below 0 seconds", option, text));
    seconds = seconds * 60.0 + part;
    at = colon + 1;
  }
  if (seconds > 1e7) throw UsageError(fmt::format("{}: '{}' is longer than any file", option, text));
  return seconds;
}

uint32_t ParseSeed(const std::string& option, const std::string& text) {
  uint32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc{} || stop != end) {
    throw UsageError(fmt::format("{}: '{}' isn't a whole number from 0 to 4294967295", option, text));
  }
  return value;
}

std::string DurationText(double seconds) {
  if (seconds < 60.0) return fmt::format("{:.2f} s", seconds);
  const auto whole = static_cast<long>(std::llround(seconds));
  if (whole < 3600) return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  return fmt::format("{} h {:02} min {:02} s", whole / 3600, whole / 60 % 60, whole % 60);
}

}  // namespace Vantora::cli
