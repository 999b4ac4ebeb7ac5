#include "plugin/core/Stream.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>

#include "host/ParameterTable.h"

namespace Vantora::plugin {
namespace {

/// The parameters that this file writes or reads by name.
struct Indices {
  uint32_t bypass, panic, presetLoading, bitDepth, effect, voices, knob, prismelion, primary;
  static const Indices& Get() {
    static const Indices indices = [] {
      const auto at = [](const char* name) { return host::ParameterTable::Get().At(name).Index(); };
      return Indices{at("Bypass"),
                     at("Panic"),
                     at("PresetLoading"),
                     at("Prismel_BitCrusherBitDepth"),
                     at("Prismel_FXType"),
                     at("Prismel_Voices"),
                     at("Prismel_Prismelion"),
                     at("Prismel_FeedbackPrismel"),
                     at("Prismel_FeedbackPrimary")};
    }();
    return indices;
  }
};

constexpr double kWatchSeconds = 1.0;

}  // namespace

uint32_t Stream::CachedStep::At(float newPosition) {
  if (newPosition != position) {
    position = newPosition;
    step = static_cast<uint32_t>(std::lround(parameter.ToValue(position)));
  }
  return step;
}

Stream::Stream(Values& shared)
    : values(shared),
      effectStep(host::ParameterTable::Get()[Indices::Get().effect]),
      voiceStep(host::ParameterTable::Get()[Indices::Get().voices]) {
  for (const host::Parameter& parameter : host::ParameterTable::Get()) {
    if (parameter.IsInPresets()) soundIndices.push_back(parameter.Index());
    if (parameter.GetRole() == host::Role::kReadOut) readOutIndices.push_back(parameter.Index());
  }
}

void Stream::Start(const host::ProcessorSource& source, double sampleRate, uint32_t inputs,
                   uint32_t outputs) {
  Stop();
  processor.emplace(source);
  values.DropWaiting();
  processor->Init(static_cast<float>(sampleRate));
  buffer.Resize(inputs, processor->BlockSize());
  outputCount = outputs;
  picture.Configure(sampleRate, processor->BlockSize());
  const char* trace = std::getenv("PRISMEL_TRACE");
  tracePath = trace != nullptr ? trace : "";
  silentFrames = 0;
  isTracing = !tracePath.empty();
  timeline.Clear();
  streamPosition.store(0, std::memory_order_relaxed);
  for (auto& hand : hands) {
    if (hand.load(std::memory_order_relaxed) != kHeld) hand.store(0, std::memory_order_relaxed);
  }
  panic.store(false, std::memory_order_relaxed);
  isAtStart = isFresh = true;
  startHasMoved = false;
  isRunning.store(true, std::memory_order_release);
}

void Stream::Stop() {
  if (!isRunning.exchange(false, std::memory_order_acq_rel)) return;
  if (!tracePath.empty()) WriteTrace();
}

void Stream::StepTo(uint32_t index, float position, uint32_t offset) {
  position = std::clamp(position, 0.0f, 1.0f);
  if (IsInHand(index, NextSample())) return;
  if (isAtStart && offset == 0) {
    startHasMoved = startHasMoved || position != values.Get(index);
    values.Note(index, position);
    return;
  }
  if (offset == 0) values.Note(index, position);  // due now, even if no block follows for a while
  timeline.StepTo(index, position, NextSample() + offset);
}

void Stream::RampTo(uint32_t index, float position, uint32_t fromOffset, uint32_t offset) {
  if (offset <= fromOffset || host::ParameterTable::Get()[index].IsStepped()) {
    StepTo(index, position, offset);
    return;
  }
  const uint64_t next = NextSample();
  if (IsInHand(index, next)) return;
  timeline.RampTo(index, std::clamp(position, 0.0f, 1.0f), next + fromOffset, next + offset,
                  values.Get(index));
}

void Stream::Process(const float* const* inputs, float* const* outputs, uint32_t frames) {
  if (frames == 0) return;
  if (isAtStart) [[unlikely]]
    BeginFromStart();
  if (isTracing) [[unlikely]]
    TraceSilence(inputs, frames);
  buffer.Exchange(inputs, outputs, outputCount, frames, [this] { RunBlock(); });
}

inline void Stream::RunBlock() {
  const uint64_t position = Position();
  const uint32_t count = buffer.BlockSize();
  picture.Count();
  // Nearly always none of them, and nothing more to be done.
  if (values.IsWaiting() || panic.load(std::memory_order_relaxed) || !timeline.IsEmpty() || picture.IsDue())
      [[unlikely]] {
    Attend(*processor, position, count);
  }
  processor->Process(buffer.Input(), buffer.InputChannels(), buffer.Output(), outputCount, count);
  streamPosition.store(position + count, std::memory_order_relaxed);
}

void Stream::TraceSilence(const float* const* inputs, uint32_t frames) {
  for (uint32_t i = 0; i < frames; ++i, ++silentFrames) {
    for (uint32_t c = 0; c < buffer.InputChannels(); ++c) {
      if (inputs[c] == nullptr || inputs[c][i] == 0.0f) continue;
      isTracing = false;
      return;
    }
  }
}

void Stream::WriteTrace() const {
  std::ofstream(tracePath, std::ios::app)
      << silentFrames << (isTracing ? " silent\n" : " before the first sound\n");
}

void Stream::Reset() {
  if (isFresh) return;
  processor->Set(Indices::Get().panic, 1.0f);
  buffer.Restart();
  buffer.ClearOutput();
  picture.Restart();
  isAtStart = true;
  startHasMoved = false;
}

void Stream::StartSound(const Positions& sound) {
  for (const uint32_t index : soundIndices) values.Note(index, sound[index]);
  WriteSound(*processor, values.All());
  picture.Restart();
  valueRevision.fetch_add(1, std::memory_order_release);
}

void Stream::Release(uint32_t index) {
  constexpr double kEchoSeconds = 0.1;
  const auto echo = processor.has_value()
                        ? static_cast<uint64_t>(kEchoSeconds * static_cast<double>(processor->SampleRate()))
                        : 0;
  hands[index].store(streamPosition.load(std::memory_order_relaxed) + echo, std::memory_order_relaxed);
}

void Stream::BeginFromStart() {
  isAtStart = false;
  // A fresh processor is written to here and not at `Start`, because each reset draws random numbers: what
  // the main thread loaded and what the host gave with its first sample must come to one reset, or the song
  // sounds another way.
  if (!isFresh && !startHasMoved) return;
  values.TakeUp([](const Positions&) {}, [](uint32_t, float) {});
  WriteSound(*processor, values.All());
  if (!isFresh) processor->Set(Indices::Get().panic, 1.0f);
  isFresh = startHasMoved = false;
  picture.Restart();
  valueRevision.fetch_add(1, std::memory_order_release);
}

void Stream::Store(LiveView& view) const {
  isWatched.store(true, std::memory_order_relaxed);
  picture.Store(view);
}

void Stream::Write(host::HostedProcessor& hosted, uint32_t index, float position) {
  written[index] = position;
  hosted.Set(index, position);
}

void Stream::WriteSound(host::HostedProcessor& hosted, const Positions& sound) {
  const Indices& at = Indices::Get();
  hosted.Set(at.presetLoading, 1.0f);
  for (const uint32_t index : soundIndices) {
    const float position = sound[index];
    // A fresh crusher sounds as at the other end of its word length until a write differs from the position
    // that it answers: make one that differs.
    if (index == at.bitDepth) hosted.Set(index, position < 0.5f ? position + 0.5f : position - 0.5f);
    Write(hosted, index, position);
  }
  hosted.Set(at.presetLoading, 0.0f);
  Write(hosted, at.bypass, sound[at.bypass]);
}

void Stream::Attend(host::HostedProcessor& hosted, uint64_t position, uint32_t count) {
  TakeChanges(hosted, position, count);
  if (picture.IsDue()) Report(hosted, position);
}

void Stream::TakeChanges(host::HostedProcessor& hosted, uint64_t position, uint32_t count) {
  values.TakeUp(
      [&](const Positions& sound) {
        WriteSound(hosted, sound);
        picture.Restart();
      },
      [&](uint32_t index, float value) { Write(hosted, index, value); });
  if (panic.load(std::memory_order_relaxed) && panic.exchange(false, std::memory_order_relaxed)) {
    hosted.Set(Indices::Get().panic, 1.0f);
    picture.Restart();
  }
  bool hasMoved = false;
  timeline.Play(position, position + count, [&](uint32_t index, float value) {
    if (value == written[index]) return;
    values.Note(index, value);
    Write(hosted, index, value);
    hasMoved = true;
  });
  if (hasMoved) valueRevision.fetch_add(1, std::memory_order_release);
}

void Stream::Report(const host::HostedProcessor& hosted, uint64_t position) {
  bool hasMoved = false;
  for (const uint32_t index : readOutIndices) {
    const auto value = hosted.Get(index);
    if (!value || *value == values.Get(index)) continue;
    values.Note(index, *value);
    hasMoved = true;
  }

  if (isWatched.load(std::memory_order_relaxed) && isWatched.exchange(false, std::memory_order_relaxed))
    stepsToWatch = picture.StepsIn(kWatchSeconds);
  const bool isSeen = stepsToWatch > 0;
  if (isSeen) --stepsToWatch;
  const Indices& at = Indices::Get();
  TapPicture::Reading reading{effectStep.At(values.Get(at.effect)), voiceStep.At(values.Get(at.voices)),
                              values.Get(at.prismelion), values.Get(at.primary)};
  if (position == 0) reading.prismelion = values.Get(at.knob);  // the read-out begins where the knob stands
  if (picture.Advance(reading, isSeen)) hasMoved = true;
  if (hasMoved) liveRevision.fetch_add(1, std::memory_order_release);
}

}  // namespace Vantora::plugin
