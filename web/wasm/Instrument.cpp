#include "web/wasm/Instrument.h"

#include <algorithm>
#include <cmath>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "plugin/core/WindowModel.h"
#include "processor/LinkedFactory.h"

namespace Vantora::web {
namespace {

constexpr float kAwayFromZero = 1e-20f;

/// The parameters from which the moving picture is drawn.
struct ReadOuts {
  const host::Parameter &voices, &prismelion, &primary, &phase, &value, &input, &output;
  static const ReadOuts& Get() {
    const auto at = [](const char* name) -> const host::Parameter& {
      return host::ParameterTable::Get().At(name);
    };
    static const ReadOuts readOuts{at("Prismel_Voices"),
                                   at("Prismel_FeedbackPrismel"),
                                   at("Prismel_FeedbackPrimary"),
                                   at("LFO_CurrentPhaseFeedback"),
                                   at("LFO_CurrentValueLFeedback"),
                                   at("InputPower"),
                                   at("OutputPower")};
    return readOuts;
  }
};

}  // namespace

Instrument::Instrument(float rate, uint32_t longest, uint32_t inputCount, uint32_t outputCount, uint32_t seed,
                       bool live_, const plugin::Positions& start)
    : isLive(live_) {
  if (inputCount < 1 || inputCount > 2 || outputCount < 1 || outputCount > 2) {
    throw host::HostError("The effect has one or two channels on each side.");
  }
  for (std::vector<float>& channel : inputs) channel.assign(longest, 0.0f);
  for (std::vector<float>& channel : outputs) channel.assign(longest, 0.0f);
  values.WriteSound(start);
  stream.Start(host::ProcessorSource(Processor::MakeLinkedFactory(seed)), static_cast<double>(rate),
               inputCount, outputCount);
  Live();
}

void Instrument::Process(uint32_t frames) {
  frames = std::min(frames, static_cast<uint32_t>(inputs[0].size()));
  if (isLive) {
    for (std::vector<float>& channel : inputs) {
      for (uint32_t i = 0; i < frames; ++i) channel[i] += (i & 1) != 0 ? -kAwayFromZero : kAwayFromZero;
    }
  }
  const float* in[2] = {inputs[0].data(), inputs[1].data()};
  float* out[2] = {outputs[0].data(), outputs[1].data()};
  stream.Process(in, out, frames);
}

const float* Instrument::Live() {
  const ReadOuts& readOuts = ReadOuts::Get();
  const auto value = [this](const host::Parameter& p) { return p.ToValue(values.Get(p.Index())); };
  plugin::LiveView view;
  stream.Store(view);
  live[kVoices] = std::round(value(readOuts.voices));
  live[kPrismelion] = values.Get(readOuts.prismelion.Index());
  live[kPrimary] = values.Get(readOuts.primary.Index());
  live[kLfoPhase] = value(readOuts.phase);
  live[kLfoValue] = value(readOuts.value);
  live[kInputDb] = value(readOuts.input);
  live[kOutputDb] = value(readOuts.output);
  for (uint32_t side = 0; side < plugin::LiveView::kSides; ++side) {
    std::copy_n(view.tapMs[side].begin(), 8, live.begin() + kTaps + 8 * side);
    std::copy_n(view.spread[side].begin(), 8, live.begin() + kSpread + 8 * side);
  }
  return live.data();
}

}  // namespace Vantora::web
