#pragma once

#include <sndfile.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Vantora::cli::tests {

/// Outcome: what a finished command left.
struct Outcome {
  int status = -1;  ///< exit status; 128 + signal where a signal ended it
  std::string out, err;
};

/// Audio: a file's content, interleaved.
struct Audio {
  int rate = 48000;
  int channels = 1;
  int format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  std::vector<float> samples;

  size_t Frames() const { return samples.size() / static_cast<size_t>(channels); }
};

/// Decaying, faintly noisy tones, different in each channel: audio in which every misplaced sample shows.
Audio MakeTone(int channels, size_t frames, int rate = 48000);

void WriteAudio(const std::filesystem::path& path, const Audio& audio);
/// Fails the test where the file can't be read.
Audio ReadAudio(const std::filesystem::path& path);
std::string ReadBytes(const std::filesystem::path& path);
void WriteBytes(const std::filesystem::path& path, const std::string& bytes);

/// Workspace: a folder of the test's own, removed with it, and the command run inside it.
class Workspace {
 public:
  Workspace();
  ~Workspace();

  std::filesystem::path operator/(const std::string& name) const { return folder / name; }
  const std::filesystem::path& Folder() const { return folder; }

  /// Runs `prismel ARGUMENTS` through the shell in this folder; `input` goes to standard input.
  Outcome Prismel(const std::string& arguments, const std::string& input = "") const;
  /// Runs any shell text; $PRISMEL is the command.
  Outcome Shell(const std::string& text, const std::string& input = "") const;
  /// Names in this folder, hidden ones included.
  std::vector<std::string> Files() const;

 private:
  std::filesystem::path folder;
};

}  // namespace Vantora::cli::tests
