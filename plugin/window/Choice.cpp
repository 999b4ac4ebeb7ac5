#include "plugin/window/Choice.h"

#include <algorithm>
#include <cmath>

namespace Vantora::plugin {

using namespace theme;

Choice::Choice(Desk& theDesk, ParameterList moved, Form theForm, std::vector<std::string> valueNames,
               Drawing drawing)
    : Widget(theDesk),
      parameters(std::move(moved)),
      form(theForm),
      names(std::move(valueNames)),
      picture(drawing) {}

Rect Choice::Cell(int index) const {
  const auto count = static_cast<int>(names.size());
  return form == Form::kList ? bounds.Row(index, count, 1.0f) : bounds.Column(index, count, 5.0f);
}

int Choice::CellAt(Point at) const {
  for (int i = 0; i < static_cast<int>(names.size()); ++i) {
    if (Cell(i).Inset(-2.5f, -0.5f).Contains(at)) return i;
  }
  return -1;
}

int Choice::Chosen() const {
  return static_cast<int>(
      std::lround(desk.Model().Value(parameters.front()) * static_cast<float>(names.size() - 1)));
}

void Choice::Take(int index) {
  index = std::clamp(index, 0, static_cast<int>(names.size()) - 1);
  if (index != Chosen())
    SetAll(desk, parameters, static_cast<float>(index) / static_cast<float>(names.size() - 1));
}

void Choice::Draw(Canvas& canvas) {
  const int chosen = Chosen();
  for (int i = 0; i < static_cast<int>(names.size()); ++i) {
    const Rect cell = Cell(i);
    const bool isChosen = i == chosen, isUnder = isHovered && i == hovered;
    const Colour mark = isChosen ? kAccent : kDim;
    const Colour word = isChosen && form == Form::kList ? kText : mark;
    if (isChosen || isUnder) canvas.Box(cell, kSmallRadius, isChosen ? kRaised : kHover);
    if (form != Form::kList) canvas.Frame(cell, kSmallRadius, isChosen ? kLine : kLine.Alpha(0.7f));
    const std::string& name = names[static_cast<size_t>(i)];
    const Point middle = cell.Centre();
    switch (form) {
      case Form::kList:
        picture(canvas, {cell.x + 10.0f, middle.y - 8.0f, 20.0f, 16.0f}, static_cast<uint32_t>(i), mark);
        canvas.Text({cell.x + 43.0f, middle.y}, name, {kValue, word, Align::kLeft, isChosen});
        break;
      case Form::kTiles:
        picture(canvas, {middle.x - 15.0f, cell.y + 8.0f, 30.0f, cell.h - 31.0f}, static_cast<uint32_t>(i),
                mark);
        canvas.TextWithin({middle.x, cell.Bottom() - 11.0f}, cell.w - 2.0f, name,
                          {kSmall, word, Align::kCentre});
        break;
      case Form::kWords:
        canvas.TextWithin(middle, cell.w - 4.0f, name, {kSmall, word, Align::kCentre});
        break;
    }
    if (hasFocus && isChosen) canvas.Frame(cell.Inset(-2.0f, -2.0f), kSmallRadius + 2.0f, kFocus, 1.5f);
  }
}

bool Choice::Press(const Pointer& pointer) {
  if (const int cell = CellAt(pointer.at); cell >= 0) Take(cell);
  return true;
}

void Choice::Hover(const Pointer& pointer) { hovered = CellAt(pointer.at); }

bool Choice::Menu(const Pointer& pointer) {
  OpenParameterMenu(desk, parameters, pointer.at, bounds);
  return true;
}

bool Choice::Wheel(const Pointer&, float steps) {
  Take(Chosen() + (steps > 0.0f ? -1 : 1));
  return true;
}

bool Choice::Strike(const Stroke& stroke) {
  switch (stroke.key) {
    case Key::kUp:
    case Key::kLeft:
      Take(Chosen() - 1);
      return true;
    case Key::kDown:
    case Key::kRight:
    case Key::kSpace:
    case Key::kEnter:
      Take(Chosen() + 1);
      return true;
    default:
      return StrikeParameter(desk, parameters, stroke, bounds);
  }
}

}  // namespace Vantora::plugin
