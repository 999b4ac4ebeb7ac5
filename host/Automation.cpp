#include "host/Automation.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/HostError.h"
#include "host/ParameterTable.h"

namespace Vantora::host {

TimeUnit Automation::ParseUnit(std::string_view text) {
  if (text == "seconds") return TimeUnit::kSeconds;
  if (text == "frames") return TimeUnit::kFrames;
  if (text == "beats") return TimeUnit::kBeats;
  throw HostError("Times are counted in seconds, frames or beats, not in \"" + std::string(text) + "\".");
}

bool Automation::Takes(const Parameter& parameter) {
  // Of the commands a song may need one: what rings on, cut at a place of its own.
  return parameter.IsAutomatable() || parameter.Name() == "Panic";
}

Automation::Automation(TimeUnit timeUnit, std::vector<Track> given)
    : unit(timeUnit), tracks(std::move(given)) {
  std::sort(tracks.begin(), tracks.end(), [](const Track& a, const Track& b) { return a.index < b.index; });
  const ParameterTable& table = ParameterTable::Get();
  for (Track& track : tracks) {
    if (track.index >= table.Size()) {
      throw HostError("There is no parameter number " + std::to_string(track.index) + '.');
    }
    const Parameter& parameter = table[track.index];
    if (!Takes(parameter)) throw HostError(parameter.UniqueName() + " can't be automated.");
    if (&track != tracks.data() && (&track)[-1].index == track.index) {
      throw HostError(parameter.UniqueName() + " has two tracks.");
    }
    for (Point& point : track.points) {
      if (!(point.time >= 0.0) || !std::isfinite(point.time)) {
        throw HostError("The times of " + parameter.UniqueName() + " must be numbers from 0 on.");
      }
      if (!(point.normalized >= 0.0f && point.normalized <= 1.0f)) {
        throw HostError("The positions of " + parameter.UniqueName() + " lie from 0 to 1.");
      }
      if (parameter.IsStepped()) point.isRamp = false;
    }
    std::stable_sort(track.points.begin(), track.points.end(),
                     [](const Point& a, const Point& b) { return a.time < b.time; });
  }
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
