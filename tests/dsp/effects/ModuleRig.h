#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

#include "engine/UnitModule.h"

namespace Vantora::dsp {

using Samples = std::vector<float>;

/// ModuleRig: runs a module over whole signals in blocks, with buffers of its own for every port.
class ModuleRig {
 public:
  ModuleRig(Module& subject, uint32_t inputs, uint32_t outputs, float sampleRate = 48000.0f,
            uint32_t blockSize = 48)
      : module(subject),
        block(blockSize),
        in(inputs, Samples(blockSize + 1)),
        out(outputs, Samples(blockSize)) {
    for (Samples& port : in) inputPorts.push_back(port.data() + 1);
    for (Samples& port : out) outputPorts.push_back(port.data());
    // Control ports are dead until a test says otherwise.
    for (uint32_t i = 2; i < inputs; ++i) inputPorts[i] = nullptr;
    module.Init(block, sampleRate);
  }

  /// Makes control port `port` live with this value.
  void Control(uint32_t port, float value) {
    std::fill(in[port].begin(), in[port].end(), value);
    in[port][0] = kLiveMark;
    inputPorts[port] = in[port].data() + 1;
  }
  void Disconnect(uint32_t port) { inputPorts[port] = nullptr; }
  float** Inputs() { return inputPorts.data(); }
  float** Outputs() { return outputPorts.data(); }

  /// One block with whatever the ports hold.
  uint32_t ProcessBlock(uint32_t count) {
    ProcessContext context;
    context.inputs = inputPorts.data();
    context.outputs = outputPorts.data();
    context.inputCount = static_cast<uint32_t>(inputPorts.size());
    context.outputCount = static_cast<uint32_t>(outputPorts.size());
    context.sampleCount = count;
    return module.Process(context);
  }

  /// The same signal on both audio inputs; returns output `port`.
  Samples Run(const Samples& signal, uint32_t port = 0) { return Run(signal, signal, port); }

  Samples Run(const Samples& left, const Samples& right, uint32_t port = 0) {
    Samples result(left.size());
    for (size_t at = 0; at < left.size(); at += block) {
      const auto count = static_cast<uint32_t>(std::min<size_t>(block, left.size() - at));
      std::copy_n(left.begin() + static_cast<ptrdiff_t>(at), count, in[0].begin() + 1);
      std::copy_n(right.begin() + static_cast<ptrdiff_t>(at), count, in[1].begin() + 1);
      ProcessBlock(count);
      std::copy_n(out[port].begin(), count, result.begin() + static_cast<ptrdiff_t>(at));
    }
    return result;
  }

 private:
  Module& module;
  uint32_t block;
  std::vector<Samples> in;  // each with a mark in front
  std::vector<Samples> out;
  std::vector<float*> inputPorts;
  std::vector<float*> outputPorts;
};

inline Samples Impulse(size_t length) {
  Samples x(length);
  x[0] = 1.0f;
  return x;
}

inline Samples Sine(size_t length, double hz, double sampleRate, double amplitude = 1.0) {
  Samples x(length);
  for (size_t i = 0; i < length; ++i) {
    x[i] = static_cast<float>(amplitude *
                              std::sin(2.0 * std::numbers::pi * hz * static_cast<double>(i) / sampleRate));
  }
  return x;
}

inline Samples Noise(size_t length, uint32_t seed, float amplitude = 1.0f) {
  std::minstd_rand draw(seed);
  std::uniform_real_distribution<float> level(-amplitude, amplitude);
  Samples x(length);
  for (float& sample : x) sample = level(draw);
  return x;
}

/// Spectrum of an impulse response at one frequency.
inline std::complex<double> ResponseAt(const Samples& impulse, double hz, double sampleRate) {
  std::complex<double> sum = 0.0;
  const double w = 2.0 * std::numbers::pi * hz / sampleRate;
  for (size_t i = 0; i < impulse.size(); ++i)
    sum += double{impulse[i]} * std::polar(1.0, -w * static_cast<double>(i));
  return sum;
}

inline double Rms(const Samples& x, size_t from = 0) {
  double sum = 0.0;
  for (size_t i = from; i < x.size(); ++i) sum += double{x[i]} * double{x[i]};
  return std::sqrt(sum / static_cast<double>(x.size() - from));
}

inline double Decibels(double gain) { return 20.0 * std::log10(gain); }

}  // namespace Vantora::dsp
