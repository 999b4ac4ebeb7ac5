#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "host/BlockCollector.h"
#include "host/KnobSet.h"
#include "host/TempoMap.h"

namespace Vantora::host {

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
  /// out of range. Indices are those of `knobs`.
  Automation(TimeUnit unit, std::vector<Track> tracks, const KnobSet& knobs = EffectKnobs());

  /// "seconds", "frames" or "beats". Throws `HostError` for anything else.
  static TimeUnit ParseUnit(std::string_view text);

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

  /// The values alone, for a module that isn't a processor: calls `set(index, normalized)` for what changes
  /// in the block of `count` samples from `position` on. Blocks come in their order.
  template <typename Set>
  void Move(uint64_t position, uint32_t count, Set&& set) {
    const auto begin = static_cast<double>(startFrame + position);
    for (Track& track : tracks) {
      if (const float value = track.ValueAt(begin, begin + count); value != track.written) {
        set(track.index, value);
        track.written = value;
      }
    }
  }

 private:
  static constexpr float kNone = -1.0f;
  struct Point {
    double frame;
    float normalized;
    bool isRamp;
  };
  struct Track {
    uint32_t index;
    std::vector<Point> points;
    size_t next = 0;        // first point that hasn't been reached
    float written = kNone;  // last value written

    /// In the block of these frames; kNone before the first point.
    float ValueAt(double begin, double end);
  };

  std::vector<Track> tracks;
  TempoMap tempo;
  double sampleRate;
  uint64_t startFrame;
};

}  // namespace Vantora::host
