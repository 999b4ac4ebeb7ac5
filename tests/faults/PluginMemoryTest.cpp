// The plug-ins' binaries as hosts load them, each allocation of a whole life failing in turn: through their C
// interfaces comes an answer, never an exception, and never a crash.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>

#include <array>
#include <cstring>
#include <string>

#include "plugin/clap/ClapExtensions.h"
#include "plugin/core/ProductNames.h"
#include "plugin/vst3/Vst3Headers.h"
#include "tests/faults/FailEach.h"

namespace Vantora::test {
namespace {

constexpr uint32_t kFrames = 256;

void* Open(const char* path) {
  void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(library, nullptr) << dlerror();
  return library;
}

/// Room for a state, without an allocation of the host's.
struct Memory {
  std::array<char, 1 << 16> bytes;
  size_t size = 0, read = 0;
};

bool Append(Memory& memory, const void* from, size_t count) {
  if (memory.size + count > memory.bytes.size()) return false;
  std::memcpy(memory.bytes.data() + memory.size, from, count);
  memory.size += count;
  return true;
}

/// A block in, a block out: two channels of a plain tone.
struct Block {
  Block() {
    for (uint32_t i = 0; i < kFrames; ++i) {
      in[0][i] = in[1][i] = i % 32 < 16 ? 0.2f : -0.2f;
      out[0][i] = out[1][i] = 0.0f;
    }
  }
  uint64_t Sum() const { return Hash(out, sizeof out); }
  float in[2][kFrames], out[2][kFrames];
  float* inputs[2] = {in[0], in[1]};
  float* outputs[2] = {out[0], out[1]};
};

uint64_t LiveInClap(const clap_plugin_factory_t& factory) {
  static const clap_host_t host = {CLAP_VERSION,
                                   nullptr,
                                   "test",
                                   "",
                                   "",
                                   "",
                                   [](const clap_host_t*, const char*) -> const void* { return nullptr; },
                                   [](const clap_host_t*) {},
                                   [](const clap_host_t*) {},
                                   [](const clap_host_t*) {}};
  const clap_plugin_t* plugin = factory.create_plugin(&factory, &host, plugin::kClapId);
  if (plugin == nullptr) return 0;
  uint64_t result = 0;
  if (plugin->init(plugin)) {
    const auto& state =
        *static_cast<const clap_plugin_state_t*>(plugin->get_extension(plugin, CLAP_EXT_STATE));
    const auto& params =
        *static_cast<const clap_plugin_params_t*>(plugin->get_extension(plugin, CLAP_EXT_PARAMS));
    static Memory memory;
    memory.size = memory.read = 0;
    const clap_ostream_t to = {&memory, [](const clap_ostream_t* stream, const void* from, uint64_t count) {
                                 return Append(*static_cast<Memory*>(stream->ctx), from, count)
                                            ? static_cast<int64_t>(count)
                                            : int64_t{-1};
                               }};
    const clap_istream_t from = {&memory, [](const clap_istream_t* stream, void* bytes, uint64_t count) {
                                   Memory& own = *static_cast<Memory*>(stream->ctx);
                                   const size_t now = std::min<size_t>(count, own.size - own.read);
                                   std::memcpy(bytes, own.bytes.data() + own.read, now);
                                   own.read += now;
                                   return static_cast<int64_t>(now);
                                 }};
    char text[64] = {};
    clap_param_info_t info{};
    const bool isAsked = params.get_info(plugin, 3, &info) &&
                         params.value_to_text(plugin, info.id, info.default_value, text, sizeof text);
    const bool isKept = state.save(plugin, &to) && state.load(plugin, &from);
    if (isAsked && isKept && plugin->activate(plugin, 48000.0, 1, kFrames)) {
      Block block;
      clap_audio_buffer_t in{}, out{};
      in.data32 = block.inputs;
      out.data32 = block.outputs;
      in.channel_count = out.channel_count = 2;
      clap_process_t process{};
      process.frames_count = kFrames;
      process.audio_inputs = &in;
      process.audio_outputs = &out;
      process.audio_inputs_count = process.audio_outputs_count = 1;
      plugin->start_processing(plugin);
      plugin->process(plugin, &process);
      plugin->stop_processing(plugin);
      plugin->deactivate(plugin);
      result = block.Sum() + Hash(memory.bytes.data(), memory.size);
    }
  }
  plugin->destroy(plugin);
  return result;
}

TEST(OutOfMemory, TheClapAnswers) {
  void* const library = Open(PRISMEL_CLAP);
  const auto* entry = static_cast<const clap_plugin_entry_t*>(dlsym(library, "clap_entry"));
  ASSERT_TRUE(entry->init(PRISMEL_CLAP));
  const auto& factory =
      *static_cast<const clap_plugin_factory_t*>(entry->get_factory(CLAP_PLUGIN_FACTORY_ID));
  FailEach("CLAP", [&factory] { return LiveInClap(factory); });
}

/// A stream of VST3's over a `Memory`.
struct Vst3Stream {
  struct Table : v3_funknown, v3_bstream {};
  const Table* table;
  Memory memory;
};

v3_bstream** MakeStream(Vst3Stream& stream) {
  static const Vst3Stream::Table table = [] {
    Vst3Stream::Table calls{};
    calls.query_interface = [](void*, const v3_tuid, void**) -> v3_result { return V3_NO_INTERFACE; };
    calls.ref = calls.unref = [](void*) { return 1u; };
    calls.read = [](void* self, void* bytes, int32_t count, int32_t* done) -> v3_result {
      Memory& own = static_cast<Vst3Stream*>(self)->memory;
      *done = static_cast<int32_t>(std::min<size_t>(static_cast<size_t>(count), own.size - own.read));
      std::memcpy(bytes, own.bytes.data() + own.read, static_cast<size_t>(*done));
      own.read += static_cast<size_t>(*done);
      return V3_OK;
    };
    calls.write = [](void* self, void* bytes, int32_t count, int32_t* done) -> v3_result {
      *done = count;
      return Append(static_cast<Vst3Stream*>(self)->memory, bytes, static_cast<size_t>(count)) ? V3_OK
                                                                                               : V3_NOMEM;
    };
    return calls;
  }();
  stream.table = &table;
  stream.memory.size = stream.memory.read = 0;
  return reinterpret_cast<v3_bstream**>(&stream);
}

uint64_t LiveInVst3(v3_plugin_factory** factory) {
  v3_class_info info{};
  v3_cpp_obj(factory)->get_class_info(factory, 0, &info);
  void* made = nullptr;
  if (v3_cpp_obj(factory)->create_instance(factory, info.class_id, v3_component_iid, &made) != V3_OK)
    return 0;
  auto** component = static_cast<v3_component**>(made);
  v3_audio_processor** processor = nullptr;
  v3_cpp_obj_query_interface(component, v3_audio_processor_iid, &processor);
  v3_edit_controller** controller = nullptr;
  v3_cpp_obj_query_interface(component, v3_edit_controller_iid, &controller);
  static Vst3Stream stream;
  v3_bstream** const state = MakeStream(stream);
  v3_process_setup setup{};
  setup.symbolic_sample_size = V3_SAMPLE_32;
  setup.max_block_size = kFrames;
  setup.sample_rate = 48000.0;
  v3_cpp_obj(processor)->setup_processing(processor, &setup);
  v3_param_info parameter{};
  v3_str_128 text{};
  uint64_t result = 0;
  if (v3_cpp_obj(controller)->get_parameter_info(controller, 3, &parameter) == V3_OK &&
      v3_cpp_obj(controller)->get_parameter_string_for_value(controller, parameter.param_id, 0.5, text) ==
          V3_OK &&
      v3_cpp_obj(component)->get_state(component, state) == V3_OK &&
      v3_cpp_obj(component)->set_state(component, state) == V3_OK &&
      v3_cpp_obj(component)->set_active(component, true) == V3_OK) {
    Block block;
    v3_audio_bus_buffers in{}, out{};
    in.num_channels = out.num_channels = 2;
    in.channel_buffers_32 = block.inputs;
    out.channel_buffers_32 = block.outputs;
    v3_process_data data{};
    data.symbolic_sample_size = V3_SAMPLE_32;
    data.nframes = kFrames;
    data.num_input_buses = data.num_output_buses = 1;
    data.inputs = &in;
    data.outputs = &out;
    if (v3_cpp_obj(processor)->process(processor, &data) == V3_OK) {
      result = block.Sum() + Hash(stream.memory.bytes.data(), stream.memory.size);
    }
    v3_cpp_obj(component)->set_active(component, false);
  }
  v3_cpp_obj_unref(controller);
  v3_cpp_obj_unref(processor);
  v3_cpp_obj_unref(component);
  return result;
}

TEST(OutOfMemory, TheVst3Answers) {
  void* const library = Open(PRISMEL_VST3);
  const auto entry = reinterpret_cast<bool (*)(void*)>(dlsym(library, "ModuleEntry"));
  ASSERT_TRUE(entry(library));
  const auto get = reinterpret_cast<const void* (*)()>(dlsym(library, "GetPluginFactory"));
  auto** factory = static_cast<v3_plugin_factory**>(const_cast<void*>(get()));
  FailEach("VST3", [factory] { return LiveInVst3(factory); });
}

uint64_t LiveInLv2(const LV2_Descriptor& descriptor) {
  static LV2_URID_Map map = {nullptr, [](LV2_URID_Map_Handle, const char* uri) {
                               return static_cast<LV2_URID>(Hash(uri, std::strlen(uri)) | 1);
                             }};
  static const LV2_Feature feature = {LV2_URID__map, &map};
  const LV2_Feature* const features[] = {&feature, nullptr};
  const LV2_Handle plugin = descriptor.instantiate(&descriptor, 48000.0, "", features);
  if (plugin == nullptr) return 0;
  static Memory memory;
  memory.size = 0;
  const auto& state =
      *static_cast<const LV2_State_Interface*>(descriptor.extension_data(LV2_STATE__interface));
  const auto store = [](LV2_State_Handle, uint32_t, const void* value, size_t size, uint32_t, uint32_t) {
    return Append(memory, value, size) ? LV2_STATE_SUCCESS : LV2_STATE_ERR_NO_SPACE;
  };
  const auto retrieve = [](LV2_State_Handle, uint32_t, size_t* size, uint32_t* type,
                           uint32_t* flags) -> const void* {
    *size = memory.size;
    *type = map.map(nullptr, LV2_ATOM__String);
    *flags = 0;
    return memory.bytes.data();
  };
  uint64_t result = 0;
  if (state.save(plugin, store, nullptr, 0, features) == LV2_STATE_SUCCESS &&
      state.restore(plugin, retrieve, nullptr, 0, features) == LV2_STATE_SUCCESS) {
    Block block;
    for (uint32_t c = 0; c < 2; ++c) {
      descriptor.connect_port(plugin, c, block.inputs[c]);
      descriptor.connect_port(plugin, 2 + c, block.outputs[c]);
    }
    descriptor.activate(plugin);
    descriptor.run(plugin, kFrames);
    descriptor.deactivate(plugin);
    // An activation that failed stays silent.
    result = block.Sum() == Hash(std::array<float, 2 * kFrames>{}.data(), 2 * kFrames * sizeof(float))
                 ? 0
                 : block.Sum() + Hash(memory.bytes.data(), memory.size);
  }
  descriptor.cleanup(plugin);
  return result;
}

TEST(OutOfMemory, TheLv2Answers) {
  void* const library = Open(PRISMEL_LV2);
  const auto get = reinterpret_cast<const LV2_Descriptor* (*)(uint32_t)>(dlsym(library, "lv2_descriptor"));
  FailEach("LV2", [descriptor = get(0)] { return LiveInLv2(*descriptor); });
}

}  // namespace
}  // namespace Vantora::test
