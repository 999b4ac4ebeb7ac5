// The LV2 plug-in's window, in a binary of its own: hosts without a screen load neither X11 nor OpenGL.

#include <lv2/core/lv2.h>
#include <lv2/instance-access/instance-access.h>
#include <lv2/options/options.h>
#include <lv2/ui/ui.h>

#include <cstring>
#include <memory>

#include "host/ParameterTable.h"
#include "plugin/lv2/Lv2Instance.h"
#include "plugin/lv2/Lv2Ports.h"
#include "plugin/window/Window.h"

namespace Vantora::plugin {
namespace {

template <typename T>
T* Feature(const LV2_Feature* const* features, const char* uri) {
  for (size_t i = 0; features != nullptr && features[i] != nullptr; ++i) {
    if (std::strcmp(features[i]->URI, uri) == 0) return static_cast<T*>(features[i]->data);
  }
  return nullptr;
}

/// Lv2Window: an open window, which tells the host by its control ports what a hand does.
class Lv2Window final : public HostLink {
 public:
  Lv2Window(Lv2Instance& itsInstance, LV2UI_Write_Function writeFunction, LV2UI_Controller itsController,
            const LV2_Feature* const* features)
      : instance(itsInstance),
        write(writeFunction),
        controller(itsController),
        touch(Feature<LV2UI_Touch>(features, LV2_UI__touch)),
        resize(Feature<LV2UI_Resize>(features, LV2_UI__resize)) {
    const auto parent = reinterpret_cast<uintptr_t>(Feature<void>(features, LV2_UI__parent));
    window = OpenWindow(instance.Model(), parent, 1.0);
    instance.SetLink(this);
    Resize(window->Size());
  }
  ~Lv2Window() { instance.SetLink(nullptr); }

  LV2UI_Widget Widget() const { return reinterpret_cast<LV2UI_Widget>(window->NativeHandle()); }

  int Idle() {
    const bool isOpen = window->Idle();
    const WindowSize asked = window->TakeRequest();
    if (asked.width != 0) {
      window->SetSize(asked);
      Resize(asked);
    }
    return isOpen ? 0 : 1;
  }
  void SetSize(int width, int height) {
    window->SetSize({static_cast<uint32_t>(width), static_cast<uint32_t>(height)});
  }
  void SetVisible(bool visible) { window->SetVisible(visible); }

  void OnGestureBegin(uint32_t index) override { Touch(index, true); }
  void OnValue(uint32_t index, float position) override { Write(index, position); }
  void OnGestureEnd(uint32_t index) override { Touch(index, false); }
  void OnSoundChanged() override {
    const HostParameters& list = HostParameters::Get();
    for (size_t i = 0; i < list.WritableCount(); ++i)
      Write(list.IndexAt(i), instance.Model().Value(list.IndexAt(i)));
  }
  void OnStateDirty() override {}

 private:
  uint32_t PortOf(uint32_t index) const {
    return instance.FirstParameterPort() +
           static_cast<uint32_t>(HostParameters::Get().PositionOf(index).value_or(0));
  }
  void Write(uint32_t index, float position) {
    const float value = ToPortValue(host::ParameterTable::Get()[index], position);
    write(controller, PortOf(index), sizeof value, 0, &value);
  }
  void Touch(uint32_t index, bool isGrabbed) {
    if (touch != nullptr) touch->touch(touch->handle, PortOf(index), isGrabbed);
  }
  void Resize(WindowSize size) {
    if (resize == nullptr) return;
    resize->ui_resize(resize->handle, static_cast<int>(size.width), static_cast<int>(size.height));
  }

  Lv2Instance& instance;
  LV2UI_Write_Function write;
  LV2UI_Controller controller;
  const LV2UI_Touch* touch;
  const LV2UI_Resize* resize;
  std::unique_ptr<PluginWindow> window;
};

Lv2Window& Of(LV2UI_Handle handle) { return *static_cast<Lv2Window*>(handle); }

LV2UI_Handle Instantiate(const LV2UI_Descriptor*, const char*, const char*, LV2UI_Write_Function write,
                         LV2UI_Controller controller, LV2UI_Widget* widget,
                         const LV2_Feature* const* features) {
  auto* instance = static_cast<Lv2Instance*>(Feature<void>(features, LV2_INSTANCE_ACCESS_URI));
  if (instance == nullptr || instance->mark != Lv2Instance::kMark) return nullptr;
  try {
    auto window = std::make_unique<Lv2Window>(*instance, write, controller, features);
    *widget = window->Widget();
    return window.release();
  } catch (const std::exception&) {
    return nullptr;
  }
}

const void* ExtensionData(const char* uri) {
  static const LV2UI_Idle_Interface idle = {[](LV2UI_Handle handle) { return Of(handle).Idle(); }};
  static const LV2UI_Resize resize = {nullptr, [](LV2UI_Feature_Handle handle, int width, int height) {
                                        Of(handle).SetSize(width, height);
                                        return 0;
                                      }};
  static const LV2UI_Show_Interface show = {[](LV2UI_Handle handle) {
                                              Of(handle).SetVisible(true);
                                              return 0;
                                            },
                                            [](LV2UI_Handle handle) {
                                              Of(handle).SetVisible(false);
                                              return 0;
                                            }};
  if (std::strcmp(uri, LV2_UI__idleInterface) == 0) return &idle;
  if (std::strcmp(uri, LV2_UI__resize) == 0) return &resize;
  if (std::strcmp(uri, LV2_UI__showInterface) == 0) return &show;
  return nullptr;
}

constexpr LV2UI_Descriptor kDescriptor = {
    kLv2WindowUri, Instantiate, [](LV2UI_Handle handle) { delete &Of(handle); },
    [](LV2UI_Handle, uint32_t, uint32_t, uint32_t, const void*) {},  // the model is asked instead
    ExtensionData};

}  // namespace
}  // namespace Vantora::plugin

LV2_SYMBOL_EXPORT const LV2UI_Descriptor* lv2ui_descriptor(uint32_t index) {
  return index == 0 ? &Vantora::plugin::kDescriptor : nullptr;
}
