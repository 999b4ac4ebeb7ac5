#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace Vantora::cli {

/// DeclaredLength: how much audio the header of a file says there is, beside what the file holds.
struct DeclaredLength {
  uint64_t declared;  ///< bytes of samples, by the header
  uint64_t present;   ///< bytes of the file from the first sample on
  uint64_t place;     ///< where in the file the length stands

  bool IsCut() const { return present < declared; }
};

/// Looks into the header of a WAV, RF64, AIFF, AU, W64, CAF or MP3 file, whose library takes the file's end
/// for the sound's. Nothing for another kind, for a header that leaves the length open (as streams do), and
/// for what can't be read. `descriptor` is a regular file's; its place stays, and is where the header begins.
std::optional<DeclaredLength> FindDeclaredLength(int descriptor);
/// The same for a stream of `size` bytes in all, of which `beginning` was kept.
std::optional<DeclaredLength> FindDeclaredLength(std::string_view beginning, uint64_t size);

}  // namespace Vantora::cli
