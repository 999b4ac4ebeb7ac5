// The LV2 plug-in: control ports in the parameters' units, song position by events, everything else in the
// state.

#include <lv2/atom/atom.h>
#include <lv2/atom/util.h>
#include <lv2/core/lv2.h>
#include <lv2/state/state.h>
#include <lv2/time/time.h>
#include <lv2/urid/urid.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "basictools/AlignedVector.h"
#include "basictools/BitCast.h"
#include "host/CallKernels.h"
#include "host/ParameterTable.h"
#include "plugin/core/OrElse.h"
#include "plugin/core/ShellCore.h"
#include "plugin/lv2/Lv2Instance.h"
#include "plugin/lv2/Lv2Ports.h"

namespace Vantora::plugin {
namespace {

struct Urids {
  LV2_URID string, object, blank, position, beatsPerMinute, barBeat, bar, beat, beatsPerBar, speed, state,
      real, number, integer, wide;
};

class Lv2Plugin final : public Lv2Instance {
 public:
  Lv2Plugin(const Lv2Variant& itsVariant, double rate, LV2_URID_Map* map)
      : variant(itsVariant), numbers(variant), sampleRate(rate), hasMap(map != nullptr) {
    const HostParameters& list = HostParameters::Get();
    ports.assign(numbers.firstParameter + list.Size(), nullptr);
    seen.assign(list.WritableCount(), 0.0f);
    for (uint32_t i = 0; i < seen.size(); ++i) Connect(numbers.firstParameter + i, nullptr);
    latency = static_cast<float>(core.LatencyAt(sampleRate));
    if (map == nullptr) return;
    const auto id = [&](const char* uri) { return map->map(map->handle, uri); };
    urids = {id(LV2_ATOM__String),         id(LV2_ATOM__Object),  id(LV2_ATOM__Blank), id(LV2_TIME__Position),
             id(LV2_TIME__beatsPerMinute), id(LV2_TIME__barBeat), id(LV2_TIME__bar),   id(LV2_TIME__beat),
             id(LV2_TIME__beatsPerBar),    id(LV2_TIME__speed),   id(kLv2StateUri),    id(LV2_ATOM__Float),
             id(LV2_ATOM__Double),         id(LV2_ATOM__Int),     id(LV2_ATOM__Long)};
  }

  void Connect(uint32_t port, void* data) {
    if (port < numbers.latency) {  // sound and events, which hosts connect before every run
      ports[port] = data;
      return;
    }
    if (port >= ports.size()) return;
    ports[port] = data;
    areKnobsNew = true;
    areKnobsInOneArray = false;
    readOutRevision = kNeverRead;
    // A knob that isn't connected is compared with itself and never moves.
    const uint32_t knob = port - numbers.firstParameter;
    if (data == nullptr && port >= numbers.firstParameter && knob < seen.size()) ports[port] = &seen[knob];
  }

  void Activate() {
    try {
      core.Activate(sampleRate, variant.inputs, variant.outputs);
      isFirstRun = isSongNew = true;
      areKnobsInOneArray = false;
      areKnobsNew = true;
    } catch (const std::exception&) {
      // Run then stays silent.
    }
  }

  void Deactivate() { core.Deactivate(); }

  void Run(uint32_t frames) {
    const auto channel = [this](uint32_t port) { return static_cast<float*>(ports[port]); };
    const uint32_t firstOut = numbers.firstOutput;
    const std::array<const float*, 2> in{channel(0), variant.inputs > 1 ? channel(1) : nullptr};
    const std::array<float*, 2> out{channel(firstOut), variant.outputs > 1 ? channel(firstOut + 1) : nullptr};
    if (!core.IsActive()) [[unlikely]] {
      for (float* silent : out) {
        if (silent != nullptr) std::fill_n(silent, frames, 0.0f);
      }
      return;
    }
    if (const auto* wheel = static_cast<const float*>(ports[numbers.freeWheeling]))
      core.SetOffline(*wheel > 0.5f);
    const auto* events = static_cast<const LV2_Atom_Sequence*>(ports[numbers.events]);
    if (events != nullptr && events->atom.size > sizeof events->body) [[unlikely]]
      ReadEvents(*events);
    if (isSongNew) [[unlikely]]
      TellSong();
    // Hosts nearly always keep the values of all ports in one array, which is compared in one go.
    const auto* firstKnob = static_cast<const float*>(ports[numbers.firstParameter]);
    if (!areKnobsInOneArray || !areSame(firstKnob, seen.data(), seen.size())) [[unlikely]]
      ReadPorts();
    core.Process(in.data(), out.data(), frames);
    if (core.LiveRevision() != readOutRevision) [[unlikely]]
      WritePorts();
  }

  LV2_State_Status Save(LV2_State_Store_Function store, LV2_State_Handle handle) {
    if (!hasMap) return LV2_STATE_ERR_NO_FEATURE;
    const std::string text = core.SaveState();
    return store(handle, urids.state, text.c_str(), text.size() + 1, urids.string,
                 LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE);
  }

  LV2_State_Status Restore(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle) {
    if (!hasMap) return LV2_STATE_ERR_NO_FEATURE;
    size_t size = 0;
    uint32_t type = 0, flags = 0;
    const void* value = retrieve(handle, urids.state, &size, &type, &flags);
    if (value == nullptr) return LV2_STATE_SUCCESS;  // a preset that holds ports alone
    if (type != urids.string) return LV2_STATE_ERR_BAD_TYPE;
    const std::string problem = core.LoadState(std::string(static_cast<const char*>(value), size));
    return problem.empty() ? LV2_STATE_SUCCESS : LV2_STATE_ERR_UNKNOWN;
  }

  WindowModel& Model() override { return core; }
  void SetLink(HostLink* link) override { core.SetHostLink(link); }
  uint32_t FirstParameterPort() const override { return numbers.firstParameter; }

 private:
  [[gnu::noinline]] void ReadEvents(const LV2_Atom_Sequence& sequence) {
    if (!hasMap) return;
    LV2_ATOM_SEQUENCE_FOREACH(&sequence, event) {
      if (event->body.type != urids.object && event->body.type != urids.blank) continue;
      const auto* object = reinterpret_cast<const LV2_Atom_Object*>(&event->body);
      if (object->body.otype == urids.position) ReadPosition(*object, event->time.frames == 0);
    }
  }

  std::optional<double> Number(const LV2_Atom* atom) const {
    if (atom == nullptr) return std::nullopt;
    const void* body = atom + 1;
    if (atom->type == urids.real) return static_cast<double>(*static_cast<const float*>(body));
    if (atom->type == urids.number) return *static_cast<const double*>(body);
    if (atom->type == urids.integer) return static_cast<double>(*static_cast<const int32_t*>(body));
    if (atom->type == urids.wide) return static_cast<double>(*static_cast<const int64_t*>(body));
    return std::nullopt;
  }

  void ReadPosition(const LV2_Atom_Object& object, bool isAtStart) {
    const LV2_Atom *tempo = nullptr, *barBeat = nullptr, *bar = nullptr, *beat = nullptr, *perBar = nullptr,
                   *speed = nullptr;
    lv2_atom_object_get(&object, urids.beatsPerMinute, &tempo, urids.barBeat, &barBeat, urids.bar, &bar,
                        urids.beat, &beat, urids.beatsPerBar, &perBar, urids.speed, &speed, 0);
    isSongNew = true;
    if (const auto value = Number(tempo)) song.tempo = *value;
    if (const auto value = Number(speed)) song.isPlaying = *value != 0.0;
    if (!isAtStart) return;  // its moment lies inside the run: tempo and motion hold, the position goes on
    if (const auto value = Number(beat)) {
      song.songPosition = *value;
    } else if (const auto bars = Number(bar), inBar = Number(barBeat), beats = Number(perBar);
               bars && inBar && beats) {
      song.songPosition = *bars * *beats + *inBar;
    }
  }

  void TellSong() {
    core.SetTime(song);
    song.songPosition.reset();  // a position holds for its run; the song then goes on by itself
    isSongNew = false;
  }

  [[gnu::noinline]] void ReadPorts() {
    void* const* const knobs = ports.data() + numbers.firstParameter;
    const auto knobAt = [knobs](size_t i) { return static_cast<const float*>(knobs[i]); };
    if (areKnobsNew) {
      areKnobsNew = false;
      areKnobsInOneArray = true;
      for (size_t i = 1; i < seen.size(); ++i)
        areKnobsInOneArray = areKnobsInOneArray && knobAt(i) == knobAt(0) + i;
    }
    uint32_t moved = 0;  // nearly always none: no branch for each
    for (size_t i = 0; i < seen.size(); ++i)
      moved |= BitCast<uint32_t>(*knobAt(i)) ^ BitCast<uint32_t>(seen[i]);
    if (moved == 0 && !isFirstRun) return;
    const HostParameters& list = HostParameters::Get();
    for (size_t i = 0; i < seen.size(); ++i) {
      const float* port = knobAt(i);
      if (port == &seen[i] || (*port == seen[i] && !isFirstRun)) continue;
      seen[i] = *port;
      const host::Parameter& parameter = list.At(i);
      // The port says what is set already: a restored state or the window set it, with more digits than a
      // port has.
      if (SaysPortValue(parameter, core.Value(parameter.Index()), *port)) continue;
      core.StepTo(parameter.Index(), FromPortValue(parameter, *port), 0);
    }
    isFirstRun = false;
  }

  /// Ports keep what was written to them until there is news, or until they are connected elsewhere.
  [[gnu::noinline]] void WritePorts() {
    readOutRevision = core.LiveRevision();
    const HostParameters& list = HostParameters::Get();
    for (size_t place = list.WritableCount(); place < list.Size(); ++place) {
      auto* port = static_cast<float*>(ports[numbers.firstParameter + place]);
      if (port != nullptr) *port = list.At(place).ToValue(core.Value(list.IndexAt(place)));
    }
    if (auto* port = static_cast<float*>(ports[numbers.latency])) *port = latency;
  }

  const Lv2Variant variant;
  const Lv2Ports numbers;
  const double sampleRate;
  const bool hasMap;
  Urids urids{};
  ShellCore core;
  std::vector<void*> ports;
  AlignedFloats seen;  // the written ports' last values
  decltype(host::CallKernels::areSame) areSame = host::BestCallKernels().areSame;
  static constexpr uint64_t kNeverRead = ~uint64_t{0};
  uint64_t readOutRevision = kNeverRead;  // of the core's read-outs when these were taken
  bool areKnobsNew = true;                // connected elsewhere since they were looked at
  bool areKnobsInOneArray = false;        // those that are written, one behind the other, as looked at last
  float latency = 0.0f;                   // samples
  bool isFirstRun = true;
  bool isSongNew = true;  // and not told to the core yet
  HostTime song;          // tempo and motion as told last; the position once
};

Lv2Plugin& Of(LV2_Handle handle) { return *static_cast<Lv2Plugin*>(static_cast<Lv2Instance*>(handle)); }

template <size_t kVariant>
LV2_Handle Instantiate(const LV2_Descriptor*, double rate, const char*, const LV2_Feature* const* features) {
  LV2_URID_Map* map = nullptr;
  for (size_t i = 0; features != nullptr && features[i] != nullptr; ++i) {
    if (std::strcmp(features[i]->URI, LV2_URID__map) == 0)
      map = static_cast<LV2_URID_Map*>(features[i]->data);
  }
  try {
    return static_cast<Lv2Instance*>(new Lv2Plugin(kLv2Variants[kVariant], rate, map));
  } catch (const std::exception&) {
    return nullptr;
  }
}

const void* ExtensionData(const char* uri) {
  static const LV2_State_Interface state = {
      [](LV2_Handle handle, LV2_State_Store_Function store, LV2_State_Handle to, uint32_t,
         const LV2_Feature* const*) {
        return OrElse(LV2_STATE_ERR_NO_SPACE, [=] { return Of(handle).Save(store, to); });
      },
      [](LV2_Handle handle, LV2_State_Retrieve_Function retrieve, LV2_State_Handle from, uint32_t,
         const LV2_Feature* const*) {
        return OrElse(LV2_STATE_ERR_NO_SPACE, [=] { return Of(handle).Restore(retrieve, from); });
      },
  };
  return std::strcmp(uri, LV2_STATE__interface) == 0 ? &state : nullptr;
}

template <size_t kVariant>
constexpr LV2_Descriptor kDescriptor = {
    kLv2Variants[kVariant].uri,
    Instantiate<kVariant>,
    [](LV2_Handle handle, uint32_t port, void* data) { Of(handle).Connect(port, data); },
    [](LV2_Handle handle) { Of(handle).Activate(); },
    [](LV2_Handle handle, uint32_t frames) { Of(handle).Run(frames); },
    [](LV2_Handle handle) { Of(handle).Deactivate(); },
    [](LV2_Handle handle) { delete &Of(handle); },
    ExtensionData,
};

}  // namespace
}  // namespace Vantora::plugin

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t index) {
  using namespace Vantora::plugin;
  switch (index) {
    case 0:
      return &kDescriptor<0>;
    case 1:
      return &kDescriptor<1>;
    case 2:
      return &kDescriptor<2>;
    default:
      return nullptr;
  }
}
