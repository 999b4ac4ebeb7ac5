// The extensions "clap.gui" and "clap.timer-support".

#include "plugin/clap/ClapWindow.h"

#include <cstring>

#include "host/HostError.h"

namespace Vantora::plugin {

#ifndef PRISMEL_WINDOW

const void* ClapPlugin::WindowExtension(const char*) { return nullptr; }

#else
namespace {

constexpr uint32_t kFrameMs = 33;

ClapPlugin::WindowState& StateOf(const clap_plugin_t* plugin) {
  auto& window = ClapPlugin::Of(plugin).window;
  if (window == nullptr) window = std::make_unique<ClapPlugin::WindowState>();
  return *window;
}

#ifdef _WIN32
constexpr const char* kApi = CLAP_WINDOW_API_WIN32;
#else
constexpr const char* kApi = CLAP_WINDOW_API_X11;
#endif
bool IsOurs(const char* api) { return std::strcmp(api, kApi) == 0; }

void Destroy(const clap_plugin_t* plugin) {
  ClapPlugin& self = ClapPlugin::Of(plugin);
  if (self.window == nullptr) return;
  if (self.window->timer != CLAP_INVALID_ID) {
    const auto* timers = self.HostExtension<clap_host_timer_support_t>(CLAP_EXT_TIMER_SUPPORT);
    if (timers != nullptr) timers->unregister_timer(&self.Host(), self.window->timer);
  }
  self.window.reset();
}

void Tick(const clap_plugin_t* plugin) {
  ClapPlugin& self = ClapPlugin::Of(plugin);
  if (self.window == nullptr || self.window->window == nullptr) return;
  self.window->window->Idle();
  const WindowSize asked = self.window->window->TakeRequest();
  const auto* gui = self.HostExtension<clap_host_gui_t>(CLAP_EXT_GUI);
  if (asked.width != 0 && gui != nullptr && gui->request_resize(&self.Host(), asked.width, asked.height)) {
    self.window->window->SetSize(asked);
  }
}

bool Open(const clap_plugin_t* plugin, uintptr_t parent) {
  ClapPlugin& self = ClapPlugin::Of(plugin);
  ClapPlugin::WindowState& state = StateOf(plugin);
  try {
    state.window = OpenWindow(self.Core(), parent, state.scale);
  } catch (const std::exception&) {
    return false;
  }
  if (state.window->RunTimer([plugin] { Tick(plugin); })) return true;
  const auto* timers = self.HostExtension<clap_host_timer_support_t>(CLAP_EXT_TIMER_SUPPORT);
  if (timers != nullptr && state.timer == CLAP_INVALID_ID)
    timers->register_timer(&self.Host(), kFrameMs, &state.timer);
  return true;
}

WindowSize SizeOf(const clap_plugin_t* plugin) {
  const ClapPlugin::WindowState& state = StateOf(plugin);
  return state.window != nullptr ? state.window->Size()
                                 : InitialSize(ClapPlugin::Of(plugin).Core(), state.scale);
}

const clap_plugin_gui_t kGui = {
    [](const clap_plugin_t*, const char* api, bool isFloating) { return IsOurs(api) && !isFloating; },
    [](const clap_plugin_t*, const char** api, bool* isFloating) {
      *api = kApi;
      *isFloating = false;
      return true;
    },
    [](const clap_plugin_t* plugin, const char* api, bool isFloating) {
      if (!IsOurs(api) || isFloating) return false;
      StateOf(plugin);
      return true;
    },
    Destroy,
    [](const clap_plugin_t* plugin, double scale) {
      if (!(scale > 0.0)) return false;
      StateOf(plugin).scale = scale;
      return true;
    },
    [](const clap_plugin_t* plugin, uint32_t* width, uint32_t* height) {
      const WindowSize size = SizeOf(plugin);
      *width = size.width;
      *height = size.height;
      return true;
    },
    [](const clap_plugin_t*) { return true; },
    [](const clap_plugin_t*, clap_gui_resize_hints_t* hints) {
      *hints = {true, true, true, 980, 620};
      return true;
    },
    [](const clap_plugin_t* plugin, uint32_t* width, uint32_t* height) {
      const ClapPlugin::WindowState& state = StateOf(plugin);
      if (state.window == nullptr) return true;
      const WindowSize size = state.window->Adjust({*width, *height});
      *width = size.width;
      *height = size.height;
      return true;
    },
    [](const clap_plugin_t* plugin, uint32_t width, uint32_t height) {
      ClapPlugin::WindowState& state = StateOf(plugin);
      if (state.window == nullptr) return false;
      state.window->SetSize({width, height});
      return true;
    },
    [](const clap_plugin_t* plugin, const clap_window_t* parent) {
      return IsOurs(parent->api) && Open(plugin, parent->uptr);
    },
    [](const clap_plugin_t*, const clap_window_t*) { return false; },
    [](const clap_plugin_t*, const char*) {},
    [](const clap_plugin_t* plugin) {
      if (StateOf(plugin).window != nullptr) StateOf(plugin).window->SetVisible(true);
      return StateOf(plugin).window != nullptr;
    },
    [](const clap_plugin_t* plugin) {
      if (StateOf(plugin).window != nullptr) StateOf(plugin).window->SetVisible(false);
      return true;
    },
};

const clap_plugin_timer_support_t kTimer = {[](const clap_plugin_t* plugin, clap_id) { Tick(plugin); }};

}  // namespace

const void* ClapPlugin::WindowExtension(const char* id) {
  if (std::strcmp(id, CLAP_EXT_GUI) == 0) return &kGui;
  if (std::strcmp(id, CLAP_EXT_TIMER_SUPPORT) == 0) return &kTimer;
  return nullptr;
}

#endif

}  // namespace Vantora::plugin
