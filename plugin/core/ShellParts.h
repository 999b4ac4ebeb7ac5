#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/ParameterTable.h"
#include "host/Preset.h"
#include "host/ProcessorSource.h"
#include "plugin/core/FactoryBank.h"
#include "plugin/core/History.h"
#include "plugin/core/RestPicture.h"
#include "plugin/core/ShellCore.h"
#include "plugin/core/State.h"
#include "plugin/core/UserPresets.h"
#include "plugin/core/Values.h"

namespace Vantora::plugin {

/// Parts: what an instance consists of, and how one sound takes another one's place. Known to the files of
/// `ShellCore` alone: ShellCore.cpp has the stream and the state, ShellWindowModel.cpp what a window asks.
///
/// Threads  the main thread, save what is marked.
struct ShellCore::Parts {
  explicit Parts(Values& shared) : values(shared) {}

  Values& values;  // the core's
  HostLink* link = nullptr;
  double sampleRate = 0.0;  // Hz, of the last activation
  uint64_t ownRevision = 0;
  std::string message;

  // The sound beside its positions.
  std::string name, description;
  Positions reference{};         // as loaded or saved
  bool wasModified = false;      // already when it was loaded from a song
  std::optional<size_t> preset;  // in `presets`
  std::vector<PresetItem> presets;
  UserPresets userPresets;

  History history;
  Slot slot = Slot::kA;
  std::optional<Sound> otherSound;
  uint32_t openGestures = 0;
  std::array<uint16_t, kParameterCount> gestures{};  // open ones, by parameter
  Sound beforeGesture;

  // Programs that a host sends to the audio thread.
  std::vector<Positions> factoryPositions;
  std::atomic<size_t> program{~size_t{0}};  // factory preset that sounds; none
  // 1 + the one that the audio thread began, until the main thread has read it
  std::atomic<size_t> processProgram{0};

  RestPicture restPicture;
  uint32_t variation = 0;
  double windowScale = 1.0;
  const uint32_t effectIndex = host::ParameterTable::Get().At("Prismel_FXType").Index();
  // Audio thread's: value and position of "FXType" that the host's tail stands for.
  uint32_t toldTail = 0;
  float toldTailPosition = -1.0f;

  /// The processors of this instance. Where PRISMEL_LIBRARY can't be loaded, says so and takes the one linked
  /// in.
  host::ProcessorSource Source();
  void Say(std::string text);

  bool IsModified();
  /// The present sound, with its name.
  Sound Capture();
  /// Another sound, all at once; the bypass stays where the listener put it.
  void Recall(const Sound& sound);
  void SetSound(Positions positions, std::string newName, std::string newDescription, bool isModified);

  /// Looks for the present name among the presets.
  void FindPreset();
  /// Takes up the name of a program that the audio thread began.
  void AdoptProgram();
  void ListPresets();
  const host::Preset& PresetAt(size_t position) const;
  void LoadPreset(const host::Preset& chosen);

  /// Value of "FXType".
  uint32_t EffectStep() const;
};

/// Same but for capitals.
bool IsSameName(std::string_view a, std::string_view b);
/// Whether two sounds have in common what a preset holds.
bool IsSameSound(const Positions& a, const Positions& b);
Positions PositionsOf(const host::Preset& preset);
uint32_t BypassIndex();

}  // namespace Vantora::plugin
