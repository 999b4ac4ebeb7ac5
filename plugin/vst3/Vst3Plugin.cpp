#include "plugin/vst3/Vst3Plugin.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "host/ParameterTable.h"
#include "plugin/core/FactoryBank.h"
#include "plugin/core/HostChannels.h"
#include "plugin/vst3/Vst3Tables.h"

namespace Vantora::plugin {
namespace {

const host::Parameter& At(uint32_t index) { return host::ParameterTable::Get()[index]; }

size_t ProgramAt(double position) {
  const auto last = static_cast<double>(FactoryPresets().size() - 1);
  return static_cast<size_t>(std::lround(std::clamp(position, 0.0, 1.0) * last));
}

HostTime TimeOf(const v3_process_context* context) {
  HostTime time;
  if (context == nullptr) return time;
  time.isPlaying = (context->state & V3_PROCESS_CTX_PLAYING) != 0;
  if ((context->state & V3_PROCESS_CTX_TEMPO_VALID) != 0) time.tempo = context->bpm;
  if ((context->state & V3_PROCESS_CTX_PROJECT_TIME_VALID) != 0)
    time.songPosition = context->project_time_quarters;
  return time;
}

}  // namespace

void CopyText(v3_str_128 to, std::string_view text) {
  size_t count = 0;
  for (size_t i = 0; i < text.size() && count < 127;) {
    const auto first = static_cast<uint8_t>(text[i]);
    const size_t length = first < 0x80 ? 1 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
    uint32_t point = length == 1 ? first : first & (0xffu >> (length + 1));
    for (size_t k = 1; k < length && i + k < text.size(); ++k) {
      point = (point << 6) | (static_cast<uint8_t>(text[i + k]) & 0x3fu);
    }
    i += length;
    to[count++] = static_cast<int16_t>(point < 0x10000 ? point : '?');
  }
  to[count] = 0;
}

std::string ReadText(const int16_t* from) {
  std::string text;
  for (size_t i = 0; i < 127 && from[i] != 0; ++i) {
    const auto unit = static_cast<uint16_t>(from[i]);
    if (unit < 0x80) {
      text += static_cast<char>(unit);
    } else if (unit < 0x800) {
      text += static_cast<char>(0xc0 | (unit >> 6));
      text += static_cast<char>(0x80 | (unit & 0x3f));
    } else {
      text += static_cast<char>(0xe0 | (unit >> 12));
      text += static_cast<char>(0x80 | ((unit >> 6) & 0x3f));
      text += static_cast<char>(0x80 | (unit & 0x3f));
    }
  }
  return text;
}

Vst3Plugin::Vst3Plugin()
    : component{&ComponentTable(), this},
      processor{&ProcessorTable(), this},
      controller{&ControllerTable(), this},
      units{&UnitTable(), this},
      requirements{&RequirementsTable(), this} {
  core.SetHostLink(this);
}

Vst3Plugin::~Vst3Plugin() {
  core.SetHostLink(nullptr);
  SetHandler(nullptr);
}

v3_result Vst3Plugin::QueryInterface(const v3_tuid iid, void** object) {
  struct Offer {
    const v3_tuid& iid;
    Vst3Face* face;
  };
  const Offer offers[] = {
      {v3_funknown_iid, &component},
      {v3_plugin_base_iid, &component},
      {v3_component_iid, &component},
      {v3_audio_processor_iid, &processor},
      {v3_edit_controller_iid, &controller},
      {v3_unit_information_iid, &units},
      {v3_process_context_requirements_iid, &requirements},
  };
  for (const Offer& offer : offers) {
    if (!v3_tuid_match(iid, offer.iid)) continue;
    Ref();
    *object = offer.face;
    return V3_OK;
  }
  *object = nullptr;
  return V3_NO_INTERFACE;
}

uint32_t Vst3Plugin::Unref() {
  const uint32_t left = references.fetch_sub(1) - 1;
  if (left == 0) delete this;
  return left;
}

v3_result Vst3Plugin::SetArrangement(uint32_t newInputs, uint32_t newOutputs) {
  if (core.IsActive()) return V3_FALSE;
  const bool isOurs = newInputs >= 1 && newOutputs <= 2 && newInputs <= newOutputs;
  if (!isOurs) return V3_FALSE;
  inputs = newInputs;
  outputs = newOutputs;
  return V3_TRUE;
}

v3_result Vst3Plugin::SetActive(bool isActive) {
  if (!isActive) {
    core.Deactivate();
    return V3_OK;
  }
  try {
    core.Activate(sampleRate, inputs, outputs);
  } catch (const std::exception&) {
    return V3_INTERNAL_ERR;
  }
  told.fill(-1.0f);
  toldRevision = ~uint64_t{0};
  resetWanted.store(false, std::memory_order_relaxed);
  return V3_OK;
}

v3_result Vst3Plugin::SetState(v3_bstream** stream) {
  constexpr size_t kMost = 2 << 20;  // beyond this the core refuses it anyway
  std::string text;
  std::array<char, 4096> piece;
  while (text.size() < kMost) {
    int32_t count = 0;
    const v3_result result =
        v3_cpp_obj(stream)->read(stream, piece.data(), static_cast<int32_t>(piece.size()), &count);
    if (result != V3_OK || count <= 0) break;
    text.append(piece.data(), static_cast<size_t>(count));
  }
  return core.LoadState(text).empty() ? V3_OK : V3_FALSE;
}

v3_result Vst3Plugin::GetState(v3_bstream** stream) {
  std::string text = core.SaveState();
  for (size_t done = 0; done < text.size();) {
    int32_t written = 0;
    const v3_result result = v3_cpp_obj(stream)->write(stream, text.data() + done,
                                                       static_cast<int32_t>(text.size() - done), &written);
    if (result != V3_OK || written <= 0) return V3_INTERNAL_ERR;
    done += static_cast<size_t>(written);
  }
  return V3_OK;
}

v3_result Vst3Plugin::Process(v3_process_data& data) {
  if (!core.IsActive() || data.symbolic_sample_size != V3_SAMPLE_32) [[unlikely]]
    return V3_INVALID_ARG;
  if (resetWanted.load(std::memory_order_relaxed) && resetWanted.exchange(false, std::memory_order_acquire))
      [[unlikely]] {
    core.Reset();
  }
  core.SetOffline(isOffline || data.process_mode == V3_OFFLINE);
  core.SetTime(TimeOf(data.ctx));
  if (data.input_params != nullptr) [[likely]] {
    const int32_t count = v3_cpp_obj(data.input_params)->get_param_count(data.input_params);
    if (count > 0) [[unlikely]]
      TakePoints(data.input_params, count);
  }
  if (data.nframes > 0 && data.num_output_buses > 0) [[likely]] {
    const auto channels = [](const v3_audio_bus_buffers* bus, uint32_t wanted) {
      return bus != nullptr
                 ? HostChannels(bus->channel_buffers_32, static_cast<uint32_t>(bus->num_channels), wanted)
                 : std::array<float*, 2>{};
    };
    const auto in = channels(data.num_input_buses > 0 ? data.inputs : nullptr, inputs);
    const auto out = channels(data.outputs, outputs);
    core.Process(in.data(), out.data(), static_cast<uint32_t>(data.nframes));
    data.outputs->channel_silence_bitset = 0;
  }
  if (tellAll.load(std::memory_order_relaxed) || core.LiveRevision() != toldRevision) [[unlikely]] {
    if (data.output_params != nullptr) SendPoints(data.output_params);
  }
  return V3_OK;
}

void Vst3Plugin::TakePoints(v3_param_changes** changes, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    v3_param_value_queue** queue = v3_cpp_obj(changes)->get_param_data(changes, i);
    if (queue == nullptr) continue;
    const v3_param_id id = v3_cpp_obj(queue)->get_param_id(queue);
    const auto index = HostParameters::Get().IndexOfId(id);
    const bool isKnob = index && At(*index).IsOffered();
    // Points are corners of a line; the first one is led to from where the parameter stands when the call
    // begins.
    uint32_t from = 0;
    const int32_t points = v3_cpp_obj(queue)->get_point_count(queue);
    for (int32_t k = 0; k < points; ++k) {
      int32_t offset = 0;
      double position = 0.0;
      if (v3_cpp_obj(queue)->get_point(queue, k, &offset, &position) != V3_OK || std::isnan(position))
        continue;
      const auto at = static_cast<uint32_t>(std::max(offset, 0));
      if (isKnob) core.RampTo(*index, static_cast<float>(position), from, at);
      if (id == kProgramId) core.LoadFactoryPreset(ProgramAt(position));
      from = at;
    }
  }
}

void Vst3Plugin::SendPoints(v3_param_changes** changes) {
  const auto send = [changes](v3_param_id id, double position) {
    int32_t place = 0;
    v3_param_value_queue** queue = v3_cpp_obj(changes)->add_param_data(changes, &id, &place);
    if (queue != nullptr) v3_cpp_obj(queue)->add_point(queue, 0, position, &place);
  };
  const HostParameters& list = HostParameters::Get();
  // A look before the exchange, which writes to memory that two threads share.
  if (tellAll.load(std::memory_order_relaxed) && tellAll.exchange(false, std::memory_order_acquire)) {
    for (size_t i = 0; i < list.WritableCount(); ++i) {
      send(list.At(i).Id(), static_cast<double>(core.Value(list.IndexAt(i))));
    }
  }
  if (core.LiveRevision() == toldRevision) return;
  toldRevision = core.LiveRevision();
  for (size_t i = list.WritableCount(); i < list.Size(); ++i) {
    const uint32_t index = list.IndexAt(i);
    const float position = core.Value(index);
    if (position == told[index]) continue;
    told[index] = position;
    send(list.At(i).Id(), static_cast<double>(position));
  }
}

v3_result Vst3Plugin::SetFromController(v3_param_id id, double position) {
  if (std::isnan(position)) return V3_INVALID_ARG;
  if (id == kProgramId) {
    const size_t program = ProgramAt(position);
    if (core.CurrentPreset() != program || core.IsModified()) core.LoadPreset(program);
    return V3_OK;
  }
  const auto index = HostParameters::Get().IndexOfId(id);
  if (!index) return V3_INVALID_ARG;
  // While active the host brings the value to the processor itself; what comes here is for the eye, and may
  // be late.
  if (!core.IsActive() && At(*index).IsOffered()) core.SetFromHost(*index, static_cast<float>(position));
  return V3_OK;
}

double Vst3Plugin::Position(v3_param_id id) {
  if (id == kProgramId) {
    const size_t program = core.CurrentPreset().value_or(0);
    const size_t last = FactoryPresets().size() - 1;
    return static_cast<double>(std::min(program, last)) / static_cast<double>(last);
  }
  const auto index = HostParameters::Get().IndexOfId(id);
  return index ? static_cast<double>(core.Value(*index)) : 0.0;
}

void Vst3Plugin::SetHandler(v3_component_handler** newHandler) {
  if (newHandler != nullptr) v3_cpp_obj_ref(newHandler);
  if (handler != nullptr) v3_cpp_obj_unref(handler);
  handler = newHandler;
}

void Vst3Plugin::OnGestureBegin(uint32_t index) {
  if (handler != nullptr) v3_cpp_obj(handler)->begin_edit(handler, At(index).Id());
}

void Vst3Plugin::OnValue(uint32_t index, float normalized) {
  if (handler != nullptr)
    v3_cpp_obj(handler)->perform_edit(handler, At(index).Id(), static_cast<double>(normalized));
}

void Vst3Plugin::OnGestureEnd(uint32_t index) {
  if (handler != nullptr) v3_cpp_obj(handler)->end_edit(handler, At(index).Id());
}

}  // namespace Vantora::plugin
