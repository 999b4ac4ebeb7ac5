#include "host/Automation.h"

#include <algorithm>
#include <fstream>
#include <map>

#include "host/CsvReader.h"
#include "host/HostError.h"
#include "host/ParameterTable.h"

namespace Vantora::host {

TimeUnit Automation::ParseUnit(std::string_view text) {
  if (text == "seconds") return TimeUnit::kSeconds;
  if (text == "frames") return TimeUnit::kFrames;
  if (text == "beats") return TimeUnit::kBeats;
  throw HostError("Times are counted in seconds, frames or beats, not in \"" + std::string(text) + "\".");
}

Automation Automation::Read(const std::filesystem::path& path, TimeUnit defaultUnit, bool rampsByDefault) {
  std::ifstream file(path);
  if (!file) throw HostError("The automation \"" + path.string() + "\" can't be opened.");
  return Read(file, path.string(), defaultUnit, rampsByDefault);
}

Automation Automation::Read(std::istream& stream, const std::string& name, TimeUnit defaultUnit,
                            bool rampsByDefault) {
  CsvReader reader(stream, name);
  Automation automation;
  automation.unit = defaultUnit;
  std::map<uint32_t, std::vector<Point>> points;
  bool isFirst = true;
  for (std::vector<std::string> fields; reader.Next(fields); isFirst = false) {
    if (fields.size() != 3 && fields.size() != 4) {
      throw HostError(reader.Place() +
                      "a row has a time, a parameter and a value, and perhaps \"step\" or \"ramp\".");
    }
    try {
      if (isFirst && fields[1] == "parameter") {
        if (fields[0] != "time") automation.unit = ParseUnit(fields[0]);
        continue;
      }
      const double time = reader.Number(fields[0], "the time");
      if (time < 0.0) throw HostError("a time can't be negative.");
      const Parameter& parameter = ParameterTable::Get().At(fields[1]);
      if (!parameter.IsAutomatable()) throw HostError(parameter.UniqueName() + " can't be automated.");
      bool isRamp = rampsByDefault;
      if (fields.size() == 4) {
        if (fields[3] != "step" && fields[3] != "ramp" && !fields[3].empty()) {
          throw HostError("\"" + fields[3] + "\" is neither \"step\" nor \"ramp\".");
        }
        if (!fields[3].empty()) isRamp = fields[3] == "ramp";
      }
      points[parameter.Index()].push_back(
          {time, parameter.Parse(fields[2]), isRamp && !parameter.IsStepped()});
    } catch (const HostError& error) {
      const std::string_view message = error.what();
      if (message.starts_with(name)) throw;
      throw HostError(reader.Place() + std::string(message));
    }
  }
  for (auto& [index, track] : points) {
    std::stable_sort(track.begin(), track.end(),
                     [](const Point& a, const Point& b) { return a.time < b.time; });
    automation.tracks.push_back({index, std::move(track)});
  }
  return automation;
}

AutomationPlayer::AutomationPlayer(const Automation& automation, const TempoMap& tempoMap, double rate,
                                   uint64_t start)
    : tempo(tempoMap), sampleRate(rate), startFrame(start) {
  for (const Automation::Track& source : automation.Tracks()) {
    Track track{source.index, {}};
    for (const Automation::Point& point : source.points) {
      double frame = point.time;
      if (automation.Unit() == TimeUnit::kBeats) frame = tempo.SecondsAt(frame);
      if (automation.Unit() != TimeUnit::kFrames) frame *= sampleRate;
      track.points.push_back({frame, point.normalized, point.isRamp});
    }
    tracks.push_back(std::move(track));
  }
}

void AutomationPlayer::BeforeBlock(HostedProcessor& processor, uint64_t position, uint32_t count) {
  const auto begin = static_cast<double>(startFrame + position);
  const double end = begin + count;
  Transport& transport = processor.GetTransport();
  transport.tempo = tempo.BpmAt(begin / sampleRate);
  transport.songPosition = tempo.BeatsAt(begin / sampleRate);

  for (Track& track : tracks) {
    while (track.next < track.points.size() && track.points[track.next].frame < end) ++track.next;
    if (track.next == 0) continue;
    const Point& from = track.points[track.next - 1];
    float value = from.normalized;
    if (track.next < track.points.size() && track.points[track.next].isRamp && from.frame < begin) {
      const Point& to = track.points[track.next];
      const double travelled = (begin - from.frame) / (to.frame - from.frame);
      value += static_cast<float>(travelled * static_cast<double>(to.normalized - from.normalized));
    }
    if (value == track.written) continue;
    processor.Set(track.index, value);
    track.written = value;
  }
}

}  // namespace Vantora::host
