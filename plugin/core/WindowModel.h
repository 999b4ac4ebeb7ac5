#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Vantora::plugin {

/// LiveView: what moves by itself while sound runs, as the last block left it.
///
/// Voices 0 to 7 of side 0 (left) and 1 (right); those from `activeVoices` on are off and keep their last
/// value.
struct LiveView {
  static constexpr uint32_t kSides = 2, kVoices = 8;

  std::array<std::array<float, kVoices>, kSides> tapMs{};  ///< delay of each voice's tap, ms, 0 to about 16.5
  /// The effect's first knob as each voice has it, as a position 0 to 1 on that knob's own curve (harmonizer:
  /// "HarmonizerSpray"). Without an effect: 0.
  std::array<std::array<float, kVoices>, kSides> spread{};
  uint32_t activeVoices = 0;  ///< voices on each side, 1 to 8; 0 before the first block
  float prismelion = 0.0f;    ///< "Prismelion" with its modulation, position 0 to 1
  float primary = 0.0f;       ///< the effect's first knob with its modulation, position 0 to 1
  float lfoPhase = 0.0f;      ///< 0 to 1, one cycle
  float lfoValue = 0.0f;      ///< -1 to 1
  float inputDb = -80.0f;     ///< level behind "InputGain", dBFS, -80 to 6
  float outputDb = -80.0f;    ///< level of the wet signal, dBFS, -80 to 6
  bool isAtRest = false;      ///< the host runs nothing: all this follows the knobs, and nothing moves

  bool operator==(const LiveView&) const = default;
};

/// PresetItem: a preset as a list shows it.
struct PresetItem {
  std::string name;
  std::string description;  ///< one line
  std::string effect;       ///< "comb", "harmonizer", ...: the value of "FXType" in words
  bool isFactory = true;    ///< compiled in; otherwise a file of the user's folder
};

/// Slot: one of the two sounds between which A/B switches.
enum class Slot { kA, kB };

/// WindowModel: everything that a window may see and do, whatever host and format lie behind it.
///
/// Parameters are named by their flat index in `host::ParameterTable` (0 to 227), values are positions 0 to 1
/// on the parameter's own curve; titles, units, ranges, labels and texts are the table's. Whoever draws asks
/// `Revision` and `LiveRevision` first: where neither moved there is nothing to draw.
///
/// Threads  [main thread] throughout: the one on which the host runs the window. Nothing blocks on the audio
///          thread, nor makes it wait.
/// Errors   operations that can fail answer one sentence for people, empty for success, and then leave the
///          sound as it was.
class WindowModel {
 public:
  virtual ~WindowModel() = default;
  WindowModel(const WindowModel&) = delete;
  WindowModel& operator=(const WindowModel&) = delete;

  // ---- What changed

  /// Grows whenever a value, the preset's name, the list of presets, A/B, the undo history or the message
  /// changed, whoever changed it: this window, the host's automation, a loaded song.
  virtual uint64_t Revision() const = 0;
  /// Grows whenever something in `Live` changed.
  virtual uint64_t LiveRevision() const = 0;
  /// The moving picture; each number is whole, but two may stem from neighbouring blocks. That a host has
  /// stopped is seen by asking alone: `LiveRevision` doesn't grow then.
  virtual LiveView Live() const = 0;

  // ---- Parameters

  /// What is set, without modulation; for read-outs and meters what the effect wrote last.
  virtual float Value(uint32_t index) const = 0;
  /// A hand takes the knob: the host holds its automation back and makes one undo step of what follows. Calls
  /// nest by index; every `BeginGesture` wants its `EndGesture`.
  virtual void BeginGesture(uint32_t index) = 0;
  /// Sets a position, clamped to 0 to 1, and tells the host. Outside a gesture it makes one of its own.
  virtual void SetValue(uint32_t index, float normalized) = 0;
  virtual void EndGesture(uint32_t index) = 0;
  /// The value as people write it, "300 Hz"; see `host::Parameter::Text`.
  virtual std::string Text(uint32_t index) const = 0;
  /// A value as people write it ("300 Hz", "A4", "1/8 dotted"), with a gesture of its own.
  virtual std::string SetText(uint32_t index, std::string_view text) = 0;
  /// The same knob on the other side ("Left voices" and "Right voices"); nothing for knobs that are single. A
  /// window moves both together.
  virtual std::optional<uint32_t> Twin(uint32_t index) const = 0;
  /// The position that a reset (double click) goes to: what a preset that doesn't name the parameter has.
  virtual float DefaultValue(uint32_t index) const = 0;

  // ---- Presets

  /// Factory presets first, by name, then the user's, by name. Valid until the next call that changes them.
  virtual const std::vector<PresetItem>& Presets() const = 0;
  /// Position in `Presets` of what was loaded last; nothing for a sound that came otherwise.
  virtual std::optional<size_t> CurrentPreset() const = 0;
  /// Name of the sound, that of the preset it began as; may be empty.
  virtual std::string PresetName() const = 0;
  /// Whether a value moved since the preset was loaded or saved.
  virtual bool IsModified() const = 0;
  virtual std::string LoadPreset(size_t position) = 0;
  /// Writes the sound to the user's folder, over a user's preset of the same name. Factory names are refused.
  virtual std::string SavePreset(const std::string& name, const std::string& description) = 0;
  /// Removes a user's preset from the folder. Factory presets are refused.
  virtual std::string DeletePreset(size_t position) = 0;
  /// Looks into the user's folder again.
  virtual void RefreshPresets() = 0;

  // ---- A/B, undo, text

  virtual Slot CurrentSlot() const = 0;
  /// To the other sound; the first time both are equal.
  virtual void SwitchSlot() = 0;
  /// The present sound into the other slot.
  virtual void CopyToOtherSlot() = 0;

  virtual bool CanUndo() const = 0;
  virtual bool CanRedo() const = 0;
  virtual void Undo() = 0;
  virtual void Redo() = 0;

  /// The whole sound as a preset's JSON, for the clipboard, and back.
  virtual std::string SettingsText() const = 0;
  virtual std::string SetSettingsText(std::string_view text) = 0;

  // ---- The rest

  /// Silences what rings, at the next block.
  virtual void Panic() = 0;
  /// Hz; 0 before the first activation.
  virtual double SampleRate() const = 0;
  /// Beats per minute, as the host told last; 120 without one.
  virtual double Tempo() const = 0;
  /// What the user should know (a processor library that couldn't be loaded, a song written by a newer
  /// version); empty when all is well.
  virtual std::string Message() const = 0;
  static constexpr uint32_t kLargestVariation = 4095;
  /// Which of the repeatable random sequences this instance plays, 0 to `kLargestVariation`; kept with the
  /// song.
  virtual uint32_t Variation() const = 0;
  /// Another one, heard from the next start of the sound; hosts that can are asked for that start.
  virtual void SetVariation(uint32_t variation) = 0;
  /// Size of the window as kept with the song, 0.75 to 2, 1 is 980 x 620.
  virtual double WindowScale() const = 0;
  virtual void SetWindowScale(double scale) = 0;

 protected:
  WindowModel() = default;
};

}  // namespace Vantora::plugin
