#include "plugin/window/Canvas.h"

#include <nanovg/nanovg.h>

#include <algorithm>
#include <array>

namespace Vantora::plugin {
namespace {

NVGcolor Of(theme::Colour c) { return nvgRGBA(c.r, c.g, c.b, c.a); }

int AlignmentOf(Align align) {
  switch (align) {
    case Align::kLeft:
      return NVG_ALIGN_LEFT | NVG_ALIGN_MIDDLE;
    case Align::kCentre:
      return NVG_ALIGN_CENTER | NVG_ALIGN_MIDDLE;
    default:
      return NVG_ALIGN_RIGHT | NVG_ALIGN_MIDDLE;
  }
}

float LeftOf(float x, float width, Align align) {
  return align == Align::kLeft ? x : align == Align::kCentre ? x - 0.5f * width : x - width;
}

}  // namespace

Canvas::Canvas(NVGcontext* drawing, FontSet fontSet, const TextObserver* textObserver)
    : context(drawing), fonts(fontSet), observer(textObserver) {}

void Canvas::Choose(const TextStyle& style) {
  nvgFontFaceId(context, style.strong ? fonts.strong : fonts.regular);
  nvgFontSize(context, style.size * kFontHeightPerEm);
  nvgTextAlign(context, AlignmentOf(style.align));
  nvgFillColor(context, Of(style.colour));
}

void Canvas::Text(Point at, std::string_view text, const TextStyle& style) {
  if (text.empty()) return;
  Choose(style);
  if (observer != nullptr) {
    const float width = nvgTextBounds(context, 0, 0, text.data(), text.data() + text.size(), nullptr);
    (*observer)(text, {LeftOf(at.x, width, style.align), at.y - 0.5f * style.size, width, style.size}, style);
  }
  nvgText(context, at.x, at.y, text.data(), text.data() + text.size());
}

void Canvas::TextWithin(Point at, float width, std::string_view text, const TextStyle& style) {
  if (TextWidth(text, style) <= width) return Text(at, text, style);
  std::string cut(text);
  const auto dropLast = [&] {
    // Never half a character: continuation bytes go with their first.
    while (!cut.empty() && (static_cast<unsigned char>(cut.back()) & 0xc0u) == 0x80u) cut.pop_back();
    if (!cut.empty()) cut.pop_back();
  };
  while (!cut.empty() && TextWidth(cut + "…", style) > width) dropLast();
  while (!cut.empty() && cut.back() == ' ') cut.pop_back();
  Text(at, cut + "…", style);
}

float Canvas::TextWidth(std::string_view text, const TextStyle& style) {
  Choose(style);
  return nvgTextBounds(context, 0, 0, text.data(), text.data() + text.size(), nullptr);
}

float Canvas::Paragraph(Rect box, std::string_view text, const TextStyle& style, bool isMeasuring) {
  const float lineHeight = style.size * 1.4f;
  std::array<NVGtextRow, 24> rows;
  Choose(style);
  const int count = nvgTextBreakLines(context, text.data(), text.data() + text.size(), box.w, rows.data(),
                                      static_cast<int>(rows.size()));
  float y = box.y + 0.5f * lineHeight;
  const float x = style.align == Align::kLeft     ? box.x
                  : style.align == Align::kCentre ? box.x + 0.5f * box.w
                                                  : box.Right();
  for (int i = 0; i < count && !isMeasuring; ++i, y += lineHeight) {
    const NVGtextRow& row = rows[static_cast<size_t>(i)];
    Text({x, y}, std::string_view(row.start, static_cast<size_t>(row.end - row.start)), style);
  }
  return lineHeight * static_cast<float>(count);
}

void Canvas::Box(const Rect& box, float radius, theme::Colour colour) {
  nvgBeginPath(context);
  nvgRoundedRect(context, box.x, box.y, box.w, box.h, std::min(radius, 0.5f * std::min(box.w, box.h)));
  nvgFillColor(context, Of(colour));
  nvgFill(context);
}

void Canvas::Frame(const Rect& box, float radius, theme::Colour colour, float width) {
  nvgBeginPath(context);
  nvgRoundedRect(context, box.x + 0.5f * width, box.y + 0.5f * width, box.w - width, box.h - width, radius);
  nvgStrokeWidth(context, width);
  nvgStrokeColor(context, Of(colour));
  nvgStroke(context);
}

void Canvas::Disc(Point centre, float radius, theme::Colour colour) {
  nvgBeginPath(context);
  nvgCircle(context, centre.x, centre.y, radius);
  nvgFillColor(context, Of(colour));
  nvgFill(context);
}

void Canvas::Ring(Point centre, float radius, theme::Colour colour, float width) {
  nvgBeginPath(context);
  nvgCircle(context, centre.x, centre.y, radius);
  nvgStrokeWidth(context, width);
  nvgStrokeColor(context, Of(colour));
  nvgStroke(context);
}

void Canvas::Polygon(std::span<const Point> points, theme::Colour colour) {
  if (points.size() < 3) return;
  nvgBeginPath(context);
  nvgMoveTo(context, points[0].x, points[0].y);
  for (const Point& p : points.subspan(1)) nvgLineTo(context, p.x, p.y);
  nvgClosePath(context);
  nvgFillColor(context, Of(colour));
  nvgFill(context);
}

void Canvas::Arc(Point centre, float radius, float from, float to, float width, theme::Colour colour) {
  if (from > to) std::swap(from, to);
  if (to - from < 1e-3f) return;
  nvgBeginPath(context);
  nvgArc(context, centre.x, centre.y, radius, from, to, NVG_CW);
  nvgLineCap(context, NVG_ROUND);
  nvgStrokeWidth(context, width);
  nvgStrokeColor(context, Of(colour));
  nvgStroke(context);
}

void Canvas::Line(Point from, Point to, float width, theme::Colour colour) {
  nvgBeginPath(context);
  nvgMoveTo(context, from.x, from.y);
  nvgLineTo(context, to.x, to.y);
  nvgLineCap(context, NVG_ROUND);
  nvgStrokeWidth(context, width);
  nvgStrokeColor(context, Of(colour));
  nvgStroke(context);
}

void Canvas::Polyline(std::span<const Point> points, float width, theme::Colour colour) {
  if (points.size() < 2) return;
  nvgBeginPath(context);
  nvgMoveTo(context, points[0].x, points[0].y);
  for (const Point& p : points.subspan(1)) nvgLineTo(context, p.x, p.y);
  nvgLineCap(context, NVG_ROUND);
  nvgLineJoin(context, NVG_ROUND);
  nvgStrokeWidth(context, width);
  nvgStrokeColor(context, Of(colour));
  nvgStroke(context);
}

void Canvas::Clip(const Rect& box) { nvgScissor(context, box.x, box.y, box.w, box.h); }
void Canvas::Unclip() { nvgResetScissor(context); }

}  // namespace Vantora::plugin
