#include <dlfcn.h>
#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/instance-access/instance-access.h>
#include <lv2/state/state.h>
#include <lv2/ui/ui.h>
#include <lv2/urid/urid.h>

#include <array>
#include <map>
#include <stdexcept>

#include "host/ParameterTable.h"
#include "plugin/lv2/Lv2Instance.h"
#include "plugin/lv2/Lv2Ports.h"
#include "tests/plugin/ShellHost.h"

namespace Vantora::test {
namespace {

class Lv2ShellHost final : public ShellHost {
 public:
  explicit Lv2ShellHost(const std::string& path)
      : library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)),
        windowPath(path.substr(0, path.rfind('/') + 1) + "prismel_window.so"),
        numbers(plugin::kLv2Variants[0]) {
    if (library == nullptr) throw std::runtime_error(dlerror());
    descriptor = reinterpret_cast<LV2_Descriptor_Function>(dlsym(library, "lv2_descriptor"))(0);
    const LV2_Feature mapFeature{LV2_URID__map, &map};
    const std::array<const LV2_Feature*, 2> features{&mapFeature, nullptr};
    instance = descriptor->instantiate(descriptor, 48000.0, "/", features.data());
    if (instance == nullptr) throw std::runtime_error("no instance");
    events.atom = {sizeof(LV2_Atom_Sequence_Body), Id(LV2_ATOM__Sequence)};
    ports.resize(plugin::HostParameters::Get().Size());
    for (uint32_t i = 0; i < ports.size(); ++i) {
      descriptor->connect_port(instance, numbers.firstParameter + i, &ports[i]);
    }
    descriptor->connect_port(instance, numbers.events, &events);
    descriptor->connect_port(instance, numbers.latency, &latency);
    descriptor->connect_port(instance, numbers.freeWheeling, &freeWheeling);
    FollowValues();
  }
  ~Lv2ShellHost() override {
    descriptor->cleanup(instance);
    dlclose(library);
  }

  bool Activate() override {
    descriptor->activate(instance);
    return true;
  }
  void Deactivate() override { descriptor->deactivate(instance); }
  bool HasOffsets() const override { return false; }
  float AsPassed(uint32_t index, float position) const override {
    const host::Parameter& parameter = host::ParameterTable::Get()[index];
    return plugin::FromPortValue(parameter, plugin::ToPortValue(parameter, position));
  }

  void Process(const float* const* in, float* const* out, uint32_t frames,
               std::span<const ShellEvent> changes) override {
    for (const ShellEvent& change : changes) {
      const plugin::HostParameters& list = plugin::HostParameters::Get();
      for (size_t i = 0; i < list.WritableCount(); ++i) {
        if (list.IndexAt(i) != change.index) continue;
        // A bypass is LV2's "enabled": the other way round.
        const bool isBypass = change.index == list.BypassIndex();
        ports[i] = isBypass ? 1.0f - change.position : plugin::ToPortValue(list.At(i), change.position);
      }
    }
    for (uint32_t c = 0; c < 2; ++c) {
      descriptor->connect_port(instance, c, const_cast<float*>(in[c]));
      descriptor->connect_port(instance, numbers.firstOutput + c, out[c]);
    }
    descriptor->run(instance, frames);
  }

  uint32_t Latency() override {
    std::array<float, 8> sound{};
    const float* in[2] = {sound.data(), sound.data()};
    float* out[2] = {sound.data(), sound.data()};
    Process(in, out, 0, {});
    return static_cast<uint32_t>(latency);
  }

  std::string Save() override {
    std::string text;
    State().save(
        instance,
        [](LV2_State_Handle to, uint32_t, const void* value, size_t size, uint32_t, uint32_t) {
          static_cast<std::string*>(to)->assign(static_cast<const char*>(value), size - 1);
          return LV2_STATE_SUCCESS;
        },
        &text, 0, nullptr);
    return text;
  }
  bool Load(const std::string& state) override {
    struct From {
      const std::string& text;
      LV2_URID type;
    } from{state, Id(LV2_ATOM__String)};
    const LV2_State_Status status = State().restore(
        instance,
        [](LV2_State_Handle handle, uint32_t, size_t* size, uint32_t* type, uint32_t* flags) -> const void* {
          const From& source = *static_cast<From*>(handle);
          *size = source.text.size() + 1;
          *type = source.type;
          *flags = LV2_STATE_IS_POD;
          return source.text.c_str();
        },
        &from, 0, nullptr);
    if (!isBeside) FollowValues();
    return status == LV2_STATE_SUCCESS;
  }

  Extent OpenWindow(uintptr_t parent) override {
    windowLibrary = dlopen(windowPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (windowLibrary == nullptr) return {};
    windowOf = reinterpret_cast<LV2UI_DescriptorFunction>(dlsym(windowLibrary, "lv2ui_descriptor"))(0);
    wanted = {};
    resizing = {this, [](LV2UI_Feature_Handle self, int width, int height) {
                  auto& host = *static_cast<Lv2ShellHost*>(self);
                  host.wanted = {static_cast<uint32_t>(width), static_cast<uint32_t>(height)};
                  if (host.window != nullptr && host.onResize) host.onResize(host.wanted);
                  return 0;
                }};
    const LV2_Feature access{LV2_INSTANCE_ACCESS_URI, instance}, map2{LV2_URID__map, &map},
        within{LV2_UI__parent, reinterpret_cast<void*>(parent)}, resizable{LV2_UI__resize, &resizing};
    const std::array<const LV2_Feature*, 5> features{&access, &map2, &within, &resizable, nullptr};
    LV2UI_Widget widget = nullptr;
    window = windowOf->instantiate(
        windowOf, descriptor->URI, "/",
        [](LV2UI_Controller self, uint32_t port, uint32_t size, uint32_t, const void* value) {
          auto& host = *static_cast<Lv2ShellHost*>(self);
          if (size == sizeof(float)) {
            host.ports[port - host.numbers.firstParameter] = *static_cast<const float*>(value);
          }
        },
        this, &widget, features.data());
    return window != nullptr ? wanted : Extent{};
  }
  void ResizeWindow(Extent size) override {
    const auto* resize = static_cast<const LV2UI_Resize*>(windowOf->extension_data(LV2_UI__resize));
    resize->ui_resize(window, static_cast<int>(size.width), static_cast<int>(size.height));
  }
  void CloseWindow() override {
    windowOf->cleanup(window);
    window = nullptr;
    dlclose(windowLibrary);
  }
  void Tick() override {
    if (window == nullptr) return;
    static_cast<const LV2UI_Idle_Interface*>(windowOf->extension_data(LV2_UI__idleInterface))->idle(window);
  }
  float Position(uint32_t index) override {
    const plugin::HostParameters& list = plugin::HostParameters::Get();
    return plugin::FromPortValue(host::ParameterTable::Get()[index], ports[*list.PositionOf(index)]);
  }

  void Poke(uint32_t random) override {
    isBeside = true;  // the ports are the audio thread's now
    plugin::WindowModel& model = Inside().Model();
    const plugin::HostParameters& list = plugin::HostParameters::Get();
    const uint32_t index = list.IndexAt(random % list.WritableCount());
    model.BeginGesture(index);
    model.SetValue(index, static_cast<float>(random >> 8) / 16777216.0f);
    model.EndGesture(index);
    model.Live();
    model.Text(index);
    if (random % 16 == 0) model.Undo();
    if (random % 32 == 1) model.LoadPreset(random / 32 % 24);
    if (random % 64 == 2) model.Panic();
  }

 private:
  plugin::Lv2Instance& Inside() { return *static_cast<plugin::Lv2Instance*>(instance); }
  const LV2_State_Interface& State() const {
    return *static_cast<const LV2_State_Interface*>(descriptor->extension_data(LV2_STATE__interface));
  }
  LV2_URID Id(const std::string& uri) {
    return ids.try_emplace(uri, static_cast<LV2_URID>(ids.size() + 1)).first->second;
  }
  /// The ports as a host sets them that has read the song's ports, too.
  void FollowValues() {
    const plugin::HostParameters& list = plugin::HostParameters::Get();
    for (size_t i = 0; i < list.WritableCount(); ++i) {
      ports[i] = plugin::ToPortValue(list.At(i), Inside().Model().Value(list.IndexAt(i)));
    }
  }

  void* library;
  std::string windowPath;
  void* windowLibrary = nullptr;
  const LV2UI_Descriptor* windowOf = nullptr;
  LV2UI_Handle window = nullptr;
  LV2UI_Resize resizing{};
  Extent wanted;
  const plugin::Lv2Ports numbers;
  const LV2_Descriptor* descriptor = nullptr;
  LV2_Handle instance = nullptr;
  std::map<std::string, LV2_URID> ids;
  LV2_URID_Map map{this, [](LV2_URID_Map_Handle self, const char* uri) {
                     return static_cast<Lv2ShellHost*>(self)->Id(uri);
                   }};
  std::vector<float> ports;
  LV2_Atom_Sequence events{};
  float latency = 0.0f, freeWheeling = 0.0f;
  bool isBeside = false;
};

}  // namespace

std::unique_ptr<ShellHost> OpenLv2(const std::string& file) { return std::make_unique<Lv2ShellHost>(file); }

}  // namespace Vantora::test
