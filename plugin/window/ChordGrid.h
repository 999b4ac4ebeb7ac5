#pragma once

#include "plugin/window/ParameterActions.h"

namespace Vantora::plugin {

/// ChordGrid: all chords, one a row, with the interval of each voice in its colour; those of voices that are
/// off are dim. To be opened over the face.
class ChordGrid : public Widget {
 public:
  explicit ChordGrid(Desk& desk);

  /// Gives it its size, with the upper left corner there.
  void PlaceAt(Point corner);
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
