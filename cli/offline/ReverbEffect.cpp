#include "cli/offline/ReverbEffect.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <thread>

#include "basictools/FlushDenormals.h"
#include "cli/Failure.h"

namespace Vantora::cli {
namespace {

constexpr size_t kRealTimeBlock = 64, kOfflineBlock = 512;  // frames

}  // namespace

void ReverbEffect::Start(int newRate, int inputChannels, int outputChannels) {
  rate = newRate;
  inputCount = static_cast<size_t>(inputChannels);
  outputCount = static_cast<size_t>(outputChannels);
  blockSize = settings.isRealTime ? kRealTimeBlock : kOfflineBlock;
  for (auto* ports : {&inputs, &outputs}) {
    for (auto& port : *ports) port.assign(blockSize, 0.0f);
  }
  filled = 0;
  framesRun = nonFinite = 0;

  reverb = std::make_unique<dsp::ConvolutionReverb>("Reverb");
  for (const auto& [index, value] : settings.values) reverb->SetParamInternal(index, value);
  if (!reverb->SetImpulseFile(settings.impulse)) {
    throw Failure(fmt::format("{}: can't be used as an impulse: {}", settings.impulse,
                              settings.impulse.size() > dsp::ConvolutionReverb::kLongestPath
                                  ? "its path is longer than 256 bytes"
                                  : "libsndfile is missing"));
  }
  reverb->Init(static_cast<uint32_t>(blockSize), static_cast<float>(newRate));
  if (const std::string problem = reverb->ImpulseProblem(); !problem.empty()) throw Failure(problem);
  const double preDelayMs =
      static_cast<double>(reverb->Param(dsp::ConvolutionReverb::kPreDelayMs).GetValue());
  constexpr double kMargin = 0.02;  // the samplers' delay at a reduced rate
  tailSeconds = static_cast<double>(reverb->ImpulseLength()) / rate + preDelayMs * 0.001 + kMargin;
  begin = std::chrono::steady_clock::now();
}

void ReverbEffect::RunBlock() {
  if (settings.isRealTime) {
    const std::chrono::duration<double> due(static_cast<double>(framesRun + blockSize) / rate);
    std::this_thread::sleep_until(begin + std::chrono::duration_cast<std::chrono::nanoseconds>(due));
  }
  std::array<float*, 2> in{inputs[0].data(), inputs[1].data()}, out{outputs[0].data(), outputs[1].data()};
  dsp::ProcessContext context;
  context.inputs = in.data();
  context.inputCount = static_cast<uint32_t>(inputCount);
  context.outputs = out.data();
  context.outputCount = static_cast<uint32_t>(outputCount);
  context.sampleCount = static_cast<uint32_t>(blockSize);
  context.modeIsOne = settings.isRealTime ? 0 : 1;
  const FlushDenormals flushDenormals;
  reverb->Process(context);
  framesRun += blockSize;
}

void ReverbEffect::Feed(const float* const* source, size_t frames, const Sink& sink) {
  for (size_t done = 0; done < frames;) {
    const size_t count = std::min(frames - done, blockSize - filled);
    for (size_t c = 0; c < inputCount; ++c) {
      for (size_t i = 0; i < count; ++i) {
        float sample = source != nullptr ? source[c][done + i] : 0.0f;
        if (!std::isfinite(sample)) {
          sample = 0.0f;
          ++nonFinite;
        }
        inputs[c][filled + i] = sample;
      }
    }
    filled += count;
    done += count;
    if (filled < blockSize) continue;
    RunBlock();
    filled = 0;
    const std::array<const float*, 2> out{outputs[0].data(), outputs[1].data()};
    sink(out.data(), static_cast<uint32_t>(blockSize));
  }
}

void ReverbEffect::Finish(const Sink& sink) {
  if (const size_t rest = filled; rest > 0) {
    for (auto& port : inputs) std::fill(port.begin() + static_cast<std::ptrdiff_t>(rest), port.end(), 0.0f);
    RunBlock();
    filled = 0;
    const std::array<const float*, 2> out{outputs[0].data(), outputs[1].data()};
    sink(out.data(), static_cast<uint32_t>(rest));
  }
  const dsp::OverloadCounters& overloads = reverb->Overloads();
  if (overloads.IsAllZero()) return;
  fmt::print(
      stderr,
      "prismel: the machine didn't keep up: {} results late, {} of them wholly; {} samples of the tail not "
      "heard; {} samples of input not taken\n",
      static_cast<uint64_t>(overloads.lateResults), static_cast<uint64_t>(overloads.lostResults),
      static_cast<uint64_t>(overloads.lostSamples), static_cast<uint64_t>(overloads.lostInputs));
}

}  // namespace Vantora::cli
