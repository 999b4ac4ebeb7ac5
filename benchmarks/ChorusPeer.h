#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#if PRISMEL_HAS_LILV
#include <lilv/lilv.h>
#include <lv2/urid/urid.h>
#endif

namespace Vantora::benchmarks {

/// Calf's Multi Chorus with a number of voices, at its other defaults, fed with noise. Without lilv or the
/// plug-in it is never loaded.
class ChorusPeer {
 public:
  static bool IsAvailable(float sampleRate) { return ChorusPeer(sampleRate, 1, 4).IsLoaded(); }

#if PRISMEL_HAS_LILV
  ChorusPeer(float sampleRate, int voices, uint32_t blockFrames)
      : frames(blockFrames), world(lilv_world_new()) {
    lilv_world_load_all(world);
    LilvNode* uri = lilv_new_uri(world, "http://calf.sourceforge.net/plugins/MultiChorus");
    const LilvPlugin* plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), uri);
    lilv_node_free(uri);
    if (plugin == nullptr) return;
    mapFeature.handle = this;
    mapFeature.map = [](LV2_URID_Map_Handle self, const char* text) {
      auto& known = static_cast<ChorusPeer*>(self)->ids;
      return known.emplace(text, static_cast<LV2_URID>(known.size() + 1)).first->second;
    };
    const LV2_Feature map{LV2_URID__map, &mapFeature};
    const LV2_Feature* features[] = {&map, nullptr};
    instance = lilv_plugin_instantiate(plugin, static_cast<double>(sampleRate), features);
    if (instance == nullptr) return;
    const uint32_t ports = lilv_plugin_get_num_ports(plugin);
    std::vector<float> defaults(ports);
    lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, defaults.data());
    controls.resize(ports);
    audio.resize(ports);
    LilvNode* isAudio = lilv_new_uri(world, LV2_CORE__AudioPort);
    LilvNode* isControl = lilv_new_uri(world, LV2_CORE__ControlPort);
    LilvNode* isInput = lilv_new_uri(world, LV2_CORE__InputPort);
    uint32_t x = 1;
    for (uint32_t p = 0; p < ports; ++p) {
      const LilvPort* port = lilv_plugin_get_port_by_index(plugin, p);
      if (lilv_port_is_a(plugin, port, isAudio)) {
        audio[p].resize(frames);
        if (lilv_port_is_a(plugin, port, isInput)) {
          for (float& s : audio[p])
            s = static_cast<float>((x = x * 1664525u + 1013904223u) >> 8) * 5e-8f - 0.4f;
        }
        lilv_instance_connect_port(instance, p, audio[p].data());
      } else if (lilv_port_is_a(plugin, port, isControl)) {
        controls[p] = defaults[p] == defaults[p] ? defaults[p] : 0.0f;
        const char* symbol = lilv_node_as_string(lilv_port_get_symbol(plugin, port));
        if (std::strcmp(symbol, "voices") == 0) controls[p] = static_cast<float>(voices);
        lilv_instance_connect_port(instance, p, &controls[p]);
      } else {
        lilv_instance_connect_port(instance, p, nullptr);
      }
    }
    for (LilvNode* node : {isAudio, isControl, isInput}) lilv_node_free(node);
    lilv_instance_activate(instance);
    for (int i = 0; i < 2000; ++i) Block();
  }
  ~ChorusPeer() {
    if (instance != nullptr) lilv_instance_free(instance);
    lilv_world_free(world);
  }
  ChorusPeer(const ChorusPeer&) = delete;

  bool IsLoaded() const { return instance != nullptr; }
  void Block() { lilv_instance_run(instance, frames); }

 private:
  uint32_t frames;
  LilvWorld* world;
  LilvInstance* instance = nullptr;
  LV2_URID_Map mapFeature{};
  std::map<std::string, LV2_URID> ids;
  std::vector<float> controls;
  std::vector<std::vector<float>> audio;
#else
  ChorusPeer(float, int, uint32_t) {}
  bool IsLoaded() const { return false; }
  void Block() {}
#endif
};

}  // namespace Vantora::benchmarks
