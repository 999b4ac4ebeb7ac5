#include "host/BlockCollector.h"

#include <algorithm>
#include <cmath>

#include "host/HostError.h"

namespace Vantora::host {

BlockCollector::BlockCollector(HostedProcessor& hosted, uint32_t inputChannels, uint32_t outputChannels)
    : processor(hosted),
      inputCount(inputChannels),
      outputCount(outputChannels),
      blockSize(hosted.BlockSize()),
      meters(hosted) {
  if (!processor.IsInitialised())
    throw HostError("The processor must be initialised before a stream can begin.");
  if (inputCount < 1 || inputCount > 2 || outputCount < 1 || outputCount > 2) {
    throw HostError("The processor takes one or two channels, not " + std::to_string(inputCount) +
                    " in and " + std::to_string(outputCount) + " out.");
  }
  storage.assign(size_t{4} * blockSize, 0.0f);
  for (size_t channel = 0; channel < 2; ++channel) {
    input[channel] = storage.data() + channel * blockSize;
    output[channel] = storage.data() + (2 + channel) * blockSize;
  }
}

void BlockCollector::Take(const float* const* source, size_t offset, uint32_t count) {
  uint64_t replaced = 0;
  for (uint32_t channel = 0; channel < inputCount; ++channel) {
    float* to = input[channel] + fill;
    if (source == nullptr || source[channel] == nullptr) {
      std::fill_n(to, count, 0.0f);
      continue;
    }
    const float* from = source[channel] + offset;
    for (uint32_t i = 0; i < count; ++i) {
      const bool isFinite = std::isfinite(from[i]);
      to[i] = isFinite ? from[i] : 0.0f;
      replaced += isFinite ? 0 : 1;
    }
  }
  if (replaced != 0) nonFiniteCount.fetch_add(replaced, std::memory_order_relaxed);
  fill += count;
}

void BlockCollector::RunBlock() {
  if (listener != nullptr) listener->BeforeBlock(processor, position, blockSize);
  queue.TakeDue(position, position + blockSize,
                [this](uint32_t index, float normalized) { processor.Set(index, normalized); });
  processor.Process(input.data(), inputCount, output.data(), outputCount, blockSize);
  meters.Update(processor);
  position += blockSize;
  fill = 0;
}

LiveCollector::LiveCollector(HostedProcessor& hosted, uint32_t inputChannels, uint32_t outputChannels)
    : BlockCollector(hosted, inputChannels, outputChannels) {
  processor.GetTransport().isOffline = false;
}

void LiveCollector::Process(const float* const* inputs, float* const* outputs, size_t sampleCount) {
  for (size_t done = 0; done < sampleCount;) {
    const uint32_t from = fill;
    const auto count = static_cast<uint32_t>(std::min<size_t>(sampleCount - done, blockSize - fill));
    Take(inputs, done, count);  // all channels in before any goes out: the buffers may be the same
    for (uint32_t channel = 0; channel < outputCount; ++channel) {
      if (outputs[channel] != nullptr) std::copy_n(output[channel] + from, count, outputs[channel] + done);
    }
    if (fill == blockSize) RunBlock();
    done += count;
  }
}

void LiveCollector::SetTransport(double tempo, bool isPlaying, double songPosition) {
  const double quartersPerSample =
      isPlaying ? tempo / (60.0 * static_cast<double>(processor.SampleRate())) : 0.0;
  Transport& transport = processor.GetTransport();
  transport.tempo = tempo;
  transport.isPlaying = isPlaying;
  transport.songPosition = songPosition - fill * quartersPerSample;
}

void LiveCollector::Flush() {
  fill = 0;
  for (float* channel : output) std::fill_n(channel, blockSize, 0.0f);
}

FileCollector::FileCollector(HostedProcessor& hosted, uint32_t inputChannels, uint32_t outputChannels)
    : BlockCollector(hosted, inputChannels, outputChannels) {
  processor.GetTransport().isOffline = true;
}

void FileCollector::Feed(const float* const* inputs, size_t sampleCount, const Sink& sink) {
  for (size_t done = 0; done < sampleCount;) {
    const auto count = static_cast<uint32_t>(std::min<size_t>(sampleCount - done, blockSize - fill));
    Take(inputs, done, count);
    done += count;
    if (fill < blockSize) continue;
    RunBlock();
    sink(output.data(), blockSize);
  }
}

void FileCollector::Finish(const Sink& sink) {
  const uint32_t wanted = fill;
  if (wanted == 0) return;
  Take(nullptr, 0, blockSize - fill);
  RunBlock();
  sink(output.data(), wanted);
}

}  // namespace Vantora::host
