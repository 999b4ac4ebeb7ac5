#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "plugin/core/ShellCore.h"
#include "plugin/standalone/AudioDriver.h"
#include "plugin/standalone/FileSource.h"
#include "plugin/standalone/MidiMap.h"
#include "plugin/window/ShellExtras.h"

namespace Vantora::plugin {

/// Instrument: the effect between a sound driver's input, or a file, and its output.
///
///     driver's input --+--> ShellCore --> driver's output
///     file, in a loop -+        ^
///     MIDI controllers ---------+
///
/// Threads  everything on the main thread; the driver's thread runs between `Run` and the destructor.
class Instrument final : public ShellExtras {
 public:
  /// `midiFile` is where learnt controllers are kept.
  Instrument(std::unique_ptr<AudioDriver> driver, std::filesystem::path midiFile);
  ~Instrument();

  /// Sound from here on. Throws `host::HostError`.
  void Run();
  /// Some 30 times a second: takes over what was learnt, lets old files go. One sentence of news, or empty.
  std::string Tick();

  ShellCore& Core() { return core; }
  const AudioDriver& Driver() const { return *driver; }
  /// Highest share of its time that a block took, 0 to 1, since it was asked last.
  double TakeLoad() { return load.exchange(0.0, std::memory_order_relaxed); }

  // ShellExtras
  void Learn(uint32_t parameter) override;
  void Forget(uint32_t parameter) override;
  bool IsLearning(uint32_t parameter) const override { return midi.Learning() == parameter; }
  std::string ControllerOf(uint32_t parameter) const override { return midi.ControllerOf(parameter); }
  std::string DriverText() const override;
  std::string FileName() const override { return file != nullptr ? file->Name() : std::string(); }
  std::string OpenFile(const std::string& path) override;
  void UseInput() override;
  bool IsPlaying() const override { return file != nullptr && file->IsPlaying(); }
  void SetPlaying(bool plays) override;
  uint64_t ExtrasRevision() const override { return revision; }

 private:
  static constexpr uint32_t kPiece = 1024;  // frames that are read from a file at once

  void Process(const AudioBlock& block);
  void Hand(std::unique_ptr<FileSource> source);

  ShellCore core;
  MidiMap midi;
  uint64_t revision = 1;
  bool isLost = false;

  // A file goes to the audio thread by `next` and stays in `sources` until that has let go of it.
  std::vector<std::unique_ptr<FileSource>> sources;
  FileSource* file = nullptr;  // that plays, as the main thread knows
  std::atomic<FileSource*> next{nullptr};
  std::atomic<FileSource*> inUse{nullptr};   // as the audio thread knows
  std::array<std::vector<float>, 2> pieces;  // of the file, one piece
  std::atomic<double> load{0.0};

  std::unique_ptr<AudioDriver> driver;  // last: its thread ends first
};

}  // namespace Vantora::plugin
