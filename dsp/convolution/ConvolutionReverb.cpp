#include "dsp/convolution/ConvolutionReverb.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "basictools/math/Decibels.h"
#include "basictools/math/WholeQuads.h"
#include "basictools/math/mapping/PotardMappingUtils.h"
#include "dsp/effects/prims/VectorKernels.h"

namespace Vantora::dsp {
namespace {

constexpr float kHalfPi = 1.5707964f;

// Scratch buffers of a block each.
enum Buffer : size_t {
  kDelayed = 0,
  kWetSignal = 2,
  kSecondWet = 4,
  kRamp = 6,
  kDryGain = 7,
  kWetGain = 8,
  kDelay = 9
};
constexpr size_t kBufferCount = 12;

/// All `count` values, also behind the last whole group of four.
template <typename AnySmoother>
void RenderAll(AnySmoother& smoother, float* out, uint32_t count) {
  const uint32_t whole = WholeQuads(count);
  if (whole > 0) smoother.Render(out, whole);
  for (uint32_t i = whole; i < count; ++i) out[i] = smoother.Tick();
}

void Land(SmootherLPF& smoother) { smoother.SetValue(static_cast<float>(smoother.Target())); }

}  // namespace

std::vector<ParamRecord> ConvolutionReverb::DeclareParams() {
  return MakeRecords(ConvolutionReverbKnobs::kRows);
}

ConvolutionReverb::ConvolutionReverb(std::string moduleName)
    : UnitModule(std::move(moduleName), kInputCount, kOutputCount, DeclareParams()),
      loadImpulse(ReadImpulseFile),
      makeSchedule(MakeConvoEngineConfig({2048, DefaultPartitions()})) {
  ramp.SetValue(1.0f);
  manager.Start();
}

ConvolutionReverb::~ConvolutionReverb() { ConvolutionReverb::Shutdown(); }

void ConvolutionReverb::Shutdown() {
  manager.StopAndJoin();
  for (const ConvolverPointer* convolver : {&current, &next, &queued}) {
    if (*convolver) (*convolver)->Engine().Shutdown();
  }
}

void ConvolutionReverb::Configure(uint32_t newMaxBlockSize, float newSampleRate) {
  scratchStride = WholeQuadsAbove(newMaxBlockSize);
  scratch.Resize(kBufferCount * scratchStride);
  for (DelayLine& line : preDelays) line.Resize(static_cast<uint32_t>(std::ceil(newSampleRate)) + 8);
  preDelay.Setup(1, newSampleRate);
  dry.Setup(1, newSampleRate);
  wetGain.Setup(1, newSampleRate);
  ramp.Setup(1, newSampleRate);
  gainDb = Value(kIRGain);
  decay = Value(kDecay);
  stretch = Value(kStretch);
  lengthFactor = Value(kLengthFactor);

  std::string path;
  std::unique_lock lock(loadingMutex);
  sampleRate.store(newSampleRate, std::memory_order_relaxed);
  maxBlockSize.store(newMaxBlockSize, std::memory_order_relaxed);
  ++generation;
  while (producing.test_and_set(std::memory_order_acquire)) std::this_thread::yield();
  path.assign(requestedPath.begin(), requestedPath.end());
  // The mark belongs to `producing`: cleared behind it, the mark of a request that came in between would go.
  isReloadDue.store(false, std::memory_order_relaxed);
  producing.clear(std::memory_order_release);
  isReloadPending = false;

  RunAudioQueue();
  current.reset();
  next.reset();
  queued.reset();
  ramp.SetValue(1.0f);
  if (!path.empty() && path.front() != '\0') {
    Import(lock, path, newSampleRate, gainDb, decay, stretch, lengthFactor, false);
    importCount.fetch_add(1, std::memory_order_release);
    RunAudioQueue();
  }
}

void ConvolutionReverb::DoReset(bool) {
  if (next) {
    current = std::move(next);
    next = std::move(queued);
    queued.reset();
  }
  for (const ConvolverPointer* convolver : {&current, &next}) {
    if (*convolver) (*convolver)->Reset();
  }
  ramp.SetValue(1.0f);
  if (next) ramp.SetRamp(0.0f, 1.0f);
  for (DelayLine& line : preDelays) line.Clear();
  Land(preDelay);
  Land(dry);
  Land(wetGain);
}

// Parameters ------------------------------------------------------------------------------------------------

bool ConvolutionReverb::UpdateParams(ProcessContext& context) {
  const float rate = sampleRate.load(std::memory_order_relaxed);
  const bool snap = IsChanged();
  const bool isPolled = static_cast<uint32_t>(Value(kImpulseUpdateBehaviour)) != 0;
  sinceTick += context.sampleCount;
  if (IsDirty(kImpulseUpdatePollingTime)) {
    tickPeriod = static_cast<uint64_t>(rate * Value(kImpulseUpdatePollingTime) * 0.001f);
  }

  bool isDue = isReloadDue.load(std::memory_order_relaxed);
  const std::pair<uint32_t, Relaxed<float>*> impulseKnobs[] = {
      {kIRGain, &gainDb}, {kDecay, &decay}, {kStretch, &stretch}, {kLengthFactor, &lengthFactor}};
  for (const auto& [index, pending] : impulseKnobs) {
    if (!IsDirty(index) || Value(index) == static_cast<float>(*pending)) continue;
    *pending = Value(index);
    (isPolled ? isReloadPending : isDue) = true;
  }
  if (IsDirty(kPreDelayMs)) {
    // No index may come from a value that is no number: max drops it.
    const float milliseconds = std::min(std::max(0.0f, Value(kPreDelayMs)), Param(kPreDelayMs).GetMaximum());
    preDelay.SnapOrGlide(milliseconds * 0.001f * rate, snap);
  }
  if (isPolled && sinceTick > tickPeriod) {
    sinceTick %= std::max<uint64_t>(tickPeriod, 1);
    if (std::exchange(isReloadPending, false)) isDue = true;
  }
  if (isDue) {
    // One attempt: while another thread is at the queue, or
    // when it is full, the reload stays due for the next block.
    if (!producing.test_and_set(std::memory_order_acquire)) {
      // Stored before `producing` is let go: a path that then meets the full ring sets the mark again.
      isReloadDue.store(!EnqueueImport(true, true), std::memory_order_relaxed);
      producing.clear(std::memory_order_release);
    } else {
      isReloadDue.store(true, std::memory_order_relaxed);
    }
  }

  if (IsDirty(kEngineCrossfadeDuration)) ramp.SetTime(Value(kEngineCrossfadeDuration));
  if (IsDirty(kWet)) {
    dry.SnapOrGlide(std::cos(Value(kWet) * kHalfPi), snap);
    wetGain.SnapOrGlide(std::sin(Value(kWet) * kHalfPi), snap);
  }
  // A fade ends as it began.
  if (!next && IsFadedIn()) fadeBehaviour = static_cast<uint32_t>(Value(kImpulseFadeBehaviour));
  return true;
}

// Engines ---------------------------------------------------------------------------------------------------

void ConvolutionReverb::RunAudioQueue() noexcept {
  while (manager.AudioQueue().ExecuteOne(false)) {
  }
}

void ConvolutionReverb::SetConvolver(ConvolverPointer convolver, bool crossfade) {
  // The manager holds every convolver until nobody else does, so letting go of one here never destroys it.
  if (!crossfade) {
    current = std::move(convolver);
    ramp.SetValue(1.0f);
    next.reset();
    queued.reset();
  } else if (fadeBehaviour == 1) {
    next = std::move(convolver);
    if (ramp.Current() == 1.0f) ramp.SetTarget(0.0f);
  } else if (!next) {
    next = std::move(convolver);
    ramp.SetRamp(0.0f, 1.0f);
  } else {
    queued = std::move(convolver);
  }
}

void ConvolutionReverb::FadeOutAndIn(const std::array<float*, 2>& wet, uint32_t count) {
  if (IsFadedIn()) {
    // A pointer that came while the last one was fading in.
    if (!next) return;
    ramp.SetTarget(0.0f);
  }
  float* gains = Scratch(kRamp);
  RenderAll(ramp, gains, count);
  for (float* channel : wet) {
    for (uint32_t i = 0; channel != nullptr && i < count; ++i) channel[i] *= gains[i];
  }
  if (ramp.Current() == 0.0f && ramp.Target() == 0.0f) {
    if (next) current = std::move(next);
    next.reset();
    ramp.SetTarget(1.0f);
  }
}

void ConvolutionReverb::Crossfade(const std::array<float*, 2>& inputs, const std::array<float*, 2>& wet,
                                  const std::array<float*, 2>& second, uint32_t count) {
  if (ramp.IsSettled() || !next) return;
  next->Process(inputs, second, count);
  float* gains = Scratch(kRamp);
  RenderAll(ramp, gains, count);
  for (size_t c = 0; c < wet.size() && wet[c] != nullptr; ++c) {
    for (uint32_t i = 0; i < count; ++i) wet[c][i] += (second[c][i] - wet[c][i]) * gains[i];
  }
  if (!ramp.IsSettled()) return;
  current = std::move(next);
  next = std::move(queued);
  queued.reset();
  if (next) ramp.SetRamp(0.0f, 1.0f);
}

// Signal ----------------------------------------------------------------------------------------------------

uint32_t ConvolutionReverb::DoProcess(ProcessContext& context) {
  RunAudioQueue();
  const uint32_t count = context.sampleCount;
  const std::array<float*, 2> outputs{context.Output(0), context.Output(1)};
  std::array<float*, 2> inputs{context.Input(0), context.Input(1)};
  if (count > maxBlockSize.load(std::memory_order_relaxed) || outputs[0] == nullptr || inputs[0] == nullptr)
    return 0;
  // One output is one channel; one input may feed two.
  if (outputs[1] == nullptr) inputs[1] = nullptr;
  const size_t inputChannels = inputs[1] != nullptr ? 2 : 1, outputChannels = outputs[1] != nullptr ? 2 : 1;
  const auto pair = [&](Buffer first, size_t channels) {
    return std::array<float*, 2>{Scratch(first), channels == 2 ? Scratch(first + 1) : nullptr};
  };
  const std::array<float*, 2> delayed = pair(kDelayed, inputChannels), wet = pair(kWetSignal, outputChannels);

  for (const ConvolverPointer* convolver : {&current, &next, &queued}) {
    if (*convolver) (*convolver)->Engine().SetUseWorkers(context.modeIsOne == 0);
  }
  RenderPreDelay(inputs, inputChannels, count);
  RenderWet(delayed, wet, pair(kSecondWet, outputChannels), count);
  wetLatency = current ? current->Latency() : 0;

  float* dryGains = Scratch(kDryGain);
  float* wetGains = Scratch(kWetGain);
  RenderAll(dry, dryGains, count);
  RenderAll(wetGain, wetGains, count);
  const float* left = inputs[0];
  const float* right = inputs[1] != nullptr ? inputs[1] : inputs[0];
  for (uint32_t i = 0; i < count; ++i) {
    // Both inputs are read before either output is written: they may be the same memory.
    const float dryLeft = left[i] * dryGains[i], dryRight = right[i] * dryGains[i];
    outputs[0][i] = dryLeft + wet[0][i] * wetGains[i];
    if (outputChannels == 2) outputs[1][i] = dryRight + wet[1][i] * wetGains[i];
  }
  return 1;
}

void ConvolutionReverb::RenderPreDelay(const std::array<float*, 2>& inputs, size_t inputChannels,
                                       uint32_t count) {
  float* delays = Scratch(kDelay);
  RenderAll(preDelay, delays, count);
  for (size_t c = 0; c < inputChannels; ++c) {
    DelayLine& line = preDelays[c];
    const float* in = inputs[c];
    float* out = Scratch(kDelayed + c);
    for (uint32_t i = 0; i < count; ++i) {
      line.Write(in[i]);
      const auto whole = static_cast<uint32_t>(delays[i]);
      const float fraction = delays[i] - static_cast<float>(whole);
      // Below one sample the four points would reach into the future.
      out[i] = whole > 0 ? line.ReadInterpolated(whole + 1, kInterpolationFifthOrder, fraction)
                         : line.ReadInterpolated(1, kInterpolationLinear, fraction);
    }
  }
}

void ConvolutionReverb::RenderWet(const std::array<float*, 2>& inputs, const std::array<float*, 2>& wet,
                                  const std::array<float*, 2>& second, uint32_t count) {
  if (current) {
    current->Process(inputs, wet, count);
  } else {
    // Something is heard before the first impulse.
    const float gain = DbToGain(gainDb);
    for (size_t c = 0; c < wet.size() && wet[c] != nullptr; ++c) {
      prims::Scale(gain, inputs[c] != nullptr ? inputs[c] : inputs[0], wet[c], count);
    }
  }
  if (fadeBehaviour == 1) {
    FadeOutAndIn(wet, count);
  } else {
    Crossfade(inputs, wet, second, count);
  }
}

}  // namespace Vantora::dsp
