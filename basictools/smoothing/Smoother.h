#pragma once

namespace Vantora::dsp {

/// Smoother: turns a value that jumps, once a block or when a knob moves, into one that glides.
///
/// Base of the four smoothers, T is the precision of their state. A smoother is held by value by the module
/// it serves, is used by the audio thread alone and never allocates.
///
///     SmootherSRL        a line of constant slope, stops exactly on the target
///     SmootherInterp     a line of fixed length, whatever the distance
///     SmootherLPF        a one-pole low-pass, snaps to the target when the rest is negligible
///     SmootherInterpLPF  the line of SmootherInterp, rounded off by the low-pass
///
/// Each has a block form of its own, `Render`, which is not virtual.
template <typename T>
class Smoother {
 public:
  virtual ~Smoother() = default;

  /// Advances by one step and returns the new current value.
  virtual float Tick() noexcept = 0;

  /// Glides to `value` from wherever the smoother stands.
  virtual void SetTarget(float value) noexcept { target = static_cast<T>(value); }

  /// Snaps: target and current both become `value`.
  virtual void SetValue(float value) noexcept { target = current = static_cast<T>(value); }

  /// Starts a glide at `from` towards `to`.
  virtual void SetRamp(float from, float to) noexcept {
    target = static_cast<T>(to);
    current = static_cast<T>(from);
  }

  /// The way of a parameter into its smoother: snaps where the module starts anew, glides otherwise.
  void SnapOrGlide(float value, bool snaps) noexcept {
    if (snaps) {
      SetValue(value);
    } else {
      SetTarget(value);
    }
  }

  /// Derives the run-time coefficients from the settings.
  virtual void UpdateCoefficients() noexcept = 0;

  /// Where the glide ends.
  T Target() const noexcept { return target; }
  /// Where it stands.
  T Current() const noexcept { return current; }
  /// True when the glide has landed: rendering would fill with a constant.
  bool IsSettled() const noexcept { return current == target; }

 protected:
  Smoother() = default;
  Smoother(const Smoother&) = default;
  Smoother& operator=(const Smoother&) = default;

  T target = 0;
  T current = 0;
};

}  // namespace Vantora::dsp
