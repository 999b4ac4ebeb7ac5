#pragma once

#include <cstdint>

namespace Vantora::MappingTools {

/// IPotardMapping: the curve of a knob ("potard"). It turns a position, 0..1, into a value, and back.
///
/// A mapping knows nothing of units: unless it is absolute it yields a shaped position
/// in 0..1, and the parameter scales that into its range. Mappings don't change after
/// construction, and all operations are pure functions: any thread may use one, they
/// neither lock nor allocate. Only one curve checks its arguments; a nonsensical one
/// yields infinities or NaN, which pass through. All arithmetic is single precision.
class IPotardMapping {
 public:
  virtual ~IPotardMapping() = default;

  /// The forward curve.
  virtual float ToValue(float position) const noexcept = 0;

  /// The inverse curve.
  virtual float ToPosition(float value) const noexcept = 0;

  /// The forward curve in place over data[0..count). Each curve tells how far it goes.
  virtual void ToValueBlock(float* data, uint32_t count) const noexcept = 0;

  /// True when the result of ToValue is final and must not be scaled into the parameter's range.
  virtual bool IsAbsolute() const noexcept { return false; }

 protected:
  IPotardMapping() = default;
  IPotardMapping(const IPotardMapping&) = default;
  IPotardMapping& operator=(const IPotardMapping&) = default;
};

}  // namespace Vantora::MappingTools
