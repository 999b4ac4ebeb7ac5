#include "dsp/convolution/FDL.h"

#include <algorithm>

#include "dsp/effects/prims/VectorKernels.h"

namespace Vantora::dsp {

void FDL::Prepare(uint64_t size, uint64_t count, uint64_t offset, const float* impulse, uint64_t length) {
  partitionSize = size;
  tapOffset = offset;
  fftSize = 2 * size;
  fft.SetSize(fftSize);
  const uint64_t spectrumLength = fftSize + 4;
  filterSpectra.assign(count, prims::AlignedBuffer());
  slotSpectra.assign(count, prims::AlignedBuffer());
  for (uint64_t i = 0; i < count; ++i) {
    prims::AlignedBuffer& spectrum = filterSpectra[i];
    spectrum.Resize(spectrumLength);
    slotSpectra[i].Resize(spectrumLength);
    const uint64_t first = offset + size * i;
    if (first < length) prims::Copy(impulse + first, spectrum.Data(), std::min(size, length - first));
    fft.ForwardInPlace(spectrum.Data());
  }
  slotSilent.assign(count, 1);
  inputBuffer.Resize(fftSize);
  accumulator.Resize(spectrumLength);
  outputTime = 0;
  Reset();
}

void FDL::Reset() noexcept {
  std::fill(slotSilent.begin(), slotSilent.end(), uint8_t{1});
  head = filterSpectra.size() - 1;
  fillPosition = outputRead = partitionSize;
  samplesIn = timeAdjust = 0;
  inputBuffer.Fill(0.0f);
  accumulator.Fill(0.0f);
}

void FDL::Push(const float* source, uint64_t count) noexcept {
  PushUntil(source, count, [] { return false; });
}

bool FDL::Push(const float* source, uint64_t count, const std::atomic<int32_t>& cancelCounter) noexcept {
  return PushUntil(source, count, [&] { return cancelCounter.load(std::memory_order_acquire) > 0; });
}

void FDL::Append(const float* source, uint64_t offset, uint64_t count) noexcept {
  float* destination = inputBuffer.Data(fillPosition);
  if (source != nullptr) {
    prims::Copy(source + offset, destination, count);
  } else {
    prims::Zero(destination, count);
  }
  fillPosition += count;
}

template <typename IsCancelled>
bool FDL::PushUntil(const float* source, uint64_t count, IsCancelled isCancelled) noexcept {
  if (count > partitionSize) return true;
  if (isCancelled()) return false;
  if (fillPosition + count < fftSize) {
    Append(source, 0, count);
    samplesIn += count;
    return true;
  }
  // The window begins N samples before the block that it completes. Both counts are those before this push.
  const uint64_t blockTime = samplesIn - fillPosition + partitionSize;
  const uint64_t completing = fftSize - fillPosition;
  Append(source, 0, completing);

  if (isCancelled()) return false;
  fft.Forward(inputBuffer.Data(), slotSpectra[head].Data());
  slotSilent[head] = 0;

  if (isCancelled()) return false;
  const uint64_t slots = slotSpectra.size();
  prims::MulSpectrum(slotSpectra[head], filterSpectra[0], accumulator);
  for (uint64_t i = 1, slot = head; i < slots; ++i) {
    if (++slot == slots) slot = 0;
    if (slotSilent[slot] != 0) continue;
    prims::MulAddSpectrum(slotSpectra[slot], filterSpectra[i], accumulator);
    if (isCancelled()) return false;
  }
  head = head == 0 ? slots - 1 : head - 1;

  fft.InverseInPlace(accumulator.Data());
  outputRead = 0;
  outputTime = blockTime + tapOffset + timeAdjust;

  if (isCancelled()) return false;
  prims::Copy(inputBuffer.Data(partitionSize), inputBuffer.Data(), partitionSize);
  fillPosition = partitionSize;
  if (count > completing) Append(source, completing, count - completing);
  samplesIn += count;
  return true;
}

const float* FDL::Take(uint64_t count) noexcept {
  if (partitionSize - outputRead < count) return nullptr;
  const float* result = accumulator.Data(partitionSize + outputRead);
  outputRead += count;
  outputTime += count;
  return result;
}

}  // namespace Vantora::dsp
