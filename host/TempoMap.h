#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace Vantora::host {

/// TempoMap: the tempo over the length of a stream, in steps. Time 0 is beat 0; a beat is a quarter note.
/// host/files/TempoMapFile.h reads one from a CSV file.
class TempoMap {
 public:
  static constexpr double kLowest = 1.0, kHighest = 1000.0;  ///< beats per minute

  /// Step: from `time` on, the tempo is `bpm` beats per minute.
  struct Step {
    double time;             ///< seconds, or beats
    double bpm;              ///< `kLowest` to `kHighest`
    bool isInBeats = false;  ///< what `time` counts
  };

  /// One tempo throughout. Throws `HostError` outside `kLowest` to `kHighest`.
  explicit TempoMap(double beatsPerMinute = 120.0);
  /// Steps whose times rise; the first tempo holds from the beginning, whatever its time. Throws `HostError`
  /// when there is no step, a tempo is out of range, or a time is negative or doesn't rise.
  explicit TempoMap(const std::vector<Step>& steps);

  double BpmAt(double seconds) const;
  double BeatsAt(double seconds) const;  ///< quarter notes since the beginning
  double SecondsAt(double beats) const;  ///< the inverse of `BeatsAt`

 private:
  friend TempoMap ReadTempoMap(std::istream& stream, const std::string& name);

  struct Segment {
    double seconds, beats, bpm;  // from here on
  };
  void Append(const Step& step);

  std::vector<Segment> segments;  // never empty for others; the first stands at 0
};

}  // namespace Vantora::host
