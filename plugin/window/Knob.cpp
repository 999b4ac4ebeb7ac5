#include "plugin/window/Knob.h"

#include <algorithm>
#include <cmath>

namespace Vantora::plugin {
namespace {

using namespace theme;

constexpr float kFineness = 0.1f;
constexpr float kLineHeight = 15.0f;

float AngleOf(float position) { return kKnobStart + kKnobSweep * position; }

Point OnCircle(Point centre, float radius, float angle) {
  return {centre.x + radius * std::cos(angle), centre.y + radius * std::sin(angle)};
}

}  // namespace

Knob::Knob(Desk& theDesk, ParameterList shown, Look knobLook)
    : Widget(theDesk), look(std::move(knobLook)), parameters(std::move(shown)) {}

Point Knob::Centre() const {
  // Room above for the outer arc.
  return {bounds.x + 0.5f * bounds.w, bounds.y + 0.5f * look.diameter + 5.0f};
}

Rect Knob::ValuePlace() const {
  if (look.isHuge) return {Centre().x - 44.0f, Centre().y - 16.0f, 88.0f, 32.0f};
  const float y = bounds.y + look.diameter + 8.0f + kLineHeight - 5.0f;
  return {bounds.x, y, bounds.w, kTarget};
}

void Knob::DrawArcs(Canvas& canvas, float value, bool isIdle) const {
  const Point centre = Centre();
  const float radius = 0.5f * look.diameter;
  const float width = look.isHuge ? 8.0f : look.diameter >= 60.0f ? 5.0f : 4.0f;
  const float arcRadius = radius - 0.5f * width;
  const Colour set = isIdle ? kTick : kAccent;

  canvas.Arc(centre, arcRadius, AngleOf(0.0f), AngleOf(1.0f), width, kLine.Alpha(0.75f));
  const float origin = look.isBipolar ? 0.5f : 0.0f;
  if (std::abs(value - origin) > 0.002f) {
    canvas.Arc(centre, arcRadius, AngleOf(origin), AngleOf(value), width, set);
  } else if (look.isBipolar) {
    canvas.Disc(OnCircle(centre, arcRadius, AngleOf(0.5f)), 0.5f * width, set);
  }

  // Where modulation takes it, outside: the span it reaches, and the way from the hand's position to now.
  const float span = reach ? reach() : 0.0f;
  if (!isIdle && span > 0.0005f) {
    const float outer = radius + (look.isHuge ? 8.0f : 3.0f);
    const float thin = look.isHuge ? 2.5f : 2.0f;
    canvas.Arc(centre, outer, AngleOf(std::max(value - span, 0.0f)), AngleOf(std::min(value + span, 1.0f)),
               thin, kAccent.Alpha(0.28f));
    if (const auto now = modulated ? modulated() : std::nullopt) {
      canvas.Arc(centre, outer, AngleOf(value), AngleOf(*now), thin, kMoved);
      canvas.Disc(OnCircle(centre, outer, AngleOf(*now)), thin + 0.5f, kAccent);
    }
  }

  const float body = radius - width - (look.isHuge ? 9.0f : 4.0f);
  canvas.Disc(centre, body, isHovered || isDragging ? kLine : kRaised);
  if (look.isHuge) canvas.Ring(centre, body, kLine, 1.0f);
  const float angle = AngleOf(value);
  canvas.Line(OnCircle(centre, body * (look.isHuge ? 0.70f : 0.42f), angle),
              OnCircle(centre, body * (look.isHuge ? 0.93f : 0.88f), angle), look.isHuge ? 4.0f : 2.5f,
              isIdle ? kTick : kText);
}

bool Knob::IsSwitch() const { return host::ParameterTable::Get()[parameters.front()].IsSwitch(); }

void Knob::DrawSwitch(Canvas& canvas, bool isOn) const {
  const Point centre = Centre();
  const Rect track{centre.x - 17.0f, centre.y - 10.0f, 34.0f, 20.0f};
  canvas.Box(track, 10.0f, isOn ? kAccent.Alpha(0.85f) : kRaised);
  canvas.Frame(track, 10.0f, isHovered ? kDim : kLine);
  canvas.Disc({isOn ? track.Right() - 10.0f : track.x + 10.0f, centre.y}, 7.0f, isOn ? kGround : kDim);
}

void Knob::Draw(Canvas& canvas) {
  const float value = desk.Model().Value(parameters.front());
  const bool isIdle = idleReason && !idleReason().empty();
  if (IsSwitch()) {
    DrawSwitch(canvas, value >= 0.5f);
  } else {
    DrawArcs(canvas, value, isIdle);
  }
  const bool isLearning = desk.Extras() != nullptr && desk.Extras()->IsLearning(parameters.front());
  const std::string text = isLearning ? "MIDI…" : isIdle ? "–" : ValueText(desk, parameters.front(), value);
  const Point centre = Centre();
  if (look.isHuge) {
    canvas.Text(centre, text, {kHuge, kText, Align::kCentre, true});
  } else {
    const float y = bounds.y + look.diameter + 8.0f + 0.5f * kLineHeight;
    const float width = bounds.w + 6.0f;
    canvas.TextWithin({centre.x, y}, width, look.name, {kSmall, kDim, Align::kCentre});
    canvas.TextWithin({centre.x, y + kLineHeight}, width, text,
                      {kValue, isIdle ? kDim : kText, Align::kCentre});
  }
  if (hasFocus) canvas.Frame(bounds.Inset(-3.0f, -3.0f), kRadius, kFocus, 1.5f);
}

bool Knob::Press(const Pointer& pointer) {
  if (IsSwitch()) {
    SetAll(desk, parameters, desk.Model().Value(parameters.front()) < 0.5f ? 1.0f : 0.0f);
    return true;
  }
  if (pointer.clicks == 2) {
    if (isDragging) Release(pointer);
    Reset(desk, parameters);
    return true;
  }
  if (!look.isHuge && ValuePlace().Contains(pointer.at)) {
    OpenValueEntry(desk, parameters, ValuePlace());
    return true;
  }
  for (const uint32_t index : parameters) desk.Model().BeginGesture(index);
  isDragging = true;
  dragPosition = desk.Model().Value(parameters.front());
  lastY = pointer.at.y;
  return true;
}

void Knob::Drag(const Pointer& pointer) {
  if (!isDragging) return;
  const float travel = look.isHuge ? 260.0f : 170.0f;
  const float speed = (pointer.isShift ? kFineness : 1.0f) / travel;
  dragPosition = std::clamp(dragPosition + (lastY - pointer.at.y) * speed, 0.0f, 1.0f);
  lastY = pointer.at.y;
  const host::Parameter& shown = host::ParameterTable::Get()[parameters.front()];
  float position = dragPosition;
  if (shown.IsStepped() && shown.StepCount() > 1) {
    const auto last = static_cast<float>(shown.StepCount() - 1);
    position = std::round(position * last) / last;
  }
  if (position == desk.Model().Value(parameters.front())) return;
  for (const uint32_t index : parameters) desk.Model().SetValue(index, position);
}

void Knob::Release(const Pointer&) {
  if (!isDragging) return;
  isDragging = false;
  for (const uint32_t index : parameters) desk.Model().EndGesture(index);
}

bool Knob::Menu(const Pointer& pointer) {
  OpenParameterMenu(desk, parameters, pointer.at, ValuePlace());
  return true;
}

bool Knob::Wheel(const Pointer& pointer, float steps) {
  Nudge(desk, parameters, steps, pointer.isShift);
  return true;
}

Cursor Knob::CursorAt(Point at) const {
  if (IsSwitch()) return Cursor::kHand;
  return !look.isHuge && ValuePlace().Contains(at) ? Cursor::kCaret : Cursor::kUpDown;
}

bool Knob::Strike(const Stroke& stroke) {
  if (IsSwitch() && (stroke.key == Key::kEnter || stroke.key == Key::kSpace)) return Press({});
  return StrikeParameter(desk, parameters, stroke, ValuePlace());
}

std::string Knob::Tip(Point) const {
  std::string tip = ParameterTip(desk, parameters.front());
  if (desk.Extras() != nullptr) {
    const std::string controller = desk.Extras()->ControllerOf(parameters.front());
    if (!controller.empty()) tip += "\nMoved by " + controller + ".";
  }
  if (idleReason) {
    if (const std::string reason = idleReason(); !reason.empty()) tip += "\n" + reason;
  }
  return tip;
}

}  // namespace Vantora::plugin
