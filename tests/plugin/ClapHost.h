#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "plugin/clap/ClapPlugin.h"

namespace Vantora::test {

/// ClapFile: a .clap file as a host loads it.
class ClapFile {
 public:
  explicit ClapFile(const std::string& path);
  ~ClapFile();
  ClapFile(const ClapFile&) = delete;
  ClapFile& operator=(const ClapFile&) = delete;

  const clap_plugin_entry_t& Entry() const { return *entry; }
  const clap_plugin_factory_t& Factory() const { return *factory; }

 private:
  void* library = nullptr;
  const clap_plugin_entry_t* entry = nullptr;
  const clap_plugin_factory_t* factory = nullptr;
};

/// TimedValue: a parameter event at a sample of the stream.
struct TimedValue {
  uint64_t at;
  clap_id id;
  double value;
};

/// ClapHost: the smallest host: one instance, and hardly an extension, so that what an instance takes for
/// granted shows. It notes what the instance asks for and on which thread.
class ClapHost {
 public:
  struct Options {
    bool hasExtensions = false;  ///< params, state, latency, tail; otherwise none at all
  };
  ClapHost(const ClapFile& file, Options options);
  explicit ClapHost(const ClapFile& file) : ClapHost(file, Options{}) {}
  ~ClapHost();
  ClapHost(const ClapHost&) = delete;
  ClapHost& operator=(const ClapHost&) = delete;

  template <typename T>
  const T& Extension(const char* id) const {
    return *static_cast<const T*>(plugin->get_extension(plugin, id));
  }
  bool Has(const char* id) const { return plugin->get_extension(plugin, id) != nullptr; }
  const clap_plugin_t* Plugin() const { return plugin; }

  bool Activate(double sampleRate = 48000.0, uint32_t mostFrames = 8192);
  void Deactivate();

  /// Parameters by their titles' unique ids; see `IdOf`.
  std::vector<clap_param_info_t> Parameters() const;
  double Value(clap_id id) const;
  /// Ids by the library's unique name.
  static clap_id IdOf(const std::string& uniqueName);
  /// A main-thread (or inactive) write, as hosts do it.
  void Flush(clap_id id, double value);

  std::string Save() const;
  bool Load(const std::string& state, size_t pieceBytes = 1000);
  bool LoadPreset(const std::string& name);

  /// What `Render` does to the stream.
  struct Stream {
    std::vector<uint32_t> pieces{256};  ///< lengths of the calls, in turn, 0 too
    bool isInPlace = false;
    std::vector<TimedValue> events;  ///< in the order of their times
    bool hasTransport = false;       ///< 120 BPM from position 0, playing
    bool isGuarded = false;          ///< watch each call for what an audio thread mustn't do
  };
  /// Processes planar audio of `inputs.size()` channels; as many samples come out. Violations of the guard
  /// are collected in `violations`.
  std::vector<std::vector<float>> Render(const std::vector<std::vector<float>>& inputs, uint32_t outputs,
                                         const Stream& stream);

  std::vector<std::string> violations;
  std::map<std::string, int> calls;            ///< by the host, "params.rescan" and so on
  std::vector<clap_event_param_value_t> sent;  ///< values of the instance
  uint32_t gesturesBegun = 0, gesturesEnded = 0;

 private:
  static ClapHost& Of(const clap_host_t* host) { return *static_cast<ClapHost*>(host->host_data); }
  static const void* GetExtension(const clap_host_t* host, const char* id);
  void NoteMain(const char* call);
  void NoteAudio(const char* call);

  Options options;
  clap_host_t host{};
  const clap_plugin_t* plugin = nullptr;
  std::thread::id mainThread = std::this_thread::get_id();
  bool isProcessing = false;
};

}  // namespace Vantora::test
