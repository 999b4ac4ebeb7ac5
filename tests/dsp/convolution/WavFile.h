#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

namespace Vantora::tests {

/// Bytes of a WAV file of interleaved 32-bit floats. `claimedFrames`, where given, is what the header says.
inline std::string WavBytes(const std::vector<float>& samples, uint32_t channels, uint32_t rate,
                            int64_t claimedFrames = -1) {
  std::string bytes;
  const auto word = [&](uint64_t value, int count) {
    for (int i = 0; i < count; ++i) bytes += static_cast<char>((value >> (8 * i)) & 0xff);
  };
  const uint64_t dataBytes =
      claimedFrames < 0 ? samples.size() * 4 : static_cast<uint64_t>(claimedFrames) * channels * 4;
  bytes += "RIFF";
  word(36 + dataBytes, 4);
  bytes += "WAVEfmt ";
  word(16, 4);
  word(3, 2);  // IEEE float
  word(channels, 2);
  word(rate, 4);
  word(uint64_t{rate} * channels * 4, 4);
  word(channels * 4, 2);
  word(32, 2);
  bytes += "data";
  word(dataBytes, 4);
  for (const float sample : samples) word(std::bit_cast<uint32_t>(sample), 4);
  return bytes;
}

}  // namespace Vantora::tests
