#include "plugin/window/Face.h"

#include <nanovg/nanovg.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "plugin/window/FaceParts.h"
#include "plugin/window/Popups.h"

namespace Vantora::plugin {
namespace {

using namespace theme;
constexpr double kTipDelay = 0.7;      // s
constexpr double kDoubleClick = 0.35;  // s
constexpr double kHeldGesture = 0.5;   // s after the last turn of the wheel
constexpr double kNoticeSeconds = 5.0;
constexpr double kLook = 0.25;  // s, between two looks at what moves while nothing is said to

uint64_t Mix(uint64_t hash, uint64_t value) { return (hash ^ value) * 0x9E3779B97F4A7C15ull + (hash >> 29); }

}  // namespace

Face::Face(WindowModel& theModel, Desktop& theDesktop, ShellExtras* theExtras)
    : model(theModel), desktop(theDesktop), extras(theExtras) {
  Build();
}

Face::~Face() { EndHeldGesture(); }

// ---- Picture

uint64_t Face::Picture() const {
  // In steps of half a pixel: what moves by less is the same picture.
  const auto step = [&](float value, float pixels) {
    return static_cast<uint64_t>(static_cast<int64_t>(std::lround(value * pixels * 2.0f * scale)));
  };
  uint64_t hash = Mix(live.isAtRest ? 1 : 0, live.activeVoices);
  const uint32_t voices = std::min(live.activeVoices, LiveView::kVoices);
  for (uint32_t side = 0; side < LiveView::kSides && !isAdvanced; ++side) {
    for (uint32_t v = 0; v < voices; ++v) {
      hash = Mix(hash, step(live.tapMs[side][v], 8.0f));
      hash = Mix(hash, step(live.spread[side][v], 470.0f));
    }
  }
  hash = Mix(hash, step(live.prismelion, 400.0f));
  hash = Mix(hash, step(live.primary, 120.0f));
  hash = Mix(hash, step(live.lfoPhase, 120.0f));
  hash = Mix(hash, step(live.lfoValue, 40.0f));
  for (const auto& widget : widgets) hash = Mix(hash, widget->Picture());
  for (const auto& popup : popups) hash = Mix(hash, popup->Picture());
  return hash;
}

bool Face::Update(double time) {
  now = time;
  closed.clear();
  if (!heldGesture.empty() && now > heldUntil) EndHeldGesture();
  const bool hasNews = model.Revision() != seenRevision;
  if (hasNews) {
    seenRevision = model.Revision();
    isStale = true;
  }
  if (extras != nullptr && extras->ExtrasRevision() != seenExtras) {
    seenExtras = extras->ExtrasRevision();
    isStale = true;
  }
  // While a host runs nothing, what moves follows the knobs; that it has stopped nobody says.
  if (const uint64_t revision = model.LiveRevision();
      revision != seenLive || hasNews || now - lastLook > kLook) {
    seenLive = revision;
    lastLook = now;
    live = model.Live();
    parts->wave->Tick();
  }
  parts->inMeter->Tick(now);
  parts->outMeter->Tick(now);
  const bool wantsTip = mayTip && isPointerInside && pressed == nullptr && popups.empty() &&
                        under != nullptr && now - restingSince > kTipDelay;
  if (wantsTip != isTipShown) {
    isTipShown = wantsTip;
    isStale = true;
  }
  if (!notice.empty() && now > noticeUntil) {
    notice.clear();
    isStale = true;
  }
  if (const uint64_t picture = Picture(); picture != seenPicture) {
    seenPicture = picture;
    isStale = true;
  }
  return std::exchange(isStale, false);
}

void Face::Resize(float width, float height) {
  Fit(width, height);
  isStale = true;
}

void Face::Fit(float width, float height) {
  scale = std::min(width / kWidth, height / kHeight);
  offset = {0.5f * (width - scale * kWidth), 0.5f * (height - scale * kHeight)};
}

void Face::Draw(NVGcontext* context, FontSet fonts, float width, float height,
                const Canvas::TextObserver* observer) {
  Fit(width, height);
  Canvas canvas(context, fonts, observer);
  nvgSave(context);
  canvas.Box({0.0f, 0.0f, width, height}, 0.0f, kGround);
  nvgTranslate(context, offset.x, offset.y);
  nvgScale(context, scale, scale);
  Arrange();
  DrawGrounds(canvas);
  for (const auto& widget : widgets) {
    if (widget->isVisible) widget->Draw(canvas);
  }
  if (isAdvanced) {
    advanced->Draw(canvas);
    for (const auto& control : advanced->Controls()) {
      if (control->isVisible) control->Draw(canvas);
    }
  }
  // Bypassed, everything steps back; it can still be read and set.
  if (model.Value(Named("Bypass").Index()) >= 0.5f) {
    canvas.Box({0.0f, 56.0f, kWidth, kHeight - 56.0f}, 0.0f, kGround.Alpha(0.4f));
  }
  if (const std::string message = model.Message(); !message.empty()) DrawNotice(canvas, message, true);
  for (const auto& popup : popups) popup->Draw(canvas);
  if (!notice.empty()) DrawNotice(canvas, notice, false);
  if (isTipShown) DrawTip(canvas);
  nvgRestore(context);
}

void Face::DrawTip(Canvas& canvas) {
  if (under == nullptr) return;
  const std::string tip = under->Tip(pointer);
  if (tip.empty()) return;
  const size_t end = tip.find('\n');
  const std::string title = tip.substr(0, end);
  const std::string body = end == std::string::npos ? std::string() : tip.substr(end + 1);
  const TextStyle head{kBody, kText, Align::kLeft, true}, text{kSmall, kText};
  constexpr float kWidest = 260.0f;
  const float textHeight =
      body.empty() ? 0.0f : canvas.Paragraph({0, 0, kWidest - 24.0f, 0}, body, text, true);
  const float width = body.empty() ? canvas.TextWidth(title, head) + 24.0f : kWidest;
  Rect box{pointer.x + 12.0f, pointer.y + 18.0f, width, textHeight + 30.0f};
  if (box.Right() > kWidth - 6.0f) box.x = kWidth - 6.0f - box.w;
  if (box.Bottom() > kHeight - 6.0f) box.y = pointer.y - 10.0f - box.h;
  canvas.Box({box.x + 1.0f, box.y + 3.0f, box.w, box.h}, kSmallRadius, {0, 0, 0, 90});
  canvas.Box(box, kSmallRadius, kPopup);
  canvas.Frame(box, kSmallRadius, kLine);
  canvas.TextWithin({box.x + 12.0f, box.y + 15.0f}, box.w - 20.0f, title, head);
  if (!body.empty()) canvas.Paragraph({box.x + 12.0f, box.y + 24.0f, box.w - 24.0f, 0.0f}, body, text);
}

void Face::DrawNotice(Canvas& canvas, const std::string& text, bool isLasting) {
  const TextStyle style{kBody, kText, Align::kCentre};
  constexpr float kWidest = 520.0f;
  const float height = canvas.Paragraph({0, 0, kWidest - 32.0f, 0}, text, style, true);
  const Rect box{0.5f * (kWidth - kWidest), isLasting ? kHeight - height - 30.0f : 62.0f, kWidest,
                 height + 18.0f};
  canvas.Box({box.x + 1.0f, box.y + 3.0f, box.w, box.h}, kSmallRadius, {0, 0, 0, 90});
  canvas.Box(box, kSmallRadius, kPopup);
  canvas.Frame(box, kSmallRadius, isLasting ? kHot : kAccent);
  canvas.Paragraph({box.x + 16.0f, box.y + 9.0f, box.w - 32.0f, 0.0f}, text, style);
}

// ---- Desk

void Face::OpenMenu(Point at, std::vector<MenuItem> items) {
  auto menu = std::make_unique<MenuPopup>(static_cast<Desk&>(*this), std::move(items));
  const float w = menu->Width(), h = menu->Height();
  menu->bounds = {std::clamp(at.x, 6.0f, kWidth - w - 6.0f),
                  std::clamp(at.y, 6.0f, std::max(kHeight - h - 6.0f, 6.0f)), w, h};
  OpenPopup(std::move(menu));
}

void Face::OpenEntry(Rect place, std::string text, std::function<std::string(std::string)> commit) {
  auto line = std::make_unique<TextLine>(static_cast<Desk&>(*this), std::move(text), std::move(commit));
  constexpr float kNarrowest = 92.0f;
  if (place.w < kNarrowest) place = {place.Centre().x - 0.5f * kNarrowest, place.y, kNarrowest, place.h};
  if (place.h < kTarget) place = {place.x, place.Centre().y - 0.5f * kTarget, place.w, kTarget};
  place.x = std::clamp(place.x, 4.0f, kWidth - place.w - 4.0f);
  line->bounds = place;
  line->hasFocus = true;
  OpenPopup(std::move(line));
}

void Face::OpenPopup(std::unique_ptr<Widget> popup) {
  popups.push_back(std::move(popup));
  if (under != nullptr) under->isHovered = false;
  under = nullptr;
  isStale = true;
}

void Face::ClosePopup() {
  if (popups.empty()) return;
  if (pressed == popups.back().get()) pressed = nullptr;
  if (under == popups.back().get()) under = nullptr;
  closed.push_back(std::move(popups.back()));
  popups.pop_back();
  isStale = true;
}

void Face::Say(const std::string& sentence) {
  if (sentence.empty()) return;
  notice = sentence;
  noticeUntil = now + kNoticeSeconds;
  isStale = true;
}

void Face::HoldGesture(const std::vector<uint32_t>& parameters) {
  heldUntil = now + kHeldGesture;
  if (parameters == heldGesture) return;
  EndHeldGesture();
  heldGesture = parameters;
  for (const uint32_t index : heldGesture) model.BeginGesture(index);
}

void Face::EndHeldGesture() {
  for (const uint32_t index : heldGesture) model.EndGesture(index);
  heldGesture.clear();
}

// ---- Pointer

Widget* Face::WidgetAt(Point at) const {
  if (!popups.empty()) return popups.back()->bounds.Contains(at) ? popups.back().get() : nullptr;
  if (isAdvanced) {
    for (const auto& control : advanced->Controls()) {
      if (control->isVisible && control->bounds.Contains(at)) return control.get();
    }
  }
  for (auto widget = widgets.rbegin(); widget != widgets.rend(); ++widget) {
    if ((*widget)->isVisible && (*widget)->bounds.Contains(at)) return widget->get();
  }
  return nullptr;
}

void Face::PressAt(float x, float y, bool isRight, bool isShift, bool isControl, double time) {
  Arrange();  // a press that follows a choice at once may come before the picture of that choice
  pointer = Place(x, y);
  EndHeldGesture();
  isStale = true;
  mayTip = false;
  const bool isDouble = !isRight && lastPress && time >= *lastPress && time - *lastPress < kDoubleClick &&
                        std::abs(pointer.x - lastPressAt.x) < 5.0f &&
                        std::abs(pointer.y - lastPressAt.y) < 5.0f;
  lastPress = isRight || isDouble ? std::nullopt : std::optional(time);
  lastPressAt = pointer;
  if (!notice.empty()) notice.clear();
  Widget* hit = WidgetAt(pointer);
  if (hit == nullptr) {
    if (!popups.empty()) ClosePopup();
    Focus(nullptr);
    return;
  }
  const Pointer event{pointer, isShift, isControl, isDouble ? 2 : 1};
  if (isRight) {
    hit->Menu(event);
    return;
  }
  if (popups.empty()) Focus(nullptr);  // the ring is for the keyboard
  // Set before the press: it may close the widget.
  pressed = hit;
  hit->Press(event);
}

void Face::ReleaseAt(float x, float y) {
  pointer = Place(x, y);
  if (pressed != nullptr) std::exchange(pressed, nullptr)->Release({pointer});
  isStale = true;
}

void Face::MoveTo(float x, float y, bool isShift, bool isControl, double time) {
  now = time;
  const Point to = Place(x, y);
  const bool hasMoved = std::abs(to.x - pointer.x) + std::abs(to.y - pointer.y) > 0.5f;
  pointer = to;
  isPointerInside = true;
  if (hasMoved) {
    restingSince = now;
    mayTip = true;
  }
  if (pressed != nullptr) {
    pressed->Drag({pointer, isShift, isControl});
    return;
  }
  Widget* hit = WidgetAt(pointer);
  if (hit != under) {
    if (under != nullptr) under->isHovered = false;
    under = hit;
    if (under != nullptr) under->isHovered = true;
    isStale = true;
  }
  if (under != nullptr) under->Hover({pointer, isShift, isControl});
  desktop.SetCursor(under != nullptr ? under->CursorAt(pointer) : Cursor::kArrow);
}

void Face::Leave() {
  isPointerInside = false;
  if (under != nullptr) {
    under->isHovered = false;
    under = nullptr;
    isStale = true;
  }
}

void Face::Scroll(float x, float y, float steps, bool isShift) {
  Arrange();
  pointer = Place(x, y);
  mayTip = false;
  if (Widget* hit = WidgetAt(pointer); hit != nullptr && pressed == nullptr)
    hit->Wheel({pointer, isShift}, steps);
  isStale = true;
}

// ---- Keyboard

void Face::Focus(Widget* widget) {
  if (focus == widget) return;
  if (focus != nullptr) focus->hasFocus = false;
  focus = widget;
  if (focus != nullptr) focus->hasFocus = true;
  isStale = true;
}

std::vector<const Widget*> Face::VisibleControls() const {
  std::vector<const Widget*> controls;
  for (const auto& widget : widgets) {
    if (widget->isVisible) controls.push_back(widget.get());
    if (widget.get() == parts->advancedButton && isAdvanced) {
      for (const auto& control : advanced->Controls()) {
        if (control->isVisible) controls.push_back(control.get());
      }
    }
  }
  return controls;
}

void Face::MoveFocus(int by) {
  Arrange();
  std::vector<const Widget*> order = VisibleControls();
  std::erase_if(order, [](const Widget* widget) { return !widget->TakesFocus(); });
  if (order.empty()) return;
  const auto count = static_cast<int>(order.size());
  const auto found = std::find(order.begin(), order.end(), focus);
  const int at = found == order.end() ? (by > 0 ? -1 : count) : static_cast<int>(found - order.begin());
  // The list is of this face's own widgets, which are ours to change.
  Focus(const_cast<Widget*>(order[static_cast<size_t>((at + by + count) % count)]));
}

bool Face::Strike(const Stroke& stroke) {
  isStale = true;
  mayTip = false;
  if (!popups.empty()) {
    if (stroke.key == Key::kEscape) return ClosePopup(), true;
    Widget* top = popups.back().get();
    if (top->Strike(stroke)) return true;
    if (stroke.key == Key::kTab) {
      // From one typed value to the next control.
      ClosePopup();
      MoveFocus(stroke.isShift ? -1 : 1);
    }
    return true;
  }
  switch (stroke.key) {
    case Key::kTab:
      MoveFocus(stroke.isShift ? -1 : 1);
      return true;
    case Key::kEscape:
      if (focus == nullptr && !isAdvanced) return false;
      if (focus == nullptr) SetAdvanced(false);
      Focus(nullptr);
      return true;
    default:
      break;
  }
  if (Shortcut(stroke)) return true;
  return focus != nullptr && focus->isVisible && focus->Strike(stroke);
}

bool Face::Shortcut(const Stroke& stroke) {
  if (!stroke.isControl || stroke.key != Key::kLetter) return false;
  switch (stroke.letter) {
    case 'z':
      stroke.isShift ? model.Redo() : model.Undo();
      return true;
    case 'y':
      model.Redo();
      return true;
    case 'c':
      parts->CopySettings();
      return true;
    case 'v':
      parts->PasteSettings();
      return true;
    case 's':
      parts->SavePreset();
      return true;
    default:
      return false;
  }
}

bool Face::Type(std::string_view text) {
  if (popups.empty()) return false;
  isStale = true;
  popups.back()->Type(text);
  return true;
}

void Face::SetAdvanced(bool open) {
  isAdvanced = open;
  isStale = true;
}

}  // namespace Vantora::plugin
