#pragma once

#include <functional>
#include <string>
#include <vector>

#include "plugin/window/Widget.h"

/// What lies over the face for a moment.
namespace Vantora::plugin {

/// MenuPopup: lines to choose from, by mouse or arrows and Enter.
class MenuPopup : public Widget {
 public:
  MenuPopup(Desk& desk, std::vector<MenuItem> items);
  /// The size it takes; `bounds` is the caller's to set.
  float Width() const { return 214.0f; }
  float Height() const;

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  void Hover(const Pointer& pointer) override;
  bool Strike(const Stroke& stroke) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  uint64_t Picture() const override { return static_cast<uint64_t>(chosen + 1); }

 private:
  static float HeightOf(const MenuItem& item);
  bool CanRun(int index) const;
  int At(Point at) const;
  void Run(int index);

  std::vector<MenuItem> items;
  int chosen = -1;
};

/// TextLine: one line of text under the hands. Its text begins selected: typing replaces it.
class TextLine : public Widget {
 public:
  /// `commit` answers one sentence when it refuses.
  TextLine(Desk& desk, std::string text, std::function<std::string(std::string)> commit);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  bool Strike(const Stroke& stroke) override;
  bool Type(std::string_view text) override;
  Cursor CursorAt(Point) const override { return Cursor::kCaret; }
  bool TakesFocus() const override { return true; }
  uint64_t Picture() const override { return edits; }

  const std::string& Text() const { return text; }
  /// Hands the text over; closes when it is taken.
  void Commit();

  Align align = Align::kCentre;
  std::string hint;  ///< shown while the line is empty
  bool closesWhenTaken = true;

 private:
  void Erase(bool backwards);

  std::string text;
  std::function<std::string(std::string)> commit;
  std::string refusal;
  size_t caret;            // byte, always between two characters
  bool isSelected = true;  // the whole text
  uint64_t edits = 0;
};

/// SaveSheet: name and description for a preset, and where it goes.
class SaveSheet : public Widget {
 public:
  SaveSheet(Desk& desk, std::string name, std::string description);

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  void Hover(const Pointer& pointer) override;
  bool Strike(const Stroke& stroke) override;
  bool Type(std::string_view text) override;
  Cursor CursorAt(Point at) const override;
  uint64_t Picture() const override;

 private:
  void Arrange();
  Rect ButtonPlace(bool isSave) const;
  void Save();
  TextLine& Focused() { return name.hasFocus ? name : description; }

  TextLine name, description;
  std::string refusal;
  int hovered = 0;  // 1 save, 2 cancel
};

}  // namespace Vantora::plugin
