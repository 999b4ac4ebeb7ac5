#pragma once

#include <array>
#include <cstdint>

#include "cli/audio/AudioFormat.h"

namespace Vantora::cli {

/// The 44 bytes in front of a WAV stream of unknown length: both length words are all ones, as other programs
/// that write WAV into a pipe have them.
std::array<uint8_t, 44> WavStreamHeader(SampleFormat sample, int rate, int channels);

}  // namespace Vantora::cli
