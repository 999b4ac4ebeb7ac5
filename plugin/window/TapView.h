#pragma once

#include "plugin/window/Widget.h"

namespace Vantora::plugin {

/// TapView: the sixteen taps, left voices to the left and right ones to the right. A tap's dot stands as far
/// from the knob as the tap is late now; the line behind it is how far it can go. Voices that are off leave
/// a trace.
class TapView : public Widget {
 public:
  explicit TapView(Desk& theDesk) : Widget(theDesk) {}
  void Draw(Canvas& canvas) override;
  std::string Tip(Point) const override;

 private:
  Point PlaceOf(uint32_t side, uint32_t voice, float ms) const;
};

/// SpreadView: the effect's first knob as each voice has it, on that knob's own axis, left voices above the
/// line, right ones below.
class SpreadView : public Widget {
 public:
  explicit SpreadView(Desk& theDesk) : Widget(theDesk) {}
  void Draw(Canvas& canvas) override;
  std::string Tip(Point) const override;
};

}  // namespace Vantora::plugin
