#include "cli/plot/Spectrum.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>

#include "dsp/effects/prims/FFTPlan.h"

namespace Vantora::cli {
namespace {

std::vector<double> MakeWindow(size_t size, Window window) {
  std::vector<double> values(size);
  for (size_t i = 0; i < size; ++i) {
    const double phase = 2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(size);
    values[i] = window == Window::kHann
                    ? 0.5 - 0.5 * std::cos(phase)
                    : 0.35875 - 0.48829 * std::cos(phase) + 0.14128 * std::cos(2.0 * phase) -
                          0.01168 * std::cos(3.0 * phase);
  }
  return values;
}

/// Transforms windowed pieces of a signal.
class PieceTransform {
 public:
  PieceTransform(size_t pieceSize, Window kind)
      : size(pieceSize), window(MakeWindow(pieceSize, kind)), plan(pieceSize), buffer(pieceSize + 2) {
    for (const double value : window) sum += value;
  }

  /// Bin k afterwards, scaled for amplitudes of sines.
  std::complex<double> Bin(size_t k) const {
    return std::complex<double>(static_cast<double>(buffer[2 * k]), static_cast<double>(buffer[2 * k + 1])) *
           (2.0 / sum);
  }

  void Transform(const std::vector<float>& signal, size_t at) {
    for (size_t i = 0; i < size; ++i) {
      const double sample = at + i < signal.size() ? static_cast<double>(signal[at + i]) : 0.0;
      buffer[i] = static_cast<float>(sample * window[i]);
    }
    plan.ForwardInPlace(buffer.data());
  }

 private:
  size_t size;
  std::vector<double> window;
  double sum = 0.0;
  prims::FFTPlan plan;
  std::vector<float> buffer;
};

/// Whole pieces of a signal at half a piece's distance, one at least.
size_t PieceCount(size_t length, size_t size) {
  return length <= size ? 1 : 1 + (length - size) / (size / 2);
}

}  // namespace

std::vector<double> PowerSpectrum(const std::vector<float>& signal, size_t size, Window window) {
  PieceTransform transform(size, window);
  std::vector<double> power(size / 2 + 1);
  const size_t pieces = PieceCount(signal.size(), size);
  for (size_t piece = 0; piece < pieces; ++piece) {
    transform.Transform(signal, piece * size / 2);
    for (size_t k = 0; k < power.size(); ++k)
      power[k] += std::norm(transform.Bin(k)) / static_cast<double>(pieces);
  }
  return power;
}

std::vector<double> TransferPower(const std::vector<float>& input, const std::vector<float>& output,
                                  size_t size) {
  PieceTransform ofInput(size, Window::kHann), ofOutput(size, Window::kHann);
  std::vector<std::complex<double>> cross(size / 2 + 1);
  std::vector<double> own(size / 2 + 1);
  for (size_t piece = 0; piece < PieceCount(input.size(), size); ++piece) {
    ofInput.Transform(input, piece * size / 2);
    ofOutput.Transform(output, piece * size / 2);
    for (size_t k = 0; k < own.size(); ++k) {
      cross[k] += std::conj(ofInput.Bin(k)) * ofOutput.Bin(k);
      own[k] += std::norm(ofInput.Bin(k));
    }
  }
  for (size_t k = 0; k < own.size(); ++k) own[k] = own[k] > 0.0 ? std::norm(cross[k] / own[k]) : 0.0;
  return own;
}

std::vector<double> ResponsePower(const std::vector<float>& impulseResponse) {
  const size_t size = impulseResponse.size();
  prims::FFTPlan plan(size);
  std::vector<float> spectrum(size + 2);
  plan.Forward(impulseResponse.data(), spectrum.data());
  std::vector<double> power(size / 2 + 1);
  for (size_t k = 0; k < power.size(); ++k) {
    power[k] = std::norm(
        std::complex<double>(static_cast<double>(spectrum[2 * k]), static_cast<double>(spectrum[2 * k + 1])));
  }
  return power;
}

double PowerDb(double power, double floorDb) {
  return power > 0.0 ? std::max(10.0 * std::log10(power), floorDb) : floorDb;
}

Series SpectrumSeries(const std::vector<double>& power, double rate, const Axis& axis, size_t points) {
  Series series;
  const double binHz = 0.5 * rate / static_cast<double>(power.size() - 1);
  const double high = std::min(axis.high, 0.5 * rate);
  const std::vector<double> edges =
      axis.isLogarithmic ? LogSpaced(axis.low, high, points + 1) : Spaced(axis.low, high, points + 1);
  for (size_t i = 0; i < points; ++i) {
    const auto first = static_cast<size_t>(std::ceil(edges[i] / binHz));
    const auto last = std::min(static_cast<size_t>(std::ceil(edges[i + 1] / binHz)), power.size());
    if (first >= last) continue;  // bins are wider than the places: the line runs from bin to bin
    const auto [smallest, largest] = std::minmax_element(power.begin() + static_cast<std::ptrdiff_t>(first),
                                                         power.begin() + static_cast<std::ptrdiff_t>(last));
    const auto add = [&](const auto& bin) {
      series.x.push_back(static_cast<double>(bin - power.begin()) * binHz);
      series.y.push_back(PowerDb(*bin));
    };
    add(std::min(smallest, largest));
    if (smallest != largest) add(std::max(smallest, largest));
  }
  return series;
}

Series SmoothedSeries(const std::vector<double>& power, double rate, const Axis& axis, double octaves,
                      size_t points) {
  Series series;
  const double binHz = 0.5 * rate / static_cast<double>(power.size() - 1);
  const double half = std::exp2(0.5 * octaves);
  for (const double hz : LogSpaced(axis.low, std::min(axis.high, 0.5 * rate / half), points)) {
    const auto first = static_cast<size_t>(std::lround(hz / half / binHz));
    const auto last = std::min(static_cast<size_t>(std::lround(hz * half / binHz)), power.size() - 1);
    double sum = 0.0;
    for (size_t k = first; k <= last; ++k) sum += power[k];
    series.x.push_back(hz);
    series.y.push_back(PowerDb(sum / static_cast<double>(last - first + 1)));
  }
  return series;
}

}  // namespace Vantora::cli
