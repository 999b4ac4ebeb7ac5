#include "dsp/convolution/DirectFIR.h"

#include <algorithm>

#include "dsp/effects/prims/VectorKernels.h"

namespace Vantora::dsp {
namespace {

constexpr uint32_t kDirect = 128;        // taps of the direct part of a long kernel
constexpr uint64_t kLeastForLine = 256;  // taps from which on lines pay
constexpr uint64_t kGrowth = 16;         // of the partitions from line to line
constexpr uint64_t kPartitions = 15;     // of each line but the last, which brings the next one to its place
constexpr uint32_t kLongest = 2048;      // taps of a partition

}  // namespace

DirectFIR::DirectFIR(const float* left, uint64_t leftCount, const float* right, uint64_t rightCount,
                     uint64_t taps, bool useMonoKernel)
    : tapCount(taps), monoKernel(useMonoKernel) {
  hasLines = taps >= kLeastForLine;
  directCount = hasLines ? kDirect : std::max<uint64_t>(taps, 1);
  const std::array<const float*, 2> sources{left, monoKernel ? left : right};
  const std::array<uint64_t, 2> lengths{std::min(taps, leftCount),
                                        std::min(taps, monoKernel ? leftCount : rightCount)};
  for (size_t c = 0; c < channels.size(); ++c) {
    Channel& channel = channels[c];
    channel.reversedTaps.Resize(directCount);
    for (uint64_t k = 0, end = std::min(directCount, lengths[c]); k < end; ++k) {
      channel.reversedTaps[directCount - 1 - k] = sources[c][k];
    }
    if (hasLines) PrepareLines(c, sources[c], lengths[c]);
  }
  Configure(1);
}

void DirectFIR::PrepareLines(size_t channel, const float* impulse, uint64_t length) {
  std::vector<FDL>& lines = channels[channel].lines;
  uint64_t size = kDirect, offset = directCount;
  while (offset < tapCount) {
    // A longer partition must be filled by half, or it costs more than the shorter ones.
    const uint64_t wanted = (tapCount - offset + size - 1) / size;
    const bool goesOn = size < kLongest && tapCount > offset + kPartitions * size + kGrowth * size / 2;
    const uint64_t partitions = goesOn ? kPartitions : wanted;
    const FDL* shared = channel == 0 ? nullptr : &channels[0].lines[lines.size()];
    lines.emplace_back().Prepare(size, partitions, offset, impulse, length, shared);
    offset += partitions * size;
    size *= kGrowth;
  }
}

void DirectFIR::Configure(uint32_t maxBlockSize) {
  maxSegment = std::max(maxBlockSize, 1u);
  for (Channel& channel : channels) channel.delay.Resize(directCount - 1 + maxSegment);
  Reset();
}

void DirectFIR::Reset() noexcept {
  position = 0;
  for (size_t c = 0; c < channels.size(); ++c) ResetChannel(c);
}

void DirectFIR::ResetChannel(size_t index) noexcept {
  Channel& channel = channels[index];
  channel.isIdle = false;
  channel.delay.Fill(0.0f);
  for (FDL& line : channel.lines) {
    const uint64_t size = line.PartitionSize();
    const uint64_t lead = index == 1 && size > kDirect ? size / 2 : 0;
    line.Reset();
    line.Push(nullptr, (position + lead) % size);
  }
}

void DirectFIR::Process(const std::array<const float*, 2>& inputs, const std::array<float*, 2>& outputs,
                        uint32_t count) noexcept {
  const bool isMono = inputs[1] == nullptr;
  const size_t used = outputs[1] != nullptr ? 2 : 1;
  const bool isCopied = used == 2 && isMono && monoKernel;
  const bool isSecondIdle = used == 1 || isCopied;
  if (channels[1].isIdle && !isSecondIdle) ResetChannel(1);
  channels[1].isIdle = isSecondIdle;
  for (uint32_t done = 0; done < count;) {
    uint32_t segment = std::min(count - done, maxSegment);
    if (hasLines) segment = std::min(segment, kDirect - position % kDirect);
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
    position = (position + segment) % kLongest;
    done += segment;
  }
}

void DirectFIR::ProcessChannel(Channel& channel, float* out, uint32_t count) noexcept {
  prims::Fir(channel.reversedTaps.Data(), directCount, channel.delay.Data(), out, count);
  for (FDL& line : channel.lines) {
    if (const float* result = line.Take(count)) prims::Add(result, out, count);
    line.Push(channel.delay.Data(directCount - 1), count);
  }
  prims::Move(channel.delay.Data(count), channel.delay.Data(), directCount - 1);
}

}  // namespace Vantora::dsp
