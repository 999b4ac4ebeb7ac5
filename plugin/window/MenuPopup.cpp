#include <algorithm>

#include "plugin/window/Popups.h"

namespace Vantora::plugin {
namespace {

using namespace theme;
constexpr float kPadding = 6.0f;

}  // namespace

MenuPopup::MenuPopup(Desk& theDesk, std::vector<MenuItem> menuItems)
    : Widget(theDesk), items(std::move(menuItems)) {}

float MenuPopup::HeightOf(const MenuItem& item) {
  return item.text.empty() ? 9.0f : item.run ? kTarget : 26.0f;
}

float MenuPopup::Height() const {
  float height = 2.0f * kPadding;
  for (const MenuItem& item : items) height += HeightOf(item);
  return height;
}

bool MenuPopup::CanRun(int index) const {
  return index >= 0 && index < static_cast<int>(items.size()) && items[static_cast<size_t>(index)].run &&
         items[static_cast<size_t>(index)].isEnabled;
}

int MenuPopup::At(Point at) const {
  float y = bounds.y + kPadding;
  for (size_t i = 0; i < items.size(); ++i) {
    const float height = HeightOf(items[i]);
    if (at.y >= y && at.y < y + height && bounds.Contains(at)) return static_cast<int>(i);
    y += height;
  }
  return -1;
}

void MenuPopup::Draw(Canvas& canvas) {
  canvas.Box({bounds.x + 1.0f, bounds.y + 3.0f, bounds.w, bounds.h}, kRadius, {0, 0, 0, 90});
  canvas.Box(bounds, kRadius, kPopup);
  canvas.Frame(bounds, kRadius, kLine);
  float y = bounds.y + kPadding;
  for (size_t i = 0; i < items.size(); ++i) {
    const MenuItem& item = items[i];
    const Rect line{bounds.x + 4.0f, y, bounds.w - 8.0f, HeightOf(item)};
    y += line.h;
    if (item.text.empty()) {
      canvas.Line({line.x + 8.0f, line.Centre().y}, {line.Right() - 8.0f, line.Centre().y}, 1.0f, kLine);
      continue;
    }
    const float middle = line.Centre().y;
    if (static_cast<int>(i) == chosen && CanRun(chosen)) canvas.Box(line, kSmallRadius, kLine);
    const Colour colour = !item.run ? kDim : !item.isEnabled ? kTick : kText;
    const float right = item.right.empty() ? 0.0f : canvas.TextWidth(item.right, {kSmall, kDim}) + 12.0f;
    canvas.TextWithin({line.x + 24.0f, middle}, line.w - 34.0f - right, item.text,
                      {item.run ? kBody : kSmall, colour, Align::kLeft, item.isChosen});
    if (item.isChosen) canvas.Disc({line.x + 13.0f, middle}, 3.0f, kAccent);
    canvas.Text({line.Right() - 10.0f, middle}, item.right, {kSmall, kDim, Align::kRight});
  }
}

void MenuPopup::Run(int index) {
  // The menu is gone before its line runs: the line may open something itself.
  const std::function<void()> run = items[static_cast<size_t>(index)].run;
  desk.ClosePopup();
  run();
}

bool MenuPopup::Press(const Pointer& pointer) {
  if (const int index = At(pointer.at); CanRun(index)) Run(index);
  return true;
}

void MenuPopup::Hover(const Pointer& pointer) { chosen = At(pointer.at); }

bool MenuPopup::Strike(const Stroke& stroke) {
  const auto count = static_cast<int>(items.size());
  switch (stroke.key) {
    case Key::kUp:
    case Key::kDown: {
      const int step = stroke.key == Key::kUp ? -1 : 1;
      int next = chosen < 0 && step < 0 ? count : chosen;
      for (int tries = 0; tries < count; ++tries) {
        next = (next + step + count) % count;
        if (CanRun(next)) break;
      }
      if (CanRun(next)) chosen = next;
      return true;
    }
    case Key::kEnter:
    case Key::kSpace:
      if (CanRun(chosen)) Run(chosen);
      return true;
    default:
      return false;
  }
}

}  // namespace Vantora::plugin
