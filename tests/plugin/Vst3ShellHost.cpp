#include <array>
#include <cstring>
#include <stdexcept>

#include "host/ParameterTable.h"
#include "plugin/vst3/Vst3Headers.h"
#include "tests/plugin/ShellHost.h"
#include "tools/Platform.h"

namespace Vantora::test {
namespace {

const host::Parameter& At(uint32_t index) { return host::ParameterTable::Get()[index]; }

// What the host hands over: objects that nobody counts, because they live as long as the call.
constexpr v3_funknown kUncounted = {
    [](void* self, const v3_tuid, void** object) -> v3_result {
      *object = self;
      return V3_OK;
    },
    [](void*) { return 1u; },
    [](void*) { return 1u; },
};

struct PointQueue {
  const v3_param_value_queue_cpp* table;
  v3_param_id id = 0;
  int32_t count = 0;
  struct Point {
    int32_t offset;
    double value;
  };
  std::array<Point, 8> points{};

  static PointQueue& Of(void* self) { return *static_cast<PointQueue*>(self); }
};
constexpr v3_param_value_queue_cpp kQueueTable = {
    kUncounted,
    {[](void* self) { return PointQueue::Of(self).id; },
     [](void* self) { return PointQueue::Of(self).count; },
     [](void* self, int32_t i, int32_t* offset, double* value) -> v3_result {
       if (i < 0 || i >= PointQueue::Of(self).count) return V3_INVALID_ARG;
       *offset = PointQueue::Of(self).points[static_cast<size_t>(i)].offset;
       *value = PointQueue::Of(self).points[static_cast<size_t>(i)].value;
       return V3_OK;
     },
     [](void* self, int32_t offset, double value, int32_t* place) -> v3_result {
       PointQueue& queue = PointQueue::Of(self);
       if (static_cast<size_t>(queue.count) == queue.points.size()) return V3_NOMEM;
       *place = queue.count;
       queue.points[static_cast<size_t>(queue.count++)] = {offset, value};
       return V3_OK;
     }}};

struct Changes {
  const v3_param_changes_cpp* table;
  int32_t count = 0;
  std::array<PointQueue, 128> queues{};

  static Changes& Of(void* self) { return *static_cast<Changes*>(self); }
  v3_param_changes** Interface() { return reinterpret_cast<v3_param_changes**>(this); }
  v3_param_value_queue** Queue(int32_t i) {
    return reinterpret_cast<v3_param_value_queue**>(&queues[static_cast<size_t>(i)]);
  }
  PointQueue* Add(v3_param_id id) {
    for (int32_t i = 0; i < count; ++i) {
      if (queues[static_cast<size_t>(i)].id == id) return &queues[static_cast<size_t>(i)];
    }
    if (static_cast<size_t>(count) == queues.size()) return nullptr;
    PointQueue& fresh = queues[static_cast<size_t>(count++)];
    fresh.table = &kQueueTable;
    fresh.id = id;
    fresh.count = 0;
    return &fresh;
  }
};
constexpr v3_param_changes_cpp kChangesTable = {
    kUncounted,
    {[](void* self) { return Changes::Of(self).count; },
     [](void* self, int32_t i) { return Changes::Of(self).Queue(i); },
     [](void* self, v3_param_id* id, int32_t* place) -> v3_param_value_queue** {
       Changes& changes = Changes::Of(self);
       PointQueue* queue = changes.Add(*id);
       *place = queue == nullptr ? -1 : static_cast<int32_t>(queue - changes.queues.data());
       return reinterpret_cast<v3_param_value_queue**>(queue);
     }}};

struct StreamTable : v3_funknown {
  v3_bstream stream;
};
struct Stream {
  const StreamTable* table;
  std::string text;
  size_t at = 0;
  static Stream& Of(void* self) { return *static_cast<Stream*>(self); }
  v3_bstream** Interface() { return reinterpret_cast<v3_bstream**>(this); }
};
constexpr StreamTable kStreamTable = {
    kUncounted,
    {[](void* self, void* bytes, int32_t size, int32_t* count) -> v3_result {
       Stream& stream = Stream::Of(self);
       *count = static_cast<int32_t>(std::min(static_cast<size_t>(size), stream.text.size() - stream.at));
       std::memcpy(bytes, stream.text.data() + stream.at, static_cast<size_t>(*count));
       stream.at += static_cast<size_t>(*count);
       return V3_OK;
     },
     [](void* self, void* bytes, int32_t size, int32_t* count) -> v3_result {
       Stream::Of(self).text.append(static_cast<const char*>(bytes), static_cast<size_t>(size));
       *count = size;
       return V3_OK;
     },
     [](void*, int64_t, int32_t, int64_t*) -> v3_result { return V3_NOT_IMPLEMENTED; },
     [](void*, int64_t*) -> v3_result { return V3_NOT_IMPLEMENTED; }}};

class Vst3ShellHost final : public ShellHost {
 public:
  /// What the host lends a window: a frame that resizes, and its loop with a timer.
  struct Frame {
    const v3_plugin_frame_cpp* table;
    Vst3ShellHost* owner;
  };
  struct Loop {
    const v3_run_loop_cpp* table;
    Vst3ShellHost* owner;
  };

  explicit Vst3ShellHost(const std::string& path) {
    std::string problem;
    library = platform::OpenLibrary(path.c_str(), problem);
    if (library == nullptr) throw std::runtime_error(problem);
#ifdef _WIN32
    const bool isReady = Symbol<bool (*)()>("InitDll")();
#else
    const bool isReady = Symbol<bool (*)(void*)>("ModuleEntry")(library);
#endif
    if (!isReady) throw std::runtime_error("no module");
    auto** factory = Symbol<v3_plugin_factory**(V3_API*)()>("GetPluginFactory")();
    v3_class_info info{};
    if (v3_cpp_obj(factory)->get_class_info(factory, 0, &info) != V3_OK ||
        v3_cpp_obj(factory)->create_instance(factory, info.class_id, v3_component_iid,
                                             reinterpret_cast<void**>(&component)) != V3_OK ||
        v3_cpp_obj_initialize(component, nullptr) != V3_OK ||
        v3_cpp_obj_query_interface(component, v3_audio_processor_iid, &processor) != V3_OK ||
        v3_cpp_obj_query_interface(component, v3_edit_controller_iid, &controller) != V3_OK) {
      throw std::runtime_error("no instance");
    }
    input.num_channels = output.num_channels = 2;
    call.symbolic_sample_size = V3_SAMPLE_32;
    call.num_input_buses = call.num_output_buses = 1;
    call.inputs = &input;
    call.outputs = &output;
    call.input_params = sent.Interface();
    call.output_params = received.Interface();
  }
  ~Vst3ShellHost() override {
    v3_cpp_obj_unref(controller);
    v3_cpp_obj_unref(processor);
    v3_cpp_obj_terminate(component);
    v3_cpp_obj_unref(component);
#ifdef _WIN32
    Symbol<bool (*)()>("ExitDll")();
#else
    Symbol<bool (*)()>("ModuleExit")();
#endif
    platform::CloseLibrary(library);
  }

  bool Activate() override {
    v3_process_setup setup{V3_REALTIME, V3_SAMPLE_32, 8192, 48000.0};
    return v3_cpp_obj(processor)->setup_processing(processor, &setup) == V3_OK &&
           v3_cpp_obj(component)->set_active(component, 1) == V3_OK &&
           v3_cpp_obj(processor)->set_processing(processor, 1) == V3_OK;
  }
  void Deactivate() override {
    v3_cpp_obj(processor)->set_processing(processor, 0);
    v3_cpp_obj(component)->set_active(component, 0);
  }

  void Process(const float* const* in, float* const* out, uint32_t frames,
               std::span<const ShellEvent> events) override {
    sent.count = received.count = 0;
    for (const ShellEvent& event : events) {
      PointQueue* queue = sent.Add(At(event.index).Id());
      if (queue == nullptr || queue->count > 5) continue;
      // A step is two points at one sample: the end of a level line and the new value.
      const auto offset = static_cast<int32_t>(event.at);
      const double before = queue->count > 0
                                ? queue->points[static_cast<size_t>(queue->count) - 1].value
                                : v3_cpp_obj(controller)->get_parameter_normalised(controller, queue->id);
      queue->points[static_cast<size_t>(queue->count++)] = {offset, before};
      queue->points[static_cast<size_t>(queue->count++)] = {offset, static_cast<double>(event.position)};
    }
    input.channel_buffers_32 = const_cast<float**>(in);
    output.channel_buffers_32 = const_cast<float**>(out);
    call.nframes = static_cast<int32_t>(frames);
    v3_cpp_obj(processor)->process(processor, &call);
  }

  uint32_t Latency() override { return v3_cpp_obj(processor)->get_latency_samples(processor); }

  std::string Save() override {
    Stream stream{&kStreamTable, {}};
    v3_cpp_obj(component)->get_state(component, stream.Interface());
    return stream.text;
  }
  bool Load(const std::string& state) override {
    Stream stream{&kStreamTable, state};
    return v3_cpp_obj(component)->set_state(component, stream.Interface()) == V3_OK;
  }

  Extent OpenWindow(uintptr_t parent) override {
    view = v3_cpp_obj(controller)->create_view(controller, "editor");
    v3_view_rect rect{};
    if (view == nullptr ||
        v3_cpp_obj(view)->is_platform_type_supported(view, V3_VIEW_PLATFORM_TYPE_NATIVE) != V3_TRUE ||
        v3_cpp_obj(view)->set_frame(view, reinterpret_cast<v3_plugin_frame**>(&frame)) != V3_OK ||
        v3_cpp_obj(view)->get_size(view, &rect) != V3_OK ||
        v3_cpp_obj(view)->attached(view, reinterpret_cast<void*>(parent), V3_VIEW_PLATFORM_TYPE_NATIVE) !=
            V3_OK) {
      return {};
    }
    return {static_cast<uint32_t>(rect.right), static_cast<uint32_t>(rect.bottom)};
  }
  void ResizeWindow(Extent size) override {
    v3_view_rect rect{0, 0, static_cast<int32_t>(size.width), static_cast<int32_t>(size.height)};
    v3_cpp_obj(view)->check_size_constraint(view, &rect);
    v3_cpp_obj(view)->on_size(view, &rect);
  }
  void CloseWindow() override {
    v3_cpp_obj(view)->set_frame(view, nullptr);
    v3_cpp_obj(view)->removed(view);
    v3_cpp_obj_unref(view);
    view = nullptr;
  }
  void Tick() override {
    if (timer != nullptr) v3_cpp_obj(timer)->on_timer(timer);
  }
  float Position(uint32_t index) override {
    return static_cast<float>(v3_cpp_obj(controller)->get_parameter_normalised(controller, At(index).Id()));
  }

  void Poke(uint32_t random) override {
    const auto count = static_cast<uint32_t>(v3_cpp_obj(controller)->get_parameter_count(controller));
    v3_param_info info{};
    v3_cpp_obj(controller)->get_parameter_info(controller, static_cast<int32_t>(random % count), &info);
    const double position = (random >> 8) / 16777216.0;
    v3_str_128 text{};
    v3_cpp_obj(controller)->set_parameter_normalised(controller, info.param_id, position);
    v3_cpp_obj(controller)->get_parameter_normalised(controller, info.param_id);
    v3_cpp_obj(controller)->get_parameter_string_for_value(controller, info.param_id, position, text);
    v3_cpp_obj(processor)->get_tail_samples(processor);
    constexpr v3_param_id kProgram = 1;
    if (random % 16 == 0) v3_cpp_obj(controller)->set_parameter_normalised(controller, kProgram, position);
    if (random % 64 == 1) v3_cpp_obj(processor)->set_processing(processor, 0);
  }

 private:
  static const v3_run_loop_cpp kLoop;
  static const v3_plugin_frame_cpp kFrame;

  template <typename Function>
  Function Symbol(const char* name) const {
    std::string problem;
    void* const address = platform::FindSymbol(library, name, problem);
    if (address == nullptr) throw std::runtime_error(problem);
    return reinterpret_cast<Function>(address);
  }

  void* library = nullptr;
  v3_component** component = nullptr;
  v3_audio_processor** processor = nullptr;
  v3_edit_controller** controller = nullptr;
  v3_plugin_view** view = nullptr;
  v3_timer_handler** timer = nullptr;
  Frame frame{&kFrame, this};
  Loop loop{&kLoop, this};
  Changes sent{&kChangesTable}, received{&kChangesTable};
  v3_audio_bus_buffers input{}, output{};
  v3_process_data call{};  // what every call is handed, prepared once
};

const v3_run_loop_cpp Vst3ShellHost::kLoop = {
    kUncounted,
    {[](void*, v3_event_handler**, int) -> v3_result { return V3_OK; },
     [](void*, v3_event_handler**) -> v3_result { return V3_OK; },
     [](void* self, v3_timer_handler** handler, uint64_t) -> v3_result {
       static_cast<Loop*>(self)->owner->timer = handler;
       return V3_OK;
     },
     [](void* self, v3_timer_handler**) -> v3_result {
       static_cast<Loop*>(self)->owner->timer = nullptr;
       return V3_OK;
     }}};
const v3_plugin_frame_cpp Vst3ShellHost::kFrame = {
    {[](void* self, const v3_tuid iid, void** object) -> v3_result {
       *object = v3_tuid_match(iid, v3_run_loop_iid) ? &static_cast<Frame*>(self)->owner->loop : self;
       return V3_OK;
     },
     [](void*) { return 1u; }, [](void*) { return 1u; }},
    {[](void* self, v3_plugin_view**, v3_view_rect* rect) -> v3_result {
      Vst3ShellHost& host = *static_cast<Frame*>(self)->owner;
      if (!host.onResize) return V3_FALSE;
      host.onResize({static_cast<uint32_t>(rect->right), static_cast<uint32_t>(rect->bottom)});
      v3_cpp_obj(host.view)->on_size(host.view, rect);
      return V3_OK;
    }}};

}  // namespace

std::unique_ptr<ShellHost> OpenVst3(const std::string& file) { return std::make_unique<Vst3ShellHost>(file); }

}  // namespace Vantora::test
