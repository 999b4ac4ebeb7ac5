#pragma once

#include <string>
#include <vector>

namespace Vantora::dsp {

/// A loader's knowledge of how an impulse fades: from `startMs` on, by five time constants in `timeMs`.
struct FadeHint {
  bool isValid = false;
  float startMs = 0.0f;
  float timeMs = 0.0f;
};

/// An impulse as it was recorded. A mono one has no right channel.
struct Impulse {
  std::vector<float> left, right;
  float fileRate = 0.0f;  ///< Hz; 0 or less: unknown, the impulse is taken at the module's rate
  FadeHint fadeHint;
};

/// The longest impulse that is read, in seconds of the file's own rate; the rest of a longer file is cut.
inline constexpr int kLongestImpulseSeconds = 100;

/// Reads a mono or stereo sound file. False when it is no usable impulse, with the
/// reason in `problem`: no regular file, unreadable, not one or two channels, a rate
/// outside 1 kHz to 768 kHz, no frames, fewer frames than its header says, a sample
/// that isn't finite. One such sample would stay in an engine's memory for good.
///
/// Memory grows with what is really read, never with what the header claims.
/// Throws what SndFileLibrary's construction throws, and std::bad_alloc. Not for the audio thread.
bool ReadImpulseFile(const std::string& path, Impulse& impulse, std::string& problem);

}  // namespace Vantora::dsp
