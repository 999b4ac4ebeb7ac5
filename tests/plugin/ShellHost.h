#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tests/plugin/Reference.h"

namespace Vantora::test {

/// ShellEvent: a step of a parameter, by the library's index.
struct ShellEvent {
  uint64_t at;  ///< samples from the beginning of the call, or of the stream in `Render`
  uint32_t index;
  float position;  ///< 0 to 1
};

/// ShellHost: one stereo instance at 48 kHz of a plug-in file as it was built, loaded by the smallest host of
/// its format, so that a test asks the same of all formats.
///
/// Threads  `Process` on any one thread while active; everything else on the test's own, beside it.
class ShellHost {
 public:
  virtual ~ShellHost() = default;

  virtual bool Activate() = 0;
  virtual void Deactivate() = 0;
  /// One call into the plug-in; allocates nothing of its own. `events` in the order of their times.
  virtual void Process(const float* const* in, float* const* out, uint32_t frames,
                       std::span<const ShellEvent> events) = 0;
  /// Whether events lie inside of calls; otherwise they come with a call's first sample.
  virtual bool HasOffsets() const { return true; }
  /// A position as the format passes it on: some speak in units.
  virtual float AsPassed(uint32_t, float position) const { return position; }
  virtual uint32_t Latency() = 0;

  virtual std::string Save() = 0;
  virtual bool Load(const std::string& state) = 0;
  struct Extent {
    uint32_t width = 0, height = 0;  ///< pixels
  };
  /// Opens the plug-in's window inside `parent`, a window of the system; answers how large it wants to be,
  /// nothing where it won't open.
  virtual Extent OpenWindow(uintptr_t parent) = 0;
  virtual void ResizeWindow(Extent size) = 0;
  virtual void CloseWindow() = 0;
  /// What the host's timer does for an open window, about 30 times a second.
  virtual void Tick() = 0;
  /// The plug-in asked for another size of its window and gets it.
  std::function<void(Extent)> onResize;
  /// A knob's position as the host knows it.
  virtual float Position(uint32_t index) = 0;

  /// What a host's main thread does beside the audio thread: writes, reads, texts; `random` chooses.
  virtual void Poke(uint32_t random) = 0;

  /// The whole stream in calls of `pieces` samples in turn, 0 too; each call under the guard, whose findings
  /// are kept in `violations`.
  Audio Render(const Audio& input, const std::vector<uint32_t>& pieces, bool isInPlace = false,
               const std::vector<ShellEvent>& events = {});
  std::vector<std::string> violations;
};

using ShellOpener = std::function<std::unique_ptr<ShellHost>(const std::string&)>;

// Loads the file and makes an instance; what is left when it goes is the test's to see.
std::unique_ptr<ShellHost> OpenClap(const std::string& file);
std::unique_ptr<ShellHost> OpenVst3(const std::string& file);
std::unique_ptr<ShellHost> OpenLv2(const std::string& file);

}  // namespace Vantora::test
