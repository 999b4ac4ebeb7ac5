#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "basictools/knobs/KnobRow.h"
#include "basictools/knobs/KnobTravel.h"
#include "basictools/math/mapping/PotardMappingUtils.h"
#include "engine/ProcessContext.h"
#include "engine/Relaxed.h"

namespace Vantora::dsp {

/// ParamRecord: one parameter, with its curve and range, its name, and its value in two forms.
///
/// One form is canonical, the other a cache: a writer stores one float and a
/// state word, and the conversion through the curve waits until somebody
/// reads the other form, which on the audio thread is once per changed block.
///
/// Threads: `normalized`, `value` and `state` may be written on one thread and read on another; the rest is
/// fixed once the owner has finished its construction.
class ParamRecord {
 public:
  /// Which of the two forms is to be trusted.
  enum State : uint32_t { kBothAgree = 0, kNormalizedIsNewer = 1, kValueIsNewer = 2 };

  /// A position: the value is the normalised value, 0 to 1.
  explicit ParamRecord(std::string name);

  /// `count` values from `first` in steps of `step`, which may be negative. The record starts at its lowest
  /// value and at position 0, whatever the sign of the step.
  ParamRecord(std::string name, uint32_t count, float first, float step);

  /// A curve of `MappingTools::MappingKind` over `min` to `max`, in the
  /// parameter's unit. Starts at `min` and position 0 even where the curve doesn't
  /// join the two. Throws `CException` for an unknown kind or an impossible curve.
  ParamRecord(std::string name, uint32_t kind, bool reversed, float min, float max, float curveArg1 = 1.0f,
              float curveArg2 = 0.5f);

  /// Without a name, at rest.
  explicit ParamRecord(const Knobs::Range& range);

  /// As a row declares it, standing where the row starts.
  explicit ParamRecord(const Knobs::Row& row);

  /// Stores a position; the value follows when it is read.
  void SetNormalized(float position) {
    normalized = position;
    state = kNormalizedIsNewer;
  }

  /// Stores a value in the parameter's unit; the position follows when it is read.
  void SetValue(float newValue) {
    value = newValue;
    state = kValueIsNewer;
  }

  /// Stores a value together with its position, which the caller knows: `ToNormalized(newValue)`.
  void SetValueAt(float newValue, float position) {
    value = newValue;
    normalized = position;
    state = kBothAgree;
  }

  /// True when `SetValue(same)` would change nothing.
  bool StandsAtValue(float same) const { return state == kValueIsNewer && value == same; }

  /// Position, 0 to 1.
  float GetNormalized() {
    if (state == kValueIsNewer) FollowValue();
    return normalized;
  }

  /// Value in the parameter's unit.
  float GetValue() {
    if (state == kNormalizedIsNewer) FollowPosition();
    return value;
  }

  /// The curve, without touching the record's own value.
  float ToValue(float position) const { return fixed->travel.ToValue(fixed->mapping, position); }

  /// The inverse curve, without touching the record's own value.
  float ToNormalized(float plain) const { return fixed->travel.ToPosition(fixed->mapping, plain); }

  /// `GetNormalized` plus the first sample of control port
  /// `port`, held in 0 to 1; plain when the port isn't live.
  float ReadNormalizedModulated(const ProcessContext& context, uint32_t port);

  /// The same in the parameter's unit.
  float ReadValueModulated(const ProcessContext& context, uint32_t port);

  /// Value at the position `GetNormalized` + `offset`, held in 0 to 1.
  float ValueAtOffset(float offset);

  /// `ToValue` over an array, in whole groups of four: what lies behind the last one is left. A curve whose
  /// block form does nothing gives the clamped position scaled into the range. `out` may be `positions`.
  void ToValueBlock(float* out, const float* positions, uint32_t count) const;

  float GetMinimum() const { return fixed->travel.minValue; }  ///< lowest value, in the parameter's unit
  float GetMaximum() const { return fixed->travel.maxValue; }  ///< highest value, in the parameter's unit
  void SetName(std::string text);
  const std::string& GetName() const { return fixed->name; }
  uint32_t GetKind() const { return fixed->travel.kind; }  ///< `MappingTools::MappingKind`
  uint32_t GetStepCount() const {
    return static_cast<uint32_t>(fixed->travel.stepCount);
  }  ///< of a stepped parameter; else 2

  /// Lets a record that was declared alike stand on `twin`'s declaration, so that there is one for both.
  void ShareDeclaration(const ParamRecord& twin) { fixed = twin.fixed; }

  /// Takes over another record's declaration, as a parent does that fits a child's knob to its own use:
  /// everything but the name. The value falls back to the new minimum and the position to 0.
  void ReDeclare(ParamRecord declaration);

 private:
  /// What doesn't move, apart from what does: a block reads many records, and the caches hold few of them.
  struct Declaration {
    MappingTools::PotardMappingHolder mapping;
    std::string name;
    Knobs::Travel travel;
  };

  explicit ParamRecord(Declaration declaration);
  void FollowValue();
  void FollowPosition();

  Relaxed<float> normalized;
  Relaxed<float> value;
  Relaxed<uint32_t> state;
  std::shared_ptr<const Declaration> fixed;  // copies of a record share it
};

/// The records of a module, in the order of its rows.
std::vector<ParamRecord> MakeRecords(std::span<const Knobs::Row> rows);

}  // namespace Vantora::dsp
