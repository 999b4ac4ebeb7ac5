#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "plugin/core/WindowModel.h"
#include "plugin/window/AdvancedView.h"
#include "plugin/window/Widget.h"

struct NVGcontext;

namespace Vantora::plugin {

class Button;
class Meter;
class TapView;
class WaveView;

/// Desktop: what the face needs of the window system. [main thread]
class Desktop {
 public:
  virtual std::string Clipboard() = 0;
  virtual void SetClipboard(const std::string& text) = 0;
  virtual void SetCursor(Cursor cursor) = 0;
  /// Asks for another size of the window, 0.75 to 2.
  virtual void RequestScale(double scale) = 0;

 protected:
  ~Desktop() = default;
};

/// Face: the whole window of the effect, without a window system: draws itself with NanoVG into any context,
/// takes mouse and keys, and says when there is something new to see. Its own units are `kWidth` by
/// `kHeight`; in a window of another shape it keeps its own and stands in the middle.
///
/// Order    any events, `Update` some 30 times a second, `Draw` when that said so. [main thread]
class Face final : private Desk {
 public:
  static constexpr float kWidth = 980.0f, kHeight = 620.0f;
  static constexpr double kSmallest = 0.75, kLargest = 2.0;

  /// `model`, `desktop` and `extras`, which may be null, must outlive the face.
  Face(WindowModel& model, Desktop& desktop, ShellExtras* extras = nullptr);
  ~Face();

  /// Takes what the model shows at `now` (seconds, any origin). True when a picture drawn earlier is out of
  /// date.
  bool Update(double now);

  /// One frame into a window of that many pixels, which the caller has begun. `observer` may be null.
  void Draw(NVGcontext* context, FontSet fonts, float width, float height,
            const Canvas::TextObserver* observer = nullptr);

  /// The window has become that large, in pixels: the next `Update` answers true, and events that come before
  /// it is drawn so are placed by it.
  void Resize(float width, float height);

  // ---- Events; places in pixels of the window as `Draw` or `Resize` had it last

  /// `time`: when the button went down by the window system's clock, in seconds from any origin. A busy
  /// window hears of presses late and of several at once; two are a double click by when they were made.
  void PressAt(float x, float y, bool isRight, bool isShift, bool isControl, double time);
  void ReleaseAt(float x, float y);
  void MoveTo(float x, float y, bool isShift, bool isControl, double now);
  /// The pointer isn't over the window any more: no tip, nothing lit. Not to be called while a button is
  /// held.
  void Leave();
  /// Whether it was over the window when it was heard of last, and holds nothing.
  bool IsPointedAt() const { return isPointerInside && pressed == nullptr; }
  void Scroll(float x, float y, float steps, bool isShift);
  /// False for what the face has no use for: a host may want it.
  bool Strike(const Stroke& stroke);
  bool Type(std::string_view text);

  /// Opens or closes the fold-out.
  void SetAdvanced(bool open);
  bool IsAdvanced() const { return isAdvanced; }
  /// All controls that are to be seen, in the order of the keyboard; for tests.
  std::vector<const Widget*> VisibleControls() const;
  bool HasPopup() const { return !popups.empty(); }

 private:
  struct Parts;  // the controls by name, of FaceLayout.cpp

  // FaceLayout.cpp
  void Build();
  void BuildTopBar();
  void BuildEffect();
  void BuildCentre();
  void AskVariation();
  void BuildLevels();
  void BuildLfo();
  void Arrange();
  void DrawGrounds(Canvas& canvas);
  std::vector<MenuItem> MainMenu();
  void AddSource(std::vector<MenuItem>& items);
  template <typename Type, typename... Arguments>
  Type* Add(Rect place, Arguments&&... arguments);

  // Desk
  WindowModel& Model() override { return model; }
  ShellExtras* Extras() override { return extras; }
  const LiveView& Live() const override { return live; }
  void OpenMenu(Point at, std::vector<MenuItem> items) override;
  void OpenEntry(Rect place, std::string text, std::function<std::string(std::string)> commit) override;
  void OpenPopup(std::unique_ptr<Widget> popup) override;
  void ClosePopup() override;
  void Say(const std::string& sentence) override;
  void HoldGesture(const std::vector<uint32_t>& parameters) override;
  std::string Clipboard() override { return desktop.Clipboard(); }
  void SetClipboard(const std::string& text) override { desktop.SetClipboard(text); }

  void Fit(float width, float height);
  Point Place(float x, float y) const { return {(x - offset.x) / scale, (y - offset.y) / scale}; }
  Widget* WidgetAt(Point at) const;
  void Focus(Widget* widget);
  void MoveFocus(int by);
  void EndHeldGesture();
  bool Shortcut(const Stroke& stroke);
  void DrawTip(Canvas& canvas);
  void DrawNotice(Canvas& canvas, const std::string& text, bool isLasting);
  uint64_t Picture() const;

  WindowModel& model;
  Desktop& desktop;
  ShellExtras* extras;
  LiveView live;

  std::vector<std::unique_ptr<Widget>> widgets;  // in drawing and keyboard order
  std::unique_ptr<Parts> parts;
  std::unique_ptr<AdvancedView> advanced;
  std::vector<std::unique_ptr<Widget>> popups;  // the last one is on top
  std::vector<std::unique_ptr<Widget>> closed;  // until the next Update: one may be closing itself
  bool isAdvanced = false;

  // Pointer.
  Widget* under = nullptr;
  Widget* pressed = nullptr;
  Widget* focus = nullptr;
  Point pointer;
  std::optional<double> lastPress;  // s by the window system; none after a double click
  Point lastPressAt;
  double restingSince = 0.0;  // s, since the pointer stands still
  bool isTipShown = false, isPointerInside = false, mayTip = false;

  std::vector<uint32_t> heldGesture;
  double heldUntil = 0.0;
  std::string notice;
  double noticeUntil = 0.0;

  // Picture.
  double now = 0.0, lastLook = 0.0;
  float scale = 1.0f;  // pixels a unit
  Point offset;        // of the face in the window, pixels
  uint64_t seenRevision = ~0ull, seenLive = ~0ull, seenPicture = ~0ull, seenExtras = 0;
  bool isStale = true;
};

}  // namespace Vantora::plugin
