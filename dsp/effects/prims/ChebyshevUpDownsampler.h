#pragma once

#include <cstdint>
#include <vector>

namespace Vantora::prims {

/// ChebyshevUpDownsampler: changes the sample rate by a whole factor through a minimum-phase low-pass: next
/// to no latency, at the price of a phase that isn't linear.
///
/// The filter is an inverse Chebyshev low-pass (flat pass band, equal ripple in the stop band), a cascade of
/// biquads at the high rate, unity at DC. States are double.
///
/// Source   A. Antoniou, Digital Filters: the inverse-Chebyshev approximation and the bilinear transformation
class ChebyshevUpDownsampler {
 public:
  /// An even `order`, `stopBandDb` down from `stopBandEdge` (of the base rate, above 0.5) on.
  void Init(std::uint32_t newFactor, std::uint32_t order, double stopBandDb, double stopBandEdge);

  /// n samples of `in` become n x factor samples of `out`. The two don't overlap.
  void Upsample(const float* in, float* out, std::uint32_t n) noexcept;

  /// n x factor samples of `in` become n samples of `out`, the first of each filtered group.
  void Downsample(const float* in, float* out, std::uint32_t n) noexcept;

  void Reset() noexcept;

 private:
  // b0 = b2 = gain, b1 = gain * zero: the zeros lie on the unit circle. Transposed direct form two.
  struct Section {
    double gain, zero, a1, a2;
  };
  struct State {
    double s1 = 0.0, s2 = 0.0;
  };

  double Filter(double x, std::vector<State>& states) const noexcept;

  std::uint32_t factor = 0;
  std::vector<Section> sections;
  std::vector<State> up, down;  // one a section
};

}  // namespace Vantora::prims
