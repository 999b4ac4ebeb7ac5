#pragma once

#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

#include "plugin/window/Fonts.h"
#include "plugin/window/Geometry.h"
#include "plugin/window/Theme.h"

struct NVGcontext;

namespace Vantora::plugin {

enum class Align { kLeft, kCentre, kRight };

/// How a text looks.
struct TextStyle {
  float size = theme::kBody;  ///< em, pixels at 1x
  theme::Colour colour = theme::kText;
  Align align = Align::kLeft;
  bool strong = false;
};

/// Canvas: the few things that the face is drawn with, in the face's units. Colours and sizes come from
/// Theme.h. Valid within one frame of its drawing context.
class Canvas {
 public:
  /// Told of every text that is drawn, with the rectangle it fills; for tests.
  using TextObserver = std::function<void(std::string_view text, Rect place, const TextStyle& style)>;

  Canvas(NVGcontext* context, FontSet fonts, const TextObserver* observer = nullptr);

  // ---- Texts; y is the middle of the line

  void Text(Point at, std::string_view text, const TextStyle& style);
  /// The same, cut with an ellipsis to at most `width`.
  void TextWithin(Point at, float width, std::string_view text, const TextStyle& style);
  float TextWidth(std::string_view text, const TextStyle& style);
  /// Over as many lines as it takes; `box.h` isn't a limit. The height used.
  float Paragraph(Rect box, std::string_view text, const TextStyle& style, bool isMeasuring = false);

  // ---- Areas

  void Box(const Rect& box, float radius, theme::Colour colour);
  void Frame(const Rect& box, float radius, theme::Colour colour, float width = 1.0f);
  void Disc(Point centre, float radius, theme::Colour colour);
  void Ring(Point centre, float radius, theme::Colour colour, float width);
  /// Closed and filled.
  void Polygon(std::span<const Point> points, theme::Colour colour);

  // ---- Lines, with round ends

  /// Clockwise from `from` to `to`, radians, 0 at three o'clock. Either may be the larger.
  void Arc(Point centre, float radius, float from, float to, float width, theme::Colour colour);
  void Line(Point from, Point to, float width, theme::Colour colour);
  void Polyline(std::span<const Point> points, float width, theme::Colour colour);
  void Polyline(std::initializer_list<Point> points, float width, theme::Colour colour) {
    Polyline(std::span<const Point>(points.begin(), points.size()), width, colour);
  }

  /// Draws nothing outside `box` until `Unclip`.
  void Clip(const Rect& box);
  void Unclip();

 private:
  void Choose(const TextStyle& style);

  NVGcontext* context;
  FontSet fonts;
  const TextObserver* observer;
};

}  // namespace Vantora::plugin
