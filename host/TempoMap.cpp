#include "host/TempoMap.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>

#include "host/CsvReader.h"
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

TempoMap::TempoMap(double beatsPerMinute) { Append(0.0, false, beatsPerMinute, ""); }

void TempoMap::Append(double time, bool isBeats, double bpm, const std::string& place) {
  if (!(bpm >= kLowest) || !(bpm <= kHighest)) {
    throw HostError(fmt::format("{}A tempo lies from {} to {} beats per minute, not at {}.", place, kLowest,
                                kHighest, bpm));
  }
  if (time < 0.0) throw HostError(place + "A time can't be negative.");
  if (steps.empty()) {
    steps.push_back({0.0, 0.0, bpm});  // whatever its time: there is no other tempo before
    if (time == 0.0) return;
  }
  const double seconds = isBeats ? SecondsAt(time) : time;
  const Step& last = steps.back();
  if (seconds < last.seconds || (steps.size() > 1 && seconds == last.seconds)) {
    throw HostError(place + "The times of a tempo map must rise.");
  }
  if (seconds == last.seconds) {
    steps.back().bpm = bpm;
  } else {
    steps.push_back({seconds, BeatsAt(seconds), bpm});
  }
}

TempoMap TempoMap::Read(const std::filesystem::path& path) {
  std::ifstream file(path);
  if (!file) throw HostError("The tempo map \"" + path.string() + "\" can't be opened.");
  return Read(file, path.string());
}

TempoMap TempoMap::Read(std::istream& stream, const std::string& name) {
  CsvReader reader(stream, name);
  TempoMap map;
  map.steps.clear();
  bool isBeats = false, isFirst = true;
  for (std::vector<std::string> fields; reader.Next(fields); isFirst = false) {
    if (fields.size() != 2) throw HostError(reader.Place() + "a tempo map has two columns, time and tempo.");
    if (isFirst && (fields[1] == "bpm" || fields[1] == "tempo")) {
      if (fields[0] != "beats" && fields[0] != "seconds" && fields[0] != "time") {
        throw HostError(reader.Place() + "the times of a tempo map are \"seconds\" or \"beats\", not \"" +
                        fields[0] + "\".");
      }
      isBeats = fields[0] == "beats";
      continue;
    }
    map.Append(reader.Number(fields[0], "the time"), isBeats, reader.Number(fields[1], "the tempo"),
               reader.Place());
  }
  if (map.steps.empty()) throw HostError("The tempo map \"" + name + "\" is empty.");
  return map;
}

double TempoMap::BpmAt(double seconds) const { return StepAt(steps, seconds, &Step::seconds).bpm; }

double TempoMap::BeatsAt(double seconds) const {
  const Step& step = StepAt(steps, seconds, &Step::seconds);
  return step.beats + (seconds - step.seconds) * step.bpm / 60.0;
}

double TempoMap::SecondsAt(double beats) const {
  const Step& step = StepAt(steps, beats, &Step::beats);
  return step.seconds + (beats - step.beats) * 60.0 / step.bpm;
}

}  // namespace Vantora::host
