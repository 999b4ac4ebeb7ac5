#pragma once

#include <string>

#include "plugin/window/ParameterActions.h"

namespace Vantora::plugin {

/// SecondChoice: what an effect offers behind its two knobs, as a picture of the chosen value with its name
/// below. Wheel and arrows go to the next value; a click, Enter and Space open them all.
class SecondChoice : public Widget {
 public:
  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  bool Menu(const Pointer& pointer) override;
  bool Wheel(const Pointer& pointer, float steps) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  bool TakesFocus() const override { return true; }
  bool Strike(const Stroke& stroke) override;
  std::string Tip(Point) const override { return ParameterTip(desk, parameters.front()); }

 protected:
  /// `parameter` by its name in the library; `name` stands under a picture that is `width` wide, or as wide
  /// as the widget for 0.
  SecondChoice(Desk& desk, const char* parameter, const char* name, float width);

 private:
  virtual void DrawPicture(Canvas& canvas, const Rect& field, uint32_t value) = 0;

  ParameterList parameters;
  const char* name;
  float width;
};

/// ChordChoice: the chosen chord as eight notes in the voices' colours over a staff of octaves. A click opens
/// the grid of all twelve.
class ChordChoice : public SecondChoice {
 public:
  explicit ChordChoice(Desk& desk);

  bool Press(const Pointer& pointer) override;
  std::string Tip(Point at) const override;

 private:
  void DrawPicture(Canvas& canvas, const Rect& field, uint32_t chord) override;
};

/// KindChoice: the chosen distortion as its curve. A click opens the four.
class KindChoice : public SecondChoice {
 public:
  explicit KindChoice(Desk& desk);

 private:
  void DrawPicture(Canvas& canvas, const Rect& field, uint32_t algorithm) override;
};

}  // namespace Vantora::plugin
