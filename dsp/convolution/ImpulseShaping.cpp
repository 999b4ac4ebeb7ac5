#include "dsp/convolution/ImpulseShaping.h"

#include <libresample.h>

#include <algorithm>
#include <cmath>
#include <gsl/narrow>
#include <memory>
#include <new>

#include "basictools/math/Decibels.h"
#include "dsp/effects/prims/VectorKernels.h"

namespace Vantora::dsp {
namespace {

/// libresample writes through the null that it gets where memory has run out. A state takes two tables of
/// 0.3 MB, a buffer for the input and one of 256 times its size for the output: asked for here, and let go,
/// they are there for it. Throws std::bad_alloc.
void AskForResamplerMemory() {
  constexpr size_t kTables = 1 << 20, kBuffers = 12 << 20;  // bytes
  const std::unique_ptr<char[]> tables(new char[kTables]), buffers(new char[kBuffers]);
}

/// A channel's new length: truncated, at least one sample.
void ScaleLength(std::vector<float>& samples, float factor) {
  const double wanted = static_cast<double>(samples.size()) * static_cast<double>(std::max(0.0f, factor));
  const auto length = static_cast<size_t>(wanted);
  samples.resize(std::max<size_t>(length, 1));
}

/// Five time constants in the hint's time, stretched by
/// 1 / decay, from the hint's start on; at the file's rate.
void ApplyHintedFade(std::vector<float>& samples, const FadeHint& hint, float decay, float fileRate) {
  constexpr float kLongestMs = 20000.0f;
  const float timeMs = std::min(hint.timeMs / decay, kLongestMs);
  const double perSample = -5.0 / (static_cast<double>(timeMs) * 0.001 * static_cast<double>(fileRate));
  const double start = static_cast<double>(hint.startMs) * 0.001 * static_cast<double>(fileRate);
  const size_t first = start > 0.0 ? static_cast<size_t>(start) : 0;
  for (size_t i = first; i < samples.size(); ++i) {
    samples[i] *= static_cast<float>(std::exp(perSample * static_cast<double>(i - first)));
  }
}

void ApplyDecay(std::vector<float>& samples, float decay, double engineRate) {
  const double perSample = (5.0 * static_cast<double>(decay) - 5.0) / engineRate;
  for (size_t i = 0; i < samples.size(); ++i) {
    samples[i] *= static_cast<float>(std::exp(perSample * static_cast<double>(i)));
  }
}

}  // namespace

ImpulseResampler::ImpulseResampler() {
  AskForResamplerMemory();
  fresh = resample_open(1, kLeastFactor, kHighestFactor);
  if (fresh == nullptr) throw std::bad_alloc();
}

ImpulseResampler::~ImpulseResampler() { resample_close(fresh); }

std::vector<float> ImpulseResampler::Run(std::vector<float>& input, double factor, size_t length) const {
  if (length == 0) return {input.front()};
  std::vector<float> output(length);
  const int inputCount = gsl::narrow<int>(input.size()), outputCount = gsl::narrow<int>(length);
  AskForResamplerMemory();
  struct Handle {
    void* state;
    ~Handle() { resample_close(state); }
  } const run{resample_dup(fresh)};
  int consumed = 0, produced = 0;
  while (produced < outputCount) {
    int used = 0;
    const int got = resample_process(run.state, factor, input.data() + consumed, inputCount - consumed, 1,
                                     &used, output.data() + produced, outputCount - produced);
    if (got < 0 || (got == 0 && used == 0)) break;
    consumed += used;
    produced += got;
  }
  return output;
}

uint64_t ChooseRateDivisor(float sampleRate, float limit) {
  if (!(sampleRate > limit) || sampleRate != std::floor(sampleRate) || sampleRate > 1e9f) return 0;
  const auto rate = static_cast<uint64_t>(sampleRate);
  for (const uint64_t divisor : {2u, 4u, 6u, 8u}) {
    if (rate % divisor == 0 && static_cast<float>(rate / divisor) <= limit) return divisor;
  }
  return 0;
}

void ShapeImpulse(Impulse& impulse, const ImpulseShape& shape, const ImpulseResampler& resampler) {
  const std::array<std::vector<float>*, 2> channels{&impulse.left, &impulse.right};
  const double divisor = shape.rateDivisor == 0 ? 1.0 : static_cast<double>(shape.rateDivisor);
  if (shape.lengthFactor != 1.0f) {
    for (auto* channel : channels) {
      if (!channel->empty()) ScaleLength(*channel, shape.lengthFactor);
    }
  }
  const bool isFadeHinted = impulse.fadeHint.isValid && shape.decay != 1.0f;
  if (isFadeHinted) {
    for (auto* channel : channels) ApplyHintedFade(*channel, impulse.fadeHint, shape.decay, impulse.fileRate);
  }

  double ratio = 1.0;
  if (impulse.fileRate > 0.0f) {
    ratio = static_cast<double>(shape.stretch) * static_cast<double>(shape.sampleRate) /
            (static_cast<double>(impulse.fileRate) * divisor);
  }
  if (!(ratio > 0.0)) ratio = ImpulseResampler::kLeastFactor;  // a stretch that is none
  if (ratio != 1.0) {
    const double factor = std::clamp(ratio, ImpulseResampler::kLeastFactor, ImpulseResampler::kHighestFactor);
    for (auto* channel : channels) {
      if (channel->empty()) continue;
      const auto length = static_cast<size_t>(static_cast<double>(channel->size()) * ratio);
      *channel = resampler.Run(*channel, factor, length);
    }
  }

  if (impulse.right.empty()) impulse.right = impulse.left;
  // More samples for the same sound would also be more sound.
  const float gain = DbToGain(shape.gainDb) * static_cast<float>(1.0 / ratio);
  for (auto* channel : channels) prims::Scale(gain, channel->data(), channel->data(), channel->size());
  if (shape.decay != 1.0f && !isFadeHinted) {
    for (auto* channel : channels)
      ApplyDecay(*channel, shape.decay, static_cast<double>(shape.sampleRate) / divisor);
  }
}

}  // namespace Vantora::dsp
