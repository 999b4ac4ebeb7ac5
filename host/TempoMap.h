#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace Vantora::host {

/// TempoMap: the tempo over the length of a stream, in steps. Time 0 is beat 0; a beat is a quarter note.
class TempoMap {
 public:
  static constexpr double kLowest = 1.0, kHighest = 1000.0;  ///< beats per minute

  /// One tempo throughout. Throws `HostError` outside `kLowest` to `kHighest`.
  explicit TempoMap(double beatsPerMinute = 120.0);

  /// Rows of `seconds,bpm` or `beats,bpm`; the first line may name the columns, and then says which of the
  /// two the times are; otherwise they are seconds. The first tempo holds from the beginning. Throws
  /// `HostError` for a file that can't be read, has no rows, or whose times don't rise.
  static TempoMap Read(const std::filesystem::path& path);
  static TempoMap Read(std::istream& stream, const std::string& name);

  double BpmAt(double seconds) const;
  double BeatsAt(double seconds) const;  ///< quarter notes since the beginning
  double SecondsAt(double beats) const;  ///< the inverse of `BeatsAt`

 private:
  struct Step {
    double seconds, beats, bpm;  // from here on
  };
  void Append(double time, bool isBeats, double bpm, const std::string& place);

  std::vector<Step> steps;  // never empty; the first stands at 0
};

}  // namespace Vantora::host
