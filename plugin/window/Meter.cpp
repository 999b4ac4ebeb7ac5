#include "plugin/window/Meter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace Vantora::plugin {
namespace {

using namespace theme;
constexpr double kHoldSeconds = 2.0;

}  // namespace

Meter::Meter(Desk& theDesk, std::string theName, std::string what, std::function<float()> levelDb)
    : Widget(theDesk), name(std::move(theName)), tip(std::move(what)), level(std::move(levelDb)) {}

float Meter::PlaceOf(float db) const {
  const float height = bounds.h - 34.0f;
  return bounds.y + height * (1.0f - std::clamp((db - kLow) / (kHigh - kLow), 0.0f, 1.0f));
}

void Meter::Tick(double now) {
  const float db = level();
  if (db >= held) {
    held = db;
    heldAt = now;
  } else if (now - heldAt > kHoldSeconds) {
    held = std::max(db, kLow - 1.0f);
    heldAt = now;
  }
  if (db > 0.0f) wasHot = true;
}

uint64_t Meter::Picture() const {
  // In half pixels of the bar: what is less can't be seen.
  const auto step = [&](float db) { return static_cast<uint64_t>(PlaceOf(db) * 2.0f); };
  return step(level()) | step(held) << 20 | static_cast<uint64_t>(wasHot) << 40;
}

void Meter::Draw(Canvas& canvas) {
  constexpr float kWidth = 9.0f;
  const float x = bounds.Centre().x - 0.5f * kWidth;
  const float bottom = PlaceOf(kLow), top = PlaceOf(kHigh);
  canvas.Box({x, top, kWidth, bottom - top}, 3.0f, kWell);
  const float now = std::min(level(), kHigh);
  struct Band {
    float from, to;
    Colour colour;
  };
  for (const Band& band : {Band{kLow, -6.0f, kLevel}, Band{-6.0f, 0.0f, kLoud}, Band{0.0f, kHigh, kHot}}) {
    if (now <= band.from) break;
    const float y = PlaceOf(std::min(now, band.to));
    canvas.Box({x, y, kWidth, PlaceOf(band.from) - y}, band.from == kLow ? 3.0f : 0.0f, band.colour);
  }
  for (const float db : {0.0f, -6.0f, -20.0f, -40.0f}) {
    const float y = PlaceOf(db);
    canvas.Text({x - 4.0f, y}, fmt::format("{:g}", db), {kTickSize, kTick, Align::kRight});
  }
  if (held > kLow) {
    const float y = PlaceOf(held);
    canvas.Line({x + 0.5f, y}, {x + kWidth - 0.5f, y}, 1.5f, held > 0.0f ? kHot : kText);
  }
  if (wasHot) canvas.Disc({bounds.Centre().x, top - 5.0f}, 2.5f, kHot);
  canvas.Text({bounds.Centre().x, bounds.Bottom() - 22.0f}, name, {kSmall, kDim, Align::kCentre});
  canvas.Text({bounds.Centre().x, bounds.Bottom() - 8.0f}, held > kLow ? fmt::format("{:.0f}", held) : "-∞",
              {kSmall, wasHot ? kHot : kText, Align::kCentre});
}

bool Meter::Press(const Pointer&) {
  wasHot = false;
  held = -80.0f;
  return true;
}

}  // namespace Vantora::plugin
