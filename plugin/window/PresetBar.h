#pragma once

#include "plugin/window/Widget.h"

namespace Vantora::plugin {

/// PresetBar: the sound's name and description between previous and next. A click opens the chooser.
class PresetBar : public Widget {
 public:
  explicit PresetBar(Desk& theDesk) : Widget(theDesk) {}

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  void Hover(const Pointer& pointer) override;
  bool Wheel(const Pointer& pointer, float steps) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  bool TakesFocus() const override { return true; }
  bool Strike(const Stroke& stroke) override;
  std::string Tip(Point at) const override;
  uint64_t Picture() const override { return static_cast<uint64_t>(hovered + 1); }

 private:
  enum Part { kNowhere = -1, kPrevious, kNext, kName };
  Part PartAt(Point at) const;
  void Step(int by);
  void OpenChooser();

  Part hovered = kNowhere;
};

/// PresetChooser: all presets with their descriptions, the factory's and the user's, in two columns.
class PresetChooser : public Widget {
 public:
  explicit PresetChooser(Desk& desk);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  void Hover(const Pointer& pointer) override;
  bool Menu(const Pointer& pointer) override;
  bool Wheel(const Pointer& pointer, float steps) override;
  bool Strike(const Stroke& stroke) override;
  bool Type(std::string_view text) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  uint64_t Picture() const override;

 private:
  Rect List() const;
  Rect ChipOf(int effect) const;  ///< picture that shows the presets of one effect
  int ChipAt(Point at) const;
  Rect CellOf(size_t row) const;  ///< of the row'th shown preset, scrolled
  int CellAt(Point at) const;
  float Height() const;  ///< of everything there is
  void Filter();
  void Load(int row);
  void KeepInSight();

  std::vector<size_t> shown;  // positions in the model's list
  size_t known = 0;           // length of the model's list when it was searched
  std::string search;
  int onlyEffect = -1;  // by "FXType"; -1 for all
  int hoveredChip = -1;
  float scroll = 0.0f;  // units from the top
  int chosen = -1;      // row under pointer or keys
};

}  // namespace Vantora::plugin
