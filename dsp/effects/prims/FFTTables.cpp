#include "dsp/effects/prims/FFTTables.h"

#include <bit>
#include <cmath>
#include <complex>
#include <numbers>

namespace Vantora::prims {

namespace {

// exp(-2 pi i index / size), in double: the angle is kept within an eighth of a turn, where sine and cosine
// are exact to the last place.
std::complex<double> Root(std::size_t index, std::size_t size) {
  index %= size;
  const double turns = static_cast<double>(index) / static_cast<double>(size);
  const double octant = std::round(4.0 * turns);
  const double angle = -2.0 * std::numbers::pi * (turns - 0.25 * octant);
  const std::complex<double> root{std::cos(angle), std::sin(angle)};
  switch (static_cast<int>(octant) & 3) {
    case 1:
      return {root.imag(), -root.real()};
    case 2:
      return -root;
    case 3:
      return {-root.imag(), root.real()};
    default:
      return root;
  }
}

// Radices behind the first two passes, for 2^order points still to go. With `widest` 4 an eight only comes
// last, where there is nothing to multiply by, instead of a pass of radix 2.
std::vector<std::size_t> Radices(int order, std::size_t widest) {
  std::vector<std::size_t> radices;
  if (order == 1) return {2};
  if (widest == 4) {
    for (; order > 3; order -= 2) radices.push_back(4);
    radices.push_back(std::size_t{1} << order);
    return radices;
  }
  if (order % 3 == 1) radices = {4, 4};
  if (order % 3 == 2) radices = {4};
  for (int rest = order - 2 * static_cast<int>(radices.size()); rest > 0; rest -= 3) radices.push_back(8);
  return radices;
}

constexpr std::size_t WholeBlocks(std::size_t floats) {
  return (floats + FFTTables::kBlock - 1) / FFTTables::kBlock * FFTTables::kBlock;
}

}  // namespace

void FFTTables::Build(std::size_t newHalf, std::size_t widestRadix) {
  half = newHalf;
  // A page of 1024 floats is what loads and stores are told apart by before their addresses are known: with
  // equal places of the four rows a quarter of a page apart, no load waits for the store of another row.
  rowStride = half + (half < 1024 ? kBlock : 256);

  // Places first, then the contents.
  const std::size_t firstCount = half / 4, secondCount = half / 16;
  second = 6 * WholeBlocks(firstCount);
  secondStride = WholeBlocks(secondCount + 3);  // four are loaded at a time
  std::size_t place = second + 6 * secondStride;
  passes.clear();
  std::size_t left = secondCount, stride = kBlock;
  for (const std::size_t radix : Radices(std::countr_zero(secondCount), widestRadix)) {
    left /= radix;
    passes.push_back({radix, left, stride, place});
    place = WholeBlocks(place + left * 2 * (radix - 1));
    stride *= radix;
  }
  real = place;
  factors = AlignedBuffer(real + half);

  for (std::size_t p = 0; p < firstCount; ++p) {
    float* block = factors.Data(p / kBlock * 6 * kBlock + p % kBlock);
    for (std::size_t k = 1; k < 4; ++k) {
      const std::complex<double> root = Root(p * k, half);
      block[(2 * k - 2) * kBlock] = static_cast<float>(root.real());
      block[(2 * k - 1) * kBlock] = static_cast<float>(root.imag());
    }
  }
  for (std::size_t p = 0; p < secondCount; ++p) {
    for (std::size_t k = 1; k < 4; ++k) {
      const std::complex<double> root = Root(p * k, firstCount);
      factors[second + (2 * k - 2) * secondStride + p] = static_cast<float>(root.real());
      factors[second + (2 * k - 1) * secondStride + p] = static_cast<float>(root.imag());
    }
  }
  for (const FFTPass& pass : passes) {
    float* factor = factors.Data(pass.twiddles);
    for (std::size_t p = 0; p < pass.count; ++p) {
      for (std::size_t k = 1; k < pass.radix; ++k) {
        const std::complex<double> root = Root(p * k, pass.count * pass.radix);
        *factor++ = static_cast<float>(root.real());
        *factor++ = static_cast<float>(root.imag());
      }
    }
  }
  for (std::size_t k = 0; k < half / 2; ++k) {
    const std::complex<double> factor = std::complex<double>(0.0, -0.5) * Root(k, 2 * half);
    factors[real + k] = static_cast<float>(factor.real());
    factors[real + half / 2 + k] = static_cast<float>(factor.imag());
  }
}

}  // namespace Vantora::prims
