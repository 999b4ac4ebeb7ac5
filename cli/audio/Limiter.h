#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

namespace Vantora::cli {

/// Limiter: holds a stream's peaks below a ceiling without distorting them, by turning the level down a
/// little ahead of each.
///
///     x --> the gain that each frame needs --> its least over 5 ms --> recovery --> mean over 5 ms --> g
///     x --> 5 ms of delay -------------------------------------------------------------------> * g --> out
///
/// Each gain that the mean takes in is at most the one that the delayed frame needs, so no sample exceeds the
/// ceiling. All channels share one gain: the image stays where it is. What never reaches the ceiling passes
/// bit for bit. Out come as many frames as go in, each at its own place.
class Limiter {
 public:
  using Sink = std::function<void(const float* interleaved, uint64_t frames)>;

  /// `ceiling` is a factor of full scale, above 0; `rate` in Hz.
  Limiter(double ceiling, int rate, int channels);

  void Add(const float* interleaved, uint64_t frames, const Sink& sink);
  /// Hands over what is still inside.
  void Finish(const Sink& sink);

  /// Frames that were turned down by more than 0.01 dB.
  uint64_t LimitedFrames() const { return limited; }

 private:
  void Advance(const float* frame);

  struct Need {
    uint64_t place;
    float gain;
  };
  float ceiling;
  uint64_t ahead;  // frames
  size_t channels;
  float recovery;              // share of the way back to 1 in a frame
  std::vector<float> delayed;  // a ring of `ahead` frames
  std::vector<float> gains;    // the last `ahead` gains, a ring
  std::deque<Need> needs;      // rising: the first one is the least of the window
  double gainSum;
  float gain = 1.0f;
  uint64_t taken = 0, given = 0, limited = 0;
  std::vector<float> ready;
};

}  // namespace Vantora::cli
