#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "plugin/core/WindowModel.h"
#include "plugin/window/ShellExtras.h"

namespace Vantora::plugin {

/// Size of a window in pixels of the screen.
struct WindowSize {
  uint32_t width = 0, height = 0;
};

/// PluginWindow: the effect's face in a window of the system. [main thread]
class PluginWindow {
 public:
  virtual ~PluginWindow() = default;  ///< closes it
  PluginWindow(const PluginWindow&) = delete;
  PluginWindow& operator=(const PluginWindow&) = delete;

  /// Takes events and draws if something moved: to be called about 30 times a second, more does no harm.
  /// False once a top-level window was closed by its user.
  virtual bool Idle() = 0;
  /// Where an embedded window has a timer of its own (Windows, whose hosts need not lend one): calls `tick`,
  /// which is to call `Idle`, about 30 times a second until the window closes, and answers true. False
  /// elsewhere: the host's timer does it.
  virtual bool RunTimer(std::function<void()> tick) = 0;
  /// The system's handle: what a host embeds.
  virtual uintptr_t NativeHandle() const = 0;
  virtual WindowSize Size() const = 0;
  /// The host made it that large; any shape is fine. The model keeps the scale that follows.
  virtual void SetSize(WindowSize size) = 0;
  /// Nearest size of the face's own shape within its limits, for hosts that ask before they resize.
  virtual WindowSize Adjust(WindowSize size) const = 0;
  /// The size that the user asked for in the menu and that the host should grant; zero when nobody asked.
  /// Answers once.
  virtual WindowSize TakeRequest() = 0;
  /// Shows or hides a top-level window, or one that a host hides.
  virtual void SetVisible(bool visible) = 0;

 protected:
  PluginWindow() = default;
};

/// Opens a window within `parent` (a window of the system), or one of its own when that is 0. `scale` is the
/// screen's own factor, 1 when not known; the model's `WindowScale` comes on top of it. Throws
/// `host::HostError` when there is no display. `model` and `extras`, which may be null, must outlive the
/// window.
std::unique_ptr<PluginWindow> OpenWindow(WindowModel& model, uintptr_t parent, double scale,
                                         ShellExtras* extras = nullptr);

/// The size that `OpenWindow` will take, for hosts that ask in advance.
WindowSize InitialSize(const WindowModel& model, double scale);

}  // namespace Vantora::plugin
