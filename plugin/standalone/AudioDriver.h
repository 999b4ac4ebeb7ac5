#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "plugin/core/ShellCore.h"

namespace Vantora::plugin {

/// A controller's move, as it comes from a MIDI keyboard.
struct ControllerEvent {
  uint32_t offset;     ///< sample of the block
  uint8_t channel;     ///< 0 to 15
  uint8_t controller;  ///< 0 to 127
  uint8_t value;       ///< 0 to 127
};

/// What a driver gives and takes in one call; two channels each way, none of them null.
struct AudioBlock {
  const float* const* inputs;
  float* const* outputs;
  uint32_t frames;
  HostTime time;
  std::span<const ControllerEvent> controllers;
};

/// AudioDriver: a stream of blocks from and to the machine's sound system.
///
/// Life     made by one of the functions below, `Start` once, destructor; the callback runs on the driver's
/// own
///          thread from within `Start` until the destructor has returned.
class AudioDriver {
 public:
  using Callback = std::function<void(const AudioBlock&)>;
  virtual ~AudioDriver() = default;
  AudioDriver(const AudioDriver&) = delete;
  AudioDriver& operator=(const AudioDriver&) = delete;

  virtual std::string Name() const = 0;     ///< "JACK", "PulseAudio", ...
  virtual double SampleRate() const = 0;    ///< Hz, before `Start`, too
  virtual uint32_t BufferSize() const = 0;  ///< frames of a block as a rule; 0 when it isn't known
  /// Throws `host::HostError`. `latency` is what the callback adds, in samples, for drivers that tell others.
  virtual void Start(Callback callback, uint32_t latency) = 0;
  /// False once the sound system went away.
  virtual bool IsAlive() const { return true; }

 protected:
  AudioDriver() = default;
};

/// Null when no JACK server runs; none is started. `isConnecting`: to the first sound card's ports.
std::unique_ptr<AudioDriver> OpenJack(bool isConnecting);
/// PulseAudio or else ALSA; null when there is no device. `rate` in Hz and `frames` are wishes.
std::unique_ptr<AudioDriver> OpenSoundCard(uint32_t rate, uint32_t frames);
/// Nothing in, nothing out, in the time of a clock: the window lives, a file's meters move.
std::unique_ptr<AudioDriver> OpenSilence(uint32_t rate);

}  // namespace Vantora::plugin
