#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/core/HostLink.h"
#include "plugin/core/HostTime.h"
#include "plugin/core/Stream.h"
#include "plugin/core/Values.h"
#include "plugin/core/WindowModel.h"

namespace Vantora::plugin {

/// ShellCore: one instance of the effect as every format needs it, and knowing none: parameters, events,
/// presets, state, tail, latency, tempo.
///
/// Life     constructor, then any number of `Activate` ... `Process` ... `Deactivate`; settings may change at
/// any
///          time. Each `Activate` begins with a fresh processor whose random elements follow from
///          `Variation`, so the same song gives the same samples, however many instances there were before.
/// Threads  [main thread] one thread at a time, never beside `Activate` or `Deactivate`; [process] the audio
///          thread, while active. Both may run side by side.
class ShellCore final : public WindowModel {
 public:
  static constexpr uint32_t kEndlessTail = std::numeric_limits<uint32_t>::max();

  /// An instance that sounds as the factory preset `kFirstPreset`. The processor is the one linked in, or the
  /// library that the environment variable PRISMEL_LIBRARY names; where that can't be loaded, `Message` says
  /// why and the one linked in plays.
  ShellCore();
  ~ShellCore() override;

  /// Factory preset of a fresh instance.
  static constexpr std::string_view kFirstPreset = "Glass Choir";

  /// Who is told; null for nobody. Must outlive this object or be taken back. [main thread]
  void SetHostLink(HostLink* link);

  // ---- Stream

  /// [main thread] A new stream at `sampleRate` Hz with 1 or 2 inputs and outputs (mono, mono to stereo,
  /// stereo). What is set now is the start of the sound: nothing glides to it. Throws `host::HostError`;
  /// allocates.
  void Activate(double sampleRate, uint32_t inputs = 2, uint32_t outputs = 2);
  /// [main thread] Ends the stream.
  void Deactivate();
  bool IsActive() const { return stream.IsRunning(); }

  /// [any thread] Samples between input and output at `sampleRate`, before activation, too: one block, about
  /// 1 ms. 0 where the rate makes no sense.
  uint32_t LatencyAt(double sampleRate) const;
  /// [any thread] Samples until the sound has died away, for what is set now; `kEndlessTail` for effects that
  /// may ring for minutes.
  uint32_t TailAt(double sampleRate) const;

  /// [process] The song, for the call of `Process` that follows.
  void SetTime(const HostTime& time) { stream.SetTime(time); }
  /// [process] Rendering faster than real time; changes no bit.
  void SetOffline(bool isOffline) { stream.SetOffline(isOffline); }
  /// [process] The value steps to `normalized` at sample `offset` of the coming `Process`; heard from the
  /// block on that holds it. An offset behind the end waits for the call that holds it. At offset 0 of the
  /// first call after `Activate` or `Reset` it is the start and not a knob that moves: nothing glides there.
  void StepTo(uint32_t index, float normalized, uint32_t offset) { stream.StepTo(index, normalized, offset); }
  /// [process] The value goes there in a straight line from where it stands at `fromOffset` of the coming
  /// call (or at the last corner, if that is later), heard block by block.
  void RampTo(uint32_t index, float normalized, uint32_t fromOffset, uint32_t offset) {
    stream.RampTo(index, normalized, fromOffset, offset);
  }
  /// [process] `frames` samples; any number, 0 too. Inputs and outputs may share memory; a null channel is
  /// silence in, and dropped out. As many channels as `Activate` was told.
  void Process(const float* const* inputs, float* const* outputs, uint32_t frames) {
    stream.Process(inputs, outputs, frames);
  }
  /// [process] The factory preset at this position of `Presets`, before the next block; nothing when it is
  /// the present sound already. For hosts that send a program with their buffers.
  void LoadFactoryPreset(size_t position);
  /// [process] Silence, as after activation; settings stay.
  void Reset() { stream.Reset(); }

  /// [process] Whether the tail is another than when this was asked last.
  bool TakeTailChange();

  // ---- State

  /// [main thread] Everything that a song must keep, as text: see State.h.
  std::string SaveState() const;
  /// [main thread] Back to it. Garbage and empty text are refused with a sentence, and what sounds goes on.
  std::string LoadState(std::string_view text);
  /// [main thread] Which random sequence; takes effect at the next `Activate`.
  void SetVariation(uint32_t variation) override;
  /// [main thread] A preset by its name in any case, as `LoadPreset`. The host's own preset lists come here.
  std::string LoadPresetByName(std::string_view name);
  /// [main thread] A value that the host set while no `Process` runs, or without a time: last value wins.
  void SetFromHost(uint32_t index, float normalized);

  // ---- WindowModel

  uint64_t Revision() const override;
  uint64_t LiveRevision() const override { return stream.LiveRevision(); }
  LiveView Live() const override;
  float Value(uint32_t index) const override { return values.Get(index); }  ///< [any thread]
  void BeginGesture(uint32_t index) override;
  void SetValue(uint32_t index, float normalized) override;
  void EndGesture(uint32_t index) override;
  std::string Text(uint32_t index) const override;
  std::string SetText(uint32_t index, std::string_view text) override;
  std::optional<uint32_t> Twin(uint32_t index) const override;
  float DefaultValue(uint32_t index) const override;
  const std::vector<PresetItem>& Presets() const override;
  std::optional<size_t> CurrentPreset() const override;
  std::string PresetName() const override;
  bool IsModified() const override;
  std::string LoadPreset(size_t position) override;
  std::string SavePreset(const std::string& name, const std::string& description) override;
  std::string DeletePreset(size_t position) override;
  void RefreshPresets() override;
  Slot CurrentSlot() const override;
  void SwitchSlot() override;
  void CopyToOtherSlot() override;
  bool CanUndo() const override;
  bool CanRedo() const override;
  void Undo() override;
  void Redo() override;
  std::string SettingsText() const override;
  std::string SetSettingsText(std::string_view text) override;
  void Panic() override;
  double SampleRate() const override;
  double Tempo() const override;
  std::string Message() const override;
  uint32_t Variation() const override;
  double WindowScale() const override;
  void SetWindowScale(double scale) override;

 private:
  struct Parts;
  // What is asked in every call of a host, and answered without a detour; the rest is the main thread's.
  Values values;
  Stream stream{values};
  std::unique_ptr<Parts> parts;
};

}  // namespace Vantora::plugin
