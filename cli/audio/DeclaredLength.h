#pragma once

#include <cstdint>
#include <optional>

namespace Vantora::cli {

/// DeclaredLength: how much audio the header of a file says there is, beside what the file holds.
struct DeclaredLength {
  uint64_t declared;  ///< bytes of samples, by the header
  uint64_t present;   ///< bytes of the file from the first sample on

  bool IsCut() const { return present < declared; }
};

/// Looks into the header of a WAV, RF64, AIFF, AU, W64 or CAF file, whose library takes the file's end for
/// the sound's. Nothing for another kind, for a header that leaves the length open (as streams do), and for
/// what can't be read. `descriptor` is a regular file's; its place stays, and is where the header begins.
std::optional<DeclaredLength> FindDeclaredLength(int descriptor);

}  // namespace Vantora::cli
