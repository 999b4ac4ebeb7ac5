#pragma once

#include <cstdint>
#include <memory>

namespace Vantora::plugin {

/// PointerWatch: whether the mouse pointer is over a window. The window library doesn't say when it leaves.
///
/// Asks the window system by a connection of its own, where a window that the host has closed meanwhile is
/// an answer and no error.
///
/// Threads  the window's.
class PointerWatch {
 public:
  PointerWatch();
  ~PointerWatch();
  PointerWatch(const PointerWatch&) = delete;
  PointerWatch& operator=(const PointerWatch&) = delete;

  /// Whether it is within `width` by `height` pixels of the native window `window`; true where nobody can
  /// tell. Waits for the window system's answer, some 0.1 ms.
  bool IsOver(uintptr_t window, uint32_t width, uint32_t height) const;

 private:
  struct System;
  std::unique_ptr<System> system;
};

}  // namespace Vantora::plugin
