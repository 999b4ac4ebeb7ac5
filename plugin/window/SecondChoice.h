#pragma once

#include <string>

#include "plugin/window/ParameterActions.h"

namespace Vantora::plugin {

/// ChordChoice: the chosen chord as eight notes in the voices' colours over a staff of octaves, with its
/// name. A click opens the grid of all twelve; wheel and arrows go to the next.
class ChordChoice : public Widget {
 public:
  explicit ChordChoice(Desk& desk);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  bool Menu(const Pointer& pointer) override;
  bool Wheel(const Pointer& pointer, float steps) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  bool TakesFocus() const override { return true; }
  bool Strike(const Stroke& stroke) override;
  std::string Tip(Point) const override;

 private:
  ParameterList parameters;
};

/// KindChoice: the chosen distortion as its curve, with its name. A click opens the four.
class KindChoice : public Widget {
 public:
  explicit KindChoice(Desk& desk);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  bool Menu(const Pointer& pointer) override;
  bool Wheel(const Pointer& pointer, float steps) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  bool TakesFocus() const override { return true; }
  bool Strike(const Stroke& stroke) override;
  std::string Tip(Point) const override { return ParameterTip(desk, parameters.front()); }

 private:
  ParameterList parameters;
};

/// ChordGrid: all chords, one a row, with the interval of each voice in its colour; those of voices that are
/// off are dim. To be opened over the face.
class ChordGrid : public Widget {
 public:
  explicit ChordGrid(Desk& desk);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  void Hover(const Pointer& pointer) override;
  bool Strike(const Stroke& stroke) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  uint64_t Picture() const override { return static_cast<uint64_t>(hovered + 1); }

 private:
  Rect RowOf(int chord) const;
  int RowAt(Point at) const;

  ParameterList parameters;
  int hovered = -1;
};

}  // namespace Vantora::plugin
