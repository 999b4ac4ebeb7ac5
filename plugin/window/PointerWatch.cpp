#include "plugin/window/PointerWatch.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <xcb/xcb.h>

#include <cstdlib>
#endif

namespace Vantora::plugin {
namespace {

bool IsWithin(long x, long y, uint32_t width, uint32_t height) {
  return x >= 0 && y >= 0 && x < static_cast<long>(width) && y < static_cast<long>(height);
}

}  // namespace

#ifdef _WIN32

struct PointerWatch::System {};

PointerWatch::PointerWatch() = default;
PointerWatch::~PointerWatch() = default;

bool PointerWatch::IsOver(uintptr_t window, uint32_t width, uint32_t height) const {
  POINT place;
  if (!GetCursorPos(&place) || !ScreenToClient(reinterpret_cast<HWND>(window), &place)) return true;
  return IsWithin(place.x, place.y, width, height);
}

#else

struct PointerWatch::System {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  ~System() { xcb_disconnect(connection); }
};

PointerWatch::PointerWatch() : system(std::make_unique<System>()) {}
PointerWatch::~PointerWatch() = default;

bool PointerWatch::IsOver(uintptr_t window, uint32_t width, uint32_t height) const {
  if (xcb_connection_has_error(system->connection) != 0) return true;
  const auto cookie = xcb_query_pointer(system->connection, static_cast<xcb_window_t>(window));
  xcb_generic_error_t* error = nullptr;
  xcb_query_pointer_reply_t* const reply = xcb_query_pointer_reply(system->connection, cookie, &error);
  const bool isOver =
      reply == nullptr || (reply->same_screen != 0 && IsWithin(reply->win_x, reply->win_y, width, height));
  std::free(reply);
  std::free(error);
  return isOver;
}

#endif

}  // namespace Vantora::plugin
