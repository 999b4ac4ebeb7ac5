#include <array>
#include <cstring>
#include <stdexcept>

#include "host/ParameterTable.h"
#include "plugin/clap/ClapPlugin.h"
#include "plugin/core/ProductNames.h"
#include "tests/plugin/ShellHost.h"
#include "tools/Platform.h"

namespace Vantora::test {
namespace {

const host::Parameter& At(uint32_t index) { return host::ParameterTable::Get()[index]; }

class ClapShellHost final : public ShellHost {
 public:
  explicit ClapShellHost(const std::string& path) {
    std::string problem;
    library = platform::OpenLibrary(path.c_str(), problem);
    if (library == nullptr) throw std::runtime_error(problem);
    entry = static_cast<const clap_plugin_entry_t*>(platform::FindSymbol(library, "clap_entry", problem));
    if (entry == nullptr || !entry->init(path.c_str())) throw std::runtime_error("no entry " + problem);
    const auto& factory =
        *static_cast<const clap_plugin_factory_t*>(entry->get_factory(CLAP_PLUGIN_FACTORY_ID));
    host.clap_version = CLAP_VERSION;
    host.name = host.vendor = host.url = host.version = "test";
    host.host_data = this;
    host.get_extension = [](const clap_host_t*, const char* id) -> const void* {
      return std::strcmp(id, CLAP_EXT_TIMER_SUPPORT) == 0 ? static_cast<const void*>(&kTimers)
             : std::strcmp(id, CLAP_EXT_GUI) == 0         ? static_cast<const void*>(&kFrame)
                                                          : nullptr;
    };
    host.request_restart = host.request_process = host.request_callback = [](const clap_host_t*) {};
    plugin = factory.create_plugin(&factory, &host, plugin::kClapId);
    if (plugin == nullptr || !plugin->init(plugin)) throw std::runtime_error("no instance");
  }
  ~ClapShellHost() override {
    plugin->destroy(plugin);
    entry->deinit();
    platform::CloseLibrary(library);
  }

  bool Activate() override {
    return plugin->activate(plugin, 48000.0, 1, 8192) && plugin->start_processing(plugin);
  }
  void Deactivate() override {
    plugin->stop_processing(plugin);
    plugin->deactivate(plugin);
  }

  void Process(const float* const* in, float* const* out, uint32_t frames,
               std::span<const ShellEvent> changes) override {
    eventCount = std::min(changes.size(), events.size());
    for (size_t i = 0; i < eventCount; ++i) {
      clap_event_param_value_t& event = events[i] = {};
      event.header = {sizeof event, static_cast<uint32_t>(changes[i].at), CLAP_CORE_EVENT_SPACE_ID,
                      CLAP_EVENT_PARAM_VALUE, 0};
      event.param_id = At(changes[i].index).Id();
      event.value = plugin::ToClapValue(At(changes[i].index), changes[i].position);
    }
    input.data32 = const_cast<float**>(in);
    output.data32 = const_cast<float**>(out);
    call.frames_count = frames;
    plugin->process(plugin, &call);
  }

  uint32_t Latency() override { return Extension<clap_plugin_latency_t>(CLAP_EXT_LATENCY).get(plugin); }

  std::string Save() override {
    std::string text;
    const clap_ostream_t stream{
        &text, [](const clap_ostream_t* s, const void* bytes, uint64_t size) -> int64_t {
          static_cast<std::string*>(s->ctx)->append(static_cast<const char*>(bytes), size);
          return static_cast<int64_t>(size);
        }};
    if (!Extension<clap_plugin_state_t>(CLAP_EXT_STATE).save(plugin, &stream)) return "";
    return text;
  }

  bool Load(const std::string& state) override {
    std::string_view rest = state;
    const clap_istream_t stream{&rest, [](const clap_istream_t* s, void* bytes, uint64_t size) -> int64_t {
                                  auto& left = *static_cast<std::string_view*>(s->ctx);
                                  const size_t count = std::min<size_t>(size, left.size());
                                  std::memcpy(bytes, left.data(), count);
                                  left.remove_prefix(count);
                                  return static_cast<int64_t>(count);
                                }};
    return Extension<clap_plugin_state_t>(CLAP_EXT_STATE).load(plugin, &stream);
  }

  Extent OpenWindow(uintptr_t parent) override {
    const auto* gui = static_cast<const clap_plugin_gui_t*>(plugin->get_extension(plugin, CLAP_EXT_GUI));
    clap_window_t window{kWindowApi, {}};
    window.uptr = parent;
    Extent size;
    if (gui == nullptr || !gui->create(plugin, kWindowApi, false) ||
        !gui->get_size(plugin, &size.width, &size.height) || !gui->set_parent(plugin, &window) ||
        !gui->show(plugin)) {
      return {};
    }
    return size;
  }
  void ResizeWindow(Extent size) override {
    const auto& gui = Extension<clap_plugin_gui_t>(CLAP_EXT_GUI);
    gui.adjust_size(plugin, &size.width, &size.height);
    gui.set_size(plugin, size.width, size.height);
  }
  void CloseWindow() override {
    const auto& gui = Extension<clap_plugin_gui_t>(CLAP_EXT_GUI);
    gui.hide(plugin);
    gui.destroy(plugin);
  }
  void Tick() override {
    if (hasTimer) Extension<clap_plugin_timer_support_t>(CLAP_EXT_TIMER_SUPPORT).on_timer(plugin, kTimerId);
  }
  float Position(uint32_t index) override {
    double value = 0.0;
    Extension<clap_plugin_params_t>(CLAP_EXT_PARAMS).get_value(plugin, At(index).Id(), &value);
    return plugin::FromClapValue(At(index), value);
  }

  void Poke(uint32_t random) override {
    const auto& params = Extension<clap_plugin_params_t>(CLAP_EXT_PARAMS);
    clap_param_info_t info{};
    double value = 0.0;
    char text[64];
    params.get_info(plugin, random % params.count(plugin), &info);
    params.get_value(plugin, info.id, &value);
    params.value_to_text(plugin, info.id, value, text, sizeof text);
    const size_t preset = random / 128 % plugin::FactoryPresets().size();
    Extension<plugin::ClapPresetLoad>(plugin::kClapPresetLoad)
        .from_location(plugin, plugin::kClapPresetInPlugin, nullptr,
                       plugin::FactoryPresets()[preset].name.c_str());
    Extension<plugin::ClapTail>(plugin::kClapTail).get(plugin);
  }

 private:
#ifdef _WIN32
  static constexpr const char* kWindowApi = CLAP_WINDOW_API_WIN32;
#else
  static constexpr const char* kWindowApi = CLAP_WINDOW_API_X11;
#endif
  static constexpr clap_id kTimerId = 7;
  static const clap_host_timer_support_t kTimers;
  static const clap_host_gui_t kFrame;

  static ClapShellHost& Of(void* self) { return *static_cast<ClapShellHost*>(self); }
  template <typename T>
  const T& Extension(const char* id) const {
    return *static_cast<const T*>(plugin->get_extension(plugin, id));
  }

  void* library = nullptr;
  const clap_plugin_entry_t* entry = nullptr;
  clap_host_t host{};
  const clap_plugin_t* plugin = nullptr;
  std::array<clap_event_param_value_t, 16> events{};
  size_t eventCount = 0;
  // What every call is handed, prepared once.
  const clap_input_events_t inEvents{
      this, [](const clap_input_events_t* list) { return static_cast<uint32_t>(Of(list->ctx).eventCount); },
      [](const clap_input_events_t* list, uint32_t i) -> const clap_event_header_t* {
        return &Of(list->ctx).events[i].header;
      }};
  const clap_output_events_t outEvents{
      this, [](const clap_output_events_t*, const clap_event_header_t*) { return true; }};
  clap_audio_buffer_t input{nullptr, nullptr, 2, 0, 0}, output{nullptr, nullptr, 2, 0, 0};
  clap_process_t call{0, 0, nullptr, &input, &output, 1, 1, &inEvents, &outEvents};
  bool hasTimer = false;
};

const clap_host_timer_support_t ClapShellHost::kTimers = {
    [](const clap_host_t* caller, uint32_t, clap_id* id) {
      *id = kTimerId;
      return Of(caller->host_data).hasTimer = true;
    },
    [](const clap_host_t* caller, clap_id) {
      Of(caller->host_data).hasTimer = false;
      return true;
    }};
const clap_host_gui_t ClapShellHost::kFrame = {
    [](const clap_host_t*) {},
    [](const clap_host_t* caller, uint32_t width, uint32_t height) -> bool {
      const ClapShellHost& self = Of(caller->host_data);
      if (self.onResize) self.onResize({width, height});
      return self.onResize != nullptr;
    },
    [](const clap_host_t*) { return false; }, [](const clap_host_t*) { return false; },
    [](const clap_host_t*, bool) {}};

}  // namespace

std::unique_ptr<ShellHost> OpenClap(const std::string& file) { return std::make_unique<ClapShellHost>(file); }

}  // namespace Vantora::test
