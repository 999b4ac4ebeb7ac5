#include "plugin/clap/ClapPlugin.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "plugin/clap/ClapWindow.h"
#include "plugin/core/HostChannels.h"
#include "plugin/core/OrElse.h"
#include "plugin/core/ProductNames.h"

namespace Vantora::plugin {
namespace {

const host::Parameter& At(uint32_t index) { return host::ParameterTable::Get()[index]; }

/// Tells the calls that hosts make from within one of ours apart from those of the window.
class HostCall {
 public:
  explicit HostCall(bool& flag) : inside(flag), before(flag) { inside = true; }
  ~HostCall() { inside = before; }
  HostCall(const HostCall&) = delete;
  HostCall& operator=(const HostCall&) = delete;

 private:
  bool& inside;
  bool before;
};

HostTime TimeOf(const clap_event_transport_t* transport) {
  HostTime time;
  if (transport == nullptr) return time;
  if ((transport->flags & CLAP_TRANSPORT_HAS_TEMPO) != 0) time.tempo = transport->tempo;
  time.isPlaying = (transport->flags & CLAP_TRANSPORT_IS_PLAYING) != 0;
  if ((transport->flags & CLAP_TRANSPORT_HAS_BEATS_TIMELINE) != 0) {
    time.songPosition =
        static_cast<double>(transport->song_pos_beats) / static_cast<double>(CLAP_BEATTIME_FACTOR);
  }
  return time;
}

}  // namespace

const clap_plugin_descriptor_t& ClapPlugin::Descriptor() {
  static const char* const features[] = {"audio-effect", "chorus", "multi-effects",
                                         "stereo",       "mono",   nullptr};
  static const clap_plugin_descriptor_t descriptor = {CLAP_VERSION_INIT,
                                                      kClapId,
                                                      kProductName,
                                                      kProductVendor,
                                                      "",
                                                      "",
                                                      "",
                                                      kProductVersion,
                                                      kProductDescription,
                                                      const_cast<const char**>(features)};
  return descriptor;
}

ClapPlugin::ClapPlugin(const clap_host_t* clapHost) : host(clapHost) {
  plugin.desc = &Descriptor();
  plugin.plugin_data = this;
  plugin.init = [](const clap_plugin_t* p) { return OrElse(false, [p] { return Of(p).Init(); }); };
  plugin.destroy = [](const clap_plugin_t* p) { delete &Of(p); };
  plugin.activate = [](const clap_plugin_t* p, double rate, uint32_t, uint32_t) {
    return Of(p).Activate(rate);
  };
  plugin.deactivate = [](const clap_plugin_t* p) { Of(p).core.Deactivate(); };
  plugin.start_processing = [](const clap_plugin_t* p) { return Of(p).core.IsActive(); };
  plugin.stop_processing = [](const clap_plugin_t*) {};
  plugin.reset = [](const clap_plugin_t* p) {
    if (Of(p).core.IsActive()) Of(p).core.Reset();
  };
  plugin.process = [](const clap_plugin_t* p, const clap_process_t* process) {
    return Of(p).Process(*process);
  };
  plugin.get_extension = [](const clap_plugin_t*, const char* id) { return Extension(id); };
  plugin.on_main_thread = [](const clap_plugin_t*) {};
}

ClapPlugin::~ClapPlugin() { core.SetHostLink(nullptr); }

bool ClapPlugin::Init() {
  hostParams = HostExtension<clap_host_params_t>(CLAP_EXT_PARAMS);
  hostState = HostExtension<clap_host_state_t>(CLAP_EXT_STATE);
  hostLatency = HostExtension<clap_host_latency_t>(CLAP_EXT_LATENCY);
  hostTail = HostExtension<ClapHostTail>(kClapTail);
  core.SetHostLink(this);
  toldLatency = core.LatencyAt(sampleRate);
  return true;
}

bool ClapPlugin::Activate(double rate) {
  try {
    core.Activate(rate, inputs, outputs);
  } catch (const std::exception&) {
    return false;
  }
  sampleRate = rate;
  told.fill(-1.0f);
  toldRevision = ~uint64_t{0};
  const uint32_t latency = core.LatencyAt(rate);
  if (latency != toldLatency && hostLatency != nullptr) hostLatency->changed(host);
  toldLatency = latency;
  return true;
}

clap_process_status ClapPlugin::Process(const clap_process_t& process) {
  if (!core.IsActive() || process.audio_outputs_count < 1) [[unlikely]]
    return CLAP_PROCESS_ERROR;
  core.SetOffline(isOffline);
  core.SetTime(TimeOf(process.transport));
  if (const clap_input_events_t* events = process.in_events; events != nullptr) [[likely]] {
    if (const uint32_t count = events->size(events); count != 0) [[unlikely]]
      TakeEvents(*events, count);
  }
  const auto channels = [](const clap_audio_buffer_t* buffer, uint32_t wanted) {
    return buffer != nullptr ? HostChannels(buffer->data32, buffer->channel_count, wanted)
                             : std::array<float*, 2>{};
  };
  const auto in = channels(process.audio_inputs_count > 0 ? process.audio_inputs : nullptr, inputs);
  const auto out = channels(process.audio_outputs, outputs);
  core.Process(in.data(), out.data(), process.frames_count);
  process.audio_outputs->constant_mask = 0;
  if (!outgoing.IsEmpty() || core.LiveRevision() != toldRevision) [[unlikely]]
    SendEvents(process.out_events, true);
  if (hostTail != nullptr && core.TakeTailChange()) [[unlikely]]
    hostTail->changed(host);
  return CLAP_PROCESS_TAIL;
}

void ClapPlugin::Flush(const clap_input_events_t* in, const clap_output_events_t* out) {
  if (in != nullptr) {
    const uint32_t count = in->size(in);
    for (uint32_t i = 0; i < count; ++i) {
      const clap_event_header_t& event = *in->get(in, i);
      if (core.IsActive()) {
        clap_event_param_value_t now{};  // a flush has no time
        if (event.space_id != CLAP_CORE_EVENT_SPACE_ID || event.type != CLAP_EVENT_PARAM_VALUE) continue;
        std::memcpy(&now, &event, sizeof now);
        now.header.time = 0;
        TakeEvent(now.header);
      } else {
        TakeEvent(event);
      }
    }
  }
  SendEvents(out, false);
}

void ClapPlugin::TakeEvents(const clap_input_events_t& events, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) TakeEvent(*events.get(&events, i));
}

void ClapPlugin::TakeEvent(const clap_event_header_t& event) {
  if (event.space_id != CLAP_CORE_EVENT_SPACE_ID) return;
  if (event.type == CLAP_EVENT_TRANSPORT && core.IsActive()) {
    // Only its tempo: the position of the block under way is known from the call's own transport.
    const auto& transport = reinterpret_cast<const clap_event_transport_t&>(event);
    HostTime time = TimeOf(&transport);
    time.songPosition.reset();
    core.SetTime(time);
    return;
  }
  if (event.type != CLAP_EVENT_PARAM_VALUE) return;
  const auto& change = reinterpret_cast<const clap_event_param_value_t&>(event);
  const auto index = HostParameters::Get().IndexOfId(change.param_id);
  if (!index || !At(*index).IsOffered()) return;
  const float position = FromClapValue(At(*index), change.value);
  if (core.IsActive()) {
    core.StepTo(*index, position, event.time);
  } else {
    core.SetFromHost(*index, position);
  }
}

void ClapPlugin::SendValue(const clap_output_events_t* out, uint32_t index, float position) const {
  clap_event_param_value_t event{};
  event.header = {sizeof event, 0, CLAP_CORE_EVENT_SPACE_ID, CLAP_EVENT_PARAM_VALUE, 0};
  event.param_id = At(index).Id();
  event.note_id = -1;
  event.port_index = event.channel = event.key = -1;
  event.value = ToClapValue(At(index), position);
  out->try_push(out, &event.header);
}

void ClapPlugin::SendEvents(const clap_output_events_t* out, bool withReadOuts) {
  if (out == nullptr) return;
  outgoing.TakeAll([&](const OutgoingEvents::Event& move) {
    if (move.kind == OutgoingEvents::Kind::kValue) {
      SendValue(out, move.index, move.position);
      return;
    }
    clap_event_param_gesture_t gesture{};
    const bool begins = move.kind == OutgoingEvents::Kind::kBegin;
    const auto type =
        static_cast<uint16_t>(begins ? CLAP_EVENT_PARAM_GESTURE_BEGIN : CLAP_EVENT_PARAM_GESTURE_END);
    gesture.header = {sizeof gesture, 0, CLAP_CORE_EVENT_SPACE_ID, type, 0};
    gesture.param_id = At(move.index).Id();
    out->try_push(out, &gesture.header);
  });
  const HostParameters& list = HostParameters::Get();
  if (outgoing.TakeOverflow()) {
    for (size_t i = 0; i < list.WritableCount(); ++i)
      SendValue(out, list.IndexAt(i), core.Value(list.IndexAt(i)));
  }
  if (!withReadOuts || core.LiveRevision() == toldRevision) return;
  toldRevision = core.LiveRevision();
  for (size_t i = list.WritableCount(); i < list.Size(); ++i) {
    const uint32_t index = list.IndexAt(i);
    const float position = core.Value(index);
    if (position == told[index]) continue;
    told[index] = position;
    SendValue(out, index, position);
  }
}

bool ClapPlugin::Save(const clap_ostream_t& stream) const {
  const std::string text = core.SaveState();
  for (size_t done = 0; done < text.size();) {
    const int64_t written = stream.write(&stream, text.data() + done, text.size() - done);
    if (written <= 0) return false;
    done += static_cast<size_t>(written);
  }
  return true;
}

bool ClapPlugin::Load(const clap_istream_t& stream) {
  const HostCall call(isInHostCall);
  constexpr size_t kMost = 2 << 20;  // beyond this the core refuses it anyway
  std::string text;
  std::array<char, 4096> piece;
  while (text.size() < kMost) {
    const int64_t count = stream.read(&stream, piece.data(), piece.size());
    if (count < 0) return false;
    if (count == 0) break;
    text.append(piece.data(), static_cast<size_t>(count));
  }
  return core.LoadState(text).empty();
}

bool ClapPlugin::LoadPreset(uint32_t kind, const char* location, const char* loadKey) {
  const auto* hostPresets = HostExtension<ClapHostPresetLoad>(kClapPresetLoad);
  if (hostPresets == nullptr) hostPresets = HostExtension<ClapHostPresetLoad>(kClapPresetLoadDraft);
  const std::string problem = kind == kClapPresetInPlugin && loadKey != nullptr
                                  ? core.LoadPresetByName(loadKey)
                                  : "The effect's presets are compiled in; it loads no file.";
  if (hostPresets != nullptr) {
    if (problem.empty()) {
      hostPresets->loaded(host, kind, location, loadKey);
    } else {
      hostPresets->on_error(host, kind, location, loadKey, 0, problem.c_str());
    }
  }
  return problem.empty();
}

void ClapPlugin::OnGestureBegin(uint32_t index) {
  outgoing.Push({OutgoingEvents::Kind::kBegin, index, 0.0f});
}

void ClapPlugin::OnValue(uint32_t index, float normalized) {
  outgoing.Push({OutgoingEvents::Kind::kValue, index, normalized});
  if (hostParams != nullptr) hostParams->request_flush(host);
}

void ClapPlugin::OnGestureEnd(uint32_t index) {
  outgoing.Push({OutgoingEvents::Kind::kEnd, index, 0.0f});
  if (hostParams != nullptr) hostParams->request_flush(host);
}

void ClapPlugin::OnSoundChanged() {
  if (hostParams != nullptr) hostParams->rescan(host, CLAP_PARAM_RESCAN_VALUES);
  OnStateDirty();
}

void ClapPlugin::OnStateDirty() {
  if (!isInHostCall && hostState != nullptr) hostState->mark_dirty(host);
}

}  // namespace Vantora::plugin
