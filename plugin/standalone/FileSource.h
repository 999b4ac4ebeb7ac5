#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace Vantora::plugin {

/// FileSource: a sound file, in memory and at the stream's rate, that plays in a loop in place of the input.
/// Threads  `Read` makes one; `Fill` on the audio thread; `SetPlaying`, `IsPlaying` anywhere.
class FileSource {
 public:
  /// Reads the whole file, mono or stereo (more channels: the first two), and converts it to `rate` Hz.
  /// Throws `host::HostError`.
  static std::unique_ptr<FileSource> Read(const std::filesystem::path& path, double rate);

  const std::string& Name() const { return name; }
  double Seconds() const;

  void SetPlaying(bool plays) { isPlaying.store(plays, std::memory_order_relaxed); }
  bool IsPlaying() const { return isPlaying.load(std::memory_order_relaxed); }

  /// [process] The next `frames` samples of both channels; silence while it doesn't play.
  void Fill(float* left, float* right, uint32_t frames);

 private:
  FileSource() = default;

  std::string name;
  double sampleRate = 0.0;  // Hz
  std::array<std::vector<float>, 2> channels;
  std::atomic<bool> isPlaying{true};
  size_t position = 0;  // audio thread's
};

}  // namespace Vantora::plugin
