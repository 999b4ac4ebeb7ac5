#pragma once

#include "plugin/clap/ClapPlugin.h"
#ifdef PRISMEL_WINDOW
#include "plugin/window/Window.h"
#endif

namespace Vantora::plugin {

/// What a host's window wants kept of the instance. Empty in a build without windows.
struct ClapPlugin::WindowState {
#ifdef PRISMEL_WINDOW
  std::unique_ptr<PluginWindow> window;
#endif
  double scale = 1.0;  // of the screen
  clap_id timer = CLAP_INVALID_ID;
};

}  // namespace Vantora::plugin
