#include "offline/ReverbEffect.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <numbers>
#include <thread>
#include <utility>

#include "basictools/FlushDenormals.h"
#include "host/HostError.h"

namespace Vantora::offline {
namespace {

constexpr uint32_t kRealTimeBlock = 64, kOfflineBlock = 512;  // frames
constexpr float kStartWet = 0.5f;
constexpr double kFullRate = 48000.0;  // Hz; above it the module runs at a reduced rate

/// The same as a file must be.
void Check(const dsp::Impulse& impulse) {
  const auto isFinite = [](float sample) { return std::isfinite(sample); };
  if (impulse.left.empty()) throw host::HostError("The impulse has no samples; give one or more.");
  if (!std::all_of(impulse.left.begin(), impulse.left.end(), isFinite) ||
      !std::all_of(impulse.right.begin(), impulse.right.end(), isFinite)) {
    throw host::HostError("The impulse has a sample that isn't finite; only finite ones can be used.");
  }
  if (impulse.fileRate > 0.0f && (impulse.fileRate < 1000.0f || impulse.fileRate > 768000.0f)) {
    throw host::HostError(
        fmt::format("The impulse's rate lies from 1 kHz to 768 kHz, not at {:g} Hz.", impulse.fileRate));
  }
  const auto length = static_cast<double>(impulse.left.size());
  if (impulse.fileRate > 0.0f &&
      length > dsp::kLongestImpulseSeconds * static_cast<double>(impulse.fileRate)) {
    throw host::HostError(fmt::format("The impulse has {:.1f} s; {} s are the most.",
                                      length / static_cast<double>(impulse.fileRate),
                                      dsp::kLongestImpulseSeconds));
  }
}

}  // namespace

ModuleKnobs ReverbKnobs() { return ModuleKnobs(dsp::ConvolutionReverbKnobs::kRows); }

void ReverbEffect::Start(int newRate, int inputChannels, int outputChannels) {
  rate = newRate;
  outputCount = static_cast<uint32_t>(outputChannels);
  buffer.Resize(static_cast<uint32_t>(inputChannels), settings.isRealTime ? kRealTimeBlock : kOfflineBlock);
  framesRun = 0;

  reverb = std::make_unique<dsp::ConvolutionReverb>("Reverb");
  if (settings.samples != nullptr) {
    Check(*settings.samples);
    if (settings.impulse.empty()) settings.impulse = "impulse";  // the reverb takes an empty name for none
    reverb->SetLoader([samples = settings.samples](const std::string&, dsp::Impulse& impulse, std::string&) {
      impulse = *samples;
      return true;
    });
  }
  if (settings.impulse.empty()) throw host::HostError("There is no impulse; name a file or give samples.");
  reverb->SetParamInternal(dsp::ConvolutionReverb::kWet, kStartWet);
  for (const auto& [index, value] : settings.values) reverb->SetParamInternal(index, value);
  if (!reverb->SetImpulseFile(settings.impulse)) {
    throw host::HostError(fmt::format("{}: can't be used as an impulse: {}", settings.impulse,
                                      settings.impulse.size() > dsp::ConvolutionReverb::kLongestPath
                                          ? "its path is longer than 256 bytes"
                                          : "libsndfile is missing"));
  }
  PrepareMix();
  reverb->Init(buffer.BlockSize(), static_cast<float>(newRate));
  if (const std::string problem = reverb->ImpulseProblem(); !problem.empty()) throw host::HostError(problem);
  LineUp();
  const double preDelayMs =
      static_cast<double>(reverb->Param(dsp::ConvolutionReverb::kPreDelayMs).GetValue());
  constexpr double kMargin = 0.02;  // the samplers' delay at a reduced rate
  tailSeconds = static_cast<double>(reverb->ImpulseLength()) / rate + preDelayMs * 0.001 + kMargin;
}

void ReverbEffect::PrepareMix() {
  wetLatency = 0;
  splitsMix = rate > kFullRate;
  if (!splitsMix) return;
  const double angle =
      static_cast<double>(reverb->Param(dsp::ConvolutionReverb::kWet).GetValue()) * std::numbers::pi / 2.0;
  dryGain = static_cast<float>(std::cos(angle));
  wetGain = static_cast<float>(std::sin(angle));
  reverb->SetParamInternal(dsp::ConvolutionReverb::kWet, 1.0f);
}

void ReverbEffect::LineUp() {
  if (!splitsMix) return;
  // The latency is that of the engine under way, which comes with a first block; silence leaves no trace in
  // it.
  constexpr int kMostBlocks = 2000;
  for (int i = 0; i < kMostBlocks && wetLatency == 0; ++i) {
    RunModule();
    wetLatency = reverb->WetLatency();
    if (wetLatency == 0 && settings.isRealTime) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  for (auto& line : dryLines) line.assign(std::max(wetLatency, 1u), 0.0f);
  dryPlace = 0;
}

void ReverbEffect::MixDry() {
  const uint32_t blockSize = buffer.BlockSize();
  for (uint32_t c = 0; c < outputCount; ++c) {
    const float* in = buffer.Input()[buffer.InputChannels() == 2 ? c : 0];
    float* out = buffer.Output()[c];
    size_t place = dryPlace;
    for (uint32_t i = 0; i < blockSize; ++i) {
      const float delayed = wetLatency == 0 ? in[i] : std::exchange(dryLines[c][place], in[i]);
      place = place + 1 >= wetLatency ? 0 : place + 1;
      out[i] = delayed * dryGain + out[i] * wetGain;
    }
  }
  dryPlace = (dryPlace + blockSize) % std::max(wetLatency, 1u);
}

void ReverbEffect::RunBlock() {
  const uint32_t blockSize = buffer.BlockSize();
  if (settings.beforeBlock) settings.beforeBlock(static_cast<double>(framesRun + blockSize) / rate);
  RunModule();
  if (splitsMix) MixDry();
  framesRun += blockSize;
}

void ReverbEffect::RunModule() {
  std::array<float*, 2> in{buffer.Input()[0], buffer.Input()[1]};
  std::array<float*, 2> out{buffer.Output()[0], buffer.Output()[1]};
  dsp::ProcessContext context =
      dsp::ProcessContext().WithPorts({in.data(), buffer.InputChannels()}, {out.data(), outputCount});
  context.sampleCount = buffer.BlockSize();
  context.modeIsOne = settings.isRealTime ? 0 : 1;
  const FlushDenormals flushDenormals;
  reverb->Process(context);
}

void ReverbEffect::Feed(const float* const* inputs, size_t frames, const Sink& sink) {
  buffer.Feed(inputs, frames, sink, [this] { RunBlock(); });
}

void ReverbEffect::Finish(const Sink& sink) {
  buffer.Finish(sink, [this] { RunBlock(); });
}

}  // namespace Vantora::offline
