#include "plugin/vst3/Vst3Tables.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <vector>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "plugin/core/FactoryBank.h"
#include "plugin/core/OrElse.h"
#include "plugin/vst3/Vst3Plugin.h"

namespace Vantora::plugin {
namespace {

Vst3Plugin& Of(void* self) { return Vst3Plugin::Of(self); }

constexpr v3_funknown kUnknown = {
    [](void* self, const v3_tuid iid, void** object) { return Of(self).QueryInterface(iid, object); },
    [](void* self) { return Of(self).Ref(); },
    [](void* self) { return Of(self).Unref(); },
};
constexpr v3_plugin_base kBase = {
    [](void*, v3_funknown**) -> v3_result { return V3_OK; },
    [](void*) -> v3_result { return V3_OK; },
};

// ---- Buses

v3_result BusInfo(void* self, int32_t media, int32_t direction, int32_t index, v3_bus_info* info) {
  if (media != V3_AUDIO || index != 0) return V3_INVALID_ARG;
  const bool isInput = direction == V3_INPUT;
  *info = {};
  info->media_type = media;
  info->direction = direction;
  info->channel_count = static_cast<int32_t>(isInput ? Of(self).inputs : Of(self).outputs);
  CopyText(info->bus_name, isInput ? "Input" : "Output");
  info->bus_type = V3_MAIN;
  info->flags = V3_DEFAULT_ACTIVE;
  return V3_OK;
}

v3_speaker_arrangement Speakers(uint32_t channels) {
  return channels == 2 ? V3_SPEAKER_L | V3_SPEAKER_R : V3_SPEAKER_M;
}

// ---- Parameters

/// Units are the parameters' groups, in the order of their first parameter; 0 is the root.
const std::vector<std::string>& Units() {
  static const std::vector<std::string> units = [] {
    std::vector<std::string> names{"Qfx PRISMEL"};
    const HostParameters& list = HostParameters::Get();
    for (size_t i = 0; i < list.Size(); ++i) {
      const std::string group(list.At(i).Group());
      if (std::find(names.begin(), names.end(), group) == names.end()) names.push_back(group);
    }
    return names;
  }();
  return units;
}

int32_t UnitOf(const host::Parameter& parameter) {
  return static_cast<int32_t>(std::find(Units().begin(), Units().end(), parameter.Group()) - Units().begin());
}

v3_result ParameterInfo(void*, int32_t position, v3_param_info* info) {
  const HostParameters& list = HostParameters::Get();
  *info = {};
  if (position == static_cast<int32_t>(list.Size())) {
    info->param_id = Vst3Plugin::kProgramId;
    CopyText(info->title, "Program");
    CopyText(info->short_title, "Program");
    info->step_count = static_cast<int32_t>(FactoryPresets().size()) - 1;
    info->flags = V3_PARAM_PROGRAM_CHANGE | V3_PARAM_IS_LIST;
    return V3_OK;
  }
  if (position < 0 || position > static_cast<int32_t>(list.Size())) return V3_INVALID_ARG;
  const host::Parameter& parameter = list.At(static_cast<size_t>(position));
  info->param_id = parameter.Id();
  CopyText(info->title, parameter.Title());
  CopyText(info->short_title, parameter.Title());
  // Texts carry their unit, as it changes with the value ("440 Hz", "1.2 kHz").
  info->step_count = parameter.IsStepped() ? static_cast<int32_t>(parameter.StepCount()) - 1 : 0;
  info->default_normalised_value = static_cast<double>(parameter.PreferredNormalized());
  info->unit_id = UnitOf(parameter);
  info->flags = parameter.IsOffered() ? V3_PARAM_CAN_AUTOMATE : V3_PARAM_READ_ONLY;
  if (!parameter.Labels().empty() && !parameter.IsSwitch()) info->flags |= V3_PARAM_IS_LIST;
  if (parameter.Index() == list.BypassIndex()) info->flags |= V3_PARAM_IS_BYPASS;
  return V3_OK;
}

const host::Parameter* ById(v3_param_id id) {
  const auto index = HostParameters::Get().IndexOfId(id);
  return index ? &host::ParameterTable::Get()[*index] : nullptr;
}

size_t ProgramAt(double position) {
  const auto last = static_cast<double>(FactoryPresets().size() - 1);
  return static_cast<size_t>(std::clamp(position, 0.0, 1.0) * last + 0.5);
}

v3_result StringForValue(void*, v3_param_id id, double position, v3_str_128 text) {
  if (id == Vst3Plugin::kProgramId) {
    CopyText(text, FactoryPresets()[ProgramAt(position)].name);
    return V3_OK;
  }
  const host::Parameter* parameter = ById(id);
  if (parameter == nullptr) return V3_INVALID_ARG;
  return OrElse<v3_result>(V3_NOMEM, [&] {
    CopyText(text, parameter->Text(static_cast<float>(position)));
    return V3_OK;
  });
}

v3_result ValueForString(void*, v3_param_id id, int16_t* text, double* position) {
  const host::Parameter* parameter = ById(id);
  if (parameter == nullptr) return V3_INVALID_ARG;
  return OrElse<v3_result>(V3_FALSE, [&] {
    *position = static_cast<double>(parameter->Parse(ReadText(text)));
    return V3_OK;
  });
}

v3_result NotImplemented() { return V3_NOT_IMPLEMENTED; }

}  // namespace

const v3_component_cpp& ComponentTable() {
  static constexpr v3_component_cpp table = {
      {kUnknown},
      kBase,
      {
          [](void*, v3_tuid) { return NotImplemented(); },
          [](void*, int32_t) -> v3_result { return V3_OK; },
          [](void*, int32_t media, int32_t) { return media == V3_AUDIO ? 1 : 0; },
          BusInfo,
          [](void*, v3_routing_info*, v3_routing_info*) { return NotImplemented(); },
          [](void*, int32_t, int32_t, int32_t, v3_bool) -> v3_result { return V3_OK; },
          [](void* self, v3_bool state) { return Of(self).SetActive(state != 0); },
          [](void* self, v3_bstream** stream) {
            return OrElse<v3_result>(V3_NOMEM, [=] { return Of(self).SetState(stream); });
          },
          [](void* self, v3_bstream** stream) {
            return OrElse<v3_result>(V3_NOMEM, [=] { return Of(self).GetState(stream); });
          },
      },
  };
  return table;
}

const v3_audio_processor_cpp& ProcessorTable() {
  static constexpr v3_audio_processor_cpp table = {
      {kUnknown},
      {
          [](void* self, v3_speaker_arrangement* in, int32_t ins, v3_speaker_arrangement* out, int32_t outs) {
            if (ins != 1 || outs != 1) return v3_result{V3_FALSE};
            return Of(self).SetArrangement(static_cast<uint32_t>(std::popcount(*in)),
                                           static_cast<uint32_t>(std::popcount(*out)));
          },
          [](void* self, int32_t direction, int32_t index, v3_speaker_arrangement* arrangement) {
            if (index != 0) return static_cast<v3_result>(V3_INVALID_ARG);
            *arrangement = Speakers(direction == V3_INPUT ? Of(self).inputs : Of(self).outputs);
            return v3_result{V3_OK};
          },
          [](void*, int32_t size) -> v3_result { return size == V3_SAMPLE_32 ? V3_TRUE : V3_FALSE; },
          [](void* self) { return Of(self).Core().LatencyAt(Of(self).sampleRate); },
          [](void* self, v3_process_setup* setup) -> v3_result {
            if (setup->symbolic_sample_size != V3_SAMPLE_32 || !(setup->sample_rate > 0.0))
              return V3_INVALID_ARG;
            Of(self).sampleRate = setup->sample_rate;
            Of(self).isOffline = setup->process_mode == V3_OFFLINE;
            return V3_OK;
          },
          [](void* self, v3_bool state) -> v3_result {
            // Silence between two runs of the song: what rang before doesn't belong to the second. Hosts call
            // this beside their audio thread's calls.
            if (state == 0) Of(self).resetWanted.store(true, std::memory_order_release);
            return V3_OK;
          },
          [](void* self, v3_process_data* data) { return Of(self).Process(*data); },
          [](void* self) { return Of(self).Core().TailAt(Of(self).sampleRate); },
      },
  };
  return table;
}

const v3_edit_controller_cpp& ControllerTable() {
  static constexpr v3_edit_controller_cpp table = {
      {kUnknown},
      kBase,
      {
          [](void*, v3_bstream**) -> v3_result { return V3_OK; },  // the component has it already
          [](void*, v3_bstream**) -> v3_result { return V3_OK; },
          [](void*, v3_bstream**) -> v3_result { return V3_OK; },
          [](void*) { return static_cast<int32_t>(HostParameters::Get().Size()) + 1; },
          ParameterInfo,
          StringForValue,
          ValueForString,
          [](void*, v3_param_id id, double position) {
            const host::Parameter* parameter = ById(id);
            if (parameter == nullptr) return static_cast<double>(ProgramAt(position));
            return static_cast<double>(parameter->ToValue(static_cast<float>(position)));
          },
          [](void*, v3_param_id id, double plain) {
            const host::Parameter* parameter = ById(id);
            if (parameter == nullptr) return plain / static_cast<double>(FactoryPresets().size() - 1);
            return static_cast<double>(parameter->ToNormalized(static_cast<float>(plain)));
          },
          [](void* self, v3_param_id id) { return Of(self).Position(id); },
          [](void* self, v3_param_id id, double position) {
            return OrElse<v3_result>(V3_NOMEM, [=] { return Of(self).SetFromController(id, position); });
          },
          [](void* self, v3_component_handler** handler) -> v3_result {
            Of(self).SetHandler(handler);
            return V3_OK;
          },
          [](void* self, const char* name) {
            return std::strcmp(name, "editor") == 0 ? Of(self).CreateView() : nullptr;
          },
      },
  };
  return table;
}

const v3_unit_information_cpp& UnitTable() {
  static_cast<void>(Units());  // built where an exception is caught
  static constexpr v3_unit_information_cpp table = {
      {kUnknown},
      {
          [](void*) { return static_cast<int32_t>(Units().size()); },
          [](void*, int32_t index, v3_unit_info* info) -> v3_result {
            if (index < 0 || index >= static_cast<int32_t>(Units().size())) return V3_INVALID_ARG;
            *info = {};
            info->id = index;
            info->parent_unit_id = index == 0 ? -1 : 0;
            CopyText(info->name, Units()[static_cast<size_t>(index)]);
            info->program_list_id = index == 0 ? Vst3Plugin::kProgramList : -1;
            return V3_OK;
          },
          [](void*) { return 1; },
          [](void*, int32_t index, v3_program_list_info* info) -> v3_result {
            if (index != 0) return V3_INVALID_ARG;
            info->id = Vst3Plugin::kProgramList;
            CopyText(info->name, "Factory presets");
            info->programCount = static_cast<int32_t>(FactoryPresets().size());
            return V3_OK;
          },
          [](void*, int32_t list, int32_t program, v3_str_128 name) -> v3_result {
            if (list != Vst3Plugin::kProgramList || program < 0 ||
                program >= static_cast<int32_t>(FactoryPresets().size())) {
              return V3_INVALID_ARG;
            }
            CopyText(name, FactoryPresets()[static_cast<size_t>(program)].name);
            return V3_OK;
          },
          [](void*, int32_t, int32_t, const char*, v3_str_128) { return NotImplemented(); },
          [](void*, int32_t, int32_t) -> v3_result { return V3_FALSE; },
          [](void*, int32_t, int32_t, int16_t, v3_str_128) { return NotImplemented(); },
          [](void*) { return 0; },
          [](void*, int32_t) -> v3_result { return V3_OK; },
          [](void*, int32_t, int32_t, int32_t, int32_t, int32_t*) { return NotImplemented(); },
          [](void*, int32_t, int32_t, v3_bstream**) { return NotImplemented(); },
      },
  };
  return table;
}

const v3_process_context_requirements_cpp& RequirementsTable() {
  static constexpr v3_process_context_requirements_cpp table = {
      {kUnknown},
      {[](void*) -> uint32_t {
        return V3_PROCESS_CTX_NEED_PROJECT_TIME | V3_PROCESS_CTX_NEED_TEMPO |
               V3_PROCESS_CTX_NEED_TRANSPORT_STATE;
      }},
  };
  return table;
}

}  // namespace Vantora::plugin
