// The window in a VST3 host's frame, driven by a timer of the frame's run loop.

#include <atomic>
#include <cmath>
#include <cstring>

#include "plugin/vst3/Vst3Plugin.h"
#ifdef PRISMEL_WINDOW
#include "plugin/window/Window.h"
#endif

namespace Vantora::plugin {

#ifndef PRISMEL_WINDOW

v3_plugin_view** Vst3Plugin::CreateView() { return nullptr; }

#else
namespace {

constexpr uint64_t kFrameMs = 33;

/// Vst3View: lives by its references and keeps its plug-in alive.
class Vst3View {
 public:
  struct Face {
    const void* table;
    Vst3View* owner;
  };
  static Vst3View& Of(void* face) { return *static_cast<Face*>(face)->owner; }

  explicit Vst3View(Vst3Plugin& itsPlugin);
  v3_plugin_view** Interface() { return reinterpret_cast<v3_plugin_view**>(&view); }

  v3_result QueryInterface(const v3_tuid iid, void** object) {
    *object = nullptr;
    if (v3_tuid_match(iid, v3_funknown_iid) || v3_tuid_match(iid, v3_plugin_view_iid)) *object = &view;
    if (v3_tuid_match(iid, v3_plugin_view_content_scale_iid)) *object = &contentScale;
    if (v3_tuid_match(iid, v3_timer_handler_iid)) *object = &timer;
    if (*object == nullptr) return V3_NO_INTERFACE;
    Ref();
    return V3_OK;
  }
  uint32_t Ref() { return references.fetch_add(1) + 1; }
  uint32_t Unref() {
    const uint32_t left = references.fetch_sub(1) - 1;
    if (left == 0) delete this;
    return left;
  }

  v3_result Attach(uintptr_t parent) {
    try {
      window = OpenWindow(plugin.Core(), parent, scale);
    } catch (const std::exception&) {
      return V3_INTERNAL_ERR;
    }
    if (!window->RunTimer([this] { Tick(); }) && frame != nullptr) {
      v3_cpp_obj_query_interface(frame, v3_run_loop_iid, &loop);
      if (loop != nullptr) v3_cpp_obj(loop)->register_timer(loop, TimerInterface(), kFrameMs);
    }
    return V3_OK;
  }

  v3_result Remove() {
    if (loop != nullptr) {
      v3_cpp_obj(loop)->unregister_timer(loop, TimerInterface());
      v3_cpp_obj_unref(loop);
      loop = nullptr;
    }
    window.reset();
    return V3_OK;
  }

  void Tick() {
    if (window == nullptr) return;
    window->Idle();
    const WindowSize asked = window->TakeRequest();
    if (asked.width == 0 || frame == nullptr) return;
    v3_view_rect rect = RectOf(asked);
    v3_cpp_obj(frame)->resize_view(frame, Interface(), &rect);
  }

  static v3_view_rect RectOf(WindowSize size) {
    return {0, 0, static_cast<int32_t>(size.width), static_cast<int32_t>(size.height)};
  }
  static WindowSize SizeOf(const v3_view_rect& rect) {
    return {static_cast<uint32_t>(rect.right - rect.left), static_cast<uint32_t>(rect.bottom - rect.top)};
  }
  WindowSize Size() const { return window != nullptr ? window->Size() : InitialSize(plugin.Core(), scale); }

  Vst3Plugin& plugin;
  std::unique_ptr<PluginWindow> window;
  v3_plugin_frame** frame = nullptr;
  double scale = 1.0;

 private:
  ~Vst3View() {
    Remove();
    plugin.Unref();
  }
  v3_timer_handler** TimerInterface() { return reinterpret_cast<v3_timer_handler**>(&timer); }

  std::atomic<uint32_t> references{1};
  v3_run_loop** loop = nullptr;
  Face view, contentScale, timer;
};

constexpr v3_funknown kUnknown = {
    [](void* self, const v3_tuid iid, void** object) {
      return Vst3View::Of(self).QueryInterface(iid, object);
    },
    [](void* self) { return Vst3View::Of(self).Ref(); },
    [](void* self) { return Vst3View::Of(self).Unref(); },
};

constexpr v3_plugin_view_cpp kView = {
    {kUnknown},
    {
        [](void*, const char* type) -> v3_result {
          return std::strcmp(type, V3_VIEW_PLATFORM_TYPE_NATIVE) == 0 ? V3_TRUE : V3_FALSE;
        },
        [](void* self, void* parent, const char*) {
          return Vst3View::Of(self).Attach(reinterpret_cast<uintptr_t>(parent));
        },
        [](void* self) { return Vst3View::Of(self).Remove(); },
        // Keys and wheel reach the window by itself.
        [](void*, float) -> v3_result { return V3_FALSE; },
        [](void*, int16_t, int16_t, int16_t) -> v3_result { return V3_FALSE; },
        [](void*, int16_t, int16_t, int16_t) -> v3_result { return V3_FALSE; },
        [](void* self, v3_view_rect* rect) -> v3_result {
          *rect = Vst3View::RectOf(Vst3View::Of(self).Size());
          return V3_OK;
        },
        [](void* self, v3_view_rect* rect) -> v3_result {
          Vst3View& view = Vst3View::Of(self);
          if (view.window != nullptr) view.window->SetSize(Vst3View::SizeOf(*rect));
          return V3_OK;
        },
        [](void*, v3_bool) -> v3_result { return V3_OK; },
        [](void* self, v3_plugin_frame** frame) -> v3_result {
          Vst3View::Of(self).frame = frame;
          return V3_OK;
        },
        [](void*) -> v3_result { return V3_TRUE; },
        [](void* self, v3_view_rect* rect) -> v3_result {
          const Vst3View& view = Vst3View::Of(self);
          if (view.window == nullptr) return V3_TRUE;
          const WindowSize size = view.window->Adjust(Vst3View::SizeOf(*rect));
          rect->right = rect->left + static_cast<int32_t>(size.width);
          rect->bottom = rect->top + static_cast<int32_t>(size.height);
          return V3_TRUE;
        },
    },
};

constexpr v3_plugin_view_content_scale_cpp kContentScale = {
    {kUnknown},
    {[](void* self, float factor) -> v3_result {
      if (!(factor > 0.0f)) return V3_INVALID_ARG;
      Vst3View::Of(self).scale = static_cast<double>(factor);
      return V3_OK;
    }},
};

constexpr v3_timer_handler_cpp kTimer = {{kUnknown}, {[](void* self) { Vst3View::Of(self).Tick(); }}};

Vst3View::Vst3View(Vst3Plugin& itsPlugin)
    : plugin(itsPlugin), view{&kView, this}, contentScale{&kContentScale, this}, timer{&kTimer, this} {
  plugin.Ref();
}

}  // namespace

v3_plugin_view** Vst3Plugin::CreateView() { return (new Vst3View(*this))->Interface(); }

#endif

}  // namespace Vantora::plugin
