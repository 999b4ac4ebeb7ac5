#pragma once

#include <array>
#include <memory>
#include <optional>

#include "plugin/clap/ClapExtensions.h"
#include "plugin/core/HostParameters.h"
#include "plugin/core/OutgoingEvents.h"
#include "plugin/core/ShellCore.h"
#include "plugin/core/Values.h"

namespace Vantora::plugin {

class PluginWindow;

/// ClapPlugin: one instance for a CLAP host. Extensions in files of their own: parameters and state here, the
/// window in ClapWindow.cpp.
///
/// Values are knob positions 0 to 1, for knobs with steps the step's number in the unit ("Voices" 1 to 8): a
/// host's automation line is knob travel, and a state loses no bit.
class ClapPlugin final : public HostLink {
 public:
  explicit ClapPlugin(const clap_host_t* host);
  ~ClapPlugin();

  const clap_plugin_t* Interface() const { return &plugin; }
  static const clap_plugin_descriptor_t& Descriptor();
  static ClapPlugin& Of(const clap_plugin_t* plugin) {
    return *static_cast<ClapPlugin*>(plugin->plugin_data);
  }

  // HostLink
  void OnGestureBegin(uint32_t index) override;
  void OnValue(uint32_t index, float normalized) override;
  void OnGestureEnd(uint32_t index) override;
  void OnSoundChanged() override;
  void OnStateDirty() override;
  void OnRestartWanted() override { host->request_restart(host); }

  /// The extension `id` of every instance; null for those we don't have.
  static const void* Extension(const char* id);
  /// The window's two, null in a build without windows. See ClapWindow.cpp.
  static const void* WindowExtension(const char* id);

  ShellCore& Core() { return core; }
  const clap_host_t& Host() const { return *host; }
  template <typename T>
  const T* HostExtension(const char* id) const {
    return static_cast<const T*>(host->get_extension(host, id));
  }

  // What lies behind the interface; each by the name of its call.
  bool Init();
  bool Activate(double sampleRate);
  clap_process_status Process(const clap_process_t& process);
  void Flush(const clap_input_events_t* in, const clap_output_events_t* out);
  bool Save(const clap_ostream_t& stream) const;
  bool Load(const clap_istream_t& stream);
  bool LoadPreset(uint32_t kind, const char* location, const char* loadKey);

  /// Channels of the main ports, 1 or 2.
  uint32_t inputs = 2, outputs = 2;
  bool isOffline = false;
  double sampleRate = 48000.0;  // Hz; a guess before the first activation

  struct WindowState;
  std::unique_ptr<WindowState> window;

 private:
  [[gnu::noinline]] void TakeEvents(const clap_input_events_t& events, uint32_t count);
  void TakeEvent(const clap_event_header_t& event);
  void SendEvents(const clap_output_events_t* out, bool withReadOuts);
  void SendValue(const clap_output_events_t* out, uint32_t index, float position) const;

  clap_plugin_t plugin{};
  const clap_host_t* host;
  const clap_host_params_t* hostParams = nullptr;
  const clap_host_state_t* hostState = nullptr;
  const clap_host_latency_t* hostLatency = nullptr;
  const ClapHostTail* hostTail = nullptr;
  ShellCore core;
  OutgoingEvents outgoing;
  uint64_t toldRevision = 0;  // of the core's read-outs ...
  Positions told{};           // ... as told to the host
  bool isInHostCall = false;  // main thread: the host knows what it is doing
  uint32_t toldLatency = 0;
};

/// A position 0 to 1 as the host has it, and back.
double ToClapValue(const host::Parameter& parameter, float position);
float FromClapValue(const host::Parameter& parameter, double value);

/// The factory of the presets' index.
const ClapPresetDiscoveryFactory& PresetDiscovery();

}  // namespace Vantora::plugin
