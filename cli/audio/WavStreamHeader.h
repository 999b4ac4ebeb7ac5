#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "cli/audio/AudioFormat.h"

namespace Vantora::cli {

/// The 44 bytes in front of a WAV stream of `dataBytes` bytes of samples. Where that isn't known (nothing),
/// or is beyond 32 bits, both length words are all ones, as other programs that write WAV into a pipe have
/// them.
std::array<uint8_t, 44> WavStreamHeader(SampleFormat sample, int rate, int channels,
                                        std::optional<uint64_t> dataBytes = std::nullopt);

}  // namespace Vantora::cli
