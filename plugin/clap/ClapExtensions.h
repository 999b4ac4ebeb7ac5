#pragma once

// What hosts use of CLAP 1.2 and the packaged headers (1.1.1) lack, laid out as in the CLAP project's headers
// of that version, which are under the MIT licence, (c) 2014-2022 Alexandre BIQUE. Names of the structures
// are ours.

#include <clap/entry.h>
#include <clap/ext/audio-ports.h>
#include <clap/ext/gui.h>
#include <clap/ext/latency.h>
#include <clap/ext/params.h>
#include <clap/ext/state.h>
#include <clap/ext/timer-support.h>
#include <clap/plugin-factory.h>

namespace Vantora::plugin {

// ext/tail.h
inline constexpr char kClapTail[] = "clap.tail";
struct ClapTail {
  uint32_t(CLAP_ABI* get)(const clap_plugin_t*);  // [main or audio] samples; UINT32_MAX: endless
};
struct ClapHostTail {
  void(CLAP_ABI* changed)(const clap_host_t*);  // [audio]
};

// ext/render.h
inline constexpr char kClapRender[] = "clap.render";
enum : int32_t { kClapRenderRealtime = 0, kClapRenderOffline = 1 };
struct ClapRender {
  bool(CLAP_ABI* has_hard_realtime_requirement)(const clap_plugin_t*);
  bool(CLAP_ABI* set)(const clap_plugin_t*, int32_t mode);  // [main]
};

// ext/state-context.h
inline constexpr char kClapStateContext[] = "clap.state-context/2";
struct ClapStateContext {
  bool(CLAP_ABI* save)(const clap_plugin_t*, const clap_ostream_t*, uint32_t context);
  bool(CLAP_ABI* load)(const clap_plugin_t*, const clap_istream_t*, uint32_t context);
};

// ext/audio-ports-config.h
inline constexpr char kClapAudioPortsConfig[] = "clap.audio-ports-config";
struct ClapAudioPortsConfigInfo {
  clap_id id;
  char name[CLAP_NAME_SIZE];
  uint32_t input_port_count, output_port_count;
  bool has_main_input;
  uint32_t main_input_channel_count;
  const char* main_input_port_type;
  bool has_main_output;
  uint32_t main_output_channel_count;
  const char* main_output_port_type;
};
struct ClapAudioPortsConfig {
  uint32_t(CLAP_ABI* count)(const clap_plugin_t*);
  bool(CLAP_ABI* get)(const clap_plugin_t*, uint32_t index, ClapAudioPortsConfigInfo*);
  bool(CLAP_ABI* select)(const clap_plugin_t*, clap_id config);  // [main, inactive]
};

// ext/remote-controls.h
inline constexpr char kClapRemoteControls[] = "clap.remote-controls/2";
inline constexpr char kClapRemoteControlsDraft[] = "clap.remote-controls.draft/2";
struct ClapRemoteControlsPage {
  char section_name[CLAP_NAME_SIZE];
  clap_id page_id;
  char page_name[CLAP_NAME_SIZE];
  clap_id param_ids[8];
  bool is_for_preset;
};
struct ClapRemoteControls {
  uint32_t(CLAP_ABI* count)(const clap_plugin_t*);
  bool(CLAP_ABI* get)(const clap_plugin_t*, uint32_t index, ClapRemoteControlsPage*);
};

// ext/preset-load.h
inline constexpr char kClapPresetLoad[] = "clap.preset-load/2";
inline constexpr char kClapPresetLoadDraft[] = "clap.preset-load.draft/2";
struct ClapPresetLoad {
  bool(CLAP_ABI* from_location)(const clap_plugin_t*, uint32_t kind, const char* location,
                                const char* loadKey);
};
struct ClapHostPresetLoad {
  void(CLAP_ABI* on_error)(const clap_host_t*, uint32_t kind, const char* location, const char* loadKey,
                           int32_t osError, const char* message);
  void(CLAP_ABI* loaded)(const clap_host_t*, uint32_t kind, const char* location, const char* loadKey);
};

// factory/preset-discovery.h
inline constexpr char kClapPresetDiscoveryFactory[] = "clap.preset-discovery-factory/2";
inline constexpr char kClapPresetDiscoveryFactoryDraft[] = "clap.preset-discovery-factory/draft-2";
enum : uint32_t { kClapPresetInFile = 0, kClapPresetInPlugin = 1 };
enum : uint32_t { kClapPresetIsFactory = 1, kClapPresetIsUser = 2 };
struct ClapUniversalPluginId {
  const char *abi, *id;
};
struct ClapPresetReceiver {
  void* receiver_data;
  void(CLAP_ABI* on_error)(const ClapPresetReceiver*, int32_t osError, const char* message);
  bool(CLAP_ABI* begin_preset)(const ClapPresetReceiver*, const char* name, const char* loadKey);
  void(CLAP_ABI* add_plugin_id)(const ClapPresetReceiver*, const ClapUniversalPluginId*);
  void(CLAP_ABI* set_soundpack_id)(const ClapPresetReceiver*, const char*);
  void(CLAP_ABI* set_flags)(const ClapPresetReceiver*, uint32_t flags);
  void(CLAP_ABI* add_creator)(const ClapPresetReceiver*, const char*);
  void(CLAP_ABI* set_description)(const ClapPresetReceiver*, const char*);
  void(CLAP_ABI* set_timestamps)(const ClapPresetReceiver*, uint64_t created, uint64_t modified);
  void(CLAP_ABI* add_feature)(const ClapPresetReceiver*, const char*);
  void(CLAP_ABI* add_extra_info)(const ClapPresetReceiver*, const char* key, const char* value);
};
struct ClapPresetLocation {
  uint32_t flags;
  const char* name;
  uint32_t kind;
  const char* location;
};
struct ClapPresetIndexer {
  clap_version_t clap_version;
  const char *name, *vendor, *url, *version;
  void* indexer_data;
  bool(CLAP_ABI* declare_filetype)(const ClapPresetIndexer*, const void*);
  bool(CLAP_ABI* declare_location)(const ClapPresetIndexer*, const ClapPresetLocation*);
  bool(CLAP_ABI* declare_soundpack)(const ClapPresetIndexer*, const void*);
  const void*(CLAP_ABI* get_extension)(const ClapPresetIndexer*, const char* id);
};
struct ClapPresetProviderDescriptor {
  clap_version_t clap_version;
  const char *id, *name, *vendor;
};
struct ClapPresetProvider {
  const ClapPresetProviderDescriptor* desc;
  void* provider_data;
  bool(CLAP_ABI* init)(const ClapPresetProvider*);
  void(CLAP_ABI* destroy)(const ClapPresetProvider*);
  bool(CLAP_ABI* get_metadata)(const ClapPresetProvider*, uint32_t kind, const char* location,
                               const ClapPresetReceiver*);
  const void*(CLAP_ABI* get_extension)(const ClapPresetProvider*, const char* id);
};
struct ClapPresetDiscoveryFactory {
  uint32_t(CLAP_ABI* count)(const ClapPresetDiscoveryFactory*);
  const ClapPresetProviderDescriptor*(CLAP_ABI* get_descriptor)(const ClapPresetDiscoveryFactory*,
                                                                uint32_t index);
  const ClapPresetProvider*(CLAP_ABI* create)(const ClapPresetDiscoveryFactory*, const ClapPresetIndexer*,
                                              const char* id);
};

}  // namespace Vantora::plugin
