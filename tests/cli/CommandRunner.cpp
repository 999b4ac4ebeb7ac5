#include "tests/cli/CommandRunner.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>

namespace Vantora::cli::tests {

namespace fs = std::filesystem;

Audio MakeTone(int channels, size_t frames, int rate) {
  Audio audio;
  audio.rate = rate;
  audio.channels = channels;
  uint32_t noise = 1;
  for (size_t i = 0; i < frames; ++i) {
    const double t = static_cast<double>(i) / rate;
    for (int c = 0; c < channels; ++c) {
      noise = noise * 1664525u + 1013904223u;
      const double hiss = 1e-3 * (static_cast<double>(noise) * 0x1p-31 - 1.0);
      const double tone = 0.4 * std::exp(-2.0 * t) * std::sin(6.283185307 * (220.0 + 110.0 * c) * t);
      audio.samples.push_back(static_cast<float>(tone + hiss));
    }
  }
  return audio;
}

void WriteAudio(const fs::path& path, const Audio& audio) {
  SF_INFO info{0, audio.rate, audio.channels, audio.format, 0, 0};
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  ASSERT_NE(file, nullptr) << path << ": " << sf_strerror(nullptr);
  const auto frames = static_cast<sf_count_t>(audio.Frames());
  EXPECT_EQ(sf_writef_float(file, audio.samples.data(), frames), frames);
  sf_close(file);
}

Audio ReadAudio(const fs::path& path) {
  Audio audio;
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  EXPECT_NE(file, nullptr) << path << ": " << sf_strerror(nullptr);
  if (file == nullptr) return audio;
  audio.rate = info.samplerate;
  audio.channels = info.channels;
  audio.format = info.format;
  audio.samples.resize(static_cast<size_t>(info.frames * info.channels));
  EXPECT_EQ(sf_readf_float(file, audio.samples.data(), info.frames), info.frames);
  sf_close(file);
  return audio;
}

std::string ReadBytes(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteBytes(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

Workspace::Workspace() {
  std::string name = (fs::temp_directory_path() / "prismel-test-XXXXXX").string();
  folder = mkdtemp(name.data());
}

Workspace::~Workspace() {
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

Outcome Workspace::Prismel(const std::string& arguments, const std::string& input) const {
  return Shell("\"$PRISMEL\" " + arguments, input);
}

Outcome Workspace::Shell(const std::string& text, const std::string& input) const {
  // The texts of a run lie outside the folder, so that Files() sees the command's doings only.
  const std::string base = folder.string() + ".run";
  WriteBytes(base + ".sh", text + "\n");
  WriteBytes(base + ".in", input);
  // Whoever starts the tests may have a language that isn't installed, which the shell complains of.
  const std::string line = "cd '" + folder.string() + "' && LC_ALL=C PRISMEL='" PRISMEL_COMMAND "' bash '" +
                           base + ".sh' <'" + base + ".in' >'" + base + ".out' 2>'" + base + ".err'";
  const int result = std::system(line.c_str());
  Outcome outcome;
  outcome.status = WIFEXITED(result) ? WEXITSTATUS(result) : 128 + WTERMSIG(result);
  outcome.out = ReadBytes(base + ".out");
  outcome.err = ReadBytes(base + ".err");
  for (const char* ending : {".sh", ".in", ".out", ".err"}) fs::remove(base + ending);
  return outcome;
}

std::vector<std::string> Workspace::Files() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace Vantora::cli::tests
