#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/BlockCollector.h"
#include "host/TempoMap.h"

namespace Vantora::host {

class Parameter;

/// What the times of an automation count.
enum class TimeUnit { kSeconds, kFrames, kBeats };

/// Automation: parameter values over time. host/files/AutomationFile.h reads one from a CSV file.
class Automation {
 public:
  struct Point {
    double time;       ///< in `unit`, 0 or more
    float normalized;  ///< 0 to 1
    bool isRamp;       ///< arrives here in a straight line
  };
  struct Track {
    uint32_t index;             ///< parameter
    std::vector<Point> points;  ///< in the order of their times
  };

  /// Nothing moves.
  Automation() = default;

  /// One track for each parameter that moves, in any order, its points in any order; of points at the same
  /// time the later one counts. A parameter with steps jumps where a ramp is asked for. Throws `HostError`
  /// for a parameter that there isn't, that can't be automated or has two tracks, and for times or positions
  /// out of range.
  Automation(TimeUnit unit, std::vector<Track> tracks);

  /// "seconds", "frames" or "beats". Throws `HostError` for anything else.
  static TimeUnit ParseUnit(std::string_view text);
  /// Whether a track may move it: what is offered to people, and "Panic".
  static bool Takes(const Parameter& parameter);

  TimeUnit Unit() const { return unit; }
  const std::vector<Track>& Tracks() const { return tracks; }  ///< by index
  bool IsEmpty() const { return tracks.empty(); }

 private:
  TimeUnit unit = TimeUnit::kSeconds;
  std::vector<Track> tracks;
};

/// AutomationPlayer: writes an automation's values and the tempo before each block of a stream. A step is
/// written at the block that holds its time, a ramp once a block with its value at the block's first sample;
/// nothing is written before a parameter's first point. Real-time safe after construction.
class AutomationPlayer final : public BlockListener {
 public:
  /// `startFrame` is where the stream's first sample lies on the automation's and the tempo map's time line:
  /// points before it are caught up with in the first block.
  AutomationPlayer(const Automation& automation, const TempoMap& tempo, double sampleRate,
                   uint64_t startFrame = 0);

  void BeforeBlock(HostedProcessor& processor, uint64_t position, uint32_t count) override;

 private:
  struct Point {
    double frame;
    float normalized;
    bool isRamp;
  };
  struct Track {
    uint32_t index;
    std::vector<Point> points;
    size_t next = 0;        // first point that hasn't been reached
    float written = -1.0f;  // last value written; none yet
  };

  std::vector<Track> tracks;
  TempoMap tempo;
  double sampleRate;
  uint64_t startFrame;
};

}  // namespace Vantora::host
