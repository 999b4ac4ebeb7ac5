#include "plugin/core/ShellCore.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/HostError.h"
#include "plugin/core/HostParameters.h"
#include "plugin/core/ShellParts.h"
#include "processor/LinkedFactory.h"

namespace Vantora::plugin {

ShellCore::ShellCore() : parts(std::make_unique<Parts>(values)) {
  // What the audio thread will look up is built here.
  HostParameters::Get();
  static_cast<void>(LatencyAt(48000.0));
  const Positions preferred = PreferredPositions();
  for (uint32_t i = 0; i < kParameterCount; ++i) values.Note(i, preferred[i]);
  for (const host::Preset& preset : FactoryPresets()) parts->factoryPositions.push_back(PositionsOf(preset));
  parts->ListPresets();
  for (const host::Preset& preset : FactoryPresets()) {
    if (preset.name == kFirstPreset)
      parts->Recall({PositionsOf(preset), preset.name, preset.description, false});
  }
  parts->toldTail = parts->EffectStep();
}

ShellCore::~ShellCore() = default;

void ShellCore::SetHostLink(HostLink* link) { parts->link = link; }

// ---- Stream

void ShellCore::Activate(double sampleRate, uint32_t inputs, uint32_t outputs) {
  stream.Start(parts->Source(), sampleRate, inputs, outputs);
  parts->sampleRate = sampleRate;
  parts->toldTail = parts->EffectStep();
  ++parts->ownRevision;
}

void ShellCore::Deactivate() { stream.Stop(); }

uint32_t ShellCore::LatencyAt(double sampleRate) const {
  if (!std::isfinite(sampleRate) || !(sampleRate > 0.0)) return 0;
  static const host::HostedProcessor processor{host::ProcessorSource(Processor::MakeLinkedFactory())};
  return processor.BlockSizeAt(static_cast<float>(sampleRate));
}

uint32_t ShellCore::TailAt(double sampleRate) const {
  constexpr uint32_t kComb = 2, kHarmonizer = 5;  // values of "FXType"
  constexpr double kShortTail = 0.25;             // s; the others' ring for 0.01 to 0.2 s
  const uint32_t effect = parts->EffectStep();
  if (effect == kComb || effect == kHarmonizer) return kEndlessTail;
  return static_cast<uint32_t>(std::max(sampleRate, 0.0) * kShortTail) + LatencyAt(sampleRate);
}

bool ShellCore::TakeTailChange() {
  const float position = values.Get(parts->effectIndex);
  if (position == parts->toldTailPosition) return false;
  parts->toldTailPosition = position;
  const auto isEndless = [](uint32_t effect) { return effect == 2 || effect == 5; };
  const uint32_t effect = parts->EffectStep();
  return isEndless(std::exchange(parts->toldTail, effect)) != isEndless(effect);
}

void ShellCore::LoadFactoryPreset(size_t position) {
  if (position >= FactoryPresets().size() || parts->program.load(std::memory_order_relaxed) == position)
    return;
  parts->program.store(position, std::memory_order_relaxed);
  stream.StartSound(parts->factoryPositions[position]);
  parts->processProgram.store(position + 1, std::memory_order_release);
}

// ---- State

std::string ShellCore::SaveState() const {
  State state;
  state.sound = parts->Capture();
  state.variation = parts->variation;
  state.windowScale = parts->windowScale;
  return state.ToJson();
}

std::string ShellCore::LoadState(std::string_view text) {
  try {
    std::vector<std::string> warnings;
    const State state = State::Parse(text, &warnings);
    values.Write(BypassIndex(), state.sound.positions[BypassIndex()]);
    parts->variation = state.variation;
    parts->windowScale = state.windowScale;
    parts->history = {};
    parts->message = warnings.empty() ? "" : warnings.front();
    parts->Recall(state.sound);
    return "";
  } catch (const host::HostError& error) {
    parts->Say(error.what());
    return error.what();
  }
}

void ShellCore::SetVariation(uint32_t variation) {
  if (variation == parts->variation) return;
  parts->variation = std::min(variation, kLargestVariation);
  ++parts->ownRevision;
  if (parts->link == nullptr) return;
  parts->link->OnStateDirty();
  parts->link->OnRestartWanted();
}

std::string ShellCore::LoadPresetByName(std::string_view name) {
  for (size_t i = 0; i < parts->presets.size(); ++i) {
    if (IsSameName(parts->presets[i].name, name)) return LoadPreset(i);
  }
  return "There is no preset \"" + std::string(name) + "\".";
}

void ShellCore::SetFromHost(uint32_t index, float normalized) {
  values.Write(index, std::clamp(normalized, 0.0f, 1.0f));
  ++parts->ownRevision;
}

}  // namespace Vantora::plugin
