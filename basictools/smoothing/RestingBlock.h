#pragma once

#include <cstdint>
#include <type_traits>

#include "basictools/BitCast.h"
#include "basictools/math/WholeQuads.h"

namespace Vantora::dsp {

/// RestingBlock: knows how much of a buffer holds the value that its smoother rests at, so that a block in
/// which nothing moves writes nothing. Nobody else writes the buffer.
class RestingBlock {
 public:
  /// As smoother.Render(out, count), into the same buffer on every call. Returns from which sample on the
  /// block is level, as far as the smoother tells.
  template <typename Smoother>
  uint32_t Render(Smoother& smoother, float* out, uint32_t count) noexcept {
    if (!smoother.IsSettled()) {
      level = 0;
      if constexpr (std::is_void_v<decltype(smoother.Render(out, count))>) {
        smoother.Render(out, count);
        return count;
      } else {
        return smoother.Render(out, count);
      }
    }
    const uint32_t quads = WholeQuads(count);
    const auto value = static_cast<float>(smoother.Target());
    if (level >= quads && level > 0 && BitCast<uint32_t>(out[0]) == BitCast<uint32_t>(value)) return 0;
    smoother.Render(out, count);
    level = quads;
    return 0;
  }

  /// True when a call with a block of `count` samples would write nothing, as long as the smoother stays
  /// where it rests.
  bool Rests(uint32_t count) const noexcept { return level > 0 && level >= WholeQuads(count); }

  /// The buffer is another one, or holds something else.
  void Forget() noexcept { level = 0; }

 private:
  uint32_t level = 0;  // samples
};

}  // namespace Vantora::dsp
