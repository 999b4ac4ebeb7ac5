#include "plugin/core/RestPicture.h"

#include <cmath>

#include "host/ParameterTable.h"

namespace Vantora::plugin {
namespace {

constexpr double kStill = 0.5;       // s; hosts' longest buffers, 8192 samples, are 0.2 s at 44.1 kHz
constexpr float kLowestDb = -80.0f;  // of the meters

}  // namespace

RestPicture::RestPicture() { picture.Configure(48000.0, 48); }

bool RestPicture::IsAtRest(uint64_t position, double now) {
  if (position == 0) return true;
  if (position != lastPosition) {
    lastPosition = position;
    lastMoved = now;
  }
  return now - lastMoved > kStill;
}

void RestPicture::Fill(const Values& values, bool hasRun, LiveView& view) {
  static const host::ParameterTable& table = host::ParameterTable::Get();
  static const host::Parameter &effect = table.At("Prismel_FXType"), &voices = table.At("Prismel_Voices"),
                               &knob = table.At("Prismel_Prismelion");
  const auto step = [&](const host::Parameter& choice) {
    return static_cast<uint32_t>(std::lround(choice.ToValue(values.Get(choice.Index()))));
  };
  TapPicture::Reading reading{step(effect), step(voices), values.Get(knob.Index()), 0.0f};
  if (const host::Parameter* primary = picture.PrimaryOf(reading.effect))
    reading.primary = values.Get(primary->Index());
  picture.Restart();
  picture.Advance(reading, true);
  const auto taps = view.tapMs;
  picture.Store(view);
  if (hasRun) view.tapMs = taps;
  view.prismelion = reading.prismelion;
  view.primary = reading.primary;
  view.inputDb = view.outputDb = kLowestDb;
  view.isAtRest = true;
}

}  // namespace Vantora::plugin
