#pragma once

#include <cstdint>

#if defined(__x86_64__) || defined(__i386__)
#include <xmmintrin.h>
#endif

namespace Vantora {

/// FlushDenormals: while one stands on the stack, this thread's denormal results and operands count as zero.
///
/// Dying filter tails in denormal numbers measured up to 38 times as slow as the signal before them. The
/// caller's mode comes back with the guard's end: a host's floating-point state is its own. On machines
/// without such a mode, WebAssembly among them, the guard does nothing: live hosts there keep the input away
/// from zero.
class FlushDenormals {
 public:
#if defined(__x86_64__) || defined(__i386__)
  FlushDenormals() noexcept : before(_mm_getcsr()) { _mm_setcsr(before | kFlushToZero | kDenormalsAreZero); }
  ~FlushDenormals() { _mm_setcsr(before); }
#elif defined(__aarch64__)
  FlushDenormals() noexcept {
    asm volatile("mrs %0, fpcr" : "=r"(before));
    asm volatile("msr fpcr, %0" : : "r"(before | kFlushToZero));
  }
  ~FlushDenormals() { asm volatile("msr fpcr, %0" : : "r"(before)); }
#else
  FlushDenormals() noexcept {}
  ~FlushDenormals() {}  // not the compiler's own: a guard counts as used
#endif
  FlushDenormals(const FlushDenormals&) = delete;
  FlushDenormals& operator=(const FlushDenormals&) = delete;

 private:
#if defined(__x86_64__) || defined(__i386__)
  static constexpr uint32_t kFlushToZero = 0x8000u;
  static constexpr uint32_t kDenormalsAreZero = 0x0040u;
  uint32_t before;
#elif defined(__aarch64__)
  static constexpr uint64_t kFlushToZero = uint64_t{1} << 24;
  uint64_t before = 0;
#endif
};

}  // namespace Vantora
