#include "dsp/convolution/DirectFIR.h"

#include <algorithm>

#include "dsp/effects/prims/VectorKernels.h"

namespace Vantora::dsp {
namespace {

constexpr uint64_t kPartition = 128;     // taps of the direct part of a long kernel, and of each partition
constexpr uint64_t kLeastForLine = 256;  // taps from which on the line pays

}  // namespace

DirectFIR::DirectFIR(const float* left, uint64_t leftCount, const float* right, uint64_t rightCount,
                     uint64_t taps, bool useMonoKernel)
    : tapCount(taps), monoKernel(useMonoKernel) {
  hasLine = taps >= kLeastForLine;
  directCount = hasLine ? kPartition : std::max<uint64_t>(taps, 1);
  const std::array<const float*, 2> sources{left, monoKernel ? left : right};
  const std::array<uint64_t, 2> lengths{std::min(taps, leftCount),
                                        std::min(taps, monoKernel ? leftCount : rightCount)};
  for (size_t c = 0; c < channels.size(); ++c) {
    Channel& channel = channels[c];
    channel.reversedTaps.Resize(directCount);
    for (uint64_t k = 0, end = std::min(directCount, lengths[c]); k < end; ++k) {
      channel.reversedTaps[directCount - 1 - k] = sources[c][k];
    }
    if (hasLine) {
      const uint64_t partitions = (taps - directCount + kPartition - 1) / kPartition;
      channel.line.Prepare(kPartition, partitions, directCount, sources[c], lengths[c]);
    }
  }
  Configure(1);
}

void DirectFIR::Configure(uint32_t maxBlockSize) {
  maxSegment = std::max(maxBlockSize, 1u);
  for (Channel& channel : channels) channel.delay.Resize(directCount - 1 + maxSegment);
  Reset();
}

void DirectFIR::Reset() noexcept {
  lineFill = 0;
  for (Channel& channel : channels) ResetChannel(channel);
}

void DirectFIR::ResetChannel(Channel& channel) noexcept {
  channel.isIdle = false;
  channel.delay.Fill(0.0f);
  if (!hasLine) return;
  channel.line.Reset();
  channel.line.Push(nullptr, lineFill);
}

void DirectFIR::Process(const std::array<const float*, 2>& inputs, const std::array<float*, 2>& outputs,
                        uint32_t count) noexcept {
  const bool isMono = inputs[1] == nullptr;
  const size_t used = outputs[1] != nullptr ? 2 : 1;
  const bool isCopied = used == 2 && isMono && monoKernel;
  const bool isSecondIdle = used == 1 || isCopied;
  if (channels[1].isIdle && !isSecondIdle) ResetChannel(channels[1]);
  channels[1].isIdle = isSecondIdle;
  for (uint32_t done = 0; done < count;) {
    uint32_t segment = std::min(count - done, maxSegment);
    if (hasLine) segment = std::min(segment, static_cast<uint32_t>(kPartition) - lineFill);
    // Both channels take their input before either writes: an output may be one of the inputs.
    for (size_t c = 0; c < used; ++c) {
      const float* input = inputs[isMono ? 0 : c];
      float* block = channels[c].delay.Data(directCount - 1);
      if (input != nullptr) {
        prims::Copy(input + done, block, segment);
      } else {
        prims::Zero(block, segment);
      }
    }
    ProcessChannel(channels[0], outputs[0] + done, segment);
    if (used == 2) {
      if (isCopied) {
        prims::Copy(outputs[0] + done, outputs[1] + done, segment);
      } else {
        ProcessChannel(channels[1], outputs[1] + done, segment);
      }
    }
    if (hasLine) lineFill = (lineFill + segment) % static_cast<uint32_t>(kPartition);
    done += segment;
  }
}

void DirectFIR::ProcessChannel(Channel& channel, float* out, uint32_t count) noexcept {
  prims::Fir(channel.reversedTaps.Data(), directCount, channel.delay.Data(), out, count);
  if (hasLine) {
    if (const float* result = channel.line.Take(count)) prims::Add(result, out, count);
    channel.line.Push(channel.delay.Data(directCount - 1), count);
  }
  prims::Move(channel.delay.Data(count), channel.delay.Data(), directCount - 1);
}

}  // namespace Vantora::dsp
