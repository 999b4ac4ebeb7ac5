#include "offline/ReverbEffect.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <numbers>
#include <thread>
#include <utility>

#include "basictools/FlushDenormals.h"
#include "host/Format.h"
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
        host::Format("The impulse's rate lies from 1 kHz to 768 kHz, not at {:g} Hz.", impulse.fileRate));
  }
  const auto length = static_cast<double>(impulse.left.size());
  if (impulse.fileRate > 0.0f &&
      length > dsp::kLongestImpulseSeconds * static_cast<double>(impulse.fileRate)) {
    throw host::HostError(host::Format("The impulse has {:.1f} s; {} s are the most.",
                                       length / static_cast<double>(impulse.fileRate),
                                       dsp::kLongestImpulseSeconds));
  }
}

}  // namespace

ModuleKnobs ReverbKnobs() {
  return ModuleKnobs(dsp::ConvolutionReverbKnobs::kRows, "reverb",
                     {dsp::ConvolutionReverb::kWet, dsp::ConvolutionReverb::kPreDelayMs});
}

std::unique_ptr<dsp::ConvolutionReverb> ReverbEffect::MakeEngine(
    const std::shared_ptr<const dsp::Impulse>& samples) {
  auto engine = std::make_unique<dsp::ConvolutionReverb>("Reverb");
  if (samples != nullptr) {
    Check(*samples);
    engine->SetLoader([samples](const std::string&, dsp::Impulse& impulse, std::string&) {
      impulse = *samples;
      return true;
    });
  }
  engine->SetParamInternal(dsp::ConvolutionReverb::kWet, kStartWet);
  for (const auto& [index, value] : settings.values) engine->SetParamInternal(index, value);
  if (!engine->SetImpulseFile(settings.impulse)) {
    throw host::HostError(host::Format("{}: can't be used as an impulse: {}", settings.impulse,
                                       settings.impulse.size() > dsp::ConvolutionReverb::kLongestPath
                                           ? "its path is longer than 256 bytes"
                                           : "libsndfile is missing"));
  }
  return engine;
}

void ReverbEffect::Start(int newRate, int inputChannels, int outputChannels) {
  rate = newRate;
  outputCount = static_cast<uint32_t>(outputChannels);
  const bool isFine = settings.isRealTime || settings.moves != nullptr;
  buffer.Resize(static_cast<uint32_t>(inputChannels), isFine ? kRealTimeBlock : kOfflineBlock);
  framesRun = 0;
  player.reset();
  if (settings.moves) player.emplace(settings.moves->automation, settings.moves->tempo, rate);

  if (settings.samples != nullptr && settings.impulse.empty()) {
    settings.impulse = "impulse";  // the reverb takes an empty name for none
  }
  if (settings.impulse.empty()) throw host::HostError("There is no impulse; name a file or give samples.");
  engines.clear();
  engines.push_back(MakeEngine(settings.samples));
  if (settings.rightSamples != nullptr) engines.push_back(MakeEngine(settings.rightSamples));
  for (auto& channel : second) channel.assign(buffer.BlockSize(), 0.0f);
  PrepareMix();
  uint64_t longest = 0;
  for (const auto& engine : engines) {
    engine->Init(buffer.BlockSize(), static_cast<float>(newRate));
    if (const std::string problem = engine->ImpulseProblem(); !problem.empty())
      throw host::HostError(problem);
    longest = std::max(longest, engine->ImpulseLength());
  }
  LineUp();
  double preDelayMs =
      static_cast<double>(engines.front()->Param(dsp::ConvolutionReverb::kPreDelayMs).GetValue());
  if (settings.moves != nullptr) preDelayMs = 1000.0;  // the most it may be moved to
  constexpr double kMargin = 0.02;                     // the samplers' delay at a reduced rate
  tailSeconds = static_cast<double>(longest) / rate + preDelayMs * 0.001 + kMargin;
}

void ReverbEffect::PrepareMix() {
  wetLatency = 0;
  splitsMix = rate > kFullRate || engines.size() > 1;
  if (!splitsMix) return;
  wet = static_cast<float>(engines.front()->Param(dsp::ConvolutionReverb::kWet).GetValue());
  dryGain = static_cast<float>(std::cos(static_cast<double>(wet) * std::numbers::pi / 2.0));
  wetGain = static_cast<float>(std::sin(static_cast<double>(wet) * std::numbers::pi / 2.0));
  for (const auto& engine : engines) engine->SetParamInternal(dsp::ConvolutionReverb::kWet, 1.0f);
}

void ReverbEffect::Move(uint32_t index, float normalized) {
  static const ModuleKnobs knobs = ReverbKnobs();
  const float value = knobs[index].ToValue(normalized);
  if (splitsMix && index == dsp::ConvolutionReverb::kWet) {
    wet = value;
    return;
  }
  for (const auto& engine : engines) engine->SetParamInternal(index, value);
}

void ReverbEffect::LineUp() {
  if (rate > kFullRate) MeasureLatency();
  for (auto& line : dryLines) line.assign(std::max(wetLatency, 1u), 0.0f);
  dryPlace = 0;
}

void ReverbEffect::MeasureLatency() {
  // The latency is that of the engine under way, which comes with a first block; silence leaves no trace in
  // it.
  constexpr int kMostBlocks = 2000;
  for (int i = 0; i < kMostBlocks && wetLatency == 0; ++i) {
    RunModule();
    wetLatency = engines.front()->WetLatency();
    if (wetLatency == 0 && settings.isRealTime) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void ReverbEffect::MixDry() {
  const uint32_t blockSize = buffer.BlockSize();
  // Within a block in a line to where the mix goes: at rest the steps are 0.
  const double angle = static_cast<double>(wet) * std::numbers::pi / 2.0;
  const float dryStep = (static_cast<float>(std::cos(angle)) - dryGain) / static_cast<float>(blockSize);
  const float wetStep = (static_cast<float>(std::sin(angle)) - wetGain) / static_cast<float>(blockSize);
  for (uint32_t c = 0; c < outputCount; ++c) {
    const float* in = buffer.Input()[buffer.InputChannels() == 2 ? c : 0];
    float* out = buffer.Output()[c];
    size_t place = dryPlace;
    float dry = dryGain, loud = wetGain;
    for (uint32_t i = 0; i < blockSize; ++i) {
      dry += dryStep;
      loud += wetStep;
      const float delayed = wetLatency == 0 ? in[i] : std::exchange(dryLines[c][place], in[i]);
      place = place + 1 >= wetLatency ? 0 : place + 1;
      out[i] = delayed * dry + out[i] * loud;
    }
  }
  dryGain = static_cast<float>(std::cos(angle));
  wetGain = static_cast<float>(std::sin(angle));
  dryPlace = (dryPlace + blockSize) % std::max(wetLatency, 1u);
}

void ReverbEffect::RunBlock() {
  const uint32_t blockSize = buffer.BlockSize();
  if (settings.beforeBlock) settings.beforeBlock(static_cast<double>(framesRun + blockSize) / rate);
  if (player) {
    player->Move(framesRun, blockSize, [this](uint32_t index, float value) { Move(index, value); });
  }
  RunModule();
  if (splitsMix) MixDry();
  framesRun += blockSize;
}

void ReverbEffect::RunModule() {
  const bool isMono = buffer.InputChannels() == 1;
  for (size_t i = 0; i < engines.size(); ++i) {
    float* const left = buffer.Input()[0];
    float* const right = buffer.Input()[isMono ? 0 : 1];
    // True stereo: an engine has one input, and gives it to both of its sides.
    float* const only = i == 0 ? left : right;
    std::array<float*, 2> in{engines.size() == 1 ? left : only, engines.size() == 1 ? right : only};
    std::array<float*, 2> out{i == 0 ? buffer.Output()[0] : second[0].data(),
                              i == 0 ? buffer.Output()[1] : second[1].data()};
    const uint32_t inputCount = engines.size() == 1 ? buffer.InputChannels() : outputCount;
    dsp::ProcessContext context =
        dsp::ProcessContext().WithPorts({in.data(), inputCount}, {out.data(), outputCount});
    context.sampleCount = buffer.BlockSize();
    context.modeIsOne = settings.isRealTime ? 0 : 1;
    const FlushDenormals flushDenormals;
    engines[i]->Process(context);
  }
  if (engines.size() == 1) return;
  for (uint32_t c = 0; c < outputCount; ++c) {
    float* out = buffer.Output()[c];
    for (uint32_t i = 0; i < buffer.BlockSize(); ++i) out[i] += second[c][i];
  }
}

void ReverbEffect::Feed(const float* const* inputs, size_t frames, const Sink& sink) {
  buffer.Feed(inputs, frames, sink, [this] { RunBlock(); });
}

void ReverbEffect::Finish(const Sink& sink) {
  buffer.Finish(sink, [this] { RunBlock(); });
}

}  // namespace Vantora::offline
