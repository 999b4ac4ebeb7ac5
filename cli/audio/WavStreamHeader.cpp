#include "cli/audio/WavStreamHeader.h"

#include <cstring>

namespace Vantora::cli {

std::array<uint8_t, 44> WavStreamHeader(SampleFormat sample, int rate, int channels,
                                        std::optional<uint64_t> dataBytes) {
  std::array<uint8_t, 44> header{};
  size_t at = 0;
  const auto text = [&](const char* four) {
    std::memcpy(header.data() + at, four, 4);
    at += 4;
  };
  const auto number = [&](uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) header[at++] = static_cast<uint8_t>(value >> (8 * i));
  };
  constexpr uint32_t kUnknown = 0xffffffffu;
  const bool isKnown = dataBytes && *dataBytes < kUnknown - header.size();
  const auto data = static_cast<uint32_t>(dataBytes.value_or(0));
  const bool isFloat = sample == SampleFormat::kFloat;
  const uint32_t bytes = isFloat ? 4 : static_cast<uint32_t>(IntegerBits(sample)) / 8;
  const uint32_t frameBytes = bytes * static_cast<uint32_t>(channels);
  text("RIFF");
  number(isKnown ? data + 36 : kUnknown, 4);
  text("WAVE");
  text("fmt ");
  number(16, 4);
  number(isFloat ? 3 : 1, 2);
  number(static_cast<uint32_t>(channels), 2);
  number(static_cast<uint32_t>(rate), 4);
  number(static_cast<uint32_t>(rate) * frameBytes, 4);
  number(frameBytes, 2);
  number(bytes * 8, 2);
  text("data");
  number(isKnown ? data : kUnknown, 4);
  return header;
}

}  // namespace Vantora::cli
