#pragma once

#include "plugin/window/ParameterActions.h"

namespace Vantora::plugin {

/// VoiceRow: eight discs in the voices' colours; as many are lit as voices sound on each side.
class VoiceRow : public Widget {
 public:
  explicit VoiceRow(Desk& desk);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  void Drag(const Pointer& pointer) override;
  void Release(const Pointer& pointer) override;
  bool Menu(const Pointer& pointer) override;
  bool Wheel(const Pointer& pointer, float steps) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  bool TakesFocus() const override { return true; }
  bool Strike(const Stroke& stroke) override { return StrikeParameter(desk, parameters, stroke, bounds); }
  std::string Tip(Point) const override { return ParameterTip(desk, parameters.front()); }

 private:
  float DiscX(int voice) const;
  void TakeAt(Point at);

  ParameterList parameters;
  bool isDragging = false;
};

}  // namespace Vantora::plugin
