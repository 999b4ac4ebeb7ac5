#include "tests/plugin/ClapHost.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "host/ParameterTable.h"
#include "plugin/core/ProductNames.h"
#include "tests/support/RealTimeGuard.h"

namespace Vantora::test {
namespace {

clap_event_param_value_t ValueEvent(clap_id id, double value, uint32_t time) {
  clap_event_param_value_t event{};
  event.header = {sizeof event, time, CLAP_CORE_EVENT_SPACE_ID, CLAP_EVENT_PARAM_VALUE, 0};
  event.param_id = id;
  event.note_id = -1;
  event.port_index = event.channel = event.key = -1;
  event.value = value;
  return event;
}

using Values = std::vector<clap_event_param_value_t>;

clap_input_events_t InputList(const Values& values) {
  return {const_cast<Values*>(&values),
          [](const clap_input_events_t* list) {
            return static_cast<uint32_t>(static_cast<const Values*>(list->ctx)->size());
          },
          [](const clap_input_events_t* list, uint32_t i) {
            return &(*static_cast<const Values*>(list->ctx))[i].header;
          }};
}

/// Room that the instance's events go to without an allocation of ours.
struct Outbox {
  std::array<clap_event_param_value_t, 512> values;
  size_t count = 0;
  uint32_t begun = 0, ended = 0;
  clap_output_events_t list{this, [](const clap_output_events_t* self, const clap_event_header_t* event) {
                              Outbox& box = *static_cast<Outbox*>(self->ctx);
                              if (event->type == CLAP_EVENT_PARAM_GESTURE_BEGIN) ++box.begun;
                              if (event->type == CLAP_EVENT_PARAM_GESTURE_END) ++box.ended;
                              if (event->type == CLAP_EVENT_PARAM_VALUE && box.count < box.values.size()) {
                                std::memcpy(&box.values[box.count++], event,
                                            sizeof(clap_event_param_value_t));
                              }
                              return true;
                            }};
};

}  // namespace

ClapFile::ClapFile(const std::string& path) : library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (library == nullptr) throw std::runtime_error(dlerror());
  entry = static_cast<const clap_plugin_entry_t*>(dlsym(library, "clap_entry"));
  if (entry == nullptr || !entry->init(path.c_str())) throw std::runtime_error("no entry");
  factory = static_cast<const clap_plugin_factory_t*>(entry->get_factory(CLAP_PLUGIN_FACTORY_ID));
}

ClapFile::~ClapFile() {
  entry->deinit();
  dlclose(library);
}

ClapHost::ClapHost(const ClapFile& file, Options hostOptions) : options(hostOptions) {
  host.clap_version = CLAP_VERSION;
  host.host_data = this;
  host.name = host.vendor = host.url = host.version = "test";
  host.get_extension = GetExtension;
  host.request_restart = [](const clap_host_t* h) { ++Of(h).calls["request_restart"]; };
  host.request_process = [](const clap_host_t* h) { ++Of(h).calls["request_process"]; };
  host.request_callback = [](const clap_host_t* h) { ++Of(h).calls["request_callback"]; };
  plugin = file.Factory().create_plugin(&file.Factory(), &host, plugin::kClapId);
  if (plugin == nullptr || !plugin->init(plugin)) throw std::runtime_error("no instance");
}

ClapHost::~ClapHost() { plugin->destroy(plugin); }

void ClapHost::NoteMain(const char* call) {
  ++calls[call];
  if (std::this_thread::get_id() != mainThread || isProcessing)
    violations.push_back(std::string(call) + " not on main");
}

void ClapHost::NoteAudio(const char* call) {
  ++calls[call];
  if (!isProcessing) violations.push_back(std::string(call) + " not on audio");
}

const void* ClapHost::GetExtension(const clap_host_t* h, const char* id) {
  if (!Of(h).options.hasExtensions) return nullptr;
  static const clap_host_params_t params = {
      [](const clap_host_t* self, uint32_t) { Of(self).NoteMain("params.rescan"); },
      [](const clap_host_t* self, clap_id, uint32_t) { Of(self).NoteMain("params.clear"); },
      [](const clap_host_t* self) { ++Of(self).calls["params.request_flush"]; }};
  static const clap_host_state_t state = {
      [](const clap_host_t* self) { Of(self).NoteMain("state.mark_dirty"); }};
  static const clap_host_latency_t latency = {
      [](const clap_host_t* self) { Of(self).NoteMain("latency.changed"); }};
  static const plugin::ClapHostTail tail = {
      [](const clap_host_t* self) { Of(self).NoteAudio("tail.changed"); }};
  if (std::strcmp(id, CLAP_EXT_PARAMS) == 0) return &params;
  if (std::strcmp(id, CLAP_EXT_STATE) == 0) return &state;
  if (std::strcmp(id, CLAP_EXT_LATENCY) == 0) return &latency;
  if (std::strcmp(id, plugin::kClapTail) == 0) return &tail;
  return nullptr;
}

bool ClapHost::Activate(double sampleRate, uint32_t mostFrames) {
  return plugin->activate(plugin, sampleRate, 0, mostFrames) && plugin->start_processing(plugin);
}

void ClapHost::Deactivate() {
  plugin->stop_processing(plugin);
  plugin->deactivate(plugin);
}

std::vector<clap_param_info_t> ClapHost::Parameters() const {
  const auto& params = Extension<clap_plugin_params_t>(CLAP_EXT_PARAMS);
  std::vector<clap_param_info_t> infos(params.count(plugin));
  for (uint32_t i = 0; i < infos.size(); ++i) params.get_info(plugin, i, &infos[i]);
  return infos;
}

double ClapHost::Value(clap_id id) const {
  double value = -1e9;
  Extension<clap_plugin_params_t>(CLAP_EXT_PARAMS).get_value(plugin, id, &value);
  return value;
}

clap_id ClapHost::IdOf(const std::string& uniqueName) {
  return host::ParameterTable::Get().At(uniqueName).Id();
}

void ClapHost::Flush(clap_id id, double value) {
  const Values values{ValueEvent(id, value, 0)};
  const clap_input_events_t in = InputList(values);
  Outbox box;
  Extension<clap_plugin_params_t>(CLAP_EXT_PARAMS).flush(plugin, &in, &box.list);
}

std::string ClapHost::Save() const {
  std::string text;
  const clap_ostream_t stream{
      &text, [](const clap_ostream_t* s, const void* bytes, uint64_t size) -> int64_t {
        const uint64_t taken = std::min<uint64_t>(size, 777);  // hosts may take less
        static_cast<std::string*>(s->ctx)->append(static_cast<const char*>(bytes), taken);
        return static_cast<int64_t>(taken);
      }};
  if (!Extension<clap_plugin_state_t>(CLAP_EXT_STATE).save(plugin, &stream))
    throw std::runtime_error("not saved");
  return text;
}

bool ClapHost::Load(const std::string& state, size_t pieceBytes) {
  struct Source {
    const std::string& text;
    size_t at, piece;
  } source{state, 0, pieceBytes};
  const clap_istream_t stream{&source, [](const clap_istream_t* s, void* bytes, uint64_t size) -> int64_t {
                                Source& from = *static_cast<Source*>(s->ctx);
                                const size_t count = std::min({size, from.piece, from.text.size() - from.at});
                                std::memcpy(bytes, from.text.data() + from.at, count);
                                from.at += count;
                                return static_cast<int64_t>(count);
                              }};
  return Extension<clap_plugin_state_t>(CLAP_EXT_STATE).load(plugin, &stream);
}

bool ClapHost::LoadPreset(const std::string& name) {
  return Extension<plugin::ClapPresetLoad>(plugin::kClapPresetLoad)
      .from_location(plugin, plugin::kClapPresetInPlugin, nullptr, name.c_str());
}

std::vector<std::vector<float>> ClapHost::Render(const std::vector<std::vector<float>>& inputs,
                                                 uint32_t outputs, const Stream& stream) {
  const size_t frames = inputs.front().size();
  std::vector<std::vector<float>> out(outputs, std::vector<float>(frames));
  std::vector<std::vector<float>> scratch(2, std::vector<float>(8192));
  size_t nextEvent = 0;
  Outbox box;
  for (size_t done = 0, piece = 0; done < frames; ++piece) {
    const auto count =
        static_cast<uint32_t>(std::min<size_t>(stream.pieces[piece % stream.pieces.size()], frames - done));
    std::array<float*, 2> in{}, to{};
    for (size_t c = 0; c < inputs.size(); ++c) {
      in[c] = stream.isInPlace ? out[c].data() + done : scratch[c].data();
      std::copy_n(inputs[c].data() + done, count, in[c]);
    }
    for (size_t c = 0; c < outputs; ++c) to[c] = out[c].data() + done;
    Values events;
    for (; nextEvent < stream.events.size() && stream.events[nextEvent].at < done + count; ++nextEvent) {
      const TimedValue& event = stream.events[nextEvent];
      events.push_back(ValueEvent(event.id, event.value, static_cast<uint32_t>(event.at - done)));
    }
    clap_event_transport_t transport{};
    transport.flags =
        CLAP_TRANSPORT_HAS_TEMPO | CLAP_TRANSPORT_HAS_BEATS_TIMELINE | CLAP_TRANSPORT_IS_PLAYING;
    transport.tempo = 120.0;
    transport.song_pos_beats = static_cast<clap_beattime>(static_cast<double>(done) / 48000.0 * 2.0 *
                                                          static_cast<double>(CLAP_BEATTIME_FACTOR));
    clap_audio_buffer_t input{in.data(), nullptr, static_cast<uint32_t>(inputs.size()), 0, 0};
    clap_audio_buffer_t output{to.data(), nullptr, outputs, 0, 0};
    const clap_input_events_t inEvents = InputList(events);
    const clap_process_t process{static_cast<int64_t>(done),
                                 count,
                                 stream.hasTransport ? &transport : nullptr,
                                 &input,
                                 &output,
                                 1,
                                 1,
                                 &inEvents,
                                 &box.list};
    isProcessing = true;
    if (stream.isGuarded) {
      const RealTimeViolations found = Watch([&] { plugin->process(plugin, &process); });
      if (!found.None()) violations.push_back(found.Text());
    } else if (plugin->process(plugin, &process) == CLAP_PROCESS_ERROR) {
      violations.push_back("process failed");
    }
    isProcessing = false;
    sent.insert(sent.end(), box.values.begin(), box.values.begin() + static_cast<ptrdiff_t>(box.count));
    box.count = 0;
    done += count;
    if (count == 0 && stream.pieces.size() == 1) break;
  }
  gesturesBegun += box.begun;
  gesturesEnded += box.ended;
  return out;
}

}  // namespace Vantora::test
