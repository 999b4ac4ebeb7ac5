#include "cli/audio/LoudnessMeter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace Vantora::cli {

void LoudnessMeter::Destroy::operator()(ebur128_state* meter) const { ebur128_destroy(&meter); }

LoudnessMeter::LoudnessMeter(int rate, int channelCount, bool truePeak)
    : state(ebur128_init(static_cast<unsigned>(channelCount), static_cast<unsigned long>(rate),
                         EBUR128_MODE_I | EBUR128_MODE_HISTOGRAM |
                             (truePeak ? EBUR128_MODE_TRUE_PEAK : EBUR128_MODE_SAMPLE_PEAK))),
      channels(static_cast<uint64_t>(channelCount)),
      measuresTruePeak(truePeak) {
  if (!state) throw std::bad_alloc();
}

LoudnessMeter::~LoudnessMeter() = default;
LoudnessMeter::LoudnessMeter(LoudnessMeter&&) noexcept = default;
LoudnessMeter& LoudnessMeter::operator=(LoudnessMeter&&) noexcept = default;

void LoudnessMeter::Add(const float* interleaved, uint64_t frames) {
  ebur128_add_frames_float(state.get(), interleaved, frames);
}

double LoudnessMeter::PeakDb() const { return HighestDb(ebur128_sample_peak); }

double LoudnessMeter::TruePeakDb() const {
  return HighestDb(measuresTruePeak ? ebur128_true_peak : ebur128_sample_peak);
}

double LoudnessMeter::HighestDb(int (*read)(ebur128_state*, unsigned, double*)) const {
  double highest = 0.0;
  for (uint64_t channel = 0; channel < channels; ++channel) {
    double peak = 0.0;
    if (read(state.get(), static_cast<unsigned>(channel), &peak) == EBUR128_SUCCESS) {
      highest = std::max(highest, peak);
    }
  }
  return highest > 0.0 ? 20.0 * std::log10(highest) : -std::numeric_limits<double>::infinity();
}

double LoudnessMeter::IntegratedLufs() const {
  double loudness = -std::numeric_limits<double>::infinity();
  ebur128_loudness_global(state.get(), &loudness);
  return loudness;
}

std::string DecibelText(double decibels) {
  if (!std::isfinite(decibels)) return "-inf";
  return fmt::format("{:.1f}", std::round(decibels * 10.0) / 10.0 + 0.0);  // + 0: no "-0.0"
}

}  // namespace Vantora::cli
