#include "plugin/window/TapView.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "plugin/window/Effects.h"

namespace Vantora::plugin {
namespace {

using namespace theme;
constexpr float kLongestMs = 16.5f;  // of a tap at full "Prismelion"

}  // namespace

/// Where a tap of `ms` stands on the ray of a voice: eight rays a side, the first at the top, from the
/// knob's rim to the panel's edge.
Point TapView::PlaceOf(uint32_t side, uint32_t voice, float ms) const {
  const Point centre = bounds.Centre();
  const float inner = 0.5f * bounds.h - 20.0f;         // where the delay is 0
  const float outer = 0.5f * bounds.w - 6.0f - inner;  // room for the longest
  const float sign = side == 0 ? -1.0f : 1.0f;
  const float fan = (static_cast<float>(voice) - 3.5f) / 3.5f;
  const float angle = fan * 0.92f;
  const float start = std::cos(angle) * inner;
  const float way = (outer + inner - start) * std::clamp(ms / kLongestMs, 0.0f, 1.0f);
  return {centre.x + sign * (start + way), centre.y + std::sin(angle) * inner * 0.98f + fan * 0.275f * way};
}

void TapView::Draw(Canvas& canvas) {
  const LiveView& live = desk.Live();
  const auto voices = VoicesAsked(desk.Model());
  for (uint32_t side = 0; side < LiveView::kSides; ++side) {
    // Lines of equal delay, and their numbers below.
    for (const float ms : {0.0f, 4.0f, 8.0f, 12.0f, 16.0f}) {
      std::array<Point, LiveView::kVoices> line;
      for (uint32_t v = 0; v < LiveView::kVoices; ++v) line[v] = PlaceOf(side, v, ms);
      canvas.Polyline(line, 1.0f, kLine.Alpha(0.55f));
      const float x = line.back().x;
      canvas.Text({x, bounds.Bottom() + 14.0f}, ms == 16.0f ? "16 ms" : fmt::format("{:g}", ms),
                  {kTickSize, kTick, ms == 16.0f && side == 1 ? Align::kRight : Align::kCentre});
    }
    for (uint32_t v = 0; v < LiveView::kVoices; ++v) {
      const Colour colour = kVoices[v];
      const bool isOn = v < voices;
      canvas.Line(PlaceOf(side, v, 0.0f), PlaceOf(side, v, kLongestMs), 1.0f,
                  colour.Alpha(isOn ? 0.32f : 0.16f));
      if (!isOn) continue;
      const Point dot = PlaceOf(side, v, live.tapMs[side][v]);
      canvas.Line(PlaceOf(side, v, 0.0f), dot, 2.25f, colour.Alpha(0.75f));
      canvas.Disc(dot, 5.0f, colour);
    }
  }
}

std::string TapView::Tip(Point) const {
  return "Taps\nEvery voice is a copy of the sound, read some milliseconds late: left voices to the left, "
         "right "
         "ones to the right, 0 to 16.5 ms outwards. They drift faster and wider as Prismelion rises.";
}

void SpreadView::Draw(Canvas& canvas) {
  const LiveView& live = desk.Live();
  const EffectInfo& effect = CurrentEffect(desk.Model());
  canvas.Text({bounds.x, bounds.y + 7.0f}, "Spread", {kSmall, kDim});
  if (effect.primary.empty()) {
    canvas.Text({bounds.Right(), bounds.y + 7.0f}, "no effect, nothing to fan out",
                {kSmall, kDim, Align::kRight});
    return;
  }
  const host::Parameter& parameter = Named(effect.primary);
  const float y = bounds.y + 32.0f;
  canvas.Line({bounds.x, y}, {bounds.Right(), y}, 1.0f, kLine);
  for (const auto& tick : effect.ticks) {
    const float x = bounds.x + bounds.w * parameter.ToNormalized(tick.value);
    canvas.Line({x, y - 4.0f}, {x, y + 4.0f}, 1.0f, kLine);
    const Align align = x < bounds.x + 4.0f         ? Align::kLeft
                        : x > bounds.Right() - 4.0f ? Align::kRight
                                                    : Align::kCentre;
    canvas.Text({x, y + 20.0f}, tick.text, {kTickSize, kTick, align});
  }
  const auto voices = VoicesAsked(desk.Model());
  for (uint32_t v = voices; v-- > 0;) {
    for (uint32_t side = 0; side < LiveView::kSides; ++side) {
      const float x = bounds.x + bounds.w * std::clamp(live.spread[side][v], 0.0f, 1.0f);
      canvas.Line({x, y}, {x, y + (side == 0 ? -8.0f : 8.0f)}, 1.5f, kVoices[v].Alpha(0.6f));
      canvas.Disc({x, y + (side == 0 ? -8.0f : 8.0f)}, 3.75f, kVoices[v]);
    }
  }
}

std::string SpreadView::Tip(Point) const {
  const EffectInfo& effect = CurrentEffect(desk.Model());
  if (effect.primary.empty())
    return "Spread\nWith an effect chosen, Prismelion gives each voice a value of its own.";
  return fmt::format(
      "Spread\nWhere each voice's \"{}\" stands now: left voices above the line, right ones below. "
      "Prismelion fans them out.",
      effect.primaryName);
}

}  // namespace Vantora::plugin
