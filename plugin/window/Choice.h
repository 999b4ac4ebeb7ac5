#pragma once

#include <functional>
#include <string>

#include "plugin/window/ParameterActions.h"

namespace Vantora::plugin {

/// Choice: all values of an enumeration side by side, or one below the other, each with its name and, where
/// there is one, its picture. A click takes one; wheel and arrows go to the next.
class Choice : public Widget {
 public:
  using Drawing = void (*)(Canvas& canvas, Rect place, uint32_t value, theme::Colour colour);
  enum class Form {
    kList,   ///< rows: picture, then name
    kTiles,  ///< columns: picture above its name
    kWords,  ///< columns: the name
  };
  /// `names` in the order of the parameter's values.
  Choice(Desk& desk, ParameterList parameters, Form form, std::vector<std::string> names,
         Drawing picture = nullptr);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  void Hover(const Pointer& pointer) override;
  bool Menu(const Pointer& pointer) override;
  bool Wheel(const Pointer& pointer, float steps) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  bool TakesFocus() const override { return true; }
  bool Strike(const Stroke& stroke) override;
  std::string Tip(Point) const override { return ParameterTip(desk, parameters.front()); }
  uint64_t Picture() const override { return static_cast<uint64_t>(hovered + 1); }

 private:
  Rect Cell(int index) const;
  int CellAt(Point at) const;
  int Chosen() const;
  void Take(int index);

  ParameterList parameters;
  Form form;
  std::vector<std::string> names;
  Drawing picture;
  int hovered = -1;
};

}  // namespace Vantora::plugin
