#pragma once

#include <atomic>
#include <memory>

#include "plugin/core/HostParameters.h"
#include "plugin/core/ShellCore.h"
#include "plugin/core/Values.h"
#include "plugin/vst3/Vst3Headers.h"

namespace Vantora::plugin {

class Vst3Plugin;

/// Vst3Face: one interface of an instance as a host holds it: a pointer to a table of calls, and behind it,
/// for us, whose it is.
struct Vst3Face {
  const void* table;
  Vst3Plugin* owner;
};

/// Vst3Plugin: one instance for a VST3 host, component and controller in one object
/// (`get_controller_class_id` names no class, so that hosts ask the component for the controller).
///
/// The host's parameters are positions 0 to 1 by stable id, and one more that chooses a program.
/// `restart_component` is never called: from inside a host's call it hangs hosts that hold a lock. What the
/// host should know goes out as output points of the next process call.
class Vst3Plugin final : public HostLink {
 public:
  /// Id of the parameter that chooses the factory preset; no parameter of the effect has it.
  static constexpr v3_param_id kProgramId = 1;
  static constexpr int32_t kProgramList = 1;

  Vst3Plugin();
  ~Vst3Plugin();
  static Vst3Plugin& Of(void* face) { return *static_cast<Vst3Face*>(face)->owner; }

  v3_result QueryInterface(const v3_tuid iid, void** object);
  uint32_t Ref() { return references.fetch_add(1) + 1; }
  uint32_t Unref();

  ShellCore& Core() { return core; }
  Vst3Face* Component() { return &component; }

  // Component and processor.
  v3_result SetArrangement(uint32_t newInputs, uint32_t newOutputs);
  v3_result SetActive(bool isActive);
  v3_result SetState(v3_bstream** stream);
  v3_result GetState(v3_bstream** stream);
  v3_result Process(v3_process_data& data);
  uint32_t inputs = 2, outputs = 2;
  double sampleRate = 48000.0;
  std::atomic<bool> isOffline{false};
  std::atomic<bool> resetWanted{false};  ///< the next process call begins with a reset

  // Controller.
  v3_result SetFromController(v3_param_id id, double position);
  double Position(v3_param_id id);
  void SetHandler(v3_component_handler** newHandler);
  /// A new view, or null in a build without windows. See Vst3View.cpp.
  v3_plugin_view** CreateView();

  // HostLink
  void OnGestureBegin(uint32_t index) override;
  void OnValue(uint32_t index, float normalized) override;
  void OnGestureEnd(uint32_t index) override;
  void OnSoundChanged() override { tellAll.store(true, std::memory_order_release); }
  void OnStateDirty() override {}

 private:
  [[gnu::noinline]] void TakePoints(v3_param_changes** changes, int32_t count);
  void SendPoints(v3_param_changes** changes);

  std::atomic<uint32_t> references{1};
  Vst3Face component, processor, controller, units, requirements;
  v3_component_handler** handler = nullptr;
  ShellCore core;
  std::atomic<bool> tellAll{false};  // the host doesn't know the values
  uint64_t toldRevision = 0;         // of the core's read-outs ...
  Positions told{};                  // ... as told to the host
};

/// UTF-16 as VST3 wants it, at most 127 units.
void CopyText(v3_str_128 to, std::string_view text);
/// Back to UTF-8.
std::string ReadText(const int16_t* from);

}  // namespace Vantora::plugin
