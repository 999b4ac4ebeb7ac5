#pragma once

#include <cstdint>

namespace Vantora::cli {

/// Dither: triangular noise of one step each way, added before rounding to 16 bit. It makes the rounding
/// error independent of the signal: a fade-out ends in even hiss, not in crackle (Lipshitz, Wannamaker,
/// Vanderkooy, "Quantization and Dither", J. Audio Eng. Soc. 1992). The sequence is the same in every file.
class Dither {
 public:
  /// The next value, in quantisation steps, -1 to 1.
  double Next() { return Uniform() - Uniform(); }

 private:
  double Uniform() {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return static_cast<double>(state) * 0x1p-32;
  }

  uint32_t state = 2463534242u;
};

}  // namespace Vantora::cli
