#include "cli/offline/Normalize.h"

#include <fmt/format.h>

#include <cmath>
#include <string_view>

#include "cli/Failure.h"
#include "cli/Numbers.h"
#include "cli/audio/LoudnessMeter.h"

namespace Vantora::cli {

NormalizeTarget NormalizeTarget::Parse(const std::string& text, const std::string& option) {
  NormalizeTarget target;
  std::string number = text;
  const auto strip = [&number](std::string_view unit) {
    if (!number.ends_with(unit)) return false;
    number.resize(number.size() - unit.size());
    while (number.ends_with(' ')) number.pop_back();
    return true;
  };
  target.isLoudness = strip("LUFS") || strip("lufs");
  target.isTruePeak = !target.isLoudness && (strip("dBTP") || strip("dbtp"));
  if (!target.isLoudness && !target.isTruePeak)
    static_cast<void>(strip("dBFS") || strip("dB") || strip("db"));
  target.level = ParseNumber(option, number);
  if (target.level > 0.0 || target.level < -100.0) {
    throw UsageError(fmt::format("{}: '{}' lies outside -100 to 0", option, text));
  }
  return target;
}

float NormalizeTarget::Gain(const LoudnessMeter& measured, bool* heldByPeak, bool isLimited) const {
  *heldByPeak = false;
  const double peak = isTruePeak ? measured.TruePeakDb() : measured.PeakDb();
  const double from = isLoudness ? measured.IntegratedLufs() : peak;
  if (!std::isfinite(from)) return 1.0f;
  double decibels = level - from;
  if (isLoudness && !isLimited && peak + decibels > 0.0) {
    decibels = -peak;
    *heldByPeak = true;
  }
  return static_cast<float>(std::pow(10.0, decibels / 20.0));
}

}  // namespace Vantora::cli
