#pragma once

#include <functional>
#include <optional>
#include <string>

#include "plugin/window/Pictures.h"
#include "plugin/window/Widget.h"

namespace Vantora::plugin {

/// Button: a word or an icon that does something, or that is on or off.
class Button : public Widget {
 public:
  Button(Desk& desk, std::string word, std::string tip, std::function<void()> run);
  Button(Desk& desk, Icon icon, std::string tip, std::function<void()> run);

  std::function<bool()> isOn;            ///< shown in the accent colour while true
  std::function<bool()> isEnabled;       ///< dim and dead while false
  std::function<std::string()> wordNow;  ///< in place of a fixed word
  bool hasFrame = false;

  void Draw(Canvas& canvas) override;
  bool Press(const Pointer& pointer) override;
  Cursor CursorAt(Point) const override { return Cursor::kHand; }
  bool TakesFocus() const override { return !isEnabled || isEnabled(); }
  bool Strike(const Stroke& stroke) override;
  std::string Tip(Point) const override { return tip; }

 private:
  std::string word;
  std::optional<Icon> icon;
  std::string tip;
  std::function<void()> run;
};

}  // namespace Vantora::plugin
