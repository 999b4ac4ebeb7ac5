#include "dsp/effects/prims/Oversampler.h"

#include <vector>

#include "dsp/effects/prims/FIRUpDownsampler.h"
#include "dsp/effects/prims/SamplerTaps.h"
#include "dsp/effects/prims/ScalarUpDownsampler.h"

namespace Vantora::prims {

namespace {

constexpr double kReferenceRate = 48000.0;  // Hz, at which the stop bands are stated

bool HasTaps(std::uint32_t factor) { return !DesignSamplerTaps(factor).empty(); }

}  // namespace

Oversampler::Oversampler(std::uint32_t newFactor, std::uint32_t newKind, std::uint32_t /*option*/)
    : factor(newFactor), kind(newKind) {
  if (kind < 2 && HasTaps(factor)) {
    if (kind == 0) chebyshev.Init(factor, 14, 80.0, 28000.0 / kReferenceRate);
    if (kind == 1) chebyshev.Init(factor, 10, 70.0, 30000.0 / kReferenceRate);
    return;
  }
  if (kind == 3) {
    fir = std::make_unique<FIRUpDownsampler>();
  } else {
    fir = std::make_unique<ScalarUpDownsampler>();
  }
  Init(1);
}

void Oversampler::Init(std::uint32_t maxBlockSize) {
  if (fir == nullptr) return chebyshev.Reset();
  const std::vector<float> taps = kind <= 4 ? DesignSamplerTaps(factor) : std::vector<float>();
  fir->Init(factor, taps.data(), static_cast<std::uint32_t>(taps.size()), 1, maxBlockSize);
}

void Oversampler::Upsample(const float* in, float* out, std::uint32_t n) {
  fir ? fir->Upsample(in, out, n) : chebyshev.Upsample(in, out, n);
}

void Oversampler::Downsample(const float* in, float* out, std::uint32_t n) {
  fir ? fir->Downsample(in, out, n) : chebyshev.Downsample(in, out, n);
}

void Oversampler::Reset() { fir ? fir->Reset() : chebyshev.Reset(); }

std::uint32_t Oversampler::GetLatency() const { return fir ? fir->GetLatency() : 0; }

}  // namespace Vantora::prims
