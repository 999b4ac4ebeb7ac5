#include "dsp/effects/prims/FFTPlan.h"

#include <bit>
#include <cmath>
#include <complex>
#include <numbers>
#include <utility>

namespace Vantora::prims {

namespace {

using Complex = std::complex<float>;

Complex Multiply(Complex a, Complex b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

// Stockham transform of `half` complex points; `roots` holds
// exp(-2 pi i k / (2 half)). Returns where the result is.
Complex* Transform(Complex* from, Complex* to, const Complex* roots, std::size_t half) {
  for (std::size_t length = half, stride = 1; length > 1; length /= 2, stride *= 2) {
    const std::size_t middle = length / 2;
    for (std::size_t p = 0; p < middle; ++p) {
      const Complex root = roots[2 * p * stride];
      for (std::size_t q = 0; q < stride; ++q) {
        const Complex a = from[q + stride * p];
        const Complex b = from[q + stride * (p + middle)];
        to[q + stride * 2 * p] = a + b;
        to[q + stride * (2 * p + 1)] = Multiply(a - b, root);
      }
    }
    std::swap(from, to);
  }
  return from;
}

// Transforms of 2 to 32 points, too short for vectors;
// otherwise they do what the kernels do. `work` has 2 x points.
void ForwardFewPoints(const float* input, float* output, std::size_t points, const float* rootValues,
                      float* work) {
  const std::size_t half = points / 2;
  const auto* roots = reinterpret_cast<const Complex*>(rootValues);
  auto* first = reinterpret_cast<Complex*>(work);
  for (std::size_t k = 0; k < half; ++k) first[k] = {input[2 * k], input[2 * k + 1]};
  const Complex* z = Transform(first, first + half, roots, half);
  output[0] = z[0].real() + z[0].imag();
  output[1] = 0.0f;
  output[points] = z[0].real() - z[0].imag();
  output[points + 1] = 0.0f;
  for (std::size_t k = 1; k < half; ++k) {
    const Complex mirror = std::conj(z[half - k]);
    const Complex even = 0.5f * (z[k] + mirror);
    const Complex difference = 0.5f * (z[k] - mirror);
    const Complex odd = Multiply({difference.imag(), -difference.real()}, roots[k]);
    output[2 * k] = even.real() + odd.real();
    output[2 * k + 1] = even.imag() + odd.imag();
  }
}

void InverseFewPoints(float* buffer, std::size_t points, const float* rootValues, float* work) {
  const std::size_t half = points / 2;
  const float scale = 1.0f / static_cast<float>(points);
  const auto* roots = reinterpret_cast<const Complex*>(rootValues);
  auto* first = reinterpret_cast<Complex*>(work);
  // Conjugated on the way in and out, the forward transform is the inverse one.
  for (std::size_t k = 0; k < half; ++k) {
    const Complex a{buffer[2 * k], k == 0 ? 0.0f : buffer[2 * k + 1]};
    const Complex mirror{buffer[2 * (half - k)], k == 0 ? 0.0f : -buffer[2 * (half - k) + 1]};
    const Complex even = a + mirror;
    const Complex odd = Multiply(a - mirror, std::conj(roots[k]));
    first[k] = std::conj(Complex{even.real() - odd.imag(), even.imag() + odd.real()});
  }
  const Complex* z = Transform(first, first + half, roots, half);
  for (std::size_t k = 0; k < half; ++k) {
    buffer[2 * k] = scale * z[k].real();
    buffer[2 * k + 1] = -scale * z[k].imag();
  }
}

}  // namespace

void FFTPlan::SetSize(std::size_t newSize) {
  if (newSize == size) return;
  // Built beside the old ones, so that the plan stays whole if memory runs out.
  const std::size_t newPoints = std::bit_floor(newSize);
  FFTTables newTables;
  AlignedBuffer newRoots, newWork;
  if (newPoints / 2 >= FFTTables::kSmallestHalf) {
    newTables.Build(newPoints / 2, kernels->widestRadix);
    newWork.Resize(newTables.WorkSize());
  } else {
    newRoots.Resize(newPoints);
    newWork.Resize(2 * newPoints);
    for (std::size_t k = 0; k < newPoints / 2; ++k) {
      const double angle = -2.0 * std::numbers::pi * static_cast<double>(k) / static_cast<double>(newPoints);
      newRoots[2 * k] = static_cast<float>(std::cos(angle));
      newRoots[2 * k + 1] = static_cast<float>(std::sin(angle));
    }
  }
  tables = std::move(newTables);
  roots = std::move(newRoots);
  work = std::move(newWork);
  points = newPoints;
  size = newSize;
}

void FFTPlan::Forward(const float* input, float* output) noexcept {
  if (tables.half > 0) {
    kernels->forward(tables, input, output, work.Data());
  } else if (points > 1) {
    ForwardFewPoints(input, output, points, roots.Data(), work.Data());
  } else if (points == 1) {
    output[0] = input[0];
    output[1] = 0.0f;
  }
}

void FFTPlan::InverseInPlace(float* buffer) noexcept {
  if (tables.half > 0) {
    kernels->inverse(tables, buffer, buffer, work.Data());
  } else if (points > 1) {
    InverseFewPoints(buffer, points, roots.Data(), work.Data());
  }
}

}  // namespace Vantora::prims
