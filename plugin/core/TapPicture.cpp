#include "plugin/core/TapPicture.h"

#include <algorithm>
#include <string>

#include "host/ParameterTable.h"

namespace Vantora::plugin {

TapPicture::TapPicture()
    : depth(host::ParameterTable::Get().At("Prismel_Detune")),
      rate(host::ParameterTable::Get().At("Prismel_Rate")),
      spreads(dsp::StageSpread::Sides()) {
  const host::ParameterTable& table = host::ParameterTable::Get();
  for (size_t type = 1; type < primary.size(); ++type) {
    primary[type] = &table.At(std::string("Prismel_") +
                              dsp::PrismelKnobs::kOwnRows[dsp::kStageRoutes[type].primary].name);
  }
}

void TapPicture::Configure(double sampleRate, uint32_t blockSize) {
  constexpr double kStepSeconds = 0.016;  // below a frame of the window
  const double blockSeconds = blockSize / sampleRate;
  stepBlocks = std::max(1u, static_cast<uint32_t>(kStepSeconds / blockSeconds));
  stepSeconds = stepBlocks * blockSeconds;
  blocksGone = kDueNow;
  sampleMs = static_cast<float>(1e3 / sampleRate);
  sweepPosition = -1.0f;
  sweep = {};
}

bool TapPicture::Advance(const Reading& reading, bool isWatched) {
  const uint32_t voices = std::clamp(reading.voices, 1u, LiveView::kVoices);
  if (reading.prismelion != sweepPosition || voices != sweepVoices) SetIncrements(reading.prismelion, voices);
  const uint32_t groups = voices % 2 + voices / 2;
  blocksGone = 0;
  blocksToStep = isWatched ? stepBlocks : kUnwatchedSteps * stepBlocks;
  if (!isWatched) {
    for (uint32_t step = 0; step < kUnwatchedSteps; ++step) sweep.Skip(groups);
    return false;
  }
  sweep.Advance(groups);
  const bool tapsMoved = PublishTaps(voices, depth.ToValue(reading.prismelion));
  return PublishSpread(reading) || tapsMoved;
}

void TapPicture::SetIncrements(float position, uint32_t voices) {
  sweepPosition = position;
  sweepVoices = voices;
  const float hertz = rate.ToValue(position);
  const auto increment = [&](float cyclesPerSecond) {
    return std::clamp(cyclesPerSecond, 0.5f * rate.Minimum(), 2.0f * rate.Maximum()) *
           static_cast<float>(stepSeconds);
  };
  for (uint32_t v = 0; v < voices; ++v) {
    sweep.SetIncrement(v, 0, increment(dsp::kLeftRatios[v] * hertz));
    sweep.SetIncrement(v, 1, increment(dsp::kRightRatios[v] * hertz * dsp::kRightSide));
  }
}

bool TapPicture::PublishTaps(uint32_t voices, float depthMs) {
  bool hasMoved = false;
  for (uint32_t side = 0; side < LiveView::kSides; ++side) {
    for (uint32_t v = 0; v < voices; ++v) {
      const float delay = std::max(sweep.Output(v, side) * depthMs, sampleMs);
      hasMoved = hasMoved || delay != taps[side][v].load(std::memory_order_relaxed);
      taps[side][v].store(delay, std::memory_order_relaxed);
    }
  }
  return hasMoved;
}

bool TapPicture::PublishSpread(const Reading& reading) {
  if (reading.effect == spreadReading.effect && reading.voices == spreadReading.voices &&
      reading.prismelion == spreadReading.prismelion && reading.primary == spreadReading.primary) {
    return false;
  }
  spreadReading = reading;
  const host::Parameter* knob = PrimaryOf(reading.effect);
  const dsp::StageRoute& route = dsp::kStageRoutes[knob != nullptr ? reading.effect : 0];
  for (uint32_t side = 0; side < LiveView::kSides; ++side) {
    for (uint32_t v = 0; v < LiveView::kVoices; ++v) {
      float position = 0.0f;
      if (knob != nullptr) {
        const float value = knob->ToValue(reading.primary);
        const float spreadValue = spreads[side].At(route.law, v, value, reading.prismelion, route.span);
        position = knob->ToNormalized(std::clamp(spreadValue, knob->Minimum(), knob->Maximum()));
      }
      spread[side][v].store(position, std::memory_order_relaxed);
    }
  }
  return true;
}

void TapPicture::Store(LiveView& view) const {
  for (uint32_t side = 0; side < LiveView::kSides; ++side) {
    for (uint32_t v = 0; v < LiveView::kVoices; ++v) {
      view.tapMs[side][v] = taps[side][v].load(std::memory_order_relaxed);
      view.spread[side][v] = spread[side][v].load(std::memory_order_relaxed);
    }
  }
}

}  // namespace Vantora::plugin
