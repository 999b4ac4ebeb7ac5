#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Vantora::dsp {

/// NameBuilder: a fixed text buffer whose truncation can be seen afterwards.
///
/// `needed` grows by the full length of every appended text, `buffer` takes what fits in `capacity` - 1 and
/// always ends in a zero. The text was cut when `needed` is `capacity` or more.
struct NameBuilder {
  uint64_t capacity;    ///< bytes of `buffer`, at least 1
  char* buffer;         ///< the caller's
  uint64_t length = 0;  ///< bytes that stand in the buffer, without the zero
  uint64_t needed = 0;  ///< bytes that would stand there without a limit

  /// Starts with an empty text in `text`, which holds `size` bytes.
  NameBuilder(char* text, uint64_t size) : capacity(size), buffer(text) { buffer[0] = '\0'; }

  /// Appends as much of `text` as fits.
  void Append(std::string_view text) {
    const uint64_t room = capacity - 1 - length;
    const uint64_t taken = std::min<uint64_t>(room, text.size());
    std::memcpy(buffer + length, text.data(), taken);
    length += taken;
    buffer[length] = '\0';
    needed += text.size();
  }

  /// Appends `prefix` and "_", or nothing when the prefix is empty.
  void AppendPrefix(std::string_view prefix) {
    if (prefix.empty()) return;
    Append(prefix);
    Append("_");
  }
};

}  // namespace Vantora::dsp
