#include "host/Automation.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/HostError.h"

namespace Vantora::host {

TimeUnit Automation::ParseUnit(std::string_view text) {
  if (text == "seconds") return TimeUnit::kSeconds;
  if (text == "frames") return TimeUnit::kFrames;
  if (text == "beats") return TimeUnit::kBeats;
  throw HostError("Times are counted in seconds, frames or beats, not in \"" + std::string(text) + "\".");
}

Automation::Automation(TimeUnit timeUnit, std::vector<Track> given, const KnobSet& knobs)
    : unit(timeUnit), tracks(std::move(given)) {
  std::sort(tracks.begin(), tracks.end(), [](const Track& a, const Track& b) { return a.index < b.index; });
  for (Track& track : tracks) {
    if (track.index >= knobs.Count()) {
      throw HostError("There is no parameter number " + std::to_string(track.index) + '.');
    }
    const Knob& knob = knobs.KnobAt(track.index);
    if (!knobs.CanMove(track.index)) throw HostError(knob.FullName() + " can't be automated.");
    if (&track != tracks.data() && (&track)[-1].index == track.index) {
      throw HostError(knob.FullName() + " has two tracks.");
    }
    for (Point& point : track.points) {
      if (!(point.time >= 0.0) || !std::isfinite(point.time)) {
        throw HostError("The times of " + knob.FullName() + " must be numbers from 0 on.");
      }
      if (!(point.normalized >= 0.0f && point.normalized <= 1.0f)) {
        throw HostError("The positions of " + knob.FullName() + " lie from 0 to 1.");
      }
      if (knob.IsStepped()) point.isRamp = false;
    }
    std::stable_sort(track.points.begin(), track.points.end(),
                     [](const Point& a, const Point& b) { return a.time < b.time; });
  }
}

AutomationPlayer::AutomationPlayer(const Automation& automation, const TempoMap& tempoMap, double rate,
                                   uint64_t start)
    : tempo(tempoMap), sampleRate(rate), startFrame(start) {
  for (const Automation::Track& source : automation.Tracks()) {
    Track track;
    track.index = source.index;
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
  Transport& transport = processor.GetTransport();
  transport.tempo = tempo.BpmAt(begin / sampleRate);
  transport.songPosition = tempo.BeatsAt(begin / sampleRate);

  Move(position, count, [&processor](uint32_t index, float value) { processor.Set(index, value); });
}

float AutomationPlayer::Track::ValueAt(double begin, double end) {
  while (next < points.size() && points[next].frame < end) ++next;
  if (next == 0) return kNone;
  const Point& from = points[next - 1];
  float value = from.normalized;
  if (next < points.size() && points[next].isRamp && from.frame < begin) {
    const Point& to = points[next];
    const double travelled = (begin - from.frame) / (to.frame - from.frame);
    value += static_cast<float>(travelled * static_cast<double>(to.normalized - from.normalized));
  }
  return value;
}

}  // namespace Vantora::host
