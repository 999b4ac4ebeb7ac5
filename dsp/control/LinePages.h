#pragma once

#include <cstddef>

namespace Vantora::dsp {

/// LinePages: the pages that long delay lines lie in, one line behind the other.
///
///     region   | line | line | gone | line | ... not used yet |     64 MiB of addresses, pages where used
///
/// Lines get pages of their own, because from the heap's mixture of long and short blocks little returns to
/// the system after many instances have come and gone: a page goes back with the last line on it, a region
/// with its last line. They lie close together, because lines that each start a page would all meet in the
/// same sets of a cache. From `kHugeFrom` on the pages are the large ones, where the system has them: an
/// instance at 192 kHz otherwise waits for nine thousand page faults. Nothing is ever laid where something
/// was: all memory is 0.
///
/// Everything here may be called from any thread, waits for a lock and enters the system: never from a block.
class LinePages {
 public:
  static constexpr std::size_t kHugeFrom = 524288;  ///< bytes of a line

  /// `bytes` of zeros, in place already, so that no block of sound has to wait for a page. Null when there is
  /// no memory, or no such pages on this system.
  static void* Take(std::size_t bytes) noexcept;

  /// What `Take` gave.
  static void Return(void* line, std::size_t bytes) noexcept;
};

}  // namespace Vantora::dsp
