#include "plugin/window/FilterCurve.h"

#include <algorithm>
#include <cmath>

namespace Vantora::plugin {
namespace {

using namespace theme;
constexpr float kLowestDb = -30.0f, kHighestDb = 4.0f;
constexpr size_t kPoints = 81;

}  // namespace

FilterCurve::FilterCurve(Desk& theDesk)
    : Widget(theDesk), cutoffs{{{Named("HPFCutoff").Index()}, {Named("LPFCutoff").Index()}}} {}

Rect FilterCurve::Field() const { return {bounds.x, bounds.y, bounds.w, bounds.h - 38.0f}; }

Rect FilterCurve::ValuePlace(int which) const {
  const float width = 0.5f * bounds.w - 4.0f;
  return {which == 0 ? bounds.x : bounds.Right() - width, bounds.Bottom() - kTarget, width, kTarget};
}

float FilterCurve::HandleX(int which) const {
  const Rect field = Field().Inset(8.0f, 0.0f);
  return field.x + field.w * desk.Model().Value(cutoffs[static_cast<size_t>(which)].front());
}

int FilterCurve::Nearest(Point at) const {
  if (at.y > Field().Bottom()) return at.x < bounds.Centre().x ? 0 : 1;
  const float low = std::abs(at.x - HandleX(0)), high = std::abs(at.x - HandleX(1));
  if (low == high) return at.x < HandleX(0) ? 0 : 1;
  return low < high ? 0 : 1;
}

void FilterCurve::Draw(Canvas& canvas) {
  const Rect field = Field(), inner = field.Inset(8.0f, 0.0f);
  canvas.Box(field, kSmallRadius, kWell);
  const host::Parameter& axis = host::ParameterTable::Get()[cutoffs[0].front()];
  const float high = axis.ToValue(desk.Model().Value(cutoffs[0].front()));
  const host::Parameter& other = host::ParameterTable::Get()[cutoffs[1].front()];
  const float low = other.ToValue(desk.Model().Value(cutoffs[1].front()));
  // At an end of its knob a filter is out of the path.
  const bool hasHigh = desk.Model().Value(cutoffs[0].front()) > 0.0f;
  const bool hasLow = desk.Model().Value(cutoffs[1].front()) < 1.0f;
  const auto yOf = [&](float db) {
    const float place = std::clamp((db - kLowestDb) / (kHighestDb - kLowestDb), 0.0f, 1.0f);
    return field.Bottom() - 3.0f - place * (field.h - 6.0f);
  };
  for (const float hertz : {100.0f, 1000.0f, 10000.0f}) {
    const float x = inner.x + inner.w * axis.ToNormalized(hertz);
    canvas.Line({x, field.y + 4.0f}, {x, field.Bottom() - 13.0f}, 1.0f, kLine.Alpha(0.6f));
    canvas.Text({x, field.Bottom() - 7.0f},
                hertz < 1e3f   ? "100"
                : hertz < 1e4f ? "1 k"
                               : "10 k",
                {kTickSize, kTick, Align::kCentre});
  }
  std::array<Point, kPoints> points;
  for (size_t i = 0; i < kPoints; ++i) {
    const float position = static_cast<float>(i) / static_cast<float>(kPoints - 1);
    const float hertz = axis.ToValue(position);
    // Two Butterworth sections of second order, as power.
    const float h = std::pow(high / hertz, 4.0f), l = std::pow(hertz / low, 4.0f);
    const float power = (hasHigh ? 1.0f / (1.0f + h) : 1.0f) * (hasLow ? 1.0f / (1.0f + l) : 1.0f);
    points[i] = {inner.x + inner.w * position, yOf(10.0f * std::log10(std::max(power, 1e-6f)))};
  }
  std::array<Point, kPoints + 2> area;
  std::copy(points.begin(), points.end(), area.begin());
  area[kPoints] = {inner.Right(), field.Bottom()};
  area[kPoints + 1] = {inner.x, field.Bottom()};
  canvas.Polygon(area, kAccent.Alpha(0.10f));
  canvas.Polyline(points, 2.0f, kAccent);
  for (int which = 0; which < 2; ++which) {
    const Point handle{HandleX(which), yOf((which == 0 ? hasHigh : hasLow) ? -3.0f : 0.0f)};
    canvas.Disc(handle, held == which || (isHovered && held < 0) ? 6.0f : 5.0f, kText);
    if (hasFocus && focused == which) canvas.Ring(handle, 9.0f, kFocus, 1.5f);
    const Align align = which == 0 ? Align::kLeft : Align::kRight;
    const float x = which == 0 ? bounds.x : bounds.Right();
    canvas.Text({x, field.Bottom() + 11.0f}, which == 0 ? "Low cut" : "High cut", {kSmall, kDim, align});
    const bool isOut = which == 0 ? !hasHigh : !hasLow;
    canvas.Text({x, field.Bottom() + 27.0f},
                isOut ? "off" : desk.Model().Text(cutoffs[static_cast<size_t>(which)].front()),
                {kValue, kText, align});
  }
}

bool FilterCurve::Press(const Pointer& pointer) {
  const int which = Nearest(pointer.at);
  const ParameterList& cutoff = cutoffs[static_cast<size_t>(which)];
  focused = which;
  if (pointer.clicks == 2) {
    Release(pointer);
    Reset(desk, cutoff);
    return true;
  }
  if (ValuePlace(which).Contains(pointer.at)) {
    OpenValueEntry(desk, cutoff, ValuePlace(which));
    return true;
  }
  held = which;
  lastX = pointer.at.x;
  dragPosition = desk.Model().Value(cutoff.front());
  desk.Model().BeginGesture(cutoff.front());
  return true;
}

void FilterCurve::Drag(const Pointer& pointer) {
  if (held < 0) return;
  const float travel = Field().w - 16.0f;
  dragPosition += (pointer.at.x - lastX) / travel * (pointer.isShift ? 0.1f : 1.0f);
  lastX = pointer.at.x;
  desk.Model().SetValue(cutoffs[static_cast<size_t>(held)].front(), std::clamp(dragPosition, 0.0f, 1.0f));
}

void FilterCurve::Release(const Pointer&) {
  if (held < 0) return;
  desk.Model().EndGesture(cutoffs[static_cast<size_t>(held)].front());
  held = -1;
}

bool FilterCurve::Menu(const Pointer& pointer) {
  const int which = Nearest(pointer.at);
  OpenParameterMenu(desk, cutoffs[static_cast<size_t>(which)], pointer.at, ValuePlace(which));
  return true;
}

bool FilterCurve::Wheel(const Pointer& pointer, float steps) {
  Nudge(desk, cutoffs[static_cast<size_t>(Nearest(pointer.at))], steps, pointer.isShift);
  return true;
}

Cursor FilterCurve::CursorAt(Point at) const {
  return ValuePlace(0).Contains(at) || ValuePlace(1).Contains(at) ? Cursor::kCaret : Cursor::kHand;
}

bool FilterCurve::Strike(const Stroke& stroke) {
  if (stroke.key == Key::kSpace) {
    focused = 1 - focused;
    return true;
  }
  return StrikeParameter(desk, cutoffs[static_cast<size_t>(focused)], stroke, ValuePlace(focused));
}

std::string FilterCurve::Tip(Point at) const {
  return ParameterTip(desk, cutoffs[static_cast<size_t>(Nearest(at))].front());
}

}  // namespace Vantora::plugin
