#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace Vantora::offline {

/// TailLength: how long an effect rings on behind the end of its input.
struct TailLength {
  bool automatic = true;
  double seconds = 60.0;  ///< the length, or with `automatic` the most it may be
};

/// Tail: decides how much of what comes out behind the input's end is kept.
///
/// Automatic: until the output stays below -90 dBFS; what is that quiet at the end is dropped, so an effect
/// without a tail gives exactly the input's length. Reaching the limit fades out over the last tenth second.
/// Holds back at most the gap's length of samples.
class Tail {
 public:
  static constexpr float kQuiet = 3.1622777e-5f;  ///< -90 dBFS
  using Sink = std::function<void(const float* interleaved, uint64_t frames)>;

  /// `rate` in Hz, 1 or 2 `channels`; `gapSeconds` of quiet end an automatic tail.
  Tail(const TailLength& length, int rate, int channels, double gapSeconds);

  /// Takes `frames` frames of the tail, in place. What is kept goes to `sink`, perhaps at a later call.
  void Add(float* interleaved, uint64_t frames, const Sink& sink);
  /// No more is needed.
  bool IsDone() const { return done; }
  /// The limit, not silence, ended an automatic tail.
  bool WasCut() const { return wasCut; }

 private:
  void FadeTowardsLimit(float* interleaved, uint64_t frames);

  bool automatic;
  uint64_t limit;  // frames
  uint64_t gap;
  uint64_t fade;
  uint64_t channels;
  uint64_t seen = 0;
  std::vector<float> held;  // quiet frames that may yet turn out to lie between louder ones
  bool done = false;
  bool wasCut = false;
};

}  // namespace Vantora::offline
