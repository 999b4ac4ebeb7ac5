#pragma once

#include <functional>
#include <optional>
#include <string>

#include "plugin/window/ParameterActions.h"

namespace Vantora::plugin {

/// Knob: a position on two arcs. The thick one is what is set; the thin one outside is where modulation
/// takes it now, on the faint span that it can reach. Name and value stand below, or, of a large one, within.
///
/// Drag up and down (Shift: ten times as fine), wheel, double click to reset, right click for the menu, a
/// click on the value to type one.
/// A parameter of two values is a switch: a click turns it over.
class Knob : public Widget {
 public:
  struct Look {
    float diameter = 44.0f;
    std::string name;
    bool isBipolar = false;  ///< the arc grows from the top
    bool isHuge = false;     ///< the one that the effect is about: value within
  };
  Knob(Desk& desk, ParameterList parameters, Look look);

  // ---- What may change while it is shown

  Look look;
  ParameterList parameters;
  /// Position as modulated, and how far modulation reaches to either side; nothing without modulation.
  std::function<std::optional<float>()> modulated;
  std::function<float()> reach;
  /// Why the knob does nothing now; empty while it does. Then it is dim.
  std::function<std::string()> idleReason;

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

  Point Centre() const;
  /// Where the value is written, and typed.
  Rect ValuePlace() const;

 private:
  void DrawArcs(Canvas& canvas, float value, bool isIdle) const;
  void DrawSwitch(Canvas& canvas, bool isOn) const;
  bool IsSwitch() const;

  bool isDragging = false;
  float dragPosition = 0.0f;  // where the hand is, before steps are taken
  float lastY = 0.0f;
};

}  // namespace Vantora::plugin
