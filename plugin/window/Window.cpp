#include "plugin/window/Window.h"

#define DONT_SET_USING_DGL_NAMESPACE
#include <Application.hpp>
#include <NanoVG.hpp>
#include <Window.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "host/HostError.h"
#include "plugin/window/Face.h"
#include "plugin/window/PointerWatch.h"

namespace Vantora::plugin {
namespace {

constexpr double kFrame = 1.0 / 30.0;  // s
constexpr double kLook = 0.2;          // s, between two looks for a pointer that has left
#ifdef _WIN32
constexpr bool kHasOwnTimer = true;
#else
constexpr bool kHasOwnTimer = false;
#endif

double Now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

WindowSize SizeAt(double scale) {
  return {static_cast<uint32_t>(std::lround(scale * static_cast<double>(Face::kWidth))),
          static_cast<uint32_t>(std::lround(scale * static_cast<double>(Face::kHeight)))};
}

DGL::MouseCursor CursorOf(Cursor cursor) {
  switch (cursor) {
    case Cursor::kHand:
      return DGL::kMouseCursorHand;
    case Cursor::kCaret:
      return DGL::kMouseCursorCaret;
    case Cursor::kUpDown:
      return DGL::kMouseCursorUpDown;
    default:
      return DGL::kMouseCursorArrow;
  }
}

/// A key as the face knows it.
Stroke StrokeOf(const DGL::Widget::KeyboardEvent& event) {
  constexpr uint32_t kX11Tab = 23;  // with Shift it comes under another name, but from the same key
  Stroke stroke;
  stroke.isShift = (event.mod & DGL::kModifierShift) != 0;
  stroke.isControl = (event.mod & (DGL::kModifierControl | DGL::kModifierSuper)) != 0;
  switch (event.key) {
    case '\t':
      stroke.key = Key::kTab;
      break;
    case '\r':
    case '\n':
      stroke.key = Key::kEnter;
      break;
    case ' ':
      stroke.key = Key::kSpace;
      break;
    case DGL::kKeyBackspace:
      stroke.key = Key::kBackspace;
      break;
    case DGL::kKeyEscape:
      stroke.key = Key::kEscape;
      break;
    case DGL::kKeyDelete:
      stroke.key = Key::kDelete;
      break;
    case DGL::kKeyLeft:
      stroke.key = Key::kLeft;
      break;
    case DGL::kKeyRight:
      stroke.key = Key::kRight;
      break;
    case DGL::kKeyUp:
      stroke.key = Key::kUp;
      break;
    case DGL::kKeyDown:
      stroke.key = Key::kDown;
      break;
    case DGL::kKeyPageUp:
      stroke.key = Key::kPageUp;
      break;
    case DGL::kKeyPageDown:
      stroke.key = Key::kPageDown;
      break;
    case DGL::kKeyHome:
      stroke.key = Key::kHome;
      break;
    case DGL::kKeyEnd:
      stroke.key = Key::kEnd;
      break;
    case DGL::kKeyMenu:
    case DGL::kKeyF10:
      stroke.key = Key::kMenu;
      break;
    default:
      if (event.keycode == kX11Tab) {
        stroke.key = Key::kTab;
      } else if (event.key >= 'a' && event.key <= 'z') {
        stroke.key = Key::kLetter;
        stroke.letter = static_cast<char>(event.key);
      } else if (event.key >= 'A' && event.key <= 'Z') {
        stroke.key = Key::kLetter;
        stroke.letter = static_cast<char>(event.key - 'A' + 'a');
      }
      break;
  }
  return stroke;
}

/// The face in the system's window: hands events down and asks for frames.
class FaceWidget final : public DGL::NanoTopLevelWidget {
 public:
  FaceWidget(DGL::Window& window, Face& theFace)
      : DGL::NanoTopLevelWidget(window), face(theFace), fonts(LoadFonts(getContext())) {}

 private:
  void onNanoDisplay() override {
    face.Draw(getContext(), fonts, static_cast<float>(getWidth()), static_cast<float>(getHeight()));
  }
  bool onMouse(const MouseEvent& event) override {
    const auto x = static_cast<float>(event.pos.getX()), y = static_cast<float>(event.pos.getY());
    if (event.button != DGL::kMouseButtonLeft && event.button != DGL::kMouseButtonRight) return false;
    if (event.press) {
      face.PressAt(x, y, event.button == DGL::kMouseButtonRight, (event.mod & DGL::kModifierShift) != 0,
                   (event.mod & DGL::kModifierControl) != 0,
                   event.time != 0 ? 1e-3 * static_cast<double>(event.time) : Now());
      getWindow().focus();
    } else if (event.button == DGL::kMouseButtonLeft) {
      face.ReleaseAt(x, y);
    }
    return true;
  }
  bool onMotion(const MotionEvent& event) override {
    face.MoveTo(static_cast<float>(event.pos.getX()), static_cast<float>(event.pos.getY()),
                (event.mod & DGL::kModifierShift) != 0, (event.mod & DGL::kModifierControl) != 0, Now());
    return true;
  }
  bool onScroll(const ScrollEvent& event) override {
    const auto steps = static_cast<float>(event.delta.getY());
    if (steps == 0.0f) return false;
    face.Scroll(static_cast<float>(event.pos.getX()), static_cast<float>(event.pos.getY()), steps,
                (event.mod & DGL::kModifierShift) != 0);
    return true;
  }
  bool onKeyboard(const KeyboardEvent& event) override {
    if (!event.press) return false;
    const Stroke stroke = StrokeOf(event);
    return stroke.key != Key::kNone && face.Strike(stroke);
  }
  bool onCharacterInput(const CharacterInputEvent& event) override {
    const auto first = static_cast<unsigned char>(event.string[0]);
    if (first < 0x20 || first == 0x7f || (event.mod & (DGL::kModifierControl | DGL::kModifierAlt)) != 0)
      return false;
    return face.Type(event.string);
  }

  Face& face;
  FontSet fonts;
};

class DglWindow final : public PluginWindow, private Desktop, private DGL::IdleCallback {
 public:
  DglWindow(WindowModel& theModel, uintptr_t parent, double theScale, ShellExtras* extras)
      : model(theModel),
        screenScale(theScale > 0.0 ? theScale : 1.0),
        application(false),
        system(*this, application, parent, InitialSize(theModel, screenScale), screenScale),
        face(theModel, *this, extras) {
    if (system.getNativeWindowHandle() == 0) {
      throw host::HostError("The window can't be opened: there is no display, or it has no OpenGL.");
    }
    {
      const DGL::Window::ScopedGraphicsContext graphics(system);
      widget = std::make_unique<FaceWidget>(system, face);
      // On Windows an embedded window has its size by now, and nobody says it again.
      static_cast<DGL::Widget&>(*widget).setSize(system.getWidth(), system.getHeight());
    }
    system.setGeometryConstraints(SizeAt(Face::kSmallest * 0.5).width, SizeAt(Face::kSmallest * 0.5).height);
    isReady = true;
    if (parent == 0) {
      system.setTitle("Qfx PRISMEL");
      system.show();
    }
  }

  ~DglWindow() override {
    if (tick) system.removeIdleCallback(this);
    const DGL::Window::ScopedGraphicsContext graphics(system);
    widget.reset();
    if (!system.isEmbed()) system.close();
  }

  bool Idle() override {
    // An embedded window on Windows gets its events from the host's loop; a second one would take the host's,
    // too.
    if (!kHasOwnTimer || !system.isEmbed()) application.idle();
    if (const double now = Now(); now - lastFrame >= kFrame * 0.9) {
      lastFrame = now;
      if (face.IsPointedAt() && now - lastLook >= kLook) {
        lastLook = now;
        if (!pointer.IsOver(NativeHandle(), system.getWidth(), system.getHeight())) face.Leave();
      }
      if (face.Update(now)) widget->repaint();
    }
    return !system.isClosed;
  }

  bool RunTimer(std::function<void()> theTick) override {
    if (!kHasOwnTimer || !system.isEmbed()) return false;
    tick = std::move(theTick);
    return system.addIdleCallback(this, static_cast<uint>(1000.0 * kFrame));
  }

  uintptr_t NativeHandle() const override { return system.getNativeWindowHandle(); }
  WindowSize Size() const override { return {system.getWidth(), system.getHeight()}; }
  void SetSize(WindowSize size) override { system.setSize(size.width, size.height); }
  void SetVisible(bool visible) override {
    if (!system.isEmbed()) system.setVisible(visible);
  }

  WindowSize Adjust(WindowSize size) const override {
    const double wanted = std::min(static_cast<double>(size.width) / static_cast<double>(Face::kWidth),
                                   static_cast<double>(size.height) / static_cast<double>(Face::kHeight));
    return SizeAt(std::clamp(wanted / screenScale, Face::kSmallest, Face::kLargest) * screenScale);
  }

  WindowSize TakeRequest() override { return std::exchange(request, WindowSize()); }

 private:
  /// Hears of resizes and of the close button.
  class System final : public DGL::Window {
   public:
    System(DglWindow& theOwner, DGL::Application& application, uintptr_t parent, WindowSize size,
           double scale)
        : DGL::Window(application, parent, size.width, size.height, scale, true), owner(theOwner) {}
    bool isClosed = false;

   private:
    void onReshape(uint width, uint height) override {
      DGL::Window::onReshape(width, height);
      owner.Reshaped({width, height});
    }
    bool onClose() override {
      isClosed = true;
      return true;
    }
    DglWindow& owner;
  };

  void Reshaped(WindowSize size) {
    const double fitting = std::min(static_cast<double>(size.width) / static_cast<double>(Face::kWidth),
                                    static_cast<double>(size.height) / static_cast<double>(Face::kHeight));
    const double scale = std::clamp(fitting / screenScale, Face::kSmallest, Face::kLargest);
    if (isReady && std::abs(scale - model.WindowScale()) > 1e-3) model.SetWindowScale(scale);
    if (isReady) face.Resize(static_cast<float>(size.width), static_cast<float>(size.height));
  }

  // Of the window's own timer.
  void idleCallback() override { tick(); }

  // Desktop
  std::string Clipboard() override {
    size_t size = 0;
    const void* data = system.getClipboard(size);
    if (data == nullptr || size == 0) return {};
    std::string text(static_cast<const char*>(data), size);
    while (!text.empty() && text.back() == '\0') text.pop_back();
    return text;
  }
  void SetClipboard(const std::string& text) override {
    system.setClipboard(nullptr, text.c_str(), text.size() + 1);
  }
  void SetCursor(Cursor cursor) override {
    if (cursor == shownCursor) return;
    shownCursor = cursor;
    system.setCursor(CursorOf(cursor));
  }
  void RequestScale(double scale) override {
    const WindowSize size = SizeAt(scale * screenScale);
    if (system.isEmbed()) {
      request = size;
    } else {
      system.setSize(size.width, size.height);
    }
  }

  WindowModel& model;
  double screenScale;
  bool isReady = false;  // before the window system's first words
  DGL::Application application;
  System system;
  Face face;
  std::unique_ptr<FaceWidget> widget;
  WindowSize request;
  std::function<void()> tick;
  Cursor shownCursor = Cursor::kArrow;
  double lastFrame = 0.0, lastLook = 0.0;  // s
  PointerWatch pointer;
};

}  // namespace

WindowSize InitialSize(const WindowModel& model, double scale) {
  return SizeAt(std::clamp(model.WindowScale(), Face::kSmallest, Face::kLargest) *
                (scale > 0.0 ? scale : 1.0));
}

std::unique_ptr<PluginWindow> OpenWindow(WindowModel& model, uintptr_t parent, double scale,
                                         ShellExtras* extras) {
  return std::make_unique<DglWindow>(model, parent, scale, extras);
}

}  // namespace Vantora::plugin
