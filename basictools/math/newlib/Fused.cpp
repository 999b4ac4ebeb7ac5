// Windows: exp and pow of the kind that glibc takes on the same processor, an exact fmaf (MinGW's rounds
// twice), and sincos, which MinGW has in one piece with the sincosf that isn't wanted. Without built-in
// functions: no call becomes another.

#include <bit>
#include <cmath>
#include <cstdint>

extern "C" {

double prismelExpPlain(double x);
double prismelExpFused(double x);
double prismelPowPlain(double x, double y);
double prismelPowFused(double x, double y);

static bool HasFused() { return __builtin_cpu_supports("fma") && __builtin_cpu_supports("avx2"); }

double exp(double x) { return HasFused() ? prismelExpFused(x) : prismelExpPlain(x); }
double pow(double x, double y) { return HasFused() ? prismelPowFused(x, y) : prismelPowPlain(x, y); }

void sincos(double x, double* sine, double* cosine) {
  *sine = sin(x);
  *cosine = cos(x);
}

float fmaf(float x, float y, float z) {
  // The product is exact in double precision. The sum is rounded to odd there: whatever was lost leaves the
  // last bit set, so that the second rounding sees on which side of a half the exact sum lies.
  const double product = static_cast<double>(x) * static_cast<double>(y), addend = static_cast<double>(z);
  const double sum = product + addend;
  const double part = sum - product;
  const double lost = (product - (sum - part)) + (addend - part);
  auto bits = std::bit_cast<uint64_t>(sum);
  if (lost != 0.0 && std::isfinite(sum) && (bits & 1) == 0)
    bits += (lost > 0.0) == (sum > 0.0) ? 1 : ~uint64_t{0};
  return static_cast<float>(std::bit_cast<double>(bits));
}

}  // extern "C"
