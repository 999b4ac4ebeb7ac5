#pragma once

namespace Vantora::dsp {

/// FoldFilter: the low-pass about a fold at twice the rate. Fourth order, transposed direct form two, with
/// all four zeros at half the doubled rate; -3 dB a little below half the base rate.
class FoldFilter {
 public:
  /// `gain` at 0 Hz: 2 where zeros are stuffed in between, 1 on the way down.
  explicit FoldFilter(float gain) noexcept : b0(kB0 * gain), b1(kB1 * gain), b2(kB2 * gain) {}

  float Process(float x) noexcept {
    const float y = s1 + b0 * x;
    s1 = s2 + b1 * x + 1.151526f * y;
    s2 = s3 + b2 * x - 1.3424125f * y;
    s3 = s4 + b1 * x + 0.762187f * y;
    s4 = b0 * x - 0.26461843f * y;
    return y;
  }

  void Clear() noexcept { s1 = s2 = s3 = s4 = 0.0f; }

 private:
  static constexpr float kB0 = 0.043332368f;
  static constexpr float kB1 = 0.17332947f;
  static constexpr float kB2 = 0.2599942f;

  float b0, b1, b2;  // the numerator is symmetric
  float s1 = 0.0f, s2 = 0.0f, s3 = 0.0f, s4 = 0.0f;
};

}  // namespace Vantora::dsp
