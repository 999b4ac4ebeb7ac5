#include "dsp/convolution/FDLRequest.h"

#include "dsp/convolution/FDLThread.h"
#include "dsp/effects/prims/VectorKernels.h"

namespace Vantora::dsp {

void FDLRequest::Allocate(uint64_t newSize, uint32_t newLine) {
  size = newSize;
  line = newLine;
  const uint64_t stride = (newSize + 3) & ~uint64_t{3};
  samples.Resize(2 * stride);
  channelBuffers = {samples.Data(), samples.Data(stride)};
}

void FDLRequest::Clear() noexcept {
  fill = 0;
  readyTime = startTime = kNoTime;
  SetStale(false);
  SetState(Idle);
}

void FDLRequest::Begin(int64_t time) noexcept {
  startTime = time;
  wasSeen = false;
  SetStale(false);
}

void FDLRequest::Fetch(const float* source, float* destination, uint64_t count) noexcept {
  if (source != nullptr) {
    prims::Copy(source, destination, count);
  } else {
    prims::Zero(destination, count);
  }
}

void FDLRequest::Append(const std::array<const float*, 2>& sources, uint64_t count) noexcept {
  for (size_t c = 0; c < sources.size(); ++c) Fetch(sources[c], channelBuffers[c] + fill, count);
  fill += count;
  // An exchange locks the bus, and most blocks change nothing.
  const State next = fill == size ? Full : Filling;
  if (next != state.Own()) SetState(next);
}

bool FDLRequest::Compute(StereoFDL& stereo, uint64_t inputChannels, uint64_t outputChannels,
                         FDLThread& thread) noexcept {
  resultChannels = outputChannels;
  stereo.isUsed = true;
  SetState(Computing);
  stereo.commandsHeld.fetch_add(1, std::memory_order_relaxed);
  // What is captured fills the place of a command to the last byte.
  const auto work = [&stereo, cancelCounter = &thread.CancelCounter(), this, inputChannels, outputChannels] {
    Run(stereo, cancelCounter, inputChannels, outputChannels);
    stereo.commandsHeld.fetch_sub(1, std::memory_order_release);
  };
  const auto cancel = [&stereo, this] {
    Clear();
    stereo.commandsHeld.fetch_sub(1, std::memory_order_release);
  };
  if (thread.Queue().Enqueue(work, cancel)) return true;
  stereo.commandsHeld.fetch_sub(1, std::memory_order_relaxed);
  Clear();
  return false;
}

void FDLRequest::ComputeHere(StereoFDL& stereo, uint64_t inputChannels, uint64_t outputChannels) noexcept {
  resultChannels = outputChannels;
  stereo.isUsed = true;
  SetState(Computing);
  Run(stereo, nullptr, inputChannels, outputChannels);
}

void FDLRequest::Run(StereoFDL& stereo, const std::atomic<int32_t>* cancelCounter, uint64_t inputChannels,
                     uint64_t outputChannels) noexcept {
  // In this order: whoever asks for a reset this way has raised the counter before, so that a block from
  // before the reset can't take it for its own.
  const bool isResetDue = stereo.resetDue.load(std::memory_order_acquire);
  const auto isCancelled = [cancelCounter] {
    return cancelCounter != nullptr && cancelCounter->load(std::memory_order_acquire) > 0;
  };
  if (isResetDue && !isCancelled()) {
    stereo.resetDue.store(false, std::memory_order_relaxed);
    stereo.Reset();
  }
  for (uint64_t c = 0; c < outputChannels; ++c) {
    FDL& channel = stereo.channels[c];
    if (!isCancelled()) {
      channel.SetInputTime(static_cast<uint64_t>(startTime));
      const float* source = c < inputChannels ? channelBuffers[c] : nullptr;
      if (cancelCounter != nullptr) {
        channel.Push(source, size, *cancelCounter);
      } else {
        channel.Push(source, size);
      }
    }
    readyTime = static_cast<int64_t>(channel.OutputTime());
    if (!isCancelled()) {
      if (const float* result = channel.Take(size)) prims::Copy(result, channelBuffers[c], size);
    }
  }
  if (isCancelled()) {
    Clear();
  } else {
    SetState(Ready);
  }
}

}  // namespace Vantora::dsp
