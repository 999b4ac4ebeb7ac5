#pragma once

#include <array>

#include "plugin/window/ParameterActions.h"

namespace Vantora::plugin {

/// FilterCurve: the high-pass in front of the voices and the low-pass behind them as one curve, with a
/// handle each and its value below. Handles are dragged sideways.
class FilterCurve : public Widget {
 public:
  explicit FilterCurve(Desk& desk);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  void Drag(const Pointer& pointer) override;
  void Release(const Pointer& pointer) override;
  bool Menu(const Pointer& pointer) override;
  bool Wheel(const Pointer& pointer, float steps) override;
  Cursor CursorAt(Point at) const override;
  bool TakesFocus() const override { return true; }
  bool Strike(const Stroke& stroke) override;
  std::string Tip(Point at) const override;

 private:
  Rect Field() const;
  Rect ValuePlace(int which) const;
  float HandleX(int which) const;
  int Nearest(Point at) const;

  std::array<ParameterList, 2> cutoffs;  // high-pass, low-pass
  int held = -1;                         // the handle in the hand
  int focused = 0;                       // the one that keys move
  float dragPosition = 0.0f, lastX = 0.0f;
};

}  // namespace Vantora::plugin
