#include "tests/plugin/window/ParentWindow.h"

#include <stdexcept>

#ifdef _WIN32
#include <windows.h>
#else
#include <X11/Xlib.h>
#endif

namespace Vantora::test {

#ifdef _WIN32

struct ParentWindow::Parts {
  HWND window = nullptr;
};

ParentWindow::ParentWindow(const char* title) : parts(std::make_unique<Parts>()) {
  WNDCLASSA kind{};
  kind.lpfnWndProc = DefWindowProcA;
  kind.hInstance = GetModuleHandleA(nullptr);
  kind.lpszClassName = "ParentWindow";
  RegisterClassA(&kind);
  parts->window = CreateWindowExA(0, kind.lpszClassName, title, WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, 0, 0,
                                  400, 300, nullptr, nullptr, kind.hInstance, nullptr);
  if (parts->window == nullptr) throw std::runtime_error("no display");
  ShowWindow(parts->window, SW_SHOW);
}
ParentWindow::~ParentWindow() { DestroyWindow(parts->window); }

uintptr_t ParentWindow::Handle() const { return reinterpret_cast<uintptr_t>(parts->window); }

void ParentWindow::Resize(uint32_t width, uint32_t height) {
  RECT rect{0, 0, static_cast<LONG>(width), static_cast<LONG>(height)};
  AdjustWindowRect(&rect, WS_OVERLAPPEDWINDOW, FALSE);
  SetWindowPos(parts->window, nullptr, 0, 0, rect.right - rect.left, rect.bottom - rect.top,
               SWP_NOMOVE | SWP_NOZORDER);
}

void ParentWindow::Idle() {
  MSG message;
  while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
    TranslateMessage(&message);
    DispatchMessageA(&message);
  }
}

#else

struct ParentWindow::Parts {
  Display* display = nullptr;
  Window window = 0;
};

ParentWindow::ParentWindow(const char* title) : parts(std::make_unique<Parts>()) {
  parts->display = XOpenDisplay(nullptr);
  if (parts->display == nullptr) throw std::runtime_error("no display");
  parts->window =
      XCreateSimpleWindow(parts->display, DefaultRootWindow(parts->display), 0, 0, 400, 300, 0, 0, 0);
  XStoreName(parts->display, parts->window, title);
  XMapWindow(parts->display, parts->window);
  XSync(parts->display, False);
}
ParentWindow::~ParentWindow() {
  XDestroyWindow(parts->display, parts->window);
  XCloseDisplay(parts->display);
}

uintptr_t ParentWindow::Handle() const { return parts->window; }

void ParentWindow::Resize(uint32_t width, uint32_t height) {
  XResizeWindow(parts->display, parts->window, width, height);
  XSync(parts->display, False);
}

void ParentWindow::Idle() {
  XEvent event;
  while (XPending(parts->display) > 0) XNextEvent(parts->display, &event);
}

#endif

}  // namespace Vantora::test
