#include "host/TempoMap.h"

#include <algorithm>

#include "host/Format.h"
#include "host/HostError.h"

namespace Vantora::host {
namespace {

/// The last step at or before `at`; times before the beginning belong to the first.
template <typename Steps, typename Field>
const auto& StepAt(const Steps& steps, double at, Field field) {
  const auto next = std::upper_bound(steps.begin(), steps.end(), at,
                                     [field](double t, const auto& step) { return t < step.*field; });
  return next == steps.begin() ? *next : *(next - 1);
}

}  // namespace

TempoMap::TempoMap(double beatsPerMinute) { Append({0.0, beatsPerMinute}); }

TempoMap::TempoMap(const std::vector<Step>& steps) {
  if (steps.empty()) throw HostError("A tempo map needs at least one step.");
  for (const Step& step : steps) Append(step);
}

void TempoMap::Append(const Step& step) {
  if (!(step.bpm >= kLowest) || !(step.bpm <= kHighest)) {
    throw HostError(
        Format("A tempo lies from {} to {} beats per minute, not at {}.", kLowest, kHighest, step.bpm));
  }
  if (!(step.time >= 0.0)) throw HostError("A time can't be negative.");
  if (segments.empty()) {
    segments.push_back({0.0, 0.0, step.bpm});  // whatever its time: there is no other tempo before
    if (step.time == 0.0) return;
  }
  const double seconds = step.isInBeats ? SecondsAt(step.time) : step.time;
  if (seconds <= segments.back().seconds) {
    throw HostError(Format("The times of a tempo map must rise, and {}{} doesn't lie behind the time before.",
                           step.time, step.isInBeats ? " beats" : " s"));
  }
  segments.push_back({seconds, BeatsAt(seconds), step.bpm});
}

double TempoMap::BpmAt(double seconds) const { return StepAt(segments, seconds, &Segment::seconds).bpm; }

double TempoMap::BeatsAt(double seconds) const {
  const Segment& step = StepAt(segments, seconds, &Segment::seconds);
  return step.beats + (seconds - step.seconds) * step.bpm / 60.0;
}

double TempoMap::SecondsAt(double beats) const {
  const Segment& step = StepAt(segments, beats, &Segment::beats);
  return step.seconds + (beats - step.beats) * 60.0 / step.bpm;
}

}  // namespace Vantora::host
