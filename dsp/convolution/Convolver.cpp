#include "dsp/convolution/Convolver.h"

#include <algorithm>
#include <numeric>

#include "dsp/effects/prims/SamplerTaps.h"
#include "dsp/effects/prims/VectorKernels.h"

namespace Vantora::dsp {

Convolver::Convolver(const Impulse& impulse, const PartitionSchedule& schedule, uint64_t divisor)
    : engine(impulse.left.data(), impulse.left.size(), impulse.right.data(), impulse.right.size(), schedule),
      rateDivisor(divisor) {}

void Convolver::Configure(uint32_t maxBlockSize, float sampleRate) {
  if (rateDivisor == 0) {
    engine.Configure(maxBlockSize, sampleRate);
    return;
  }
  const auto factor = static_cast<uint32_t>(rateDivisor);
  const uint32_t lowBlock = (maxBlockSize + factor - 1) / factor;
  const std::vector<float> taps = prims::DesignSamplerTaps(factor);
  for (Channel& channel : channels) {
    for (prims::FIRUpDownsampler* sampler : {&channel.down, &channel.up}) {
      sampler->Init(factor, taps.data(), static_cast<uint32_t>(taps.size()), 1, lowBlock);
    }
    channel.carried.Resize(factor + maxBlockSize);
    channel.low.Resize(lowBlock);
    channel.queued.Resize(2 * (maxBlockSize + 4 * factor));
  }
  engine.Configure(lowBlock, sampleRate / static_cast<float>(factor));
  ClearSamplers();
}

void Convolver::Reset() {
  engine.ResetState(true);
  if (rateDivisor != 0) ClearSamplers();
}

void Convolver::ClearSamplers() noexcept {
  carriedCount = shortfall = 0;
  queuedCount = Priming();
  for (Channel& channel : channels) {
    channel.down.Reset();
    channel.up.Reset();
    channel.carried.Fill(0.0f);
    channel.queued.Fill(0.0f);
  }
}

uint32_t Convolver::Priming() const noexcept {
  return static_cast<uint32_t>(rateDivisor - std::gcd(rateDivisor, uint64_t{4}));
}

uint32_t Convolver::Latency() const noexcept {
  if (rateDivisor == 0) return 0;
  return channels[0].down.GetLatency() * static_cast<uint32_t>(rateDivisor) + Priming() + shortfall;
}

void Convolver::RunEngine(const std::array<float*, 2>& inputs, const std::array<float*, 2>& outputs,
                          uint32_t count) {
  std::array<float*, 2> in = inputs, out = outputs;
  ProcessContext context = ProcessContext().WithPorts({in.data(), in[1] != nullptr ? 2u : 1u},
                                                      {out.data(), out[1] != nullptr ? 2u : 1u});
  context.sampleCount = count;
  engine.Process(context);
}

void Convolver::Process(const std::array<float*, 2>& inputs, const std::array<float*, 2>& outputs,
                        uint32_t count) {
  if (rateDivisor == 0) {
    RunEngine(inputs, outputs, count);
    return;
  }
  const auto factor = static_cast<uint32_t>(rateDivisor);
  const size_t inputChannels = inputs[1] != nullptr ? 2 : 1, outputChannels = outputs[1] != nullptr ? 2 : 1;
  const uint32_t present = carriedCount + count, groups = present / factor, left = present % factor;
  std::array<float*, 2> low{};
  for (size_t c = 0; c < inputChannels; ++c) {
    Channel& channel = channels[c];
    prims::Copy(inputs[c], channel.carried.Data(carriedCount), count);
    channel.down.Downsample(channel.carried.Data(), channel.low.Data(), groups);
    prims::Move(channel.carried.Data(size_t{groups} * factor), channel.carried.Data(), left);
    low[c] = channel.low.Data();
  }
  carriedCount = left;

  RunEngine(low, {channels[0].low.Data(), outputChannels == 2 ? channels[1].low.Data() : nullptr}, groups);

  const uint32_t fresh = groups * factor;
  const uint32_t missing = count > queuedCount + fresh ? count - queuedCount - fresh : 0;
  for (size_t c = 0; c < outputChannels; ++c) {
    Channel& channel = channels[c];
    channel.up.Upsample(channel.low.Data(), channel.queued.Data(queuedCount), groups);
    prims::Zero(outputs[c], missing);
    prims::Copy(channel.queued.Data(), outputs[c] + missing, count - missing);
    prims::Move(channel.queued.Data(count - missing), channel.queued.Data(),
                queuedCount + fresh + missing - count);
  }
  queuedCount = queuedCount + fresh + missing - count;
  shortfall += missing;
}

}  // namespace Vantora::dsp
