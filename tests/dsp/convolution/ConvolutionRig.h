#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "engine/Module.h"
#include "engine/ProcessContext.h"
#include "tests/support/Signals.h"

namespace Vantora::tests {

using Signal = test::Samples;
using Stereo = std::array<Signal, 2>;

using test::Noise;

/// Sample `index` of the convolution, in double precision and without any transform.
inline double ConvolvedAt(const Signal& input, const Signal& impulse, size_t index) {
  double sum = 0.0;
  const size_t first = index + 1 > input.size() ? index + 1 - input.size() : 0;
  for (size_t k = first; k <= index && k < impulse.size(); ++k) {
    sum += static_cast<double>(impulse[k]) * static_cast<double>(input[index - k]);
  }
  return sum;
}

/// Level of the error against the exact convolution, in dB
/// relative to the exact signal. Looks at `probes` random samples.
inline double ErrorDb(const Signal& output, const Signal& input, const Signal& impulse, size_t probes = 300,
                      uint32_t seed = 1) {
  std::mt19937 generator(seed);
  std::uniform_int_distribution<size_t> position(0, output.size() - 1);
  double error = 0.0, power = 0.0;
  for (size_t i = 0; i < probes; ++i) {
    const size_t at = i < 2 ? i * (output.size() - 1) : position(generator);
    const double exact = ConvolvedAt(input, impulse, at);
    error += std::pow(static_cast<double>(output[at]) - exact, 2.0);
    power += exact * exact;
  }
  return error == 0.0 ? -400.0 : 10.0 * std::log10(error / (power > 0.0 ? power : 1e-30));
}

/// Feeds a module block by block. A call of `nextBlock` says how long the next one is.
template <typename NextBlock>
Stereo RunBlocks(dsp::Module& module, const Stereo& input, size_t outputCount, NextBlock nextBlock,
                 bool offline = false) {
  const size_t length = input[0].size();
  Stereo output{Signal(length), Signal(outputCount == 2 ? length : 0)};
  for (size_t done = 0; done < length;) {
    const size_t count = std::min<size_t>(nextBlock(), length - done);
    std::array<float*, 2> inputs{const_cast<float*>(input[0].data()) + done, nullptr};
    if (!input[1].empty()) inputs[1] = const_cast<float*>(input[1].data()) + done;
    std::array<float*, 2> outputs{output[0].data() + done,
                                  outputCount == 2 ? output[1].data() + done : nullptr};
    dsp::ProcessContext context = dsp::ProcessContext().WithPorts({inputs.data(), input[1].empty() ? 1u : 2u},
                                                                  {outputs.data(), outputCount});
    context.sampleCount = static_cast<uint32_t>(count);
    context.modeIsOne = offline ? 1 : 0;
    module.Process(context);
    done += count;
  }
  return output;
}

/// Block lengths from 0 to `most`, the same ones for the same seed.
class RandomBlocks {
 public:
  RandomBlocks(uint32_t most, uint32_t seed) : generator(seed), length(0, most) {}
  size_t operator()() { return length(generator); }

 private:
  std::mt19937 generator;
  std::uniform_int_distribution<size_t> length;
};

}  // namespace Vantora::tests
