#pragma once

#include <pybind11/numpy.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace Vantora::python {

/// What audio is here: float32, (channels, frames), one row after the other. The typed layer hands nothing
/// else over.
using Audio = pybind11::array_t<float, pybind11::array::c_style>;

/// The rows of `audio`, 1 or 2 of them.
inline std::array<const float*, 2> Rows(const Audio& audio) {
  return {audio.data(0, 0), audio.shape(0) > 1 ? audio.data(1, 0) : nullptr};
}

/// Planes: gathers interleaved output into rows. As much as is known to come goes straight to its place in
/// the array that Python will get; only what comes on top, such as an automatic tail, is copied once more.
class Planes {
 public:
  /// Needs the interpreter lock, as `Take` doesn't. `expected` frames of each of `channelCount` channels, 0
  /// or more.
  Planes(int channelCount, uint64_t expected)
      : channels(static_cast<uint64_t>(channelCount)), room(expected), audio(Shape(expected)) {
    if (room > 0) base = audio.mutable_data();
  }

  void Take(const float* interleaved, uint64_t frames) {
    const uint64_t direct = std::min(frames, room - written);
    for (uint64_t c = 0; c < channels; ++c) {
      for (uint64_t i = 0; i < direct; ++i) base[c * room + written + i] = interleaved[i * channels + c];
    }
    written += direct;
    rest.insert(rest.end(), interleaved + direct * channels, interleaved + frames * channels);
  }

  /// Everything so far, (channels, frames), and begins anew with nothing. Needs the interpreter lock.
  Audio Release() {
    const uint64_t more = rest.size() / channels;
    if (more == 0 && written == room) {
      Audio whole = std::move(audio);
      Restart();
      return whole;
    }
    Audio joined(Shape(written + more));
    float* to = joined.mutable_data();
    for (uint64_t c = 0; c < channels; ++c) {
      to = std::copy_n(base + c * room, written, to);
      for (uint64_t i = 0; i < more; ++i) *to++ = rest[i * channels + c];
    }
    Restart();
    return joined;
  }

 private:
  std::vector<pybind11::ssize_t> Shape(uint64_t frames) const {
    return {static_cast<pybind11::ssize_t>(channels), static_cast<pybind11::ssize_t>(frames)};
  }
  void Restart() {
    room = written = 0;
    base = nullptr;
    audio = Audio(Shape(0));
    rest.clear();
  }

  uint64_t channels;
  uint64_t room;         // frames of `audio`
  uint64_t written = 0;  // frames of them that are there
  Audio audio;
  float* base = nullptr;
  std::vector<float> rest;  // interleaved
};

}  // namespace Vantora::python
