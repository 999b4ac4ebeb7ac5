#include "plugin/window/VoiceRow.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "plugin/window/Effects.h"

namespace Vantora::plugin {
namespace {

using namespace theme;
constexpr float kNameWidth = 50.0f;
constexpr float kPitch = 25.0f;  // from disc to disc

}  // namespace

VoiceRow::VoiceRow(Desk& theDesk) : Widget(theDesk), parameters{Named("Prismel_Voices").Index()} {}

float VoiceRow::DiscX(int voice) const {
  return bounds.x + kNameWidth + kPitch * (static_cast<float>(voice) + 0.5f);
}

void VoiceRow::Draw(Canvas& canvas) {
  const float y = bounds.Centre().y;
  const auto voices = static_cast<int>(VoicesAsked(desk.Model()));
  canvas.Text({bounds.x, y}, "Voices", {kBody, kDim});
  for (int v = 0; v < 8; ++v) {
    const Colour colour = kVoices[static_cast<size_t>(v)];
    if (v < voices) {
      canvas.Disc({DiscX(v), y}, 8.0f, colour);
    } else {
      canvas.Ring({DiscX(v), y}, 7.25f, colour.Alpha(0.55f), 1.5f);
    }
  }
  canvas.Text({DiscX(7) + 20.0f, y}, fmt::format("{}", voices), {kValue, kText});
  if (hasFocus) canvas.Frame(bounds.Inset(-5.0f, -1.0f), kSmallRadius, kFocus, 1.5f);
}

void VoiceRow::TakeAt(Point at) {
  const int voice = std::clamp(static_cast<int>((at.x - bounds.x - kNameWidth) / kPitch), 0, 7);
  const float position = static_cast<float>(voice) / 7.0f;
  if (std::abs(position - desk.Model().Value(parameters.front())) > 0.01f) {
    desk.Model().SetValue(parameters.front(), position);
  }
}

bool VoiceRow::Press(const Pointer& pointer) {
  if (pointer.at.x < bounds.x + kNameWidth)
    return pointer.clicks == 2 ? (Reset(desk, parameters), true) : true;
  isDragging = true;
  desk.Model().BeginGesture(parameters.front());
  TakeAt(pointer.at);
  return true;
}

void VoiceRow::Drag(const Pointer& pointer) {
  if (isDragging) TakeAt(pointer.at);
}

void VoiceRow::Release(const Pointer&) {
  if (!isDragging) return;
  isDragging = false;
  desk.Model().EndGesture(parameters.front());
}

bool VoiceRow::Menu(const Pointer& pointer) {
  OpenParameterMenu(desk, parameters, pointer.at, bounds);
  return true;
}

bool VoiceRow::Wheel(const Pointer&, float steps) {
  Nudge(desk, parameters, steps, false);
  return true;
}

}  // namespace Vantora::plugin
