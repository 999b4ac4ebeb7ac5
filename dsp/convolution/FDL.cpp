#include "dsp/convolution/FDL.h"

#include <algorithm>

#include "dsp/effects/prims/VectorKernels.h"

namespace Vantora::dsp {
namespace {

constexpr uint64_t kLineFloats = 16;  // of a cache line
// Up to so many floats of spectra a line is short, and summed in one go.
constexpr uint64_t kShort = 8192;
// Floats of all products that are summed before the next ones, so that the sums stay in the nearest cache.
constexpr uint64_t kTile = 4096;

// Room for fftSize + 4 floats. An odd number of lines keeps equal
// bins of different spectra from competing for the same lines of a cache.
constexpr uint64_t SpectrumStride(uint64_t fftSize) {
  const uint64_t lines = (fftSize + 4 + kLineFloats - 1) / kLineFloats;
  return (lines | 1) * kLineFloats;
}

}  // namespace

void FDL::Prepare(uint64_t size, uint64_t count, uint64_t offset, const float* impulse, uint64_t length,
                  const FDL* sharedFrom) {
  partitionSize = size;
  tapOffset = offset;
  fftSize = 2 * size;
  fft =
      sharedFrom != nullptr ? sharedFrom->fft : std::make_shared<prims::FFTPlan>(fftSize, BurstSimdTarget());
  spectrumStride = SpectrumStride(fftSize);
  isShort = count * spectrumStride <= kShort;
  filterSpectra = prims::AlignedBuffer(count * spectrumStride);
  slotSpectra = prims::AlignedBuffer(count * spectrumStride);
  inputBuffer.Resize(fftSize);
  accumulator = prims::AlignedBuffer(isShort ? spectrumStride : fftSize + 4);
  slotSilent.assign(count, 1);
  prims::AlignedBuffer spectrum(spectrumStride);
  for (uint64_t i = 0; i < count; ++i) {
    spectrum.Fill(0.0f);
    const uint64_t first = offset + size * i;
    if (first < length) prims::Copy(impulse + first, spectrum.Data(), std::min(size, length - first));
    fft->ForwardInPlace(spectrum.Data());
    PutSpectrum(spectrum.Data(), filterSpectra, i);
  }
  outputTime = 0;
  Reset();
}

void FDL::Reset() noexcept {
  std::fill(slotSilent.begin(), slotSilent.end(), uint8_t{1});
  head = slotSilent.size() - 1;
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
  if (isShort) {
    fft->Forward(inputBuffer.Data(), accumulator.Data());
    PutSpectrum(accumulator.Data(), slotSpectra, head);
  } else {
    fft->Forward(inputBuffer.Data(), slotSpectra.Data(head * spectrumStride));
  }
  slotSilent[head] = 0;

  if (isCancelled()) return false;
  if (!SumProducts(isCancelled)) return false;
  head = head == 0 ? slotSilent.size() - 1 : head - 1;

  fft->InverseInPlace(accumulator.Data());
  outputRead = 0;
  outputTime = blockTime + tapOffset + timeAdjust;

  if (isCancelled()) return false;
  prims::Copy(inputBuffer.Data(partitionSize), inputBuffer.Data(), partitionSize);
  fillPosition = partitionSize;
  if (count > completing) Append(source, completing, count - completing);
  samplesIn += count;
  return true;
}

void FDL::PutSpectrum(const float* spectrum, prims::AlignedBuffer& spectra, uint64_t index) const noexcept {
  if (!isShort) {
    prims::Copy(spectrum, spectra.Data(index * spectrumStride), spectrumStride);
    return;
  }
  constexpr uint64_t kRow = prims::kSpectrumRow;
  float* row = spectra.Data(index * kRow);
  for (uint64_t i = 0; i < spectrumStride; i += kRow, row += slotSilent.size() * kRow) {
    std::copy_n(spectrum + i, kRow, row);
  }
}

template <typename IsCancelled>
bool FDL::SumProducts(IsCancelled isCancelled) noexcept {
  const uint64_t slots = slotSilent.size();
  if (isShort) {
    // The slots that hold nothing yet are the oldest ones.
    const auto used = static_cast<uint64_t>(std::count(slotSilent.begin(), slotSilent.end(), uint8_t{0}));
    prims::SumSpectra(slotSpectra.Data(), head, filterSpectra.Data(), slots, used, accumulator.Data(),
                      spectrumStride / prims::kSpectrumRow);
    return !isCancelled();
  }
  const uint64_t end = accumulator.Count();
  for (uint64_t from = 0, count = 0; from < end; from += count) {
    count = end - from < 2 * kTile ? end - from : kTile;
    float* sum = accumulator.Data(from);
    prims::MulSpectrum(slotSpectra.Data(head * spectrumStride + from), filterSpectra.Data(from), sum, count);
    std::array<const float*, prims::kSpectra> inputs, filters;
    size_t waiting = 0;
    for (uint64_t i = 1, slot = head; i < slots; ++i) {
      if (++slot == slots) slot = 0;
      if (slotSilent[slot] != 0) continue;
      inputs[waiting] = slotSpectra.Data(slot * spectrumStride + from);
      filters[waiting] = filterSpectra.Data(i * spectrumStride + from);
      if (++waiting < inputs.size()) continue;
      prims::MulAddSpectra(inputs.data(), filters.data(), sum, count);
      waiting = 0;
      if (isCancelled()) return false;
    }
    for (size_t k = 0; k < waiting; ++k) prims::MulAddSpectrum(inputs[k], filters[k], sum, count);
    if (isCancelled()) return false;
  }
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
