#include "host/BlockCollector.h"

#include <algorithm>
#include <limits>

#include "host/HostError.h"

namespace Vantora::host {

BlockCollector::BlockCollector(HostedProcessor& hosted, uint32_t inputChannels, uint32_t outputChannels)
    : processor(hosted), outputCount(outputChannels), latest(hosted.ParameterCount()), meters(hosted) {
  if (!processor.IsInitialised())
    throw HostError("The processor must be initialised before a stream can begin.");
  if (inputChannels < 1 || inputChannels > 2 || outputCount < 1 || outputCount > 2) {
    throw HostError("The processor takes one or two channels, not " + std::to_string(inputChannels) +
                    " in and " + std::to_string(outputCount) + " out.");
  }
  buffer.Resize(inputChannels, hosted.BlockSize());
}

void BlockCollector::RunBlock() {
  const uint32_t blockSize = buffer.BlockSize();
  if (listener != nullptr) listener->BeforeBlock(processor, position, blockSize);
  if (latest.IsWaiting() || queue.IsWaiting()) WriteDue(position, position + blockSize);
  processor.Process(buffer.Input(), buffer.InputChannels(), buffer.Output(), outputCount, blockSize);
  if (isMetering) meters.Update(processor);
  position += blockSize;
}

void BlockCollector::WriteDue(uint64_t begin, uint64_t end) {
  const auto write = [this](uint32_t index, float normalized) { processor.Set(index, normalized); };
  latest.Take(write);
  queue.TakeDue(begin, end, write);
}

void BlockCollector::WriteAllWaiting() { WriteDue(0, std::numeric_limits<uint64_t>::max()); }

LiveCollector::LiveCollector(HostedProcessor& hosted, uint32_t inputChannels, uint32_t outputChannels)
    : BlockCollector(hosted, inputChannels, outputChannels) {}

void LiveCollector::Process(const float* const* inputs, float* const* outputs, size_t sampleCount) {
  buffer.Exchange(inputs, outputs, outputCount, sampleCount, [this] { RunBlock(); });
}

void LiveCollector::SetTransport(double tempo, bool isPlaying, double songPosition) {
  Transport& transport = processor.GetTransport();
  transport.tempo = tempo;
  transport.isPlaying = isPlaying;
  processor.SetSongPosition(songPosition, buffer.Fill());
}

void LiveCollector::Flush() {
  buffer.Restart();
  buffer.ClearOutput();
}

void LiveCollector::Reset() {
  WriteAllWaiting();
  processor.Panic();
  Flush();
  position = 0;
}

FileCollector::FileCollector(HostedProcessor& hosted, uint32_t inputChannels, uint32_t outputChannels)
    : BlockCollector(hosted, inputChannels, outputChannels) {}

void FileCollector::Feed(const float* const* inputs, size_t sampleCount, const Sink& sink) {
  buffer.Feed(inputs, sampleCount, sink, [this] { RunBlock(); });
}

void FileCollector::Finish(const Sink& sink) {
  buffer.Finish(sink, [this] { RunBlock(); });
}

}  // namespace Vantora::host
