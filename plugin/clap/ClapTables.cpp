// The extensions' tables: thin calls into `ClapPlugin`.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include "host/HostError.h"
#include "host/ParameterTable.h"
#include "plugin/clap/ClapPlugin.h"
#include "plugin/clap/ClapWindow.h"
#include "plugin/core/OrElse.h"
#include "plugin/core/ProductNames.h"

namespace Vantora::plugin {
namespace {

template <size_t kSize>
void Copy(char (&to)[kSize], std::string_view text) {
  const size_t count = std::min(text.size(), kSize - 1);
  std::memcpy(to, text.data(), count);
  to[count] = '\0';
}

const host::Parameter* ById(clap_id id) {
  const auto index = HostParameters::Get().IndexOfId(id);
  return index ? &host::ParameterTable::Get()[*index] : nullptr;
}

// ---- Parameters

bool ParameterInfo(const clap_plugin_t*, uint32_t position, clap_param_info_t* info) {
  const HostParameters& list = HostParameters::Get();
  if (position >= list.Size()) return false;
  const host::Parameter& parameter = list.At(position);
  *info = {};
  info->id = parameter.Id();
  if (parameter.IsStepped()) info->flags |= CLAP_PARAM_IS_STEPPED;
  if (parameter.IsOffered()) {
    info->flags |= CLAP_PARAM_IS_AUTOMATABLE;
  } else {
    info->flags |= CLAP_PARAM_IS_READONLY;
  }
  if (parameter.Index() == list.BypassIndex()) info->flags |= CLAP_PARAM_IS_BYPASS;
  Copy(info->name, parameter.Title());
  std::snprintf(info->module, sizeof info->module, "%s%s",
                parameter.GetRole() == host::Role::kAdvanced ? "Advanced/" : "",
                std::string(parameter.Group()).c_str());
  info->min_value = ToClapValue(parameter, 0.0f);
  info->max_value = ToClapValue(parameter, 1.0f);
  info->default_value = ToClapValue(parameter, parameter.PreferredNormalized());
  return true;
}

const clap_plugin_params_t kParams = {
    [](const clap_plugin_t*) { return static_cast<uint32_t>(HostParameters::Get().Size()); },
    ParameterInfo,
    [](const clap_plugin_t* plugin, clap_id id, double* value) {
      const host::Parameter* parameter = ById(id);
      if (parameter == nullptr) return false;
      *value = ToClapValue(*parameter, ClapPlugin::Of(plugin).Core().Value(parameter->Index()));
      return true;
    },
    [](const clap_plugin_t*, clap_id id, double value, char* text, uint32_t size) {
      const host::Parameter* parameter = ById(id);
      if (parameter == nullptr || size == 0) return false;
      return OrElse(false, [&] {
        std::snprintf(text, size, "%s", parameter->Text(FromClapValue(*parameter, value)).c_str());
        return true;
      });
    },
    [](const clap_plugin_t*, clap_id id, const char* text, double* value) {
      const host::Parameter* parameter = ById(id);
      if (parameter == nullptr) return false;
      return OrElse(false, [&] {
        *value = ToClapValue(*parameter, parameter->Parse(text));
        return true;
      });
    },
    [](const clap_plugin_t* plugin, const clap_input_events_t* in, const clap_output_events_t* out) {
      ClapPlugin::Of(plugin).Flush(in, out);
    },
};

// ---- Audio

const clap_plugin_audio_ports_t kAudioPorts = {
    [](const clap_plugin_t*, bool) { return 1u; },
    [](const clap_plugin_t* plugin, uint32_t index, bool isInput, clap_audio_port_info_t* info) {
      if (index != 0) return false;
      const ClapPlugin& self = ClapPlugin::Of(plugin);
      const uint32_t channels = isInput ? self.inputs : self.outputs;
      *info = {};
      info->id = isInput ? 0 : 1;
      Copy(info->name, isInput ? "Input" : "Output");
      info->flags = CLAP_AUDIO_PORT_IS_MAIN;
      info->channel_count = channels;
      info->port_type = channels == 2 ? CLAP_PORT_STEREO : CLAP_PORT_MONO;
      info->in_place_pair = self.inputs == self.outputs ? (isInput ? 1 : 0) : CLAP_INVALID_ID;
      return true;
    },
};

struct Arrangement {
  const char* name;
  uint32_t inputs, outputs;
};
constexpr std::array<Arrangement, 3> kArrangements{
    {{"Stereo", 2, 2}, {"Mono", 1, 1}, {"Mono to stereo", 1, 2}}};

const ClapAudioPortsConfig kAudioPortsConfig = {
    [](const clap_plugin_t*) { return static_cast<uint32_t>(kArrangements.size()); },
    [](const clap_plugin_t*, uint32_t index, ClapAudioPortsConfigInfo* info) {
      if (index >= kArrangements.size()) return false;
      const Arrangement& arrangement = kArrangements[index];
      *info = {};
      info->id = index;
      Copy(info->name, arrangement.name);
      info->input_port_count = info->output_port_count = 1;
      info->has_main_input = info->has_main_output = true;
      info->main_input_channel_count = arrangement.inputs;
      info->main_output_channel_count = arrangement.outputs;
      info->main_input_port_type = arrangement.inputs == 2 ? CLAP_PORT_STEREO : CLAP_PORT_MONO;
      info->main_output_port_type = arrangement.outputs == 2 ? CLAP_PORT_STEREO : CLAP_PORT_MONO;
      return true;
    },
    [](const clap_plugin_t* plugin, clap_id id) {
      ClapPlugin& self = ClapPlugin::Of(plugin);
      if (id >= kArrangements.size() || self.Core().IsActive()) return false;
      self.inputs = kArrangements[id].inputs;
      self.outputs = kArrangements[id].outputs;
      return true;
    },
};

const clap_plugin_latency_t kLatency = {[](const clap_plugin_t* plugin) {
  ClapPlugin& self = ClapPlugin::Of(plugin);
  return self.Core().LatencyAt(self.sampleRate);
}};

const ClapTail kTail = {[](const clap_plugin_t* plugin) {
  ClapPlugin& self = ClapPlugin::Of(plugin);
  return self.Core().TailAt(self.sampleRate);
}};

const ClapRender kRender = {
    [](const clap_plugin_t*) { return false; },
    [](const clap_plugin_t* plugin, int32_t mode) {
      ClapPlugin::Of(plugin).isOffline = mode == kClapRenderOffline;
      return true;
    },
};

// ---- State and presets

const clap_plugin_state_t kState = {
    [](const clap_plugin_t* plugin, const clap_ostream_t* stream) {
      return OrElse(false, [&] { return ClapPlugin::Of(plugin).Save(*stream); });
    },
    [](const clap_plugin_t* plugin, const clap_istream_t* stream) {
      return OrElse(false, [&] { return ClapPlugin::Of(plugin).Load(*stream); });
    },
};

// A preset, a copy of the track and the song all keep the same things.
const ClapStateContext kStateContext = {
    [](const clap_plugin_t* plugin, const clap_ostream_t* stream, uint32_t) {
      return OrElse(false, [&] { return ClapPlugin::Of(plugin).Save(*stream); });
    },
    [](const clap_plugin_t* plugin, const clap_istream_t* stream, uint32_t) {
      return OrElse(false, [&] { return ClapPlugin::Of(plugin).Load(*stream); });
    },
};

const ClapPresetLoad kPresetLoad = {
    [](const clap_plugin_t* plugin, uint32_t kind, const char* location, const char* loadKey) {
      return OrElse(false, [&] { return ClapPlugin::Of(plugin).LoadPreset(kind, location, loadKey); });
    }};

// ---- Controllers with eight knobs

struct Page {
  const char* name;
  std::array<const char*, 8> parameters;
};
constexpr std::array<Page, 4> kPages{{
    {"Play",
     {"Prismel_Prismelion", "Prismel_FXType", "Prismel_Voices", "Prismel_Wet", "LFOPrismelAmount",
      "LFOPrimaryAmount", "Prismel_InputGain", "OutputGain"}},
    {"Filters and combs",
     {"Prismel_BandpassCutoff", "Prismel_BandpassResonance", "Prismel_CombCutoff", "Prismel_CombResonance",
      "Prismel_HPFCutoff", "Prismel_LPFCutoff", "Prismel_OutputGain", "Prismel_FeedbackDelayTime"}},
    {"Crusher, distortion, harmonizer",
     {"Prismel_BitCrusherDownsample", "Prismel_BitCrusherBitDepth", "Prismel_DistortionDrive",
      "Prismel_DistortionAlgorithm", "Prismel_HarmonizerSpray", "Prismel_HarmonizerChord",
      "Prismel_FeedbackDelayTime", "Prismel_OutputGain"}},
    {"LFO",
     {"LFORateType", "LFO_RateUnSynced", "LFO_RateSynced", "LFO_AllRateSynced", "LFOShapeType",
      "LFO_PhaseInit", "LFO_Swing", "LFO_Mode"}},
}};

const ClapRemoteControls kRemoteControls = {
    [](const clap_plugin_t*) { return static_cast<uint32_t>(kPages.size()); },
    [](const clap_plugin_t*, uint32_t index, ClapRemoteControlsPage* page) {
      if (index >= kPages.size()) return false;
      *page = {};
      Copy(page->section_name, "Main");
      Copy(page->page_name, kPages[index].name);
      page->page_id = index + 1;
      for (size_t i = 0; i < 8; ++i) {
        page->param_ids[i] = host::ParameterTable::Get().At(kPages[index].parameters[i]).Id();
      }
      return true;
    },
};

}  // namespace

const void* ClapPlugin::Extension(const char* id) {
  struct Entry {
    const char* id;
    const void* table;
  };
  static constexpr Entry kEntries[] = {
      {CLAP_EXT_PARAMS, &kParams},
      {CLAP_EXT_STATE, &kState},
      {kClapStateContext, &kStateContext},
      {CLAP_EXT_AUDIO_PORTS, &kAudioPorts},
      {kClapAudioPortsConfig, &kAudioPortsConfig},
      {CLAP_EXT_LATENCY, &kLatency},
      {kClapTail, &kTail},
      {kClapRender, &kRender},
      {kClapPresetLoad, &kPresetLoad},
      {kClapPresetLoadDraft, &kPresetLoad},
      {kClapRemoteControls, &kRemoteControls},
      {kClapRemoteControlsDraft, &kRemoteControls},
  };
  for (const Entry& entry : kEntries) {
    if (std::strcmp(entry.id, id) == 0) return entry.table;
  }
  return WindowExtension(id);
}

}  // namespace Vantora::plugin
