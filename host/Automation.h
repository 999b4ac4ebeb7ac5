#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "host/BlockCollector.h"
#include "host/TempoMap.h"

namespace Vantora::host {

/// What the times of an automation count.
enum class TimeUnit { kSeconds, kFrames, kBeats };

/// Automation: parameter values over time, as written in a CSV file of `time,parameter,value`.
///
///     seconds,parameter,value
///     0,FXType,comb
///     0,CombCutoff,200Hz
///     4.5,CombCutoff,2kHz,ramp
///
/// The first line may name the columns; its first name, "seconds", "frames" or "beats", then says what the
/// times count ("time" leaves it to the reader's default). A fourth column, "step" or "ramp", overrides the
/// default for its row. A ramp leads in a straight line of knob travel from the parameter's row before to
/// this one; a first row and a parameter with steps have nothing to lead from and jump. Rows may stand in any
/// order; of rows at the same time the later one counts.
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

  Automation() = default;

  /// Reads a file. Throws `HostError` with file and line for
  /// whatever isn't understood: automation is all or nothing.
  static Automation Read(const std::filesystem::path& path, TimeUnit defaultUnit = TimeUnit::kSeconds,
                         bool rampsByDefault = false);
  static Automation Read(std::istream& stream, const std::string& name,
                         TimeUnit defaultUnit = TimeUnit::kSeconds, bool rampsByDefault = false);

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
