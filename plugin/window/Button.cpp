#include "plugin/window/Button.h"

namespace Vantora::plugin {

using namespace theme;

Button::Button(Desk& theDesk, std::string text, std::string what, std::function<void()> action)
    : Widget(theDesk), word(std::move(text)), tip(std::move(what)), run(std::move(action)) {}

Button::Button(Desk& theDesk, Icon picture, std::string what, std::function<void()> action)
    : Widget(theDesk), icon(picture), tip(std::move(what)), run(std::move(action)) {}

void Button::Draw(Canvas& canvas) {
  const bool on = isOn && isOn(), enabled = !isEnabled || isEnabled();
  const Colour colour = !enabled ? kLine : on ? kAccent : isHovered ? kText : kDim;
  if (isHovered && enabled) canvas.Box(bounds, kSmallRadius, kHover);
  if (hasFrame) canvas.Frame(bounds, kSmallRadius, kLine);
  if (icon) {
    DrawIcon(canvas, bounds.Centre(), *icon, colour);
  } else {
    canvas.TextWithin(bounds.Centre(), bounds.w - 4.0f, wordNow ? wordNow() : word,
                      {kBody, colour, Align::kCentre, on});
  }
  if (hasFocus) canvas.Frame(bounds, kSmallRadius, kFocus, 1.5f);
}

bool Button::Press(const Pointer&) {
  if (!isEnabled || isEnabled()) run();
  return true;
}

bool Button::Strike(const Stroke& stroke) {
  if (stroke.key != Key::kSpace && stroke.key != Key::kEnter) return false;
  if (!isEnabled || isEnabled()) run();
  return true;
}

}  // namespace Vantora::plugin
