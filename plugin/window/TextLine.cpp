#include <algorithm>

#include "plugin/window/Popups.h"

namespace Vantora::plugin {
namespace {

using namespace theme;

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xc0u) == 0x80u; }

}  // namespace

TextLine::TextLine(Desk& theDesk, std::string initial, std::function<std::string(std::string)> taker)
    : Widget(theDesk), text(std::move(initial)), commit(std::move(taker)), caret(text.size()) {}

void TextLine::Draw(Canvas& canvas) {
  canvas.Box(bounds, kSmallRadius, kWell);
  canvas.Frame(bounds, kSmallRadius, !refusal.empty() ? kHot : hasFocus ? kAccent : kLine, 1.5f);
  const TextStyle style{kValue, kText, Align::kLeft};
  const float width = canvas.TextWidth(text, style);
  const float room = bounds.w - 16.0f;
  const float before = canvas.TextWidth(std::string_view(text).substr(0, caret), style);
  float x = align == Align::kCentre && width < room ? bounds.Centre().x - 0.5f * width : bounds.x + 8.0f;
  if (width > room) x -= std::clamp(before - room, 0.0f, width - room);  // the caret stays in sight
  const float y = bounds.Centre().y;
  canvas.Clip(bounds.Inset(3.0f, 1.0f));
  if (isSelected && hasFocus && !text.empty())
    canvas.Box({x - 2.0f, y - 9.0f, width + 4.0f, 18.0f}, 3.0f, kAccent.Alpha(0.35f));
  if (text.empty() && !hint.empty()) {
    canvas.Text({bounds.x + 8.0f, y}, hint, {kValue, kTick});
  }
  canvas.Text({x, y}, text, style);
  if (hasFocus && !isSelected) canvas.Line({x + before, y - 8.0f}, {x + before, y + 8.0f}, 1.25f, kAccent);
  canvas.Unclip();
  if (!refusal.empty()) {
    Rect note{bounds.x, bounds.Bottom() + 4.0f, 240.0f, 0.0f};
    note.x = std::clamp(bounds.Centre().x - 120.0f, 8.0f, 980.0f - 248.0f);
    const TextStyle warning{kSmall, kText};
    const float height = canvas.Paragraph(note.Inset(8.0f, 0.0f), refusal, warning, true);
    if (note.y + height + 12.0f > 616.0f) note.y = bounds.y - height - 16.0f;
    canvas.Box({note.x, note.y, note.w, height + 12.0f}, kSmallRadius, kPopup);
    canvas.Frame({note.x, note.y, note.w, height + 12.0f}, kSmallRadius, kHot);
    canvas.Paragraph({note.x + 8.0f, note.y + 6.0f, note.w - 16.0f, 0.0f}, refusal, warning);
  }
}

bool TextLine::Press(const Pointer&) {
  isSelected = !isSelected;
  if (!isSelected) caret = text.size();
  ++edits;
  return true;
}

void TextLine::Commit() {
  refusal = commit(text);
  ++edits;
  if (refusal.empty() && closesWhenTaken) desk.ClosePopup();
}

void TextLine::Erase(bool backwards) {
  if (isSelected) {
    text.clear();
    caret = 0;
  } else if (backwards && caret > 0) {
    size_t from = caret - 1;
    while (from > 0 && IsContinuation(text[from])) --from;
    text.erase(from, caret - from);
    caret = from;
  } else if (!backwards && caret < text.size()) {
    size_t to = caret + 1;
    while (to < text.size() && IsContinuation(text[to])) ++to;
    text.erase(caret, to - caret);
  }
}

bool TextLine::Strike(const Stroke& stroke) {
  ++edits;
  switch (stroke.key) {
    case Key::kEnter:
      Commit();
      return true;
    case Key::kBackspace:
    case Key::kDelete:
      Erase(stroke.key == Key::kBackspace);
      break;
    case Key::kLeft:
      if (isSelected) caret = 0;
      while (caret > 0 && IsContinuation(text[--caret])) {
      }
      break;
    case Key::kRight:
      if (isSelected) caret = text.size();
      if (caret < text.size()) ++caret;
      while (caret < text.size() && IsContinuation(text[caret])) ++caret;
      break;
    case Key::kHome:
      caret = 0;
      break;
    case Key::kEnd:
      caret = text.size();
      break;
    case Key::kLetter:
      if (!stroke.isControl) return false;
      if (stroke.letter == 'a') return isSelected = true;
      if (stroke.letter == 'c') return desk.SetClipboard(text), true;
      if (stroke.letter == 'v') return Type(desk.Clipboard());
      return false;
    default:
      return false;
  }
  isSelected = false;
  refusal.clear();
  return true;
}

bool TextLine::Type(std::string_view typed) {
  std::string clean;
  for (const char byte : typed) {
    if (static_cast<unsigned char>(byte) >= 0x20u && byte != 0x7f) clean += byte;
  }
  if (clean.empty()) return true;
  if (isSelected) Erase(true);
  text.insert(caret, clean);
  caret += clean.size();
  isSelected = false;
  refusal.clear();
  ++edits;
  return true;
}

// ---- SaveSheet

SaveSheet::SaveSheet(Desk& theDesk, std::string presetName, std::string presetDescription)
    : Widget(theDesk),
      name(theDesk, std::move(presetName), [this](const std::string&) { return Save(), std::string(); }),
      description(theDesk, std::move(presetDescription),
                  [this](const std::string&) { return Save(), std::string(); }) {
  name.hasFocus = true;
  for (TextLine* line : {&name, &description}) {
    line->align = Align::kLeft;
    line->closesWhenTaken = false;
  }
  name.hint = "Name";
  description.hint = "What it sounds like, in one line";
}

void SaveSheet::Arrange() {
  name.bounds = {bounds.x + 20.0f, bounds.y + 46.0f, bounds.w - 40.0f, 28.0f};
  description.bounds = {bounds.x + 20.0f, bounds.y + 82.0f, bounds.w - 40.0f, 28.0f};
}

Rect SaveSheet::ButtonPlace(bool isSave) const {
  return {bounds.Right() - (isSave ? 110.0f : 206.0f), bounds.Bottom() - 44.0f, 88.0f, 28.0f};
}

void SaveSheet::Draw(Canvas& canvas) {
  Arrange();
  canvas.Box({bounds.x + 1.0f, bounds.y + 3.0f, bounds.w, bounds.h}, kRadius, {0, 0, 0, 90});
  canvas.Box(bounds, kRadius, kPopup);
  canvas.Frame(bounds, kRadius, kLine);
  canvas.Text({bounds.x + 20.0f, bounds.y + 24.0f}, "Save this sound as a preset",
              {kTitle, kText, Align::kLeft, true});
  name.Draw(canvas);
  description.Draw(canvas);
  if (!refusal.empty()) {
    canvas.Paragraph({bounds.x + 20.0f, bounds.y + 116.0f, bounds.w - 40.0f, 0.0f}, refusal, {kSmall, kHot});
  }
  for (const bool isSave : {true, false}) {
    const Rect place = ButtonPlace(isSave);
    const bool isUnder = hovered == (isSave ? 1 : 2);
    canvas.Box(place, kSmallRadius,
               isSave    ? kAccent.Alpha(isUnder ? 1.0f : 0.9f)
               : isUnder ? kLine
                         : kRaised);
    canvas.Text(place.Centre(), isSave ? "Save" : "Cancel",
                {kBody, isSave ? kGround : kText, Align::kCentre, isSave});
  }
}

void SaveSheet::Save() {
  refusal = desk.Model().SavePreset(name.Text(), description.Text());
  if (refusal.empty()) desk.ClosePopup();
}

bool SaveSheet::Press(const Pointer& pointer) {
  if (ButtonPlace(true).Contains(pointer.at)) return Save(), true;
  if (ButtonPlace(false).Contains(pointer.at)) return desk.ClosePopup(), true;
  for (TextLine* line : {&name, &description}) {
    const bool isHit = line->bounds.Contains(pointer.at);
    if (isHit && line->hasFocus) line->Press(pointer);
    if (isHit) {
      name.hasFocus = line == &name;
      description.hasFocus = line == &description;
      break;
    }
  }
  return true;
}

void SaveSheet::Hover(const Pointer& pointer) {
  hovered = ButtonPlace(true).Contains(pointer.at) ? 1 : ButtonPlace(false).Contains(pointer.at) ? 2 : 0;
}

bool SaveSheet::Strike(const Stroke& stroke) {
  if (stroke.key == Key::kTab) {
    std::swap(name.hasFocus, description.hasFocus);
    return true;
  }
  return Focused().Strike(stroke);
}

bool SaveSheet::Type(std::string_view typed) { return Focused().Type(typed); }

Cursor SaveSheet::CursorAt(Point at) const {
  return name.bounds.Contains(at) || description.bounds.Contains(at) ? Cursor::kCaret : Cursor::kHand;
}

uint64_t SaveSheet::Picture() const {
  return name.Picture() + description.Picture() * 4096 + static_cast<uint64_t>(hovered) +
         (name.hasFocus ? 8u : 0u) + (refusal.empty() ? 0u : 16u);
}

}  // namespace Vantora::plugin
