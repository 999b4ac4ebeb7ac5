#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace Vantora::fuzz {

/// Pieces: cuts a fuzzer's bytes into the arguments of what it tries. The control byte before each piece is
/// its length, so that a mutation of one argument leaves the others alone.
class Pieces {
 public:
  Pieces(const uint8_t* data, size_t size) : rest(reinterpret_cast<const char*>(data), size) {}

  /// 0 where nothing is left.
  uint8_t Byte() {
    if (rest.empty()) return 0;
    const auto byte = static_cast<uint8_t>(rest[0]);
    rest.remove_prefix(1);
    return byte;
  }
  std::string_view Text() {
    const size_t asked = Byte();  // first: the byte itself is no longer there to be taken
    const size_t length = std::min(asked, rest.size());
    const std::string_view text = rest.substr(0, length);
    rest.remove_prefix(length);
    return text;
  }
  uint32_t Word() {
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i) word = word << 8 | Byte();
    return word;
  }
  /// Any single precision number there is; half of the time one from 0 to 1.
  float Number() {
    if ((Byte() & 1) != 0) return static_cast<float>(Byte()) / 255.0f;
    const uint32_t word = Word();
    float number;
    std::memcpy(&number, &word, sizeof number);
    return number;
  }
  std::string_view Rest() const { return rest; }

 private:
  std::string_view rest;
};

/// A fault, as the fuzzer notices one.
inline void Require(bool holds) {
  if (!holds) std::abort();
}

/// What a person is told: never nothing.
inline void RequireSentence(std::string_view text) { Require(!text.empty()); }

}  // namespace Vantora::fuzz
