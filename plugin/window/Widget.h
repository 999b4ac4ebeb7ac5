#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/ParameterTable.h"
#include "plugin/core/WindowModel.h"
#include "plugin/window/Canvas.h"
#include "plugin/window/ShellExtras.h"

namespace Vantora::plugin {

/// What a mouse event tells.
struct Pointer {
  Point at;
  bool isShift = false, isControl = false;
  int clicks = 1;  ///< 2 for the second press of a double click
};

/// Keys that mean something to the face; characters come as text.
enum class Key {
  kNone,
  kLeft,
  kRight,
  kUp,
  kDown,
  kPageUp,
  kPageDown,
  kHome,
  kEnd,
  kTab,
  kEnter,
  kEscape,
  kSpace,
  kBackspace,
  kDelete,
  kMenu,
  kLetter,  ///< with `Stroke::letter`, for shortcuts
};
struct Stroke {
  Key key = Key::kNone;
  char letter = 0;  ///< lower case
  bool isShift = false, isControl = false;
};

enum class Cursor { kArrow, kHand, kCaret, kUpDown };

/// A line of a menu. Without `run` it is a heading; an empty text is a line.
struct MenuItem {
  std::string text;
  std::function<void()> run;
  bool isChosen = false;
  bool isEnabled = true;
  std::string right;  ///< at the right edge: a shortcut or a value
};

class Widget;

/// Desk: what the face gives its widgets beside their own rectangle.
class Desk {
 public:
  virtual WindowModel& Model() = 0;
  /// Null within a host.
  virtual ShellExtras* Extras() = 0;
  /// The moving picture of the frame that is drawn.
  virtual const LiveView& Live() const = 0;
  virtual void OpenMenu(Point at, std::vector<MenuItem> items) = 0;
  /// Lays a line of text over `place`. `commit` answers one sentence when it refuses; the line then stays.
  virtual void OpenEntry(Rect place, std::string text, std::function<std::string(std::string)> commit) = 0;
  /// Lays a widget over the face until it is closed with Escape, a click beside it, or `ClosePopup`.
  virtual void OpenPopup(std::unique_ptr<Widget> popup) = 0;
  virtual void ClosePopup() = 0;
  /// Shows one sentence for some seconds; the empty one is not shown.
  virtual void Say(const std::string& sentence) = 0;
  /// A wheel or an arrow key took the knob: a gesture that ends by itself when no more follow.
  virtual void HoldGesture(const std::vector<uint32_t>& parameters) = 0;
  virtual std::string Clipboard() = 0;
  virtual void SetClipboard(const std::string& text) = 0;

 protected:
  ~Desk() = default;
};

/// Widget: a rectangle of the face that draws itself and answers mouse and keys. [main thread]
class Widget {
 public:
  explicit Widget(Desk& theDesk) : desk(theDesk) {}
  virtual ~Widget() = default;
  Widget(const Widget&) = delete;
  Widget& operator=(const Widget&) = delete;

  Rect bounds;
  bool isVisible = true;
  bool hasFocus = false;   ///< keys go here
  bool isHovered = false;  ///< the pointer is here

  virtual void Draw(Canvas& canvas) = 0;

  // ---- Mouse; a widget that answers a press with true gets the drag and the release

  virtual bool Press(const Pointer&) { return false; }
  virtual void Drag(const Pointer&) {}
  virtual void Release(const Pointer&) {}
  virtual void Hover(const Pointer&) {}
  virtual bool Menu(const Pointer&) { return false; }
  virtual bool Wheel(const Pointer&, float /*steps*/) { return false; }
  virtual Cursor CursorAt(Point) const { return Cursor::kArrow; }

  // ---- Keys, for the one that has the focus

  virtual bool TakesFocus() const { return false; }
  virtual bool Strike(const Stroke&) { return false; }
  virtual bool Type(std::string_view /*text*/) { return false; }

  /// What this is, in plain words; empty for nothing to say.
  virtual std::string Tip(Point) const { return {}; }
  /// What may differ from frame to frame without the model's revision moving: two equal answers, no new
  /// picture.
  virtual uint64_t Picture() const { return 0; }

 protected:
  Desk& desk;
};

/// The parameter of that name, which must be one; fast from the second time on.
const host::Parameter& Named(std::string_view name);

}  // namespace Vantora::plugin
